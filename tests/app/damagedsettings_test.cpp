#include "app/damagedsettings.h"

#include "app/settings.h"
#include "tests/app/settingsfiles.h"
#include "tests/support/logcatcher.h"
#include "tests/support/testsettings.h"

#include <QDir>
#include <QSettings>
#include <QTest>

#include <memory>

class DamagedSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    // A store of its own for each case, as in settings_test.cpp.
    void init() { m_store = std::make_unique<TestSettings>(); }

    void damagedFileIsKeptOnce();
    void secondDamageGetsTheNextNumber();
    void thousandthDamageIsNotKept();
    void soundFileIsNotCopied_data();
    void soundFileIsNotCopied();
    void missingFileIsNotCopied();
    void damagedPresetIsNotTakenForTheUsersFile();
    void damagedPresetAlone();
    void copyThatCannotBeMadeIsReported();
    void valuesBesideTheDamageSurviveTheNextWrite();

private:
    QStringList copies() const
    {
        const QFileInfo file(m_store->userFile());
        return file.dir().entryList({file.fileName() + ".damaged*"}, QDir::Files, QDir::Name);
    }

    std::unique_ptr<TestSettings> m_store;
};

void DamagedSettingsTest::damagedFileIsKeptOnce()
{
    TestSettings::write(m_store->userFile(), damagedBytes);
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(log.lines(), QStringList({"The settings file is damaged; a copy was kept as " +
                                       m_store->userFile() + ".damaged1"}));
    QCOMPARE(contentOf(m_store->userFile() + ".damaged1"), damagedBytes);
    QCOMPARE(contentOf(m_store->userFile()), damagedBytes);

    // The next start finds the file as damaged as before.
    touch(m_store->userFile());
    {
        const QSettings parsedAgain;
        QVERIFY(!parsedAgain.allKeys().isEmpty());
        QCOMPARE(parsedAgain.status(), QSettings::FormatError);
    }
    touch(m_store->userFile());
    preserveDamagedSettings();
    QCOMPARE(copies().size(), 1);
    QCOMPARE(log.lines().size(), 1);
}

void DamagedSettingsTest::secondDamageGetsTheNextNumber()
{
    const LogCatcher log;
    TestSettings::write(m_store->userFile(), damagedBytes);
    preserveDamagedSettings();
    const QByteArray worse = damagedBytes + "still worse\n";
    TestSettings::write(m_store->userFile(), worse);
    preserveDamagedSettings();
    QCOMPARE(copies().size(), 2);
    QCOMPARE(contentOf(m_store->userFile() + ".damaged1"), damagedBytes);
    QCOMPARE(contentOf(m_store->userFile() + ".damaged2"), worse);
    QCOMPARE(log.lines().last(), "The settings file is damaged; a copy was kept as " +
                                     m_store->userFile() + ".damaged2");
}

// Whatever damages the file again and again does not fill the disk.
void DamagedSettingsTest::thousandthDamageIsNotKept()
{
    TestSettings::write(m_store->userFile(), damagedBytes);
    for (int number = 1; number < 1000; ++number)
        TestSettings::write(QString("%1.damaged%2").arg(m_store->userFile()).arg(number), "other");
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(copies().size(), 999);
    QCOMPARE(contentOf(m_store->userFile() + ".damaged999"), QByteArray("other"));
    QCOMPARE(log.lines(), QStringList());
}

void DamagedSettingsTest::soundFileIsNotCopied_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("values") << QByteArray("[General]\nCurrentPort=7\n");
    QTest::newRow("comment") << QByteArray("; comment\n[General]\n\n");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("odd values") << QByteArray("[General]\nCurrentPort=@Variant(\\0)\n");
}

void DamagedSettingsTest::soundFileIsNotCopied()
{
    QFETCH(const QByteArray, bytes);
    TestSettings::write(m_store->userFile(), bytes);
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(copies(), QStringList());
    QCOMPARE(log.lines(), QStringList());
}

void DamagedSettingsTest::missingFileIsNotCopied()
{
    const LogCatcher log;
    preserveDamagedSettings();
    QVERIFY(!QFileInfo::exists(QFileInfo(m_store->userFile()).path()));
    QCOMPARE(log.lines(), QStringList());
}

void DamagedSettingsTest::damagedPresetIsNotTakenForTheUsersFile()
{
    TestSettings::write(m_store->userFile(), "[General]\nCurrentPort=7\n");
    TestSettings::write(m_store->systemFile(), damagedBytes);
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(copies(), QStringList());
    QCOMPARE(log.lines(), QStringList());
    QCOMPARE(contentOf(m_store->systemFile()), damagedBytes);
}

void DamagedSettingsTest::damagedPresetAlone()
{
    TestSettings::write(m_store->systemFile(), damagedBytes);
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(copies(), QStringList());
    QCOMPARE(log.lines(), QStringList());
}

void DamagedSettingsTest::copyThatCannotBeMadeIsReported()
{
    TestSettings::write(m_store->userFile(), damagedBytes);
    // A dangling link is no file that exists, and none that can be written.
    const QString link = m_store->userFile() + ".damaged1";
    QVERIFY(QFile::link("/proc/settings/nowhere", link));
    if (QFileInfo::exists(link))
        QSKIP("A link is a file on this system, wherever it leads.");
    const LogCatcher log;
    preserveDamagedSettings();
    QCOMPARE(log.lines(), QStringList({"The settings file is damaged and could not be copied: " +
                                       m_store->userFile()}));
    QCOMPARE(contentOf(m_store->userFile()), damagedBytes);
}

void DamagedSettingsTest::valuesBesideTheDamageSurviveTheNextWrite()
{
    TestSettings::write(m_store->userFile(), damagedBytes);
    {
        const LogCatcher log;
        preserveDamagedSettings();
    }
    QSettings().setValue(settingskeys::isINFSetupDone, true);
    touch(m_store->userFile());
    const QSettings settings;
    QCOMPARE(settings.value(settingskeys::NoOfDialups).toInt(), 2);
    QCOMPARE(settings.value(settingskeys::CurrentPort).toInt(), 7);
    QCOMPARE(settings.status(), QSettings::NoError);
    QCOMPARE(contentOf(m_store->userFile() + ".damaged1"), damagedBytes);
}

QTEST_GUILESS_MAIN(DamagedSettingsTest)
#include "damagedsettings_test.moc"
