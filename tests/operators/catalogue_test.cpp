#include "operators/catalogue.h"
#include "tests/operators/providersample.h"
#include "tests/support/processortime.h"

#include <QSet>
#include <QTest>

class CatalogueTest : public QObject
{
    Q_OBJECT

private slots:
    void ownCountryComesFirst();
    void namesTellApart();
    void differencesThatTheListCannotHold();
    void remarks();
    void remarksInFull();
    void orderOfNamesThatDifferInCase();
    void leftOut();
    void countryWithoutAName();
    void countriesOfTheSameName();
    void namesThatNothingTellsApart();
    void namesThatDifferInCaseOnly();
    void search_data();
    void search();
    void everyInstalledOffer();
    void searchWithinAFrame();

private:
    /// Of one country with these providers.
    static Catalogue catalogueOf(const QByteArray &providers)
    {
        return {readBytes("<serviceproviders format=\"2.0\"><country code=\"de\"><name>G</name>" +
                          providers + "</country></serviceproviders>"),
                {}};
    }

    const Catalogue m_sample{readBytes(sampleXml), "de"};

    const Offer *sample(const QString &apn) const
    {
        for (const Offer &offer : m_sample.offers()) {
            if (offer.apn == apn)
                return &offer;
        }
        return nullptr;
    }
};

void CatalogueTest::ownCountryComesFirst()
{
    const auto names = [](const QString &own) {
        QStringList list;
        const Catalogue catalogue(readBytes(sampleXml), own);
        for (const CatalogueCountry &country : catalogue.countries())
            list.append(country.name);
        return list;
    };
    QCOMPARE(names("de"), QStringList({"Germany", "Austria", "Brazil"}));
    QCOMPARE(names("br"), QStringList({"Brazil", "Austria", "Germany"}));
    QCOMPARE(names(""), QStringList({"Austria", "Brazil", "Germany"}));
    QCOMPARE(m_sample.countryWithCode("BR"), 2);
    QCOMPARE(m_sample.countryWithCode("xx"), -1);
}

void CatalogueTest::namesTellApart()
{
    QStringList lines;
    for (const int place : m_sample.countries().at(0).offers)
        lines.append(m_sample.offers().at(place).name + '=' + m_sample.offers().at(place).apn);
    QCOMPARE(lines.join('\n'), QStringList({
                                               "Twelve & Co=five.de",
                                               "Twelve & Co - Day=one.de",
                                               "Twelve & Co - Night (contract)=three.de",
                                               "Twelve & Co - Night (prepaid)=two.de",
                                               "Twelve & Co - Pages=wap.de",
                                               "twelve & co XL=four.de",
                                           })
                                   .join('\n'));
    // The only one of its operator needs no more than that operator's name.
    QCOMPARE(sample("mono.br")->name, QString("Mono"));
    QCOMPARE(sample("mono.br")->countryName, QString("Brazil"));
    QCOMPARE(sample("mono.br")->country, 2);
}

void CatalogueTest::differencesThatTheListCannotHold()
{
    // One row for both plans.
    QCOMPARE(sample("one.de")->plans, QString("contract, prepaid"));
    QCOMPARE(sample("two.de")->plans, QString("prepaid"));
    QCOMPARE(sample("five.de")->plans, QString());
}

void CatalogueTest::remarks()
{
    QCOMPARE(sample("mono.br")->mark, QString("name, password"));
    QVERIFY(sample("mono.br")->note.startsWith(
        "The network may ask for the name \"mo\" and the password \"no\". "));
    QCOMPARE(sample("three.de")->mark, QString("password"));
    QVERIFY(sample("three.de")->note.startsWith("The network may ask for the password \"x\". "));
    QCOMPARE(sample("wap.de")->mark, QString("WAP"));
    QVERIFY(sample("wap.de")->note.contains("may not reach the Internet"));
    QCOMPARE(sample("one.de")->mark + sample("one.de")->note, QString());
}

void CatalogueTest::remarksInFull()
{
    const QByteArray onlyName = "<username>n</username>";
    const QByteArray both = "<username>m</username><password>p</password>";
    const auto point = [](const QByteArray &apn, const QByteArray &content) {
        return "<apn value=\"" + apn + "\"><name>" + apn + "</name>" + content + "</apn>";
    };
    const Catalogue catalogue = catalogueOf(
        "<provider><name>X</name><gsm>" + point("wap", "<usage type=\"wap\"/>" + onlyName) +
        // What differs in name and password only is one offer, with the first ones.
        point("later", "") + point("later", both) + point("name", onlyName) + point("name", both) +
        point("password", "<password>x</password>") + point("password", onlyName) +
        point("signs-on", "<usage type=\"ia\"/>") + "</gsm></provider>");
    QStringList marks;
    for (const Offer &offer : catalogue.offers())
        marks.append(offer.apn + ": " + offer.mark);
    QCOMPARE(marks, QStringList({"later: name, password", "name: name", "password: password",
                                 "wap: WAP; name"}));
    const QString end = " Most networks take any; if yours refuses, see \"Names and passwords\" in "
                        "the manual.";
    QCOMPARE(catalogue.offers().at(0).note,
             "The network may ask for the name \"m\" and the password \"p\"." + end);
    QCOMPARE(catalogue.offers().at(3).note,
             "Made for the operator's own pages (WAP): it may not reach the Internet. "
             "The network may ask for the name \"n\"." +
                 end);
    QCOMPARE(catalogue.countries().at(0).leftOut, 1);
}

void CatalogueTest::orderOfNamesThatDifferInCase()
{
    const auto provider = [](const QByteArray &name) {
        return "<provider><name>" + name + "</name><gsm><apn value=\"a\"/></gsm></provider>";
    };
    const Catalogue catalogue =
        catalogueOf(provider("one") + provider("Zwei") + provider("ONE") + provider("One"));
    QStringList names;
    for (const Offer &offer : catalogue.offers())
        names.append(offer.name);
    QCOMPARE(names, QStringList({"ONE", "One", "one", "Zwei"}));
}

void CatalogueTest::leftOut()
{
    QVERIFY(!sample("mms"));
    QVERIFY(!sample("mms.mono.br"));
    QVERIFY(!sample("http://192.0.2.9"));
    QCOMPARE(m_sample.countries().at(0).leftOut, 2);
    QCOMPARE(m_sample.countries().at(1).leftOut, 0);
    QCOMPARE(m_sample.countries().at(2).leftOut, 1);
    QCOMPARE(leftOutText(2),
             QString("Left out: 2 for picture messages (MMS) only, or without a usable name."));
}

void CatalogueTest::countryWithoutAName()
{
    const Catalogue catalogue(readBytes("<serviceproviders format=\"2.0\"><country code=\"zz\">"
                                        "<provider><name>One</name><gsm><apn value=\"one\"/></gsm>"
                                        "</provider></country></serviceproviders>"),
                              "de");
    QCOMPARE(catalogue.countries().size(), 1);
    QCOMPARE(catalogue.countries().first().name, QString("ZZ"));
}

// They stay in the file's order; by its code each is found.
void CatalogueTest::countriesOfTheSameName()
{
    const auto country = [](const QByteArray &code) {
        return "<country code=\"" + code +
               "\"><name>G</name><provider><name>X</name><gsm><apn value=\"a\"/></gsm></provider>"
               "</country>";
    };
    const Catalogue catalogue(readBytes("<serviceproviders format=\"2.0\">" + country("zz") +
                                        country("yy") + country("xx") + "</serviceproviders>"),
                              {});
    QCOMPARE(catalogue.countryWithCode("zz"), 0);
    QCOMPARE(catalogue.countryWithCode("yy"), 1);
    QCOMPARE(catalogue.countryWithCode("xx"), 2);
    QCOMPARE(catalogue.find("yy"), QVector<int>({1}));
}

void CatalogueTest::namesThatNothingTellsApart()
{
    const auto provider = [](const QByteArray &name, const QByteArray &apns) {
        return "<provider><name>" + name + "</name><gsm>" + apns + "</gsm></provider>";
    };
    const QByteArray apn = "<apn value=\"a\"/>";
    const Catalogue catalogue = catalogueOf(
        provider("Y", "<apn value=\"b\"/>") + provider("Y", "<apn value=\"c\"/>") +
        provider("X", apn) + provider("X", apn) + provider("X", apn) + provider("X 2", apn));
    QStringList names;
    for (const Offer &offer : catalogue.offers())
        names.append(offer.name);
    QCOMPARE(names, QStringList({"X", "X 2", "X 2 2", "X 3", "Y (b)", "Y (c)"}));
}

// In the same order in every file.
void CatalogueTest::namesThatDifferInCaseOnly()
{
    const auto names = [](const QByteArray &first, const QByteArray &second) {
        const auto provider = [](const QByteArray &name) {
            return "<provider><name>" + name + "</name><gsm><apn value=\"" + name.toLower() +
                   "\"/></gsm></provider>";
        };
        const Catalogue catalogue(
            readBytes("<serviceproviders format=\"2.0\"><country code=\"de\"><name>G</name>" +
                      provider(first) + provider(second) + "</country></serviceproviders>"),
            {});
        QStringList list;
        for (const Offer &offer : catalogue.offers())
            list.append(offer.name);
        return list;
    };
    QCOMPARE(names("One", "ONE"), QStringList({"ONE", "One"}));
    QCOMPARE(names("ONE", "One"), QStringList({"ONE", "One"}));
}

void CatalogueTest::search_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QStringList>("apns");
    QTest::newRow("operator") << "mono" << QStringList({"mono.at", "mono.br"});
    QTest::newRow("country in English") << "aust" << QStringList("mono.at");
    QTest::newRow("country in its language") << "brasil" << QStringList("mono.br");
    QTest::newRow("country in its language, accent left out") << "osterr" << QStringList("mono.at");
    QTest::newRow("case") << "BRASIL" << QStringList("mono.br");
    QTest::newRow("operator's other name") << "zwolf night" << QStringList({"three.de", "two.de"});
    QTest::newRow("access point") << "three.de" << QStringList("three.de");
    QTest::newRow("first of all") << "five.de" << QStringList("five.de");
    QTest::newRow("words in any order") << "  brazil   mono " << QStringList("mono.br");
    QTest::newRow("nothing") << "mono germany" << QStringList();
}

void CatalogueTest::search()
{
    QFETCH(const QString, words);
    QFETCH(const QStringList, apns);
    QStringList found;
    for (const int place : m_sample.find(words))
        found.append(m_sample.offers().at(place).apn);
    QCOMPARE(found, apns);
}

void CatalogueTest::everyInstalledOffer()
{
    const ProviderTable table = readProvidersFile(providersFile());
    const Catalogue catalogue(table, "de");
    QCOMPARE(catalogue.countries().first().name, QString("Germany"));
    QVERIFY(catalogue.offers().size() > 900);
    for (const CatalogueCountry &country : catalogue.countries()) {
        QSet<QString> names;
        for (const int place : country.offers) {
            const Offer &offer = catalogue.offers().at(place);
            QVERIFY2(!names.contains(offer.name), qPrintable(country.name + ": " + offer.name));
            names.insert(offer.name);
            QVERIFY2(offer.name.size() <= 120 && offer.name == offer.name.simplified(),
                     qPrintable(offer.name));
        }
    }
    // Nothing disappears without being counted.
    for (const Country &country : table.countries) {
        const CatalogueCountry &entry =
            catalogue.countries().at(catalogue.countryWithCode(country.code));
        QSet<QString> apns;
        for (const int place : entry.offers)
            apns.insert(catalogue.offers().at(place).apn);
        int others = 0;
        for (const Provider &provider : country.providers) {
            for (const AccessPoint &point : provider.accessPoints)
                others += apns.contains(point.apn) && point.usage != "mms" ? 0 : 1;
        }
        QVERIFY2(others == entry.leftOut, qPrintable(entry.name));
    }
}

/// A frame is 16 milliseconds; painting has to fit in, too.
void CatalogueTest::searchWithinAFrame()
{
    const Catalogue catalogue(readProvidersFile(providersFile()), "de");
    for (const char *words : {"a", "vod", "internet", "nothing at all", "e n i"}) {
        const double begin = processorTime();
        catalogue.find(words);
        const double spent = processorTime() - begin;
        QVERIFY2(spent < 5 * Slowness, qPrintable(QString("%1: %2 ms").arg(words).arg(spent)));
    }
}

QTEST_GUILESS_MAIN(CatalogueTest)
#include "catalogue_test.moc"
