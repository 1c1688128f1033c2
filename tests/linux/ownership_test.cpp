#include "platform/linux/ownership.h"

#include "tests/linux/filemode.h"
#include "tests/linux/trustedplaces.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
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
        m_trusted = testPlaces({m_folder->path()});
        QVERIFY(QDir(m_folder->path()).mkpath("drivers"));
        QFile file(path("drivers/program"));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    void cleanup() { setMode(path("drivers"), 0755); }

    void modesCount_data();
    void modesCount();
    void foldersCountUpToTheRoot();
    void pathsAreWhole();
    void linksAreNotFollowed();
    void ownersCount();
    void theSystemsOwnProgramsAreSafe();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
    TrustedPlaces m_trusted;
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
    // As /tmp: who is first there owns what root then takes for his own copy.
    QTest::newRow("where each keeps his own") << 0755 << 01777 << false << false;
}

void OwnershipTest::modesCount()
{
    QFETCH(int, file);
    QFETCH(int, folder);
    QFETCH(bool, isSafe);
    QFETCH(bool, isSafeWhenMissing);
    setMode(path("drivers/program"), mode_t(file));
    setMode(path("drivers"), mode_t(folder));
    QCOMPARE(isOnlyRoots(path("drivers/program"), m_trusted), isSafe);
    QCOMPARE(isOnlyRoots(path("drivers/none"), m_trusted), isSafeWhenMissing);
    QCOMPARE(isOnlyRoots(path("drivers/none/program"), m_trusted), isSafeWhenMissing);
}

// The test's own folder is one that others share.
void OwnershipTest::foldersCountUpToTheRoot()
{
    const QTemporaryDir shared;
    QVERIFY(QDir(shared.path()).mkpath("a/b"));
    QFile file(shared.filePath("a/b/program"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const TrustedPlaces above = testPlaces({QFileInfo(shared.path()).path()});
    QVERIFY(isOnlyRoots(file.fileName(), above));
    setMode(shared.path(), 01777);
    QVERIFY(!isOnlyRoots(file.fileName(), above));
    QVERIFY(!isOnlyRoots(shared.filePath("none/b/program"), above));
    // Nothing is taken on trust but by a test.
    setMode(shared.path(), 0700);
    const bool isShared = (QFileInfo(QDir::tempPath()).permissions() & QFile::WriteOther) != 0;
    QCOMPARE(isOnlyRoots(file.fileName()), !isShared && ::geteuid() == 0);
}

void OwnershipTest::pathsAreWhole()
{
    QVERIFY(!isOnlyRoots("env"));
    QVERIFY(!isOnlyRoots("../../../usr/bin/env"));
    QVERIFY(!isOnlyRoots(QString()));
    QVERIFY(!isOnlyRoots("/usr/bin/env/none")); // no folder
}

void OwnershipTest::linksAreNotFollowed()
{
    QVERIFY(QFile::link(path("drivers/program"), path("link")));
    QVERIFY(!isOnlyRoots(path("link"), m_trusted));
    QVERIFY(QFile::link(path("drivers"), path("folder")));
    QVERIFY(!isOnlyRoots(path("folder/program"), m_trusted));
}

void OwnershipTest::ownersCount()
{
    if (::geteuid() != 0)
        QSKIP("Only an administrator can give a file away.");
    const QByteArray file = path("drivers/program").toLocal8Bit();
    const QByteArray folder = path("drivers").toLocal8Bit();
    QCOMPARE(::chown(file.constData(), 1000, 1000), 0);
    QVERIFY(!isOnlyRoots(path("drivers/program"), m_trusted));
    QCOMPARE(::chown(file.constData(), 0, 0), 0);
    QVERIFY(isOnlyRoots(path("drivers/program"), m_trusted));
    QCOMPARE(::chown(folder.constData(), 1000, 0), 0);
    QVERIFY(!isOnlyRoots(path("drivers/program"), m_trusted));
}

void OwnershipTest::theSystemsOwnProgramsAreSafe()
{
    QVERIFY(isOnlyRoots("/usr/bin/env"));
    QVERIFY(isOnlyRoots("/"));
    QVERIFY(!isOnlyRoots("/dev/null"));
}

QTEST_APPLESS_MAIN(OwnershipTest)
#include "ownership_test.moc"
