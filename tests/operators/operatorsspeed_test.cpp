// How long the window of the operators keeps a person waiting.

#include "app/formfont.h"
#include "operators/operatorswindow.h"
#include "tests/operators/providersample.h"
#include "tests/support/processortime.h"
#include "tests/support/testsettings.h"

#include <QLineEdit>
#include <QTest>

#include <functional>
#include <memory>

class OperatorsSpeedTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { useFormFont(); }

    void opensInTime();
    void typingKeepsWithinAFrame();

private:
    TestSettings m_store;
};

/// With all providers of the world, over an empty window of the toolkit.
void OperatorsSpeedTest::opensInTime()
{
    const auto timeOf = [](const std::function<std::unique_ptr<QWidget>()> &make) {
        const double begin = processorTime();
        const std::unique_ptr<QWidget> window = make();
        window->resize(640, 480);
        window->show();
        if (!QTest::qWaitForWindowExposed(window.get()))
            return 1e9;
        window->grab();
        return processorTime() - begin;
    };
    const double empty = timeOf([] { return std::make_unique<QWidget>(); });
    const double whole =
        timeOf([] { return std::make_unique<OperatorsWindow>(providersFile(), "de"); });
    QVERIFY2(whole - empty < 100 * Slowness, qPrintable(QString("%1 ms").arg(whole - empty)));
}

void OperatorsSpeedTest::typingKeepsWithinAFrame()
{
    OperatorsWindow window(providersFile(), "de");
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    auto *edit = window.findChild<QLineEdit *>("searchEdit");
    double longest = 0;
    for (const QChar letter : QString("a internet vodafone")) {
        const double begin = processorTime();
        QTest::keyClick(edit, letter.toLatin1());
        QCoreApplication::processEvents();
        longest = qMax(longest, processorTime() - begin);
    }
    QVERIFY2(longest < 16 * Slowness, qPrintable(QString("%1 ms").arg(longest)));
}

QTEST_MAIN(OperatorsSpeedTest)
#include "operatorsspeed_test.moc"
