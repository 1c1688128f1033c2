#include "app/operators.h"
#include "tests/support/testsettings.h"

#include <QFile>
#include <QSettings>
#include <QTest>

#include <memory>

class OperatorsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init()
    {
        QFile::remove(m_store->systemFile());
        m_store->clear();
    }

    void builtInTableIsInKeyOrder();
    void builtInApn_data();
    void builtInApn();
    void unknownOperatorHasNoApn();
    void lookUpsWriteNothing();
    void ownTableReplacesTheBuiltInOne();
    void ownNamesAreInCodeUnitOrder();
    void ownApnOfAnotherType();
    void storedMapIsReadBackFromTheFile();
    void emptyTable();
    void valueThatIsNoMap_data();
    void valueThatIsNoMap();
    void presetTableIsAFallBack();

private:
    std::unique_ptr<TestSettings> m_store;
};

void OperatorsTest::builtInTableIsInKeyOrder()
{
    QCOMPARE(MobileOperatorNames(),
             QStringList({"Banglalink", "GrameenPhone", "Robi (Aktel)", "Teletalk", "Warid"}));
    QCOMPARE(MobileOperatorsMap().keys(), MobileOperatorNames());
}

void OperatorsTest::builtInApn_data()
{
    QTest::addColumn<QString>("apn");
    QTest::newRow("Warid") << "internet";
    QTest::newRow("Teletalk") << "internet";
    QTest::newRow("Banglalink") << "blweb";
    QTest::newRow("Robi (Aktel)") << "internet";
    QTest::newRow("GrameenPhone") << "gpinternet";
}

void OperatorsTest::builtInApn()
{
    QFETCH(const QString, apn);
    QCOMPARE(MobileOperatorApn(QTest::currentDataTag()), apn);
    QCOMPARE(MobileOperatorsMap().value(QTest::currentDataTag()), QVariant(apn));
}

void OperatorsTest::unknownOperatorHasNoApn()
{
    QCOMPARE(MobileOperatorApn("Nobody"), QString(""));
    QCOMPARE(MobileOperatorApn("warid"), QString(""));
    QCOMPARE(MobileOperatorApn(""), QString(""));
}

void OperatorsTest::lookUpsWriteNothing()
{
    MobileOperatorApn("Nobody");
    MobileOperatorNames();
    MobileOperatorsMap();
    QCOMPARE(QSettings().allKeys(), QStringList());
    QVERIFY(!MobileOperatorNames().contains("Nobody"));
}

void OperatorsTest::ownTableReplacesTheBuiltInOne()
{
    QSettings().setValue("MobileOperators", QVariantMap{{"Home", "home.apn"}, {"Away", "roam"}});
    QCOMPARE(MobileOperatorNames(), QStringList({"Away", "Home"}));
    QCOMPARE(MobileOperatorApn("Home"), QString("home.apn"));
    QCOMPARE(MobileOperatorApn("Warid"), QString(""));
}

void OperatorsTest::ownNamesAreInCodeUnitOrder()
{
    const QString umlaut(QChar(0xC4));
    QSettings().setValue("MobileOperators",
                         QVariantMap{{"b", "1"}, {"B", "2"}, {umlaut, "3"}, {"a", "4"}, {"", "5"}});
    QCOMPARE(MobileOperatorNames(), QStringList({"", "B", "a", "b", umlaut}));
    QCOMPARE(MobileOperatorApn(""), QString("5"));
}

void OperatorsTest::ownApnOfAnotherType()
{
    QSettings().setValue("MobileOperators",
                         QVariantMap{{"number", 5}, {"list", QStringList({"a", "b"})}});
    QCOMPARE(MobileOperatorApn("number"), QString("5"));
    QCOMPARE(MobileOperatorApn("list"), QString(""));
}

// The values of a live process come from its cache: only a file that was
// written by somebody else is parsed.
void OperatorsTest::storedMapIsReadBackFromTheFile()
{
    QSettings().setValue("MobileOperators", QVariantMap{{"Caf\u00e9", "apn \"x\""}});
    QSettings().sync();
    QFile file(m_store->userFile());
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray stored = file.readAll();
    // Windows does not replace a file that is open.
    file.close();
    QVERIFY2(stored.contains("MobileOperators=@Variant("), stored.constData());

    m_store->clear();
    QCOMPARE(MobileOperatorNames().size(), 5);
    TestSettings::write(m_store->userFile(), stored);
    QCOMPARE(MobileOperatorNames(), QStringList({"Caf\u00e9"}));
    QCOMPARE(MobileOperatorApn("Caf\u00e9"), QString("apn \"x\""));
}

void OperatorsTest::emptyTable()
{
    QSettings().setValue("MobileOperators", QVariantMap());
    QCOMPARE(MobileOperatorNames(), QStringList());
    QCOMPARE(MobileOperatorApn("Warid"), QString(""));
}

void OperatorsTest::valueThatIsNoMap_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("text") << QByteArray("MobileOperators=Warid");
    QTest::newRow("empty text") << QByteArray("MobileOperators=");
    QTest::newRow("list") << QByteArray("MobileOperators=Warid, Teletalk");
    QTest::newRow("number") << QByteArray("MobileOperators=17");
    QTest::newRow("binary") << QByteArray("MobileOperators=@ByteArray(\\x1\\xff)");
    QTest::newRow("nothing") << QByteArray("MobileOperators=@Invalid()");
    QTest::newRow("damaged map") << QByteArray("MobileOperators=@Variant(\\0\\0\\0\\b\\0\\0)");
}

void OperatorsTest::valueThatIsNoMap()
{
    QFETCH(const QByteArray, line);
    TestSettings::write(m_store->userFile(), "[General]\n" + line + "\n");
    QCOMPARE(MobileOperatorNames(), QStringList());
    QCOMPARE(MobileOperatorApn("Warid"), QString(""));
}

void OperatorsTest::presetTableIsAFallBack()
{
    {
        QSettings preset(m_store->systemFile(), QSettings::IniFormat);
        preset.setValue("MobileOperators", QVariantMap{{"Preset", "preset.apn"}});
    }
    QCOMPARE(MobileOperatorNames(), QStringList({"Preset"}));
    QSettings().setValue("MobileOperators", QVariantMap{{"Own", "own.apn"}});
    QCOMPARE(MobileOperatorNames(), QStringList({"Own"}));
}

QTEST_GUILESS_MAIN(OperatorsTest)
#include "operators_test.moc"
