#pragma once

#include "app/identity.h"
#include "app/messagelog.h"

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>

/// What the functions under measurement find in the program: its application object, a
/// settings store of its own, and its message log, which is part of their cost.
class LoggedProgram
{
public:
    LoggedProgram(int &argc, char *argv[]) : m_application(withoutDisplay(argc), argv)
    {
        setApplicationIdentity();
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_folder.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, m_folder.path());
        startMessageLog(m_folder.path());
    }
    ~LoggedProgram() { finishMessageLog(); }

    /// Has a function measured with this argument; each call logs about so many lines. The
    /// log loses what its thread cannot write in time, and losing is cheaper than writing:
    /// so it begins with nothing left to write, and is called only as often as the log can
    /// wait for.
    void measure(const char *name, void (*function)(benchmark::State &), int argument, int lines)
    {
        constexpr int MostLines = 8000; // of less than a hundred bytes; a million may wait
        const auto measured = [this, function](benchmark::State &state) {
            waitForLog();
            function(state);
        };
        benchmark::RegisterBenchmark(name, measured)
            ->Arg(argument)
            ->Iterations(std::max(2, MostLines / lines))
            ->UseRealTime();
    }

private:
    static int &withoutDisplay(int &argc)
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return argc;
    }

    /// Returns when everything that was logged is in the files.
    void waitForLog()
    {
        const QByteArray mark = "Mark " + QByteArray::number(++m_marks);
        const QDir folder(m_folder.path());
        for (;;) {
            addToMessageLog(mark); // it may have lost the one before
            for (const QString &name : folder.entryList({"messages-*.log"}, QDir::Files)) {
                QFile file(folder.filePath(name));
                if (file.open(QIODevice::ReadOnly) && file.readAll().contains(mark + '\n'))
                    return;
            }
            QThread::msleep(1);
        }
    }

    QTemporaryDir m_folder;
    QApplication m_application;
    int m_marks = 0;
};
