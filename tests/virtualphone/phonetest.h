#pragma once

#include "tests/virtualphone/serialline.h"
#include "virtualphone/virtualphonethread.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QTemporaryDir>

#include <memory>

using Chunks = QList<QByteArray>;

// What the phone says, and what it is told most often.
inline const QByteArray ok = "\r\nOK\r\n";
inline const QByteArray error = "\r\nERROR\r\n";
inline const QByteArray connected = "\r\nCONNECT\r\n";
inline const QByteArray noCarrier = "\r\nNO CARRIER\r\n";
inline const QByteArray setInternet = "AT+CGDCONT=1,\"IP\",\"internet\"\r";

/// A phone in its own thread, and the test as the PC at the other end. Each test
/// function begins with options of its own: echo off, answers at once.
class PhoneTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

protected:
    /// Plugs the phone in as m_options say and opens its port. Every wait below
    /// ends after three seconds; a failure is the running test's.
    void start();
    /// Opens the port of the phone that is plugged in.
    void open();
    QString control(const QString &command) { return m_phone->control(command); }
    /// Sends bytes and reads that many chunks; fewer when no more come.
    Chunks exchange(const QByteArray &bytes, int chunks);
    /// A field of the answer to "status"; empty when there is none.
    QString statusField(const QString &name);
    /// Leaves the phone in data state.
    void connectToInternet();
    /// What the phone says on the bus; empty when it says nothing.
    QJsonObject busRecord(int socket = 1) const;
    QByteArray transcriptText() const;

    std::unique_ptr<QTemporaryDir> m_directory;
    virtualphone::PhoneOptions m_options;
    std::unique_ptr<virtualphone::VirtualPhoneThread> m_phone;
    std::unique_ptr<SerialLine> m_line;
};
