#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/// Gives the test process the program's identity and an empty settings store
/// of its own; nobody's own settings are read or written. Make one after the
/// application object and before the first settings object.
class TestSettings
{
public:
    TestSettings();

    /// Empties the store; call before each case.
    void clear();
    /// The user's settings file; it need not exist.
    QString userFile() const;
    /// The file that presets values for all users; it need not exist.
    QString systemFile() const;

    /// Replaces a file's content; makes its folder where it is missing.
    static void write(const QString &fileName, const QByteArray &bytes);

private:
    QTemporaryDir m_user;
    QTemporaryDir m_system;
};
