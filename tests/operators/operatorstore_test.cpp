#include "operators/operatorstore.h"

#include "app/operators.h"
#include "app/settings.h"
#include "operators/catalogue.h"
#include "operators/operatorlist.h"
#include "tests/app/settingsfiles.h"
#include "tests/support/logcatcher.h"
#include "tests/support/ordinaryuser.h"
#include "tests/support/testsettings.h"

#include <QDir>
#include <QProcess>
#include <QSettings>
#include <QTest>

#include <memory>

class OperatorStoreTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_store = std::make_unique<TestSettings>(); }

    void whereTheListComesFrom();
    void everyProviderOfTheWorld_data();
    void everyProviderOfTheWorld();
    void unusualNames_data();
    void unusualNames();
    void otherKeysAreKept();
    void valuesBecomeTexts();
    void removedListBringsTheNextOneBack();
    void presetsOfTheComputer();
    void storedValueThatIsNoMap();
    void vanishing();
    void damagedStore_data();
    void damagedStore();
    void storeThatCannotBeWritten();
    void readOnlyStore();
    void storeThatTheOtherProgramWrites();

private:
    /// Reads the file as another process would.
    static QVariantMap mapIn(const QString &file)
    {
        // Under another name, since what this process knows of a file is kept.
        const QString copy = file + ".copy";
        QFile::remove(copy);
        QFile::copy(file, copy);
        return QSettings(copy, QSettings::IniFormat).value("MobileOperators").toMap();
    }

    std::unique_ptr<TestSettings> m_store;
};

void OperatorStoreTest::whereTheListComesFrom()
{
    QCOMPARE(int(storedList(Scope::User).origin), int(Origin::BuiltIn));
    QCOMPARE(storedList(Scope::User).list, MobileOperatorsMap());
    QCOMPARE(int(storedList(Scope::System).origin), int(Origin::BuiltIn));

    QCOMPARE(storeList(Scope::System, {{"Preset", "p"}}), QString());
    QCOMPARE(int(storedList(Scope::System).origin), int(Origin::Own));
    QCOMPARE(int(storedList(Scope::User).origin), int(Origin::Preset));
    QCOMPARE(storedList(Scope::User).list, QVariantMap({{"Preset", "p"}}));
    QCOMPARE(MobileOperatorNames(), QStringList("Preset"));

    QCOMPARE(storeList(Scope::User, {{"Own", "o"}}), QString());
    QCOMPARE(int(storedList(Scope::User).origin), int(Origin::Own));
    QCOMPARE(storedList(Scope::User).list, QVariantMap({{"Own", "o"}}));
    QCOMPARE(listWithoutOwn().list, QVariantMap({{"Preset", "p"}}));
    QCOMPARE(int(listWithoutOwn().origin), int(Origin::Preset));
}

void OperatorStoreTest::everyProviderOfTheWorld_data()
{
    QTest::addColumn<QString>("country");
    const Catalogue catalogue(readProvidersFile(providersFile()), {});
    for (const CatalogueCountry &country : catalogue.countries())
        QTest::newRow(qPrintable(country.name)) << country.code;
    QTest::newRow("the whole world") << "";
}

/// Chosen, stored, and read by the functions that the main window reads with.
void OperatorStoreTest::everyProviderOfTheWorld()
{
    QFETCH(const QString, country);
    static const Catalogue catalogue(readProvidersFile(providersFile()), {});
    QVariantMap list;
    QMap<QString, QString> expected;
    for (const Offer &offer : catalogue.offers()) {
        if (country.isEmpty() || catalogue.countryWithCode(country) == offer.country)
            expected.insert(addToList(&list, offer), offer.apn);
    }
    QCOMPARE(storeList(Scope::User, list), QString());
    QCOMPARE(mapIn(m_store->userFile()), list);
    QCOMPARE(MobileOperatorNames(), QStringList(expected.keys()));
    const QVariantMap read = MobileOperatorsMap();
    for (auto entry = expected.begin(); entry != expected.end(); ++entry) {
        QCOMPARE(read.value(entry.key()), QVariant(entry.value()));
        // Each call reads the store anew.
        if (!country.isEmpty())
            QCOMPARE(MobileOperatorApn(entry.key()), entry.value());
    }
    // And each is found again for its check mark.
    for (const Offer &offer : catalogue.offers()) {
        if (country.isEmpty() || catalogue.countryWithCode(country) == offer.country)
            QCOMPARE(read.value(nameInList(read, offer)).toString(), offer.apn);
    }
}

void OperatorStoreTest::unusualNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("quotes") << "The \"best\" 'one'";
    QTest::newRow("backslash, semicolon, comma") << "a\\b;c,d=@e%20[f]";
    QTest::newRow("other script") << QString::fromUtf8("中華電信");
    QTest::newRow("right to left") << QString::fromUtf8("موبايلي");
    QTest::newRow("beyond 16 bits") << QString::fromUtf8("📱");
    QTest::newRow("200 characters") << QString(200, QChar(0x4e2d));
}

void OperatorStoreTest::unusualNames()
{
    QFETCH(const QString, name);
    QCOMPARE(storeList(Scope::User, {{name, "apn"}}), QString());
    QCOMPARE(mapIn(m_store->userFile()), QVariantMap({{name, "apn"}}));
    QCOMPARE(MobileOperatorNames(), QStringList(name));
    QCOMPARE(MobileOperatorApn(name), QString("apn"));
}

void OperatorStoreTest::otherKeysAreKept()
{
    TestSettings::write(m_store->userFile(), "[General]\nNoOfDialups=1\nMine=kept\n\n[ports]\n"
                                             "7=Entry\n");
    QCOMPARE(storeList(Scope::User, {{"A", "a"}}), QString());
    QCOMPARE(removeStoredList(Scope::User), QString());
    QCOMPARE(storeList(Scope::User, {{"B", "b"}}), QString());
    const QByteArray stored = contentOf(m_store->userFile());
    for (const char *line : {"NoOfDialups=1\n", "Mine=kept\n", "[ports]\n7=Entry\n"})
        QVERIFY2(stored.contains(line), stored.constData());
    QVERIFY(!QFile::exists(m_store->systemFile()));
}

void OperatorStoreTest::valuesBecomeTexts()
{
    QCOMPARE(storeList(Scope::User, {{"A", 5}}), QString());
    const QVariant value = mapIn(m_store->userFile()).value("A");
    QCOMPARE(value, QVariant(QString("5")));
    QCOMPARE(int(value.userType()), int(QMetaType::QString));
}

void OperatorStoreTest::removedListBringsTheNextOneBack()
{
    QCOMPARE(removeStoredList(Scope::User), QString());
    QCOMPARE(storeList(Scope::User, {{"A", "a"}}), QString());
    QCOMPARE(removeStoredList(Scope::User), QString());
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
    QCOMPARE(MobileOperatorNames().size(), 5);
    QCOMPARE(storeList(Scope::System, {{"Preset", "p"}}), QString());
    QCOMPARE(MobileOperatorNames(), QStringList("Preset"));
}

void OperatorStoreTest::presetsOfTheComputer()
{
    QCOMPARE(QDir::fromNativeSeparators(settingsFile(Scope::System)), m_store->systemFile());
    QCOMPARE(QDir::fromNativeSeparators(settingsFile(Scope::User)), m_store->userFile());
    QVERIFY(!QFile::exists(m_store->systemFile()));
    QCOMPARE(storeList(Scope::System, {{"Preset", "p"}}), QString());
    QCOMPARE(mapIn(m_store->systemFile()), QVariantMap({{"Preset", "p"}}));
    QVERIFY(!QFile::exists(m_store->userFile()));
    // Everybody reads it.
    QVERIFY(QFile::permissions(m_store->systemFile()) & QFileDevice::ReadOther);
}

void OperatorStoreTest::storedValueThatIsNoMap()
{
    TestSettings::write(m_store->userFile(), "[General]\nMobileOperators=Warid\n");
    QCOMPARE(int(storedList(Scope::User).origin), int(Origin::Own));
    QVERIFY(storedList(Scope::User).list.isEmpty());
    QCOMPARE(storedList(Scope::User).list, MobileOperatorsMap());
}

void OperatorStoreTest::vanishing()
{
    QCOMPARE(vanishingOperator({}), QString());
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Warid");
    QCOMPARE(vanishingOperator({{"Other", "x"}}), QString("Warid"));
    QCOMPARE(vanishingOperator({{"Warid", "x"}}), QString());
    const auto chosen = [] {
        return QSettings().value(settingskeys::CurrentMobileOperator).toString();
    };
    // The presets are everybody's, the choice is one user's.
    QCOMPARE(storeList(Scope::System, {{"Other", "x"}}), QString());
    QCOMPARE(chosen(), QString("Warid"));
    QCOMPARE(storeList(Scope::User, {{"Warid", "x"}, {"Mine", "y"}}), QString());
    QCOMPARE(chosen(), QString("Warid"));
    QCOMPARE(removeStoredList(Scope::User), QString());
    QCOMPARE(chosen(), QString());
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Other");
    QCOMPARE(storeList(Scope::User, {{"Mine", "y"}}), QString());
    QCOMPARE(chosen(), QString());
}

void OperatorStoreTest::damagedStore_data()
{
    QTest::addColumn<bool>("isSystem");
    QTest::newRow("user") << false;
    QTest::newRow("system") << true;
}

void OperatorStoreTest::damagedStore()
{
    QFETCH(const bool, isSystem);
    const QString file = isSystem ? m_store->systemFile() : m_store->userFile();
    TestSettings::write(file, damagedBytes);
    const LogCatcher log;
    QCOMPARE(storeList(isSystem ? Scope::System : Scope::User, {{"A", "a"}}), QString());
    QCOMPARE(contentOf(file + ".damaged1"), damagedBytes);
    QCOMPARE(mapIn(file), QVariantMap({{"A", "a"}}));
    for (const char *line : {"NoOfDialups=2\n", "CurrentPort=7\n"})
        QVERIFY(contentOf(file).contains(line));
}

void OperatorStoreTest::storeThatCannotBeWritten()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, "/proc/settings");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, "/proc/settings");
    for (const Scope scope : {Scope::User, Scope::System}) {
        const QString problem = "The settings cannot be written: " + settingsFile(scope);
        QCOMPARE(storeList(scope, {{"A", "a"}}), problem);
        QCOMPARE(removeStoredList(scope), problem);
        QVERIFY(settingsFile(scope).contains("proc"));
    }
    QCOMPARE(MobileOperatorNames().size(), 5);
}

void OperatorStoreTest::readOnlyStore()
{
    const QByteArray before = "[General]\nCurrentPort=7\n";
    const QString file = m_store->userFile();
    TestSettings::write(file, before);
    const auto readable = QFileDevice::ReadOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    const auto everything = readable | QFileDevice::WriteOwner | QFileDevice::WriteOther |
                            QFileDevice::ExeOwner | QFileDevice::ExeOther;
    // Nothing but the file's own mode keeps anybody out.
    const QDir folder = QFileInfo(file).dir();
    QVERIFY(QFile::setPermissions(folder.path(), everything));
    QVERIFY(QFile::setPermissions(QFileInfo(folder.path()).path(), everything));
    QVERIFY(QFile::setPermissions(file, readable));
    {
        const OrdinaryUser user;
        if (!QFile(file).open(QIODevice::ReadOnly))
            QSKIP("The folder of temporary files is closed to other users.");
        if (QFile(file).open(QIODevice::ReadWrite))
            QSKIP("A read-only file can be written here; this process cannot give that up.");
        QCOMPARE(storeList(Scope::User, {{"A", "a"}}), "The settings cannot be written: " + file);
    }
    QCOMPARE(contentOf(file), before);
    QCOMPARE(MobileOperatorNames().size(), 5);
}

/// The main program writes its keys while the other process stores lists.
void OperatorStoreTest::storeThatTheOtherProgramWrites()
{
    QProcess other;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", QFileInfo(QFileInfo(m_store->userFile()).path()).path());
    other.setProcessEnvironment(environment);
    const QString program = QCoreApplication::applicationDirPath() + "/TolvaneOperators";
    for (int round = 1; round <= 5; ++round) {
        // The toolkit takes a file of the same size for unchanged when it was written
        // within the same few milliseconds.
        const QString name = "Operator " + QString(round, 'I');
        other.start(program, {"--set", "--add", name + "=apn"});
        QVERIFY(other.waitForStarted());
        int written = 0;
        while (other.state() != QProcess::NotRunning) {
            QSettings().setValue(settingskeys::port(++written), round);
            QSettings().sync();
            // A pace at which the other process gets the lock, too.
            other.waitForFinished(20);
        }
        QCOMPARE(other.readAllStandardError(), QByteArray());
        QCOMPARE(other.exitCode(), 0);
        QCOMPARE(mapIn(m_store->userFile()), QVariantMap({{name, "apn"}}));
        for (int port = 1; port <= written; ++port)
            QCOMPARE(QSettings().value(settingskeys::port(port)).toInt(), round);
    }
}

QTEST_GUILESS_MAIN(OperatorStoreTest)
#include "operatorstore_test.moc"
