#include "platform/simulated/machinesession.h"
#include "tests/platform/installationbench.h"

using namespace platform;

/// What only the simulated PC can do: be given another processor.
class SimulatedSetupApiTest : public QObject
{
    Q_OBJECT

private slots:
    void theProcessorsModelsAreInstalled_data()
    {
        QTest::addColumn<QString>("processor");
        QTest::addColumn<QString>("decoration");
        QTest::addColumn<bool>("isServed");

        QTest::newRow("x64") << "x64"
                             << ".NTamd64" << true;
        QTest::newRow("x64, undecorated") << "x64"
                                          << "" << false;
        QTest::newRow("Itanium") << "ia64"
                                 << ".NTia64" << true;
        QTest::newRow("Itanium, undecorated") << "ia64"
                                              << "" << false;
        QTest::newRow("x86") << "x86"
                             << ".NTx86" << true;
        QTest::newRow("x86, undecorated") << "x86"
                                          << "" << true;
        QTest::newRow("x86, for x64") << "x86"
                                      << ".NTamd64" << false;
    }

    void theProcessorsModelsAreInstalled()
    {
        QFETCH(QString, processor);
        QFETCH(QString, decoration);
        QFETCH(bool, isServed);
        const auto bench = InstallationBench::make();
        {
            simulated::MachineSession session(bench->path("pc"));
            QVERIFY(simulated::processorFromName(processor, &session.state.windows.processor));
            QVERIFY(session.save());
        }
        const QString offered = decoration.isEmpty() ? QString() : ',' + decoration.mid(1);
        const QString inf = bench->write(
            "modem.inf", QString("[Version]\nSignature=\"$Windows NT$\"\n"
                                 "[Manufacturer]\nMaker=Models%1\n"
                                 "[Models%2]\n\"MTK GPRS Modem\"=Install,mtkgprsmodem\n")
                             .arg(offered, decoration)
                             .toLatin1());
        NewModem modem(*bench);
        QVERIFY(modem.setHardwareId() && modem.registerIt());
        const auto update = [&] {
            return bench->system.UpdateDriverForPlugAndPlayDevicesW(
                nullptr, u"mtkgprsmodem", wide(inf), InstallFlagForce, nullptr);
        };
        if (isServed)
            QVERIFY(update());
        else
            FAILS_WITH(ErrorNoMoreItems, update());
    }
};

QTEST_GUILESS_MAIN(SimulatedSetupApiTest)
#include "simulated_setupapi_test.moc"
