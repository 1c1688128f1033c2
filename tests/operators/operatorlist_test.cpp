#include "operators/catalogue.h"
#include "operators/operatorlist.h"

#include <QTest>

class OperatorListTest : public QObject
{
    Q_OBJECT

private slots:
    void names_data();
    void names();
    void accessPointNames_data();
    void accessPointNames();
    void offersGetNamesOfTheirOwn();
    void textIsReadable();
    void textComesBack_data();
    void textComesBack();
    void textAsEditorsWriteIt();
    void textThatIsNone_data();
    void textThatIsNone();
};

void OperatorListTest::names_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("isGood");
    QTest::newRow("plain") << "Telekom" << true;
    QTest::newRow("other script") << QString::fromUtf8("中華電信") << true;
    QTest::newRow("right to left") << QString::fromUtf8("موبايلي") << true;
    QTest::newRow("200 characters") << QString(200, 'x') << true;
    QTest::newRow("signs") << "\"O!\" = #1 \\ <b>" << true;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("blanks") << "  " << false;
    QTest::newRow("two lines") << "a\nb" << false;
    QTest::newRow("zero") << QString(QChar(0)) << false;
    QTest::newRow("line separator") << QString("a") + QChar(QChar::LineSeparator) << false;
    QTest::newRow("paragraph separator")
        << QString("a") + QChar(QChar::ParagraphSeparator) << false;
}

void OperatorListTest::names()
{
    QFETCH(const QString, name);
    QFETCH(const bool, isGood);
    QCOMPARE(nameProblem(name).isEmpty(), isGood);
    if (!isGood && !name.trimmed().isEmpty())
        QCOMPARE(nameProblem(name), QString("A name is one line without control characters."));
}

void OperatorListTest::accessPointNames_data()
{
    QTest::addColumn<QString>("apn");
    QTest::addColumn<bool>("isGood");
    QTest::newRow("plain") << "web.vodafone.de" << true;
    QTest::newRow("hyphen, underscore, capital") << "T-d_1" << true;
    QTest::newRow("ends of the alphabet") << "azAZ09" << true;
    QTest::newRow("longest") << QString(100, 'a') << true;
    QTest::newRow("too long") << QString(101, 'a') << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("blank") << "a b" << false;
    // It would end the text in the modem's command.
    QTest::newRow("quote") << "a\"b" << false;
    QTest::newRow("carriage return") << "a\rATD123" << false;
    QTest::newRow("umlaut") << QString::fromUtf8("ü") << false;
}

void OperatorListTest::accessPointNames()
{
    QFETCH(const QString, apn);
    QFETCH(const bool, isGood);
    QCOMPARE(apnProblem(apn).isEmpty(), isGood);
}

void OperatorListTest::offersGetNamesOfTheirOwn()
{
    const auto offer = [](const QString &apn, const QString &country) {
        Offer made;
        made.name = "Vodafone";
        made.apn = apn;
        made.countryName = country;
        return made;
    };
    QVariantMap list{{"Other", "other"}};
    QCOMPARE(nameInList(list, offer("web", "Germany")), QString());
    QCOMPARE(addToList(&list, offer("web", "Germany")), QString("Vodafone"));
    QCOMPARE(addToList(&list, offer("web", "Germany")), QString("Vodafone"));
    QCOMPARE(addToList(&list, offer("omnitel", "Italy")), QString("Vodafone (Italy)"));
    QCOMPARE(addToList(&list, offer("prepaid", "Italy")), QString("Vodafone (Italy, prepaid)"));
    QCOMPARE(nameInList(list, offer("omnitel", "Italy")), QString("Vodafone (Italy)"));
    QCOMPARE(list, QVariantMap({{"Other", "other"},
                                {"Vodafone", "web"},
                                {"Vodafone (Italy)", "omnitel"},
                                {"Vodafone (Italy, prepaid)", "prepaid"}}));
    // Somebody gave the last possible name to another access point.
    list["Vodafone (Italy, prepaid)"] = "mine";
    QCOMPARE(addToList(&list, offer("prepaid", "Italy")), QString("Vodafone (Italy, prepaid)"));
    QCOMPARE(list.value("Vodafone (Italy, prepaid)").toString(), QString("prepaid"));
}

void OperatorListTest::textIsReadable()
{
    QCOMPARE(listAsText({{"Warid", "internet"}, {"Banglalink", "blweb"}}),
             QByteArray("Banglalink = blweb\nWarid = internet\n"));
    QCOMPARE(listAsText({}), QByteArray());
    // Settings that were written by hand may hold such a name.
    QCOMPARE(listAsText({{" two\nlines", "apn"}}), QByteArray("two lines = apn\n"));
}

void OperatorListTest::textComesBack_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("plain") << "Telekom";
    QTest::newRow("sign of a comment") << "#1 mobile";
    QTest::newRow("equals sign") << "a = b";
    QTest::newRow("only an equals sign") << "=";
    QTest::newRow("in quotes") << "\"O!\"";
    // A reader of UTF-8 takes it for the mark of a text's beginning.
    QTest::newRow("begins with a byte order mark") << QChar(QChar::ByteOrderMark) + QString("a");
    QTest::newRow("a quote") << "\"";
    QTest::newRow("two quotes") << "\"\"";
    QTest::newRow("quotes within") << "The \"best\" one";
    QTest::newRow("blanks around") << " x ";
    QTest::newRow("right to left") << QString::fromUtf8("موبايلي (contract)");
    QTest::newRow("beyond 16 bits") << QString::fromUtf8("📱");
    QTest::newRow("200 characters") << QString(200, QChar(0x4e2d));
}

void OperatorListTest::textComesBack()
{
    QFETCH(const QString, name);
    const QVariantMap list{{name, "some.apn"}, {"Another", "x"}};
    const ListFromText read = listFromText(listAsText(list));
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.list, list);
}

void OperatorListTest::textAsEditorsWriteIt()
{
    const ListFromText read = listFromText("\xEF\xBB\xBF# our village\r\n\r\n"
                                           "  Caf\xC3\xA9=cafe.net\r\nB  =  b");
    QCOMPARE(read.problem, QString());
    QCOMPARE(read.list, QVariantMap({{QString::fromUtf8("Café"), "cafe.net"}, {"B", "b"}}));
    // Quotes that are not around the whole name belong to it.
    QCOMPARE(listFromText("The \"best\" = x\n\"O!\" 2 = y\n").list,
             QVariantMap({{"The \"best\"", "x"}, {"\"O!\" 2", "y"}}));
    QVERIFY(listFromText("# nothing\n").list.isEmpty());
    QCOMPARE(listFromText("# nothing\n").problem, QString());
}

void OperatorListTest::textThatIsNone_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("problem");
    QTest::newRow("no sign") << QByteArray("A = a\n\nB b\n")
                             << "Line 3: It is not of the form NAME = APN.";
    QTest::newRow("no name") << QByteArray(" = a\n") << "Line 1: An operator needs a name.";
    QTest::newRow("nothing in quotes")
        << QByteArray("\"\" = a\n") << "Line 1: An operator needs a name.";
    QTest::newRow("no access point")
        << QByteArray("A =\n") << "Line 1: An operator needs an access point name (APN).";
    QTest::newRow("bad access point")
        << QByteArray("A = a b\n")
        << "Line 1: An access point name has letters, digits, dots and hyphens, 100 at most, and "
           "no blanks.";
    QTest::newRow("twice") << QByteArray("A = a\nA = b\n")
                           << "Line 2: The name \"A\" stands twice.";
    QTest::newRow("another encoding")
        << QByteArray("A = a\nCaf\xE9 = b\n") << "Line 2: The text is not UTF-8.";
    QTest::newRow("two bytes a letter")
        << QByteArray("\xFF\xFE\x41\x00", 4) << "Line 1: The text is not UTF-8.";
}

void OperatorListTest::textThatIsNone()
{
    QFETCH(const QByteArray, text);
    QFETCH(const QString, problem);
    const ListFromText read = listFromText(text);
    QCOMPARE(read.problem, problem);
    QVERIFY(read.list.isEmpty());
}

QTEST_GUILESS_MAIN(OperatorListTest)
#include "operatorlist_test.moc"
