#include "tests/windows/callcheck.h"

#include <QMap>
#include <QRegularExpression>

namespace {

// What the parts of a line may be.
const char result[] = "-> result=(1|0 error=\\d+)";
const char code[] = "-> result=\\d+";
const char anyPath[] = "\"C:\\\\[^\"]*\"";

/// For every function the form of its lines, as regular expressions; %R is
/// the outcome of a BOOL function, %C a code, %P a path.
const QMap<QString, QStringList> &forms()
{
    static const QMap<QString, QStringList> table = {
        // Remote access
        {"RasEnumConnectionsW",
         {"dwSize=1340 lpcb=136000 count=0 rest=zero %C( count=\\d+)?",
          // Once more, where that size is refused.
          "dwSize=1372 lpcb=137200 count=0 rest=zero %C( count=\\d+)?"}},
        {"RasHangUpW", {"connection=\"[^\"]+\" %C"}},
        {"RasDialDlgW",
         {"phonebook=null entry=\"[^\"]*\" behind=zero number=\"\\*99#\" dwSize=48 rest=zero "
          "-> [01]"}},
        {"RasEnumDevicesW",
         {"records=null lpcb=0 count=0 %C( lpcb=\\d+| count=0)?",
          "dwSize=296 rest=zero lpcb=\\d+ count=\\d+ %C( count=\\d+)?"}},
        {"RasGetEntryPropertiesW",
         {"phonebook=null entry=\"\" record=null size=0 device=null deviceSize=null "
          "%C( size=\\d+)?",
          "phonebook=null entry=\"\" dwSize=4048 rest=zero size=(5680|7000) device=null "
          "deviceSize=null %C( size=\\1)?"}},
        {"RasSetEntryPropertiesW",
         {"phonebook=null entry=\"TolvaneModem \\d+\" behind=zero size=(5680|7000) dwSize=4048 "
          "options=0x308 number=\"\\*99#\" type=\"RASDT_Modem\" device=\"[^\"]+\" "
          "fieldEnds=zero others=default deviceInfo=null deviceInfoSize=0 %C"}},
        // Serial port
        {"CreateFileW",
         {"name=\"\\\\\\\\\\.\\\\COM\\d+\" behind=zero access=0xC0000000 share=0 security=null "
          "disposition=3 flags=0x40000000 template=null "
          "-> (port\\d+|result=invalid error=\\d+)"}},
        {"GetCommState", {"port\\d+ record=zero %R"}},
        {"SetCommState",
         {"port\\d+ BaudRate=9600 ByteSize=8 Parity=0 StopBits=0 others=as-reported %R"}},
        {"SetCommTimeouts",
         {"port\\d+ ReadInterval=0xFFFFFFFF ReadMultiplier=0 ReadConstant=0 WriteMultiplier=0 "
          "WriteConstant=0 %R"}},
        {"SetCommMask", {"port\\d+ mask=5 %R"}},
        {"event", {"event\\d+ manual unsignalled unnamed"}},
        {"CreateEventW",
         {"-> result=null error=\\d+", "name=\"Local\\\\Tolvane Modem Connector [0-9a-f]{40}( "
                                       "offer)?\" rights=set manual=0 initial=0 "
                                       "-> named\\d+ error=(0|183)"}},
        {"WriteFile",
         {"port\\d+ data=\"AT\\\\r\" count=3 record=zero event\\d+ %R",
          "port\\d+ data=\"AT\\+CGDCONT=1,\"IP\",\".*\"\\\\r\" count=\\d+ record=zero event\\d+ "
          "%R"}},
        {"GetOverlappedResult", {"port\\d+ offset=zero event\\d+ wait=1 %R"}},
        {"WaitCommEvent", {"port\\d+ (record|offset)=zero event\\d+ mask=set %R"}},
        {"WaitForSingleObject",
         {"event\\d+ milliseconds=0xFFFFFFFF -> result=(0|0xFFFFFFFF error=\\d+)"}},
        {"ReadFile",
         {"port\\d+ bytes=100 buffer=zero read=0 offset=zero event\\d+ (-> got=\".*\"|%R)"}},
        // A second start of the program
        {"ConvertStringSecurityDescriptorToSecurityDescriptorW",
         {"rights=\"D:(\\(A;;GA;;;(SY|BA|IU)\\)){3}\" revision=1 size=null %R"}},
        {"IsUserAnAdmin", {"%R"}},
        {"AllowSetForegroundWindow", {"process=0xFFFFFFFF %R"}},
        {"SetEvent", {"named\\d+ -> result=1"}},
        // The events of the port are left to the end of the process.
        {"CloseHandle",
         {"(port|named|process|thread)\\d+ -> result=1", "null -> result=0 error=6"}},
        // Processes, system information, libraries bound at run time
        {"CreateProcessW",
         {"application=%P behind=zero commandLine=\"InstallDriver -a\" behind=zero "
          "processSecurity=null "
          "threadSecurity=null inherit=0 flags=0 environment=null directory=null cb=104 "
          "rest=zero %R"}},
        {"InstallDriver.exe",
         {"program=%P commandLine=\"InstallDriver -a\" directory=%P startupFlags=0x0"}},
        {"GetVersionExW", {"size=284 rest=zero -> (major=\\d+ minor=\\d+|result=0 error=\\d+)"}},
        {"GetSystemMetrics", {"index=89"}},
        {"LoadLibraryW", {"name=\"(cfgmgr32|newdev)\\.dll\" -> result=(module|null error=\\d+)"}},
        {"FreeLibrary", {"(cfgmgr32|newdev)\\.dll"}},
        {"GetProcAddress",
         {"kernel32\\.dll GetNativeSystemInfo -> result=(address|null)",
          "cfgmgr32\\.dll CM_(Locate_DevNode_ExA|Reenumerate_DevNode_Ex) -> result=address",
          "newdev\\.dll UpdateDriverForPlugAndPlayDevicesW -> result=address"}},
        {"cfgmgr32.dll", {"loaded", "freed"}},
        {"newdev.dll", {"loaded", "freed"}},
        {"CM_Locate_DevNode_ExA", {"id=null flags=0 machine=null %C"}},
        {"CM_Reenumerate_DevNode_Ex", {"node=root flags=0 machine=null %C"}},
        {"UpdateDriverForPlugAndPlayDevicesW",
         {"parent=null hardwareId=\"mtkgprsmodem\" behind=zero inf=%P behind=zero flags=1 "
          "reboot=false %R( reboot=true)?"}},
        // Device installation
        {"SetupCopyOEMInfW",
         {"source=(%P) behind=zero location=\\1 behind=zero media=0 style=0x40000 destination=null "
          "destinationSize=0 "
          "required=null component=null %R"}},
        {"SetupDiGetClassDevsW",
         {"class=Ports enumerator=null parent=null flags=2 "
          "-> (set\\d+|result=invalid error=\\d+)"}},
        {"SetupDiCreateDeviceInfoList",
         {"class=Modem parent=null -> (set\\d+|result=invalid error=\\d+)"}},
        {"SetupDiDestroyDeviceInfoList", {"set\\d+ %R"}},
        {"SetupDiEnumDeviceInfo", {"set\\d+ index=\\d+ cbSize=32 %R"}},
        {"SetupDiGetDeviceRegistryPropertyW",
         {"set\\d+ device=\\d+ cbSize=32 property=12 type=set size=0 buffer=null %R",
          "set\\d+ device=\\d+ cbSize=32 property=12 type=set size=[1-9]\\d* buffer=zero %R"}},
        {"SetupDiGetINFClassW", {"inf=%P behind=zero name=zero nameSize=200 required=null %R"}},
        {"SetupDiCreateDeviceInfoW",
         {"set\\d+ name=\"Modem\" class=Modem description=null parent=null flags=1 cbSize=32 "
          "%R"}},
        {"SetupDiGetDeviceInstanceIdW", {"set\\d+ device=new cbSize=32 size=\\d+ %R"}},
        {"SetupDiSetDeviceRegistryPropertyW",
         {"set\\d+ device=new cbSize=32 property=1 size=28 value=mtkgprsmodem\\|\\| %R"}},
        {"SetupDiRegisterDeviceInfo",
         {"set\\d+ device=new cbSize=32 flags=0 compare=null context=null duplicate=null "
          "driverKey=none %R",
          // The second one: the value is written and the key closed.
          "set\\d+ device=new cbSize=32 flags=0 compare=null context=null duplicate=null "
          "AttachedTo=(\"COM\\d\" type=1 bytes=10|\"COM\\d\\d\" type=1 bytes=12|none) "
          "key=closed %R"}},
        {"SetupDiOpenDevRegKey",
         {"set\\d+ device=new cbSize=32 scope=1 profile=0 keyType=2 access=0xF003F "
          "-> result=(key|invalid error=\\d+)"}},
        {"SetupDiCreateDevRegKeyW",
         {"set\\d+ device=new cbSize=32 scope=1 profile=0 keyType=2 inf=null section=null "
          "-> result=(key|invalid error=\\d+)"}},
        {"SetupDiGetSelectedDriverW", {"set\\d+ device=new cbSize=32 driverSize=0 rest=zero %R"}},
        {"SetupDiCallClassInstaller", {"function=5 set\\d+ device=new cbSize=32 %R"}},
        // Registry, memory
        {"RegSetValueExW",
         {"name=\"AttachedTo\" reserved=0 type=1 data=\"COM\\d\" bytes=10 %C",
          "name=\"AttachedTo\" reserved=0 type=1 data=\"COM\\d\\d\" bytes=12 %C"}},
        {"RegCloseKey", {"driver key -> result=0"}},
        {"HeapAlloc", {"flags=8 bytes=\\d+ -> (block\\d+|result=null)"}},
        {"HeapFree", {"flags=0 block\\d+"}},
        {"LocalAlloc", {"flags=64 bytes=\\d+ -> (block\\d+|result=null)"}},
        {"LocalFree", {"block\\d+"}},
        {"exit", {"sets .*", "ports .*"}},
    };
    return table;
}

QRegularExpression expression(QString form)
{
    form.replace("%R", result).replace("%C", code).replace("%P", anyPath);
    return QRegularExpression('^' + form + '$');
}

} // namespace

QStringList wrongCalls(const QStringList &calls)
{
    QStringList wrong;
    for (const QString &line : calls) {
        const QString function = line.section(' ', 0, 0);
        const QString arguments = line.section(' ', 1);
        if (!forms().contains(function)) {
            wrong.append("unexpected call: " + line);
            continue;
        }
        bool matches = false;
        for (const QString &form : forms().value(function))
            matches = matches || expression(form).match(arguments).hasMatch();
        if (!matches)
            wrong.append("wrong argument: " + line);
    }
    return wrong;
}

QStringList withoutWaiting(const QStringList &calls)
{
    QStringList kept;
    for (const QString &line : calls) {
        const QString function = line.section(' ', 0, 0);
        if (function == "WaitCommEvent" || function == "WaitForSingleObject" ||
            (function == "ReadFile" && line.endsWith("got=\"\"")))
            continue;
        kept.append(line);
    }
    return kept;
}

QStringList setupOnly(const QStringList &calls)
{
    QStringList kept;
    for (const QString &line : calls) {
        if (!line.startsWith("InstallDriver.exe ") && !line.startsWith("exit "))
            kept.append(line);
    }
    return kept;
}

QString firstDifference(const QStringList &recorded, const QStringList &expected)
{
    const int common = qMin(recorded.size(), expected.size());
    for (int i = 0; i < common; ++i) {
        if (recorded[i] != expected[i])
            return QString("line %1\n  recorded: %2\n  expected: %3")
                .arg(QString::number(i + 1), recorded[i], expected[i]);
    }
    if (recorded.size() > common)
        return "more than expected: " + recorded[common];
    if (expected.size() > common)
        return "missing: " + expected[common];
    return {};
}
