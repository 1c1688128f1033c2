#include "virtualphone/commandparser.h"

#include <QTest>

using namespace virtualphone;

Q_DECLARE_METATYPE(CommandForm)

class CommandParserTest : public QObject
{
    Q_OBJECT

private slots:
    void linesAreNormalised_data();
    void linesAreNormalised();
    void commandIsTaken_data();
    void commandIsTaken();
    void registersHaveAnIndex();
    void lineIsTakenToItsEnd();
    void parametersAreSplit_data();
    void parametersAreSplit();
    void malformedParameters_data();
    void malformedParameters();
    void wholeNumbers_data();
    void wholeNumbers();
};

void CommandParserTest::linesAreNormalised_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("normal");
    QTest::newRow("case") << QByteArray("at+csq") << QByteArray("AT+CSQ");
    QTest::newRow("blanks") << QByteArray(" A T E 0 ") << QByteArray("ATE0");
    QTest::newRow("string") << QByteArray("at+x=\"a B\" , \"c\"")
                            << QByteArray("AT+X=\"a B\",\"c\"");
    QTest::newRow("string not closed") << QByteArray("at+x=\"a b") << QByteArray("AT+X=\"a b");
    QTest::newRow("empty") << QByteArray() << QByteArray();
}

void CommandParserTest::linesAreNormalised()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, normal);
    QCOMPARE(normalised(line), normal);
}

void CommandParserTest::commandIsTaken_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<CommandForm>("form");
    QTest::addColumn<QByteArray>("parameter");
    QTest::addColumn<QByteArray>("rest");
    const auto row = [](const char *line, const char *name, CommandForm form, const char *parameter,
                        const char *rest) {
        QTest::newRow(line) << QByteArray(line) << QByteArray(name) << form << QByteArray(parameter)
                            << QByteArray(rest);
    };
    row("E", "E", BasicForm, "", "");
    row("E0V1", "E", BasicForm, "0", "V1");
    row("S12=3", "S", SetForm, "3", "");
    row("S0=1S7?", "S", SetForm, "1", "S7?");
    row("S7?E0", "S", ReadForm, "", "E0");
    row("S7=E0", "S", SetForm, "", "E0");
    row("S7", "S7", ExecuteForm, "", "");
    row("S=1", "S=1", ExecuteForm, "", "");
    row("S9999999999?", "S9999999999?", ExecuteForm, "", "");
    row("&F1E", "&F", BasicForm, "1", "E");
    row("&", "&", BasicForm, "", "");
    row("D*99***1#;+CSQ", "D", BasicForm, "*99***1#;+CSQ", "");
    row("+CSQ", "+CSQ", ExecuteForm, "", "");
    row("+CREG?", "+CREG", ReadForm, "", "");
    row("+CGATT=?", "+CGATT", TestForm, "", "");
    row("+CGATT=", "+CGATT", SetForm, "", "");
    row("+CGATT=1;E0", "+CGATT", SetForm, "1", "E0");
    row("+CGDCONT=1,\"a;b\";I", "+CGDCONT", SetForm, "1,\"a;b\"", "I");
    row("+CSQ!;E0", "+CSQ!;E0", ExecuteForm, "", "");
    row("+", "+", ExecuteForm, "", "");
}

void CommandParserTest::commandIsTaken()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, name);
    QFETCH(CommandForm, form);
    QFETCH(QByteArray, parameter);
    QFETCH(QByteArray, rest);
    const ParsedCommand command = takeCommand(&line);
    QCOMPARE(command.name, name);
    QCOMPARE(command.form, form);
    QCOMPARE(command.parameter, parameter);
    QCOMPARE(line, rest);
}

void CommandParserTest::registersHaveAnIndex()
{
    QByteArray line = "S7=60S12?";
    QCOMPARE(takeCommand(&line).index, 7);
    QCOMPARE(takeCommand(&line).index, 12);
}

void CommandParserTest::lineIsTakenToItsEnd()
{
    QByteArray line = "E0&F+CSQ;+CREG?;V1";
    QList<QByteArray> names;
    while (!line.isEmpty())
        names += takeCommand(&line).name;
    QCOMPARE(names, (QList<QByteArray>{"E", "&F", "+CSQ", "+CREG", "V"}));
}

void CommandParserTest::parametersAreSplit_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QList<QByteArray>>("values"); // strings with a quote in front
    QTest::newRow("number") << QByteArray("1") << QList<QByteArray>{"1"};
    QTest::newRow("number and string") << QByteArray("1,\"IP\"") << QList<QByteArray>{"1", "\"IP"};
    QTest::newRow("separators in a string")
        << QByteArray("\"a,b;c\",2") << QList<QByteArray>{"\"a,b;c", "2"};
    QTest::newRow("empty string") << QByteArray("\"\"") << QList<QByteArray>{"\""};
    QTest::newRow("left out") << QByteArray("1,,3,") << QList<QByteArray>{"1", "", "3", ""};
    QTest::newRow("nothing") << QByteArray() << QList<QByteArray>{""};
}

void CommandParserTest::parametersAreSplit()
{
    QFETCH(QByteArray, text);
    QFETCH(QList<QByteArray>, values);
    const std::optional<QList<Parameter>> parameters = splitParameters(text);
    QVERIFY(parameters.has_value());
    QList<QByteArray> found;
    for (const Parameter &parameter : *parameters)
        found += (parameter.quoted ? "\"" : "") + parameter.value;
    QCOMPARE(found, values);
}

void CommandParserTest::malformedParameters_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("string not closed") << QByteArray("1,\"a");
    QTest::newRow("text after a string") << QByteArray("\"a\"b");
    QTest::newRow("text before a string") << QByteArray("a\"b\"");
    QTest::newRow("quote in a string") << QByteArray("\"a\"b\"");
    QTest::newRow("only quotes") << QByteArray("\"\"\"");
}

void CommandParserTest::malformedParameters()
{
    QFETCH(QByteArray, text);
    QVERIFY(!splitParameters(text).has_value());
}

void CommandParserTest::wholeNumbers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("number"); // -1: none
    QTest::newRow("zero") << QByteArray("0") << 0;
    QTest::newRow("zeros before it") << QByteArray("007") << 7;
    QTest::newRow("nine digits") << QByteArray("999999999") << 999999999;
    QTest::newRow("ten digits") << QByteArray("1000000000") << -1;
    QTest::newRow("plus") << QByteArray("+1") << -1;
    QTest::newRow("minus") << QByteArray("-1") << -1;
    QTest::newRow("blank") << QByteArray(" 1") << -1;
    QTest::newRow("letter") << QByteArray("1a") << -1;
    QTest::newRow("empty") << QByteArray() << -1;
}

void CommandParserTest::wholeNumbers()
{
    QFETCH(QByteArray, text);
    QFETCH(int, number);
    QCOMPARE(wholeNumber(text).value_or(-1), number);
}

QTEST_GUILESS_MAIN(CommandParserTest)
#include "commandparser_test.moc"
