// Every way in which a set-up step can fail on Windows, with the packaged
// program: what it logs, what it still calls and what it leaves open.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/winemachine.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <tuple>

namespace {

const char created[] = "Successfully created the DIALUP CONNECTION :D :D\n";
const QString installFailed = "ERROR  InstallModem  -  InstallRootEnumeratedDriver failed \n\n";

QString lastError(const char *code)
{
    return QString("Msg from  InstallRootEnumeratedDriver  -  \"Last Error %1\" \n\n").arg(code);
}

QString registerFailed()
{
    return "ERROR  InstallRootEnumeratedDriver  -  \"RegisterModem failed. Tried to register it "
           "to COM7\" \n\n";
}

const QString deviceRemoved =
    "SetupDiCallClassInstaller function=5 set3 device=new cbSize=32 -> result=1";
const QString setDestroyed = "SetupDiDestroyDeviceInfoList set3 -> result=1";

} // namespace

class SetupTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init() { m_machine->reset(); }
    void cleanup();

    void failure_data();
    void failure();
    void passedOver_data();
    void passedOver();
    void release_data();
    void release();

private:
    void runWizard();
    void closeAll();

    std::unique_ptr<WineMachine> m_machine;
};

void SetupTest::initTestCase()
{
    m_machine = std::make_unique<WineMachine>();
    m_machine->setWindowsVersion("win7");
}

void SetupTest::cleanupTestCase()
{
    m_machine->setWindowsVersion({});
    m_machine.reset();
}

void SetupTest::cleanup()
{
    m_machine->stop();
    const QString name =
        QString("setup-%1-%2").arg(QTest::currentTestFunction(), QTest::currentDataTag());
    if (QTest::currentTestFailed())
        m_machine->screenshot(name + "-failed");
    m_machine->keepLogs(name);
    const QStringList wrong = wrongCalls(m_machine->calls());
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
}

void SetupTest::runWizard()
{
    QVERIFY(m_machine->start());
    QVERIFY(!startSetup(*m_machine).isEmpty());
}

void SetupTest::closeAll()
{
    const QString wizard = m_machine->waitForWindow(wizardTitle);
    m_machine->press(wizard, "Escape");
    // With an entry the main window comes back, without one this is the end.
    QVERIFY(QTest::qWaitFor(
        [&] { return m_machine->hasEnded() || !m_machine->waitForWindow(mainTitle, 0).isEmpty(); },
        10000));
    if (!m_machine->hasEnded())
        m_machine->press(m_machine->waitForWindow(mainTitle), "alt+F4");
    QCOMPARE(m_machine->waitForExit(), 0);
}

void SetupTest::failure_data()
{
    QTest::addColumn<QStringList>("machine");  // what fails
    QTest::addColumn<QString>("debugEnd");     // the last lines of the debug stream
    QTest::addColumn<QStringList>("callsEnd"); // the last calls of the program
    QTest::addColumn<QStringList>("left");     // what the end finds open

    const QString port = "ERROR  \"SetCurrentPortSettings\"  -  No ports available \n\n";
    const QStringList clean = {"exit sets none", leftOpen()};

    QTest::newRow("installer does not start")
        << QStringList{"fail CreateProcessW 1 2"}
        << "ERROR  SetupAllInfs  -  Port INF setup failed. \n\n"
        << QStringList{"CloseHandle null -> result=0 error=6",
                       "CloseHandle null -> result=0 error=6"}
        << clean;
    QTest::newRow("INF refused")
        << QStringList{"fail SetupCopyOEMInfW 1 5"}
        << "ERROR  CopyInf  -  \"Failed, location \"%DRIVERS%modem_inf_64.inf\" \" \n\n"
           "ERROR  SetupAllInfs  -  Modem INF setup failed. \n\n"
        << QStringList{} << clean;
    QTest::newRow("ports class unavailable")
        << QStringList{"fail SetupDiGetClassDevsW 1 5"}
        << "Got Invalid Handle Value on SetupDiGetClassDevs\n" + port
        << QStringList{"SetupDiGetClassDevsW class=Ports enumerator=null parent=null flags=2 "
                       "-> result=invalid error=5"}
        << clean;
    QTest::newRow("enumeration breaks off")
        << QStringList{"fail SetupDiEnumDeviceInfo 1 1167"}
        << "Error occured after enumaration\n" + port
        << QStringList{"SetupDiEnumDeviceInfo set1 index=0 cbSize=32 -> result=0 error=1167"}
        << QStringList{"exit sets set1", leftOpen()};
    QTest::newRow("INF class unreadable")
        << QStringList{"fail SetupDiGetINFClassW 1 3758096640"}
        << "ERROR  InstallRootEnumeratedDriver  -  ERROR SetupDiGetINFClass \n\n" + installFailed
        << QStringList{} << clean;
    QTest::newRow("no device set")
        << QStringList{"fail SetupDiCreateDeviceInfoList 1 8"}
        << "ERROR  InstallRootEnumeratedDriver  -  ERROR SetupDiCreateDeviceInfoList \n\n" +
               installFailed
        << QStringList{"SetupDiCreateDeviceInfoList class=Modem parent=null -> result=invalid "
                       "error=8"}
        << clean;
    // These two count as success, and the set-up goes on.
    QTest::newRow("device not created")
        << QStringList{"fail SetupDiCreateDeviceInfoW 1 5"}
        << "ERROR  InstallRootEnumeratedDriver  -  CreateDeviceInfo \n\n" + lastError("5") + created
        << QStringList{} << clean;
    QTest::newRow("hardware id refused")
        << QStringList{"fail SetupDiSetDeviceRegistryPropertyW 1 5"}
        << "ERROR  InstallRootEnumeratedDriver  -  SetDeviceRegistryProperty \n\n" +
               lastError("5") + created
        << QStringList{} << clean;
    QTest::newRow("registration refused")
        << QStringList{"fail SetupDiRegisterDeviceInfo 1 5"}
        << "ERROR  RegisterModem  -  SetupDiRegisterDeviceInfo Device\n \n\n" + registerFailed() +
               lastError("5") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    QTest::newRow("removal refused")
        << QStringList{"fail SetupDiRegisterDeviceInfo 1 5", "fail SetupDiCallClassInstaller 1 5"}
        << "ERROR  RegisterModem  -  SetupDiRegisterDeviceInfo Device\n \n\n" + registerFailed() +
               lastError("5") + installFailed
        << QStringList{"SetupDiCallClassInstaller function=5 set3 device=new cbSize=32 "
                       "-> result=0 error=5",
                       setDestroyed}
        << clean;
    QTest::newRow("driver key exists")
        << QStringList{"driverkey exists"}
        << "ERROR  RegisterModem  -  SetupDiOpenDevRegKey failed \n\n" + registerFailed() +
               lastError("0") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    QTest::newRow("driver key inaccessible")
        << QStringList{"fail SetupDiOpenDevRegKey 1 5"}
        << "ERROR  RegisterModem  -  SetupDiOpenDevRegKey failed \n\n" + registerFailed() +
               lastError("5") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    QTest::newRow("driver key not created")
        << QStringList{"fail SetupDiCreateDevRegKeyW 1 5"}
        << "ERROR  RegisterModem  -  SetupDiOpenDevRegKey/SetupDiCreateDevRegKey failed:  \n\n" +
               registerFailed() + lastError("5") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    QTest::newRow("second registration refused")
        << QStringList{"fail SetupDiRegisterDeviceInfo 2 5"}
        << "ERROR  RegisterModem  -  SetupDiRegisterDeviceInfo call for the second time "
           "failed(don't know why called it :-S. But it is needed. \n\n" +
               registerFailed() + lastError("5") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    const std::pair<const char *, const char *> codes[] = {
        {"2", "ERROR_FILE_NOT_FOUND"},   {"3758096949", "ERROR_IN_WOW64"},
        {"1004", "ERROR_INVALID_FLAGS"}, {"3758096907", "ERROR_NO_SUCH_DEVINST"},
        {"259", "ERROR_NO_MORE_ITEMS"},  {"5", "unknown"},
    };
    for (const auto &[code, name] : codes) {
        const QString line = "ERROR  InstallRootEnumeratedDriver  -  ";
        QTest::newRow(qPrintable(QString("driver update fails with ") + code))
            << QStringList{QString("fail UpdateDriverForPlugAndPlayDevicesW 1 ") + code}
            << line + "UpdateDriverForPlugAndPlayDevices failed. \n\n" + line +
                   QString("\"Error code %1\" \n\n").arg(code) + line +
                   QString("Error is %1 \n\n").arg(name) + lastError(code) + installFailed
            << QStringList{"FreeLibrary newdev.dll", "newdev.dll freed", deviceRemoved,
                           setDestroyed}
            << clean;
    }
    QTest::newRow("defaults unavailable")
        << QStringList{"fail RasGetEntryPropertiesW 1 621"} << lastError("0")
        << QStringList{"RasGetEntryPropertiesW phonebook=null entry=\"\" record=null size=0 "
                       "device=null deviceSize=null -> result=621"}
        << clean;
    QTest::newRow("no memory for the entry")
        << QStringList{"fail HeapAlloc 1 8"} << "HeapAlloc failed!\n\n"
        << QStringList{"HeapAlloc flags=8 bytes=5616 -> result=null"} << clean;
    QTest::newRow("defaults unreadable")
        << QStringList{"fail RasGetEntryPropertiesW 2 621"} << "RasGetEntryProperties failed\n"
        << QStringList{"HeapFree flags=0 block5"} << clean;
    // The block of the entry stays on this path.
    QTest::newRow("no modem device")
        << QStringList{"-rasdevice"} << "Error! No compatible modem found!\n"
        << QStringList{"RasEnumDevicesW records=null lpcb=0 count=0 -> result=0 count=0"}
        << QStringList{"exit sets none", leftOpen("none", "none", "block5")};
    const std::pair<const char *, const char *> refusals[] = {
        {"5", "The user does not have the correct privileges. Only an administrator can complete "
              "this task.\n "},
        {"87", "The RASENTRY structure pointed to by the lpRasEntry parameter does not contain "
               "adequate information. See the description for lpRasEntry to see what information "
               "is required. "},
        {"610", "The address or buffer specified by lpRasEntry is invalid. "},
        {"621", "The phone book is corrupted or missing components. "},
        {"623", "Unknown error occured. Error code =  623 "},
    };
    for (const auto &[code, text] : refusals) {
        QTest::newRow(qPrintable(QString("entry refused with ") + code))
            << QStringList{QString("fail RasSetEntryPropertiesW 1 ") + code}
            << QString(text) + "\n\n"
            << QStringList{"HeapFree flags=0 block5"} << clean;
    }
}

void SetupTest::failure()
{
    QFETCH(QStringList, machine);
    QFETCH(QString, debugEnd);
    QFETCH(QStringList, callsEnd);
    QFETCH(QStringList, left);
    QStringList lines = machineWithPhone();
    if (machine.contains("-rasdevice"))
        lines = lines.filter(QRegularExpression("^port "));
    m_machine->setMachine(lines + machine.filter(QRegularExpression("^[^-]")));
    debugEnd.replace("%DRIVERS%", m_machine->folder() + "\\drivers\\");

    runWizard();
    const bool logged =
        QTest::qWaitFor([&] { return m_machine->debug().endsWith(debugEnd); }, 20000);
    const bool called = QTest::qWaitFor(
        [&] {
            const QStringList calls = setupOnly(m_machine->calls());
            return calls.mid(qMax(0, calls.size() - callsEnd.size())) == callsEnd;
        },
        5000);
    m_machine->screenshot(QString("setup-") + QTest::currentDataTag());
    if (!logged)
        QCOMPARE(m_machine->debug().right(debugEnd.size()), debugEnd);
    const QStringList calls = setupOnly(m_machine->calls());
    if (!called)
        QCOMPARE(calls.mid(qMax(0, calls.size() - callsEnd.size())), callsEnd);

    closeAll();
    for (const QString &line : left)
        QVERIFY2(m_machine->calls().contains(line), qPrintable(m_machine->calls().join('\n')));
    const bool success = debugEnd.contains("Successfully");
    QCOMPARE(m_machine->setting("NoOfDialups"), success ? QString("1") : QString());
}

void SetupTest::passedOver_data()
{
    QTest::addColumn<QStringList>("failures"); // empty: no configuration manager
    QTest::addColumn<QString>("debugHas");     // the lines that tell of it
    QTest::addColumn<QStringList>("callsHave");
    QTest::addColumn<QString>("printed");

    const QString rescan = "ERROR  \"ReScanDriver()\"  -  ";
    const QString nameless = "Got Device  \"\"\nGot Device  \"USB Modem Driver (COM7)\"\n";
    const QString install = "Msg from  InstallRootEnumeratedDriver  -  ";
    const QString newId = install + "\"SetupDiCreateDeviceInfo Done. New Generated Id is ";
    const QString instanceId = "SetupDiGetDeviceInstanceIdW set3 device=new cbSize=32 size=";
    const QString query = "SetupDiGetDeviceRegistryPropertyW set1 device=0 cbSize=32 property=12 "
                          "type=set size=0 buffer=null -> result=0 error=";
    const QString nextDevice = "SetupDiEnumDeviceInfo set1 index=1 cbSize=32 -> result=1";

    QTest::newRow("root not located")
        << QStringList{"fail CM_Locate_DevNode_ExA 1 13"}
        << rescan + "CM_Locate_DevNode_Ex failed \n\n" + portSearchDebug()
        << QStringList{"CM_Locate_DevNode_ExA id=null flags=0 machine=null -> result=13",
                       "FreeLibrary cfgmgr32.dll", "cfgmgr32.dll freed",
                       portSearchCalls(1, 1).first()}
        << QString();
    QTest::newRow("rescan refused")
        << QStringList{"fail CM_Reenumerate_DevNode_Ex 1 37"}
        << rescan + "CM_Reenumerate_DevNode_Ex failed \n\n" + portSearchDebug()
        << QStringList{"CM_Reenumerate_DevNode_Ex node=root flags=0 machine=null -> result=37",
                       "FreeLibrary cfgmgr32.dll", "cfgmgr32.dll freed"}
        << QString();
    QTest::newRow("no configuration manager")
        << QStringList{} << rescan + "CM_Locate_DevNode_Ex failed \n\n" + portSearchDebug()
        << QStringList{"LoadLibraryW name=\"cfgmgr32.dll\" -> result=null error=126",
                       portSearchCalls(1, 1).first()}
        << "Error, cfgmgr32.dll not found\n";
    QTest::newRow("name unreadable once")
        << QStringList{"fail SetupDiGetDeviceRegistryPropertyW 1 13"} << nameless
        << QStringList{query + "13", nextDevice} << QString();
    QTest::newRow("no memory for a name")
        << QStringList{"fail LocalAlloc 1 8"} << nameless
        << QStringList{query + "122", "LocalAlloc flags=64 bytes=108 -> result=null", nextDevice}
        << QString();
    QTest::newRow("instance id too long at first")
        << QStringList{"fail SetupDiGetDeviceInstanceIdW 1 122"}
        << newId + "ROOT\\MODEM\\0000\" \n\n"
        << QStringList{instanceId + "1000 -> result=0 error=122", instanceId + "16 -> result=1"}
        << QString();
    QTest::newRow("instance id unreadable")
        << QStringList{"fail SetupDiGetDeviceInstanceIdW * 5"}
        << "ERROR  InstallRootEnumeratedDriver  -  An error occured when getting the instance id. "
           "but it's not a big prob. \n\n" +
               newId + "\" \n\n"
        << QStringList{instanceId + "1000 -> result=0 error=5",
                       instanceId + "16 -> result=0 error=5"}
        << QString();
    QTest::newRow("value not written")
        << QStringList{"fail RegSetValueExW 1 5"}
        << "ERROR  RegisterModem  -  RegSetValueEx \n\nMsg from  RegisterModem  -  \"RegSetValueEx "
           "succeded. "
        << QStringList{"RegSetValueExW name=\"AttachedTo\" reserved=0 type=1 data=\"COM7\" "
                       "bytes=10 -> result=5",
                       "RegCloseKey driver key -> result=0",
                       "SetupDiRegisterDeviceInfo set3 device=new cbSize=32 flags=0 compare=null "
                       "context=null duplicate=null AttachedTo=none key=closed -> result=1"}
        << QString();
    QTest::newRow("a selected driver")
        << QStringList{"selecteddriver yes"}
        << "ERROR  RegisterModem  -  SetupDiGetSelectedDriver succeded! I didn't hope for success. "
        << QStringList{"SetupDiGetSelectedDriverW set3 device=new cbSize=32 driverSize=0 rest=zero "
                       "-> result=1"}
        << QString();
    // The program does not look at it, and the log reads as ever.
    QTest::newRow("restart wanted")
        << QStringList{"reboot yes"}
        << install + "\"UpdateDriverForPlugAndPlayDevices finished. Reboot required == \" \n\n"
        << QStringList{"UpdateDriverForPlugAndPlayDevicesW parent=null "
                       "hardwareId=\"mtkgprsmodem\" behind=zero inf=\"" +
                           m_machine->folder() +
                           "\\drivers\\modem_inf_64.inf\" behind=zero flags=1 reboot=false "
                           "-> result=1 reboot=true",
                       "FreeLibrary newdev.dll", "newdev.dll freed", setDestroyed}
        << QString();
}

// Failures that do not stop the set-up.
void SetupTest::passedOver()
{
    QFETCH(QStringList, failures);
    QFETCH(QString, debugHas);
    QFETCH(QStringList, callsHave);
    QFETCH(QString, printed);
    if (failures.isEmpty())
        m_machine->setMissingLibraries({"cfgmgr32"});
    m_machine->setMachine(machineWithPhone() + failures);

    runWizard();
    QVERIFY(m_machine->waitForDebug(created));
    m_machine->screenshot(QString("setup-") + QTest::currentDataTag());
    QVERIFY2(m_machine->debug().contains(debugHas), qPrintable(m_machine->debug()));
    const QString calls = setupOnly(m_machine->calls()).join('\n') + '\n';
    QVERIFY2(calls.contains('\n' + callsHave.join('\n') + '\n'), qPrintable(calls));
    QCOMPARE(m_machine->printed(), printed);

    closeAll();
    QVERIFY(m_machine->calls().contains("exit sets none"));
    QVERIFY(m_machine->calls().contains(leftOpen()));
    QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
}

void SetupTest::release_data()
{
    QTest::addColumn<QString>("version"); // as Wine names it
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<QString>("reported");
    QTest::addColumn<QString>("native"); // how the look-up of GetNativeSystemInfo ends
    QTest::addColumn<QString>("inf");

    const std::tuple<const char *, const char *, const char *, const char *> releases[] = {
        {"Windows XP", "winxp64", "major=5 minor=2", "modem_inf_64.inf"},
        {"Windows Vista", "vista", "major=6 minor=0", "modem_inf_64.inf"},
        {"Windows 7", "win7", "major=6 minor=1", "modem_inf_64.inf"},
        // Later releases are not among those that the drivers know. Windows 11
        // reports what Windows 10 does.
        {"Windows 8", "win8", "major=6 minor=2", "modem_inf_32.inf"},
        {"Windows 8.1", "win81", "major=6 minor=3", "modem_inf_32.inf"},
        {"Windows 10", "win10", "major=10 minor=0", "modem_inf_32.inf"},
    };
    for (const auto &[name, version, reported, inf] : releases)
        QTest::newRow(name) << version << QStringList{} << reported << "result=address" << inf;
    QTest::newRow("version unknown")
        << "win7" << QStringList{"fail GetVersionExW * 120"} << "result=0 error=120"
        << "result=address"
        << "modem_inf_32.inf";
    // The older function tells the processor of a 64-bit program as well.
    QTest::newRow("no GetNativeSystemInfo")
        << "win7" << QStringList{"fail GetNativeSystemInfo * 127"} << "major=6 minor=1"
        << "result=null"
        << "modem_inf_64.inf";
}

void SetupTest::release()
{
    QFETCH(QString, version);
    QFETCH(QStringList, failures);
    QFETCH(QString, reported);
    QFETCH(QString, native);
    QFETCH(QString, inf);
    m_machine->setWindowsVersion(version);
    m_machine->setMachine(machineWithPhone() + failures);
    runWizard();
    QVERIFY(m_machine->waitForCall("^SetupCopyOEMInfW "));
    const QString called = m_machine->calls().filter("GetVersionExW").value(0);
    QVERIFY2(called.endsWith(reported), qPrintable(called));
    const QString lookUp = m_machine->calls().filter(" GetNativeSystemInfo ").value(0);
    QVERIFY2(lookUp.endsWith(native), qPrintable(lookUp));
    const QString copied = m_machine->calls().filter("SetupCopyOEMInfW").value(0);
    QVERIFY2(copied.contains("\\drivers\\" + inf + '"'), qPrintable(copied));
    QVERIFY(m_machine->waitForDebug(created));
    m_machine->screenshot(QString("release-") + QTest::currentDataTag());
    closeAll();
    m_machine->setWindowsVersion("win7");
}

QTEST_GUILESS_MAIN(SetupTest)
#include "setup_test.moc"
