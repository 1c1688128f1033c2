#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTest>

// Settings files as the tests of the store write and read them.

/// Two values with a line between them that cannot be read.
inline const QByteArray damagedBytes =
    "[General]\nNoOfDialups=2\n\x01\xff what is this\nCurrentPort=7\n";

/// The file's bytes.
inline QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

/// Makes the file newer, so that it is parsed again, as a later start of the
/// program does.
inline void touch(const QString &fileName)
{
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::ReadWrite));
    const QDateTime later = QFileInfo(fileName).lastModified().addSecs(5);
    QVERIFY(file.setFileTime(later, QFileDevice::FileModificationTime));
}
