#include "operators/catalogue.h"
#include "operators/providertable.h"
#include "tests/operators/providersample.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QTest>

class ProviderTableTest : public QObject
{
    Q_OBJECT

private slots:
    void everythingOfTheSample();
    void plainNameStandsFirst();
    void countriesWithNothingToOffer();
    void newerFormat();
    void unknownElements();
    void noList_data();
    void noList();
    void fileThatIsNotThere();
    void cutAnywhere();
    void damageKeepsWhatStandsBefore();
    void endlessEntitiesAreNoTrap();
    void mutatedFiles();
    void installedFile();
};

void ProviderTableTest::everythingOfTheSample()
{
    const ProviderTable table = readBytes(sampleXml);
    QCOMPARE(table.problem, QString());
    QCOMPARE(table.countries.size(), 3);
    const Country &brazil = table.countries.at(0);
    QCOMPARE(brazil.code, QString("br"));
    QCOMPARE(brazil.names, QStringList("Brazil"));
    const AccessPoint &mono = brazil.providers.at(0).accessPoints.at(0);
    QCOMPARE(mono.apn, QString("mono.br"));
    QCOMPARE(mono.plans, QStringList("postpaid"));
    QCOMPARE(mono.usage, QString("internet"));
    QCOMPARE(mono.userName, QString("mo"));
    QCOMPARE(mono.password, QString("no"));
    QCOMPARE(brazil.providers.at(0).accessPoints.at(1).usage, QString("mms"));

    const Country &germany = table.countries.at(1);
    QCOMPARE(germany.names, QStringList({"Germany", "Deutschland"}));
    // A provider without a GSM network has nothing to offer.
    QCOMPARE(germany.providers.size(), 2);
    const Provider &twelve = germany.providers.at(0);
    QCOMPARE(twelve.names, QStringList({"Twelve & Co", QString::fromUtf8("Zwölf")}));
    QStringList apns;
    for (const AccessPoint &point : twelve.accessPoints)
        apns.append(point.apn);
    QCOMPARE(apns, QStringList({"one.de", "one.de", "two.de", "three.de", "four.de", "five.de",
                                "wap.de", "http://192.0.2.9"}));
    QCOMPARE(twelve.accessPoints.at(3).password, QString("x"));
    QCOMPARE(twelve.accessPoints.at(3).userName, QString());
    QCOMPARE(twelve.accessPoints.at(5).names, QStringList());
}

void ProviderTableTest::plainNameStandsFirst()
{
    QByteArray bytes = sampleXml;
    bytes.replace("<name>Austria</name>",
                  "<name>Austria</name><name xml:lang=\"de\">\u00d6sterreich</name>");
    QCOMPARE(readBytes(bytes).countries.at(2).names,
             QStringList({"Austria", QString::fromUtf8("\u00d6sterreich")}));
}

/// Without a code it cannot be asked for, without a provider nothing be chosen.
void ProviderTableTest::countriesWithNothingToOffer()
{
    QByteArray bytes = sampleXml;
    bytes.replace("<country code=\"at\">", "<country>");
    bytes.replace("<country code=\"de\">",
                  "<country code=\"aq\"><name>Antarctica</name></country><country code=\"de\">");
    const ProviderTable table = readBytes(bytes);
    QStringList codes;
    for (const Country &country : table.countries)
        codes.append(country.code);
    QCOMPARE(codes, QStringList({"br", "de"}));
}

void ProviderTableTest::newerFormat()
{
    QByteArray bytes = sampleXml;
    bytes.replace("format=\"2.0\"", "format=\"2.7\"");
    QCOMPARE(readBytes(bytes).problem, QString());
    bytes.replace("format=\"2.7\"", "format=\"3.0\"");
    const ProviderTable table = readBytes(bytes);
    QCOMPARE(table.problem, QString("The list of mobile operators has the unknown format \"3.0\". "
                                    "What is understood of it is shown."));
    QCOMPARE(table.countries.size(), 3);
    bytes.replace("format=\"3.0\"", "format=\"" + QByteArray(1000, '9') + "\"");
    QVERIFY(readBytes(bytes).problem.contains('"' + QString(20, '9') + '"'));
}

void ProviderTableTest::unknownElements()
{
    QByteArray bytes = sampleXml;
    bytes.replace("<country code=\"de\">",
                  "<continent><country code=\"xx\"/></continent><country code=\"de\"><flag/>");
    bytes.replace("<gsm>", "<fiveg><apn value=\"no\"/></fiveg><gsm>");
    const ProviderTable table = readBytes(bytes);
    QCOMPARE(table.problem, QString());
    QCOMPARE(table.countries.size(), 3);
    QCOMPARE(table.countries.at(1).providers.at(0).accessPoints.size(), 8);
}

void ProviderTableTest::noList_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("Warid = internet\n");
    QTest::newRow("another kind") << QByteArray("<?xml version=\"1.0\"?><apns/>");
    QTest::newRow("zeros") << QByteArray(4096, '\0');
}

void ProviderTableTest::noList()
{
    QFETCH(const QByteArray, bytes);
    const ProviderTable table = readBytes(bytes);
    QCOMPARE(table.problem, QString("The file is no list of mobile operators."));
    QVERIFY(table.countries.isEmpty());
}

void ProviderTableTest::fileThatIsNotThere()
{
    const ProviderTable table = readProvidersFile("/nowhere/list.xml");
    QCOMPARE(table.problem,
             QString("The list of mobile operators cannot be read: /nowhere/list.xml"));
    QVERIFY(table.countries.isEmpty());
}

/// Whatever is missing at the end, the user is told, and nothing is made up.
void ProviderTableTest::cutAnywhere()
{
    const QByteArray whole = sampleXml.trimmed();
    QSet<QString> offered;
    const Catalogue wholeCatalogue(readBytes(whole), {});
    for (const Offer &offer : wholeCatalogue.offers())
        offered.insert(offer.apn);
    for (int length = 0; length < whole.size(); ++length) {
        const ProviderTable table = readBytes(whole.left(length));
        QVERIFY2(!table.problem.isEmpty(), qPrintable(QString::number(length)));
        QVERIFY(table.countries.size() <= 3);
        const Catalogue catalogue(table, {});
        for (const Offer &offer : catalogue.offers())
            QVERIFY2(offered.contains(offer.apn), qPrintable(offer.apn));
    }
}

void ProviderTableTest::damageKeepsWhatStandsBefore()
{
    QByteArray bytes = sampleXml;
    bytes.replace("<apn value=\"four.de\">", "<apn value=<four.de\">");
    const ProviderTable table = readBytes(bytes);
    QCOMPARE(table.problem, QString("The list of mobile operators is damaged in line 29. What "
                                    "stands before that line is shown."));
    QCOMPARE(table.countries.size(), 2);
    QCOMPARE(table.countries.at(1).providers.size(), 1);
    QCOMPARE(table.countries.at(1).providers.at(0).accessPoints.size(), 4);
}

/// A file of a few lines that would unfold into gigabytes.
void ProviderTableTest::endlessEntitiesAreNoTrap()
{
    QByteArray bytes =
        "<?xml version=\"1.0\"?><!DOCTYPE serviceproviders [<!ENTITY a0 \"aaaaaaaa\">";
    for (int i = 1; i < 30; ++i)
        bytes += QString("<!ENTITY a%1 \"&a%2;&a%2;\">").arg(i).arg(i - 1).toUtf8();
    bytes += "]><serviceproviders format=\"2.0\"><country code=\"de\"><name>&a29;</name>"
             "</country></serviceproviders>";
    QVERIFY(!readBytes(bytes).problem.isEmpty());
}

/// Reproducible: the generator begins with the same seed each time.
void ProviderTableTest::mutatedFiles()
{
    QRandomGenerator random(20230416);
    const QList<QByteArray> pieces{"<",   ">",    "\"",        "&",    "</gsm>",   "<apn value=\"",
                                   "]]>", "<!--", "&#x0;",     "\xff", "\xf0\x9f", "</country>",
                                   "\n",  "<?",   "<![CDATA[", "&amp;"};
    for (int round = 0; round < 3000; ++round) {
        QByteArray bytes = sampleXml;
        for (int change = random.bounded(1, 6); change > 0; --change) {
            const int place = random.bounded(int(bytes.size()));
            switch (random.bounded(4)) {
            case 0:
                bytes[place] = char(random.bounded(256));
                break;
            case 1:
                bytes.remove(place, random.bounded(40));
                break;
            case 2:
                bytes.insert(place, pieces.at(random.bounded(int(pieces.size()))));
                break;
            default:
                bytes.insert(place, bytes.mid(random.bounded(int(bytes.size())), 200));
            }
            if (bytes.isEmpty())
                bytes = "<";
        }
        // What is offered can be stored and dialled, wherever it came from.
        const Catalogue catalogue(readBytes(bytes), "de");
        for (const Offer &offer : catalogue.offers()) {
            QVERIFY2(!offer.name.isEmpty() && !offer.apn.isEmpty() && offer.apn.size() <= 100,
                     bytes.constData());
            QVERIFY2(!offer.apn.contains('"') && !offer.name.contains('\n'), bytes.constData());
        }
    }
}

void ProviderTableTest::installedFile()
{
    const ProviderTable table = readProvidersFile(providersFile());
    QCOMPARE(table.problem, QString());
    QVERIFY(table.countries.size() >= 150);
    int providers = 0;
    int points = 0;
    for (const Country &country : table.countries) {
        QCOMPARE(country.code.size(), 2);
        QVERIFY(!country.names.isEmpty());
        providers += int(country.providers.size());
        for (const Provider &provider : country.providers)
            points += int(provider.accessPoints.size());
    }
    QVERIFY2(providers >= 640, qPrintable(QString::number(providers)));
    QVERIFY2(points >= 1300, qPrintable(QString::number(points)));
}

QTEST_GUILESS_MAIN(ProviderTableTest)
#include "providertable_test.moc"
