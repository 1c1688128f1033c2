#include "platform/standin/paths.h"
#include "tests/platform/installationbench.h"

#include <algorithm>
#include <iterator>

using namespace platform;

namespace {

BOOL copyInf(InstallationBench &bench, const QString &path, DWORD style = 0)
{
    return bench.system.SetupCopyOEMInfW(wide(path), wide(path), SourceMediaNone, style, nullptr, 0,
                                         nullptr, nullptr);
}

BOOL updateDriver(InstallationBench &bench, const QString &inf, DWORD flags = InstallFlagForce,
                  const QString &id = "mtkgprsmodem")
{
    return bench.system.UpdateDriverForPlugAndPlayDevicesW(nullptr, wide(id), wide(inf), flags,
                                                           nullptr);
}

} // namespace

/// INF files: copying them, reading their class, installing their drivers.
class InfInstallationTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_bench = InstallationBench::make(); }
    void cleanup() { m_bench.reset(); }

    void anInfIsCopiedOnce();
    void theCatalogueAloneStoresNoInf();
    void theStoreTellsWhereAnInfWent();
    void anInfThatIsThereIsNotOverwritten();
    void copyingAnInfIsRefused();
    void aClassIsRead();
    void aClassNameHasAtMost31Characters_data();
    void aClassNameHasAtMost31Characters();
    void readingAClassIsRefused();
    void aDriverNamesItsDevice();
    void furtherDevicesAreNumbered();
    void anInfNeedNotBeInTheStore();
    void aDriverUpdateIsRefused();
    void withoutForceADriverHasToBeBetter();

private:
    std::unique_ptr<InstallationBench> m_bench;
};

void InfInstallationTest::anInfIsCopiedOnce()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    QVERIFY(source.contains('\\'));
    QVERIFY(copyInf(*m_bench, source));
    QFile stored(m_bench->infFolder() + "/oem0.inf");
    QVERIFY(stored.open(QIODevice::ReadOnly));
    QCOMPARE(stored.readAll(), modemInf());
    QVERIFY(copyInf(*m_bench, source));
    QCOMPARE(m_bench->storedInfs(), QStringList("oem0.inf"));
    QVERIFY(copyInf(*m_bench, m_bench->write("other.inf", modemInf("other"))));
    QCOMPARE(m_bench->storedInfs(), QStringList({"oem0.inf", "oem1.inf"}));
}

void InfInstallationTest::theStoreTellsWhereAnInfWent()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    const auto copy = [&](WCHAR *buffer, DWORD size, DWORD *required, WCHAR **component) {
        return m_bench->system.SetupCopyOEMInfW(wide(source), nullptr, SourceMediaNone, 0, buffer,
                                                size, required, component);
    };
    WCHAR path[500] = {};
    DWORD required = 0;
    WCHAR *component = nullptr;
    QVERIFY(copy(nullptr, 0, &required, nullptr));
    DWORD again = 0;
    FAILS_WITH(ErrorInsufficientBuffer, copy(path, required - 1, &again, nullptr));
    QCOMPARE(again, required);
    QVERIFY(copy(path, required, nullptr, &component));
    QCOMPARE(fromField(path), windowsPath(m_bench->infFolder() + "/oem0.inf"));
    QCOMPARE(fromWide(component), QString("oem0.inf"));
    QCOMPARE(required, DWORD(fromField(path).size() + 1));
}

void InfInstallationTest::theCatalogueAloneStoresNoInf()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    WCHAR path[500] = {'?'};
    WCHAR *component = nullptr;
    DWORD required = 0;
    const auto copy = [&] {
        return m_bench->system.SetupCopyOEMInfW(wide(source), nullptr, SourceMediaNone,
                                                CopyInfCatalogOnly, path, 500, &required,
                                                &component);
    };
    QVERIFY(copy());
    QVERIFY(m_bench->storedInfs().isEmpty());
    QCOMPARE(fromField(path), QString());
    QCOMPARE(required, DWORD(1));
    QCOMPARE(component, &path[0]);

    // The path of an INF that the store has is told.
    QVERIFY(copyInf(*m_bench, source));
    QVERIFY(copy());
    QCOMPARE(fromField(path), windowsPath(m_bench->infFolder() + "/oem0.inf"));
    QCOMPARE(fromWide(component), QString("oem0.inf"));
    QCOMPARE(m_bench->storedInfs(), QStringList("oem0.inf"));

    FAILS_WITH(ErrorFileNotFound, copyInf(*m_bench, m_bench->path("none.inf"), CopyInfCatalogOnly));
    FAILS_WITH(ErrorWrongInfStyle,
               copyInf(*m_bench, m_bench->write("letter.inf", "Dear reader"), CopyInfCatalogOnly));
    m_bench->setAdministrator(false);
    FAILS_WITH(ErrorAccessDenied, copyInf(*m_bench, source, CopyInfCatalogOnly));
    m_bench->setAdministrator(true);
}

void InfInstallationTest::anInfThatIsThereIsNotOverwritten()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    WCHAR path[500] = {};
    const auto copy = [&] {
        return m_bench->system.SetupCopyOEMInfW(wide(source), nullptr, SourceMediaNone,
                                                CopyNoOverwrite, path, 500, nullptr, nullptr);
    };
    QVERIFY(copy());
    path[0] = 0;
    FAILS_WITH(ErrorFileExists, copy());
    QCOMPARE(fromField(path), windowsPath(m_bench->infFolder() + "/oem0.inf"));
    QCOMPARE(m_bench->storedInfs(), QStringList("oem0.inf"));
}

void InfInstallationTest::copyingAnInfIsRefused()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    const auto copy = [this](const QString &path, DWORD media, DWORD style) {
        return m_bench->system.SetupCopyOEMInfW(wide(path), nullptr, media, style, nullptr, 0,
                                                nullptr, nullptr);
    };
    FAILS_WITH(ErrorFileNotFound, copy(m_bench->path("none.inf"), 0, 0));
    FAILS_WITH(ErrorFileNotFound, copy(m_bench->path("."), 0, 0));
    FAILS_WITH(ErrorNotSupported, copy(source, 1, 0)); // from a medium
    FAILS_WITH(ErrorNotSupported, copy(source, 2, 0));
    FAILS_WITH(ErrorNotSupported, copy(source, 0, 1)); // SP_COPY_DELETESOURCE
    FAILS_WITH(ErrorInvalidParameter, m_bench->system.SetupCopyOEMInfW(
                                          nullptr, nullptr, 0, 0, nullptr, 0, nullptr, nullptr));
    FAILS_WITH(ErrorWrongInfStyle, copy(m_bench->write("letter.inf", "Dear reader"), 0, 0));
    FAILS_WITH(ErrorWrongInfStyle, copy(m_bench->write("half.inf", "[Version\nnothing"), 0, 0));
    m_bench->setAdministrator(false);
    FAILS_WITH(ErrorAccessDenied, copy(source, 0, 0));
    FAILS_WITH(ErrorFileNotFound, copy(m_bench->path("none.inf"), 0, 0));
    m_bench->setAdministrator(true);
    QVERIFY(!QDir(m_bench->infFolder()).exists());
}

void InfInstallationTest::aClassIsRead()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    Guid guid = {};
    WCHAR name[100] = {};
    DWORD required = 0;
    // The program gives the size in bytes: more than there is must do no harm.
    QVERIFY(m_bench->system.SetupDiGetINFClassW(wide(source), &guid, name, 200, nullptr));
    QVERIFY(guid == modemClass);
    QCOMPARE(fromField(name), QString("Modem"));
    FAILS_WITH(ErrorInsufficientBuffer,
               m_bench->system.SetupDiGetINFClassW(wide(source), &guid, name, 5, &required));
    QCOMPARE(required, DWORD(6));
    QVERIFY(copyInf(*m_bench, source));
    // A bare name means the store's.
    QVERIFY(m_bench->system.SetupDiGetINFClassW(u"oem0.inf", &guid, name, 6, nullptr));
}

void InfInstallationTest::aClassNameHasAtMost31Characters_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<bool>("isTaken");
    QTest::newRow("31") << 31 << true;
    QTest::newRow("32") << 32 << false;
    QTest::newRow("150") << 150 << false;
}

void InfInstallationTest::aClassNameHasAtMost31Characters()
{
    QFETCH(const int, length);
    QFETCH(const bool, isTaken);
    const QByteArray className(length, 'c');
    const QString source =
        m_bench->write("modem.inf", modemInf().replace("Class=Modem", "Class=" + className));
    // The size that the program gives is more than its buffer has.
    constexpr int Size = 200;
    WCHAR name[Size];
    std::fill(std::begin(name), std::end(name), WCHAR('?'));
    Guid guid = {};
    const auto read = [&] {
        return m_bench->system.SetupDiGetINFClassW(wide(source), &guid, name, Size, nullptr);
    };
    if (isTaken) {
        QVERIFY(read());
        QCOMPARE(fromField(name), QString(className));
    } else {
        FAILS_WITH(ErrorInvalidClass, read());
        QVERIFY(guid == Guid{});
        QCOMPARE(name[0], WCHAR('?'));
    }
    QCOMPARE(std::count(name + MaxClassNameSize, std::end(name), WCHAR('?')),
             Size - int(MaxClassNameSize));
}

void InfInstallationTest::readingAClassIsRefused()
{
    const QString source = m_bench->write("modem.inf", modemInf());
    const QString letter = m_bench->write("letter.inf", "Dear reader");
    const QString bare = m_bench->write("bare.inf", "[Version]\nSignature=\"$CHICAGO$\"\n");
    Guid guid = {};
    WCHAR name[100] = {};
    DWORD required = 0;
    const auto read = [&](const QString &path) {
        return m_bench->system.SetupDiGetINFClassW(wide(path), &guid, name, 100, nullptr);
    };
    FAILS_WITH(ErrorFileNotFound, read(m_bench->path("none.inf")));
    FAILS_WITH(ErrorFileNotFound, read("none.inf"));
    FAILS_WITH(ErrorWrongInfStyle, read(letter));
    FAILS_WITH(ErrorNoAssociatedClass, read(bare));
    FAILS_WITH(ErrorInvalidParameter,
               m_bench->system.SetupDiGetINFClassW(nullptr, &guid, name, 100, nullptr));
    FAILS_WITH(ErrorInvalidParameter,
               m_bench->system.SetupDiGetINFClassW(wide(source), nullptr, name, 100, nullptr));
    // Nobody learns the size without a buffer.
    FAILS_WITH(ErrorInvalidParameter,
               m_bench->system.SetupDiGetINFClassW(wide(source), &guid, nullptr, 0, &required));
    QVERIFY(guid == Guid{});
}

void InfInstallationTest::aDriverNamesItsDevice()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    QVERIFY(copyInf(*m_bench, inf));
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    BOOL reboot = 1;
    QVERIFY(m_bench->system.UpdateDriverForPlugAndPlayDevicesW(nullptr, u"mtkgprsmodem", wide(inf),
                                                               InstallFlagForce, &reboot));
    QCOMPARE(reboot, 0);
    QCOMPARE(m_bench->kept().devices.first().friendlyName, QString("MTK GPRS Modem"));
    QCOMPARE(m_bench->kept().devices.first().driverInf, QString("oem0.inf"));
}

void InfInstallationTest::furtherDevicesAreNumbered()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    for (int i = 0; i < 3; ++i) {
        NewModem modem(*m_bench);
        QVERIFY(modem.setHardwareId("MTKGPRSMODEM")); // ids compare in any case
        QVERIFY(modem.registerIt());
        QVERIFY(updateDriver(*m_bench, inf));
    }
    const QList<RootDevice> devices = m_bench->kept().devices;
    QCOMPARE(devices.size(), 3);
    QCOMPARE(devices.at(0).friendlyName, QString("MTK GPRS Modem"));
    QCOMPARE(devices.at(1).friendlyName, QString("MTK GPRS Modem #2"));
    QCOMPARE(devices.at(2).friendlyName, QString("MTK GPRS Modem #3"));
    QCOMPARE(devices.at(1).instanceId, QString("ROOT\\MODEM\\0001"));
    QVERIFY(devices.at(1).devInst != devices.at(2).devInst);
}

void InfInstallationTest::anInfNeedNotBeInTheStore()
{
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    QVERIFY(updateDriver(*m_bench, m_bench->write("modem.inf", modemInf())));
    QCOMPARE(m_bench->kept().devices.first().friendlyName, QString("MTK GPRS Modem"));
    QCOMPARE(m_bench->kept().devices.first().driverInf, QString("oem0.inf"));
    QCOMPARE(m_bench->storedInfs(), QStringList("oem0.inf"));
}

void InfInstallationTest::aDriverUpdateIsRefused()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    const QString letter = m_bench->write("letter.inf", "Dear reader");
    const QString other = m_bench->write("other.inf", modemInf("other"));
    FAILS_WITH(ErrorFileNotFound, updateDriver(*m_bench, m_bench->path("none.inf")));
    FAILS_WITH(ErrorWrongInfStyle, updateDriver(*m_bench, letter));
    FAILS_WITH(ErrorInvalidFlags, updateDriver(*m_bench, inf, 8));
    FAILS_WITH(ErrorNoSuchDevInst, updateDriver(*m_bench, inf));
    const auto update = [this](const WCHAR *id, const WCHAR *path) {
        return m_bench->system.UpdateDriverForPlugAndPlayDevicesW(nullptr, id, path,
                                                                  InstallFlagForce, nullptr);
    };
    FAILS_WITH(ErrorInvalidParameter, update(nullptr, wide(inf)));
    FAILS_WITH(ErrorInvalidParameter, update(u"mtkgprsmodem", nullptr));
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId());
    FAILS_WITH(ErrorNoSuchDevInst, updateDriver(*m_bench, inf)); // not registered
    QVERIFY(modem.registerIt());
    FAILS_WITH(ErrorNoMoreItems, updateDriver(*m_bench, other)); // nothing in it for this id
    m_bench->setAdministrator(false);
    FAILS_WITH(ErrorAccessDenied, updateDriver(*m_bench, inf));
    m_bench->setAdministrator(true);
    QVERIFY(m_bench->kept().devices.first().friendlyName.isEmpty());
    QVERIFY(m_bench->kept().devices.first().driverInf.isEmpty());
    QVERIFY(m_bench->storedInfs().isEmpty());
}

void InfInstallationTest::withoutForceADriverHasToBeBetter()
{
    const QString inf = m_bench->write("modem.inf", modemInf());
    NewModem modem(*m_bench);
    QVERIFY(modem.setHardwareId() && modem.registerIt());
    QVERIFY(updateDriver(*m_bench, inf, 0));
    FAILS_WITH(ErrorNoMoreItems, updateDriver(*m_bench, inf, 0));
    QVERIFY(updateDriver(*m_bench, inf, InstallFlagForce));
    QCOMPARE(m_bench->kept().devices.first().friendlyName, QString("MTK GPRS Modem"));
}

QTEST_GUILESS_MAIN(InfInstallationTest)
#include "infinstallation_test.moc"
