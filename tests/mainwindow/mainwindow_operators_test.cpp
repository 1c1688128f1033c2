#include "tests/mainwindow/mainwindowbench.h"

#include <QComboBox>
#include <QTest>

namespace {

QStringList operators(const MainWindow &window)
{
    const auto *box = window.findChild<QComboBox *>("operatorComboBox");
    QStringList names;
    for (int i = 0; i < box->count(); ++i)
        names.append(box->itemText(i));
    return names;
}

} // namespace

class MainWindowOperatorsTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void operatorsAreListed()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QCOMPARE(operators(window),
                 QStringList({"Banglalink", "GrameenPhone", "Robi (Aktel)", "Teletalk", "Warid"}));
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), 0);
    }

    void chosenOperatorIsSelected()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, "Teletalk");
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), 3);
    }

    void operatorOfAnotherType_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("index");
        QTest::newRow("list") << QVariant(QStringList{"Warid", "Teletalk"}) << 0;
        QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}}) << 0;
        QTest::newRow("binary") << QVariant(QByteArray("\x01\xff")) << -1;
        QTest::newRow("number") << QVariant(7) << -1;
    }

    /// A list or a map is no text, and so no operator was chosen.
    void operatorOfAnotherType()
    {
        QFETCH(QVariant, value);
        QFETCH(int, index);
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, value);
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), index);
    }

    void entryNameOfAnotherType()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::port(Port), QStringList{"a", "b"});
        MainWindow window;
        checkWizardStart(window);
    }

    void ownOperatorTable()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::MobileOperators,
                             QVariantMap{{"Zeta", "z"}, {"Alpha", "a"}});
        MainWindow window;
        QCOMPARE(operators(window), QStringList({"Alpha", "Zeta"}));
    }

    void tableThatIsNoMap()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::MobileOperators, "no map");
        MainWindow window;
        QCOMPARE(operators(window), QStringList());
        bench.answerDial();
        button(window, "connectButton")->click();
        QVERIFY(bench.machine.written.endsWith("AT+CGDCONT=1,\"IP\",\"\"\r"));
    }

    void unknownOperator()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, "Nobody");
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), -1);
        bench.answerDial();
        button(window, "connectButton")->click();
        const QVariant stored = QSettings().value(settingskeys::CurrentMobileOperator);
        QVERIFY(stored.isValid());
        QCOMPARE(stored.toString(), QString(""));
        QVERIFY(bench.machine.written.endsWith("AT+CGDCONT=1,\"IP\",\"\"\r"));
        QCOMPARE(bench.machine.dials.size(), 1);
    }
};

QTEST_MAIN(MainWindowOperatorsTest)
#include "mainwindow_operators_test.moc"
