#include "platform/linux/setupapi.h"
#include "tests/linux/fulldisk.h"
#include "tests/platform/installationbench.h"

#include <QJsonDocument>

using namespace platform;

/// What only this machine can do: its files, and the INFs that are delivered
/// for it.
class SetupApiTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_bench = InstallationBench::make(); }
    void cleanup() { m_bench.reset(); }

    void theDeliveredInfsServeTheModem_data();
    void theDeliveredInfsServeTheModem();
    void whatAnEarlierVersionInstalledStays();
    void withoutRightsNoStoreIsMade();
    void aDamagedStoreIsKept_data();
    void aDamagedStoreIsKept();
    void aFullDiskIsTold();
    void theNewestModemComesLast();

private:
    QString stateFile() const { return m_bench->path("state/state.json"); }
    void writeState(const QByteArray &content)
    {
        QVERIFY(QDir().mkpath(m_bench->path("state")));
        m_bench->write("state/state.json", content);
    }
    QByteArray state() const
    {
        QFile file(stateFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    std::unique_ptr<InstallationBench> m_bench;
};

void SetupApiTest::theDeliveredInfsServeTheModem_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("32") << TMC_DRIVERS "/modem_inf_32.inf";
    QTest::newRow("64") << TMC_DRIVERS "/modem_inf_64.inf";
}

void SetupApiTest::theDeliveredInfsServeTheModem()
{
    QFETCH(QString, file);
    Platform &system = m_bench->system;
    Guid guid = {};
    WCHAR name[100] = {};
    QVERIFY(system.SetupDiGetINFClassW(wide(file), &guid, name, 200, nullptr));
    QVERIFY(guid == modemClass);
    QCOMPARE(fromField(name), QString("Modem"));
    QVERIFY(system.SetupCopyOEMInfW(wide(file), nullptr, SourceMediaNone, CopyInfCatalogOnly,
                                    nullptr, 0, nullptr, nullptr));
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    QVERIFY(system.UpdateDriverForPlugAndPlayDevicesW(nullptr, u"mtkgprsmodem", wide(file),
                                                      InstallFlagForce, nullptr));
    QCOMPARE(m_bench->kept().devices.first().friendlyName, QString("Tolvane GPRS Modem"));
}

// Its devices had no numbers, no INF and another word for their name.
void SetupApiTest::whatAnEarlierVersionInstalledStays()
{
    writeState(R"({"devices": [
        {"instanceId": "ROOT\\MODEM\\0000", "class": "Modem",
         "classGuid": "{4D36E96D-E325-11CE-BFC1-08002BE10318}", "hardwareIds": ["mtkgprsmodem"],
         "name": "Tolvane GPRS Modem", "driverKey": {"AttachedTo": "COM5"}},
        {"instanceId": "ROOT\\MODEM\\0001", "class": "Modem",
         "classGuid": "{4D36E96D-E325-11CE-BFC1-08002BE10318}", "hardwareIds": [], "name": ""}],
        "ports": {"tty:ttyS0": 1}})");
    const QList<RootDevice> devices = m_bench->kept().devices;
    QCOMPARE(devices.size(), 2);
    QCOMPARE(devices.first().friendlyName, QString("Tolvane GPRS Modem"));
    QCOMPARE(devices.first().hardwareIds, QStringList("mtkgprsmodem"));
    QVERIFY(devices.first().hasDriverKey);
    QCOMPARE(devices.first().driverKey.value("AttachedTo"), QString("COM5"));
    QVERIFY(devices.at(1).friendlyName.isEmpty());
    QVERIFY(!devices.at(1).hasDriverKey);
    QVERIFY(devices.at(0).devInst > RootDevNode);
    QVERIFY(devices.at(1).devInst > devices.at(0).devInst);

    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    QCOMPARE(modem.instanceId(), QString("ROOT\\MODEM\\0002"));
    QVERIFY(m_bench->kept().devices.mid(0, 2) == devices);
    const QJsonObject kept = QJsonDocument::fromJson(state()).object();
    QCOMPARE(kept.value("ports").toObject().value("tty:ttyS0").toInt(), 1);
}

void SetupApiTest::withoutRightsNoStoreIsMade()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    QVERIFY(QDir().mkpath(m_bench->path("state")));
    m_bench->setAdministrator(false);
    FAILS_WITH(ErrorAccessDenied,
               m_bench->system.SetupCopyOEMInfW(wide(inf), nullptr, SourceMediaNone, 0, nullptr, 0,
                                                nullptr, nullptr));
    const NewModem modem(*m_bench);
    QVERIFY(!modem.created);
    QCOMPARE(lastError(), ErrorAccessDenied);
    FAILS_WITH(ErrorAccessDenied,
               m_bench->system.UpdateDriverForPlugAndPlayDevicesW(
                   nullptr, u"mtkgprsmodem", wide(inf), InstallFlagForce, nullptr));
    m_bench->setAdministrator(true);
    QVERIFY(QDir(m_bench->path("state")).isEmpty());
}

void SetupApiTest::aDamagedStoreIsKept_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("no object") << QByteArray("[]");
    QTest::newRow("no list of devices") << QByteArray(R"({"devices": {}})");
    QTest::newRow("a device's value") << QByteArray(R"({"devices": [{"instanceId": 7}]})");
    QTest::newRow("a key's value") << QByteArray(R"({"devices": [{"driverKey": {"a": 7}}]})");
}

void SetupApiTest::aDamagedStoreIsKept()
{
    QFETCH(QByteArray, content);
    writeState(content);
    const QString inf = m_bench->write("modem.inf", modemInf());
    const NewModem modem(*m_bench);
    QVERIFY(!modem.created);
    QCOMPARE(lastError(), ErrorInvalidData);
    FAILS_WITH(ErrorInvalidData,
               m_bench->system.UpdateDriverForPlugAndPlayDevicesW(
                   nullptr, u"mtkgprsmodem", wide(inf), InstallFlagForce, nullptr));
    FAILS_WITH(ErrorInvalidData, m_bench->system.SetupDiGetClassDevsW(&modemClass, nullptr, nullptr,
                                                                      GetPresentDevices));
    QCOMPARE(state(), content);
}

void SetupApiTest::aFullDiskIsTold()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    NewModem modem(*m_bench);
    QVERIFY(modem.registerIt());
    DWORD copied = Success;
    DWORD created = Success;
    {
        const FullDisk disk;
        m_bench->system.SetupCopyOEMInfW(wide(inf), nullptr, SourceMediaNone, 0, nullptr, 0,
                                         nullptr, nullptr);
        copied = lastError();
        modem.createKey();
        created = lastError();
    }
    QCOMPARE(copied, ErrorGenFailure);
    QCOMPARE(created, ErrorGenFailure);
    QVERIFY(m_bench->storedInfs().isEmpty());
    QVERIFY(!m_bench->kept().devices.first().hasDriverKey);
}

/// The program sorts the names and takes the last one for the modem that it has just
/// installed.
void SetupApiTest::theNewestModemComesLast()
{
    const QString description = "Tolvane GPRS Modem";
    QList<RootDevice> devices;
    QStringList names;
    for (int number = 0; number < 100; ++number) {
        RootDevice device;
        device.friendlyName = linuxsystem::newestName(devices, description);
        QVERIFY(!names.contains(device.friendlyName));
        names += device.friendlyName;
        devices += device;
        QStringList sorted = names;
        sorted.sort();
        QCOMPARE(sorted.last(), device.friendlyName);
    }
    QCOMPARE(names.first(), description);
    QCOMPARE(names.at(1), description + " #2");
    QCOMPARE(names.at(8), description + " #9");
    QCOMPARE(names.at(9), description + " #A");
    QCOMPARE(names.at(35), description + " #Z2");
    // One that was taken away leaves a gap.
    devices.removeAt(3);
    QVERIFY(linuxsystem::newestName(devices, description) > names.last());
    QCOMPARE(linuxsystem::newestName(devices, "Another"), QString("Another"));
}

QTEST_APPLESS_MAIN(SetupApiTest)
#include "setupapi_test.moc"
