#include "platform/linux/ownership.h"

#include "tests/linux/filemode.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <unistd.h>

using namespace platform::linuxsystem;

/// Which programs may run with root's rights.
class OwnershipTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(m_folder->path()).mkpath("drivers"));
        QFile file(path("drivers/program"));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    void cleanup() { setMode(path("drivers"), 0755); }

    void modesCount_data();
    void modesCount();
    void linksAreNotFollowed();
    void ownersCount();
    void theSystemsOwnProgramsAreSafe();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void OwnershipTest::modesCount_data()
{
    QTest::addColumn<int>("file");
    QTest::addColumn<int>("folder");
    QTest::addColumn<bool>("isSafe");
    QTest::addColumn<bool>("isSafeWhenMissing");
    QTest::newRow("root's") << 0755 << 0755 << true << true;
    QTest::newRow("readable for root alone") << 0700 << 0700 << true << true;
    QTest::newRow("a group's file") << 0775 << 0755 << false << true;
    QTest::newRow("everybody's file") << 0757 << 0755 << false << true;
    QTest::newRow("a group's folder") << 0755 << 0775 << false << false;
    QTest::newRow("everybody's folder") << 0755 << 0757 << false << false;
    // As /tmp: nobody can change another's file there, but make a new one.
    QTest::newRow("where each keeps his own") << 0755 << 01777 << true << false;
}

void OwnershipTest::modesCount()
{
    QFETCH(int, file);
    QFETCH(int, folder);
    QFETCH(bool, isSafe);
    QFETCH(bool, isSafeWhenMissing);
    setMode(path("drivers/program"), mode_t(file));
    setMode(path("drivers"), mode_t(folder));
    QCOMPARE(isOnlyRoots(path("drivers/program")), isSafe);
    QCOMPARE(isOnlyRoots(path("drivers/none")), isSafeWhenMissing);
    QCOMPARE(isOnlyRoots(path("drivers/none/program")), isSafeWhenMissing);
}

void OwnershipTest::linksAreNotFollowed()
{
    QVERIFY(QFile::link(path("drivers/program"), path("link")));
    QVERIFY(!isOnlyRoots(path("link")));
    QVERIFY(QFile::link(path("drivers"), path("folder")));
    QVERIFY(!isOnlyRoots(path("folder/program")));
}

void OwnershipTest::ownersCount()
{
    if (::geteuid() != 0)
        QSKIP("Only an administrator can give a file away.");
    const QByteArray file = path("drivers/program").toLocal8Bit();
    const QByteArray folder = path("drivers").toLocal8Bit();
    QCOMPARE(::chown(file.constData(), 1000, 1000), 0);
    QVERIFY(!isOnlyRoots(path("drivers/program")));
    QCOMPARE(::chown(file.constData(), 0, 0), 0);
    QVERIFY(isOnlyRoots(path("drivers/program")));
    QCOMPARE(::chown(folder.constData(), 1000, 0), 0);
    QVERIFY(!isOnlyRoots(path("drivers/program")));
}

void OwnershipTest::theSystemsOwnProgramsAreSafe()
{
    QVERIFY(isOnlyRoots("/usr/bin/env"));
    QVERIFY(isOnlyRoots("/"));
    QVERIFY(!isOnlyRoots("/dev/null"));
}

QTEST_APPLESS_MAIN(OwnershipTest)
#include "ownership_test.moc"
