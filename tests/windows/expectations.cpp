#include "tests/windows/expectations.h"

#include "tests/windows/winemachine.h"

namespace {

const char searchLog[] = "Got Device  \"Communications Port (COM1)\"\n"
                         "Got Device  \"USB Modem Driver (COM7)\"\n"
                         "Got Port  7\n"
                         "Msg from  \"SetCurrentPortSettings\"  -  \"port 7 available\" \n\n";

/// Both functions of the configuration manager are bound for their own call.
QStringList rescanCalls(const QString &function, const QString &call)
{
    return {
        "cfgmgr32.dll loaded",
        "LoadLibraryW name=\"cfgmgr32.dll\" -> result=module",
        "GetProcAddress cfgmgr32.dll " + function + " -> result=address",
        call,
        "FreeLibrary cfgmgr32.dll",
        "cfgmgr32.dll freed",
    };
}

QStringList versionCalls()
{
    return {
        "GetVersionExW size=284 rest=zero -> major=6 minor=1",
        "GetProcAddress kernel32.dll GetNativeSystemInfo -> result=address",
    };
}

} // namespace

WindowId startSetup(WineMachine &machine)
{
    const WindowId wizard = machine.desktop.waitForWindow(wizardTitle, WineMachine::StartPatience);
    machine.desktop.pressUntil(wizard, "Return", "The first call",
                               [&machine] { return !machine.calls().isEmpty(); });
    return wizard;
}

QString leftOpen(const QString &ports, const QString &events, const QString &blocks)
{
    return QString("exit ports %1 events %2 processes none threads none blocks %3")
        .arg(ports, events, blocks);
}

QStringList machineWithPhone()
{
    return {
        "port Communications Port (COM1)",   "port USB Modem Driver (COM7)",
        "rasdevice vpn|WAN Miniport (PPTP)", "rasdevice modem|Tolvane GPRS Modem",
        "rasdevice modem|MTK GPRS Modem",    "rasdevice modem|Standard 56000 bps Modem",
    };
}

void setUpBefore(WineMachine &machine)
{
    machine.setSettings({{"CurrentMobileOperator", "GrameenPhone"},
                         {"CurrentPort", "7"},
                         {"NoOfDialups", "1"},
                         {"isINFSetupDone", "true"},
                         {"ports/7", "TolvaneModem 1"}});
    machine.setMachine(machineWithPhone() + QStringList{"dial ask"});
}

QStringList portSearchCalls(int set, int firstBlock)
{
    QStringList calls;
    const QString name = QString("set%1").arg(set);
    calls.append("SetupDiGetClassDevsW class=Ports enumerator=null parent=null flags=2 -> " + name);
    const int bytes[] = {54, 48};
    for (int device = 0; device < 2; ++device) {
        const QString query = QString("SetupDiGetDeviceRegistryPropertyW %1 device=%2 cbSize=32 "
                                      "property=12 type=set ")
                                  .arg(name)
                                  .arg(device);
        const QString block = QString("block%1").arg(firstBlock + device);
        calls += {
            QString("SetupDiEnumDeviceInfo %1 index=%2 cbSize=32 -> result=1")
                .arg(name)
                .arg(device),
            query + "size=0 buffer=null -> result=0 error=122",
            QString("LocalAlloc flags=64 bytes=%1 -> %2").arg(2 * bytes[device]).arg(block),
            query + QString("size=%1 buffer=zero -> result=1").arg(bytes[device]),
            "LocalFree " + block,
        };
    }
    calls += {
        QString("SetupDiEnumDeviceInfo %1 index=2 cbSize=32 -> result=0 error=259").arg(name),
        QString("SetupDiDestroyDeviceInfoList %1 -> result=1").arg(name),
    };
    return calls;
}

QString portSearchDebug()
{
    return searchLog;
}

QStringList setupCalls(const WineMachine &machine, int entrySize)
{
    const QString drivers = machine.folder() + "\\drivers\\";
    const QString inf = '"' + drivers + "modem_inf_64.inf\"";
    QStringList calls;
    calls.append("CreateProcessW application=\"" + drivers +
                 "InstallDriver.exe\" behind=zero commandLine=\"InstallDriver -a\" behind=zero "
                 "processSecurity=null "
                 "threadSecurity=null inherit=0 flags=0 environment=null directory=null cb=104 "
                 "rest=zero -> result=1");
    calls += {"CloseHandle process1 -> result=1", "CloseHandle thread1 -> result=1"};
    calls += versionCalls();
    calls.append(
        "SetupCopyOEMInfW source=" + inf + " behind=zero location=" + inf +
        " behind=zero media=0 style=0x40000 destination=null destinationSize=0 required=null "
        "component=null -> result=1");

    calls += rescanCalls("CM_Locate_DevNode_ExA",
                         "CM_Locate_DevNode_ExA id=null flags=0 machine=null -> result=0");
    calls += rescanCalls("CM_Reenumerate_DevNode_Ex",
                         "CM_Reenumerate_DevNode_Ex node=root flags=0 machine=null -> result=0");

    calls += portSearchCalls(1, 1);

    calls += versionCalls();
    calls += portSearchCalls(2, 3);
    const QString newDevice = " set3 device=new cbSize=32 ";
    const QString keyArguments = newDevice + "scope=1 profile=0 keyType=2 ";
    const QString registration = "SetupDiRegisterDeviceInfo" + newDevice +
                                 "flags=0 compare=null context=null duplicate=null ";
    calls += {
        "SetupDiGetINFClassW inf=" + inf +
            " behind=zero name=zero nameSize=200 required=null -> result=1",
        "SetupDiCreateDeviceInfoList class=Modem parent=null -> set3",
        "SetupDiCreateDeviceInfoW set3 name=\"Modem\" class=Modem description=null parent=null "
        "flags=1 cbSize=32 -> result=1",
        "SetupDiGetDeviceInstanceIdW" + newDevice + "size=1000 -> result=1",
        "SetupDiSetDeviceRegistryPropertyW" + newDevice +
            "property=1 size=28 value=mtkgprsmodem|| -> result=1",
        registration + "driverKey=none -> result=1",
        "SetupDiOpenDevRegKey" + keyArguments + "access=0xF003F -> result=invalid error=3758096900",
        "SetupDiCreateDevRegKeyW" + keyArguments + "inf=null section=null -> result=key",
        "RegSetValueExW name=\"AttachedTo\" reserved=0 type=1 data=\"COM7\" bytes=10 -> result=0",
        "RegCloseKey driver key -> result=0",
        registration + "AttachedTo=\"COM7\" type=1 bytes=10 key=closed -> result=1",
        "SetupDiGetSelectedDriverW" + newDevice + "driverSize=0 rest=zero -> result=0 error=1784",
        "newdev.dll loaded",
        "LoadLibraryW name=\"newdev.dll\" -> result=module",
        "GetProcAddress newdev.dll UpdateDriverForPlugAndPlayDevicesW -> result=address",
        "UpdateDriverForPlugAndPlayDevicesW parent=null hardwareId=\"mtkgprsmodem\" behind=zero "
        "inf=" +
            inf + " behind=zero flags=1 reboot=false -> result=1",
        "FreeLibrary newdev.dll",
        "newdev.dll freed",
        "SetupDiDestroyDeviceInfoList set3 -> result=1",
    };

    const QString newEntry = "RasGetEntryPropertiesW phonebook=null entry=\"\" ";
    const QString size = QString("size=%1").arg(entrySize);
    calls += {
        newEntry + "record=null size=0 device=null deviceSize=null -> result=603 " + size,
        QString("HeapAlloc flags=8 bytes=%1 -> block5").arg(entrySize),
        newEntry + "dwSize=4048 rest=zero " + size + " device=null deviceSize=null -> result=0 " +
            size,
        "RasEnumDevicesW records=null lpcb=0 count=0 -> result=603 lpcb=1184",
        "HeapAlloc flags=8 bytes=1184 -> block6",
        "RasEnumDevicesW dwSize=296 rest=zero lpcb=1184 count=4 -> result=0 count=4",
        "HeapFree flags=0 block6",
        "RasSetEntryPropertiesW phonebook=null entry=\"TolvaneModem 1\" behind=zero " + size +
            " dwSize=4048 options=0x308 number=\"*99#\" type=\"RASDT_Modem\" "
            "device=\"Tolvane GPRS Modem\" fieldEnds=zero others=default deviceInfo=null "
            "deviceInfoSize=0 -> result=0",
        "HeapFree flags=0 block5",
    };
    return calls;
}

QString setupDebug(const WineMachine &machine)
{
    const QString drivers = machine.folder() + "\\drivers\\";
    const QString location =
        "Msg from  \"GetModemINFLocation\"  -  \"" + drivers + "modem_inf_64.inf\" \n\n";
    const QString install = "Msg from  InstallRootEnumeratedDriver  -  ";
    const QString installError = "ERROR  InstallRootEnumeratedDriver  -  ";
    const QString reg = "Msg from  RegisterModem  -  ";
    return "Installer location: \"" + drivers + "InstallDriver.exe\"\n" + location +
           "Msg from  \"ReScanDriver()\"  -  CM_Locate_DevNode_Ex done \n\n"
           "Msg from  \"ReScanDriver()\"  -  CM_Reenumerate_DevNode_Ex done \n\n"
           "QThread::wait: Thread tried to wait on itself\n" +
           searchLog + location + searchLog + install +
           "\"SetupDiGetINFClass Done. INF Class is Modem\" \n\n" + install +
           "\"SetupDiCreateDeviceInfoList Done.\" \n\n" + install +
           "\"SetupDiCreateDeviceInfo Done. New Generated Id is ROOT\\MODEM\\0000\" \n\n" +
           install + "SetupDiSetDeviceRegistryProperty finished. Now it has id mtkgprsmodem \n\n" +
           reg + "SetupDiRegisterDeviceInfo OK\n \n\n" + reg +
           "SetupDiCreateDevRegKey succeded. Now the modem has entry in registry \n\n" + reg +
           "\"RegSetValueEx succeded. Now the modem is registered with AttachedTo\" \n\n" + reg +
           "SetupDiRegisterDeviceInfo call for the second time succeded(don't know why called it "
           ":-S. But it is needed. \n\n"
           "ERROR  RegisterModem  -  SetupDiGetSelectedDriver failes. It's success is not "
           "important though. It always fails. I don't know why to call it in the 1st place :-S. "
           "\n\n" +
           installError +
           "\"RegisterModem finished. Tried to register it to COM7\" \n\n"
           "QString::arg: Argument missing: "
           "UpdateDriverForPlugAndPlayDevices finished. Reboot required == , true\n" +
           install + "\"UpdateDriverForPlugAndPlayDevices finished. Reboot required == \" \n\n" +
           install +
           "\"Last Error 0\" \n\n"
           "Successfully created the DIALUP CONNECTION :D :D\n";
}
