#include "tests/faults/expectations.h"

#include "tests/faults/healthylog.h"

#include <optional>

namespace faults {

namespace {

/// How a part ends that met a fault.
enum class Ending {
    GoesOn,       ///< as if nothing had happened, but for the log
    TriedAgain,   ///< the person is told, and the next try succeeds
    Refused,      ///< the person is told, and only another start of the program helps
    WithoutPort,  ///< the modem is set up on COM0: the entry is not the phone's port's
    WithoutModem, ///< the step counts as done, but no modem is there for the entry
    Fatal,        ///< a box, and the program ends
};

struct Effect {
    QStringList lines;
    QString printed;
    Ending ending = Ending::GoesOn;
    QString told = {}; ///< the text of the page or the box, or what the window shows
};

const char driversTold[] =
    "An error occured in INF setup. Please run the application as Administrator. For this, close "
    "the application, right click on the TolvaneDialler and click on Run as Administrator";
const char portTold[] =
    "No compatible mobile found. If mobile is connected, please disconnect and reconnect.";
const char modemTold[] = "An error occured in modem setup. Please retry.";
const char entryTold[] = "An error occured in creating Dial Up connection. Please retry.";

/// Any failure code, but none of the unusual answers.
bool isCode(const QString &how)
{
    return !how.isEmpty() && how.at(0).isDigit();
}

/// A row of a table: the call it is about, and what comes of it.
struct Row {
    const char *operation;
    int call;                  ///< 0: any
    std::vector<QString> hows; ///< none: any code
    Effect effect;
};

std::optional<Effect> lookUp(const std::vector<Row> &rows, const Fault &fault)
{
    for (const Row &row : rows) {
        const bool isHow = row.hows.empty() ? isCode(fault.how)
                                            : std::find(row.hows.begin(), row.hows.end(),
                                                        fault.how) != row.hows.end();
        if (fault.operation == row.operation && (row.call == 0 || row.call == fault.call) && isHow)
            return row.effect;
    }
    return std::nullopt;
}

// The start of the program.

std::optional<Effect> startEffect(const Fault &fault)
{
    // Better two windows than none.
    const std::vector<Row> rows = {
        {"CreateEventW", 1, {}, {{}, {}, Ending::GoesOn, firstResult}},
        {"SetEvent", 1, {}, {{}, {}, Ending::GoesOn, firstResult}},
    };
    return lookUp(rows, fault);
}

// The search for the port, which is a part of several.

struct Search {
    QStringList lines;
    bool isFound;
};

std::optional<Search> searchEffect(const Facts &f, const Fault &fault)
{
    const QString &operation = fault.operation;
    if (operation == "SetupDiGetClassDevsW" && isCode(fault.how))
        return Search{{"Got Invalid Handle Value on SetupDiGetClassDevs", noPortsLine()}, false};
    if (operation == "SetupDiEnumDeviceInfo" && isCode(fault.how)) {
        QStringList lines;
        for (int i = 0; i < fault.call - 1; ++i)
            lines += deviceLines(f, i, f.devices.at(i));
        const bool isWhole = fault.call > f.devices.size();
        if (fault.how != "259") // not the list's regular end
            return Search{lines + QStringList{"Error occured after enumaration", noPortsLine()},
                          false};
        return Search{lines + QStringList{isWhole ? portLine(f) : noPortsLine()}, isWhole};
    }
    // A device is asked for the size of its name, and then for the name.
    int nameless = -1;
    QString name;
    if (operation == "SetupDiGetDeviceRegistryPropertyW") {
        // 122 is the answer to a buffer that is too small: the next one is larger.
        if (fault.how == "122" || fault.how == "huge" || fault.how == "grows")
            return std::nullopt;
        nameless = (fault.call - 1) / 2;
        // The name fills its buffer. What lies behind is zero.
        if (fault.how == "unterminated" && fault.call % 2 == 0)
            name = QString(f.devices.at(nameless).size() + 1, QChar('x'));
    } else if (operation == "LocalAlloc" && isCode(fault.how)) {
        nameless = fault.call - 1;
    }
    if (nameless < 0)
        return std::nullopt;
    QStringList lines;
    for (int i = 0; i < f.devices.size(); ++i)
        lines += deviceLines(f, i, i == nameless ? name : f.devices.at(i));
    const bool isFound = nameless + 1 < f.devices.size();
    return Search{lines + QStringList{isFound ? portLine(f) : noPortsLine()}, isFound};
}

// The steps of the set-up.

std::optional<Effect> driversEffect(const Facts &f, const Fault &fault)
{
    const QString start = installerLine(f);
    const QString notStarted = errorLine("SetupAllInfs", "Port INF setup failed.");
    const QString notCopied = errorLine("SetupAllInfs", "Modem INF setup failed.");
    const QString copyFailed = errorLine("CopyInf", quoted("Failed, location \"" + f.inf + "\" "));
    const std::vector<Row> rows = {
        {"CreateProcessW", 1, {}, {{start, notStarted}, {}, Ending::TriedAgain, driversTold}},
        {"SetupCopyOEMInfW",
         1,
         {},
         {{start, infLine(f.inf), copyFailed, notCopied}, {}, Ending::TriedAgain, driversTold}},
        {"GetVersionExW", 1, {}, {{start, infLine(f.inf32)}, {}}},
        {"GetVersionExW", 1, {"empty"}, {{start, infLine(f.inf32)}, {}}},
        {"GetModuleHandleW", 1, {}, {{start, infLine(f.fallbackInf)}, {}}},
        {"GetProcAddress", 1, {}, {{start, infLine(f.fallbackInf)}, {}}},
    };
    return lookUp(rows, fault);
}

std::optional<Effect> rescanEffect(const Fault &fault)
{
    const char missing[] = "Error, cfgmgr32.dll not found\n";
    const QString notLocated = errorLine(rescan(), "CM_Locate_DevNode_Ex failed");
    const QString notScanned = errorLine(rescan(), "CM_Reenumerate_DevNode_Ex failed");
    const std::vector<Row> rows = {
        {"LoadLibraryW", 1, {}, {{notLocated}, missing}},
        {"CM_Locate_DevNode_ExA", 1, {}, {{notLocated}, {}}},
        {"LoadLibraryW", 2, {}, {{locatedLine(), notScanned}, missing}},
        {"CM_Reenumerate_DevNode_Ex", 1, {}, {{locatedLine(), notScanned}, {}}},
        {"CM_Locate_DevNode_ExA", 1, {"empty"}, {{locatedLine(), notScanned}, {}}},
    };
    return lookUp(rows, fault);
}

QString updateErrorText(const QString &code)
{
    const std::pair<const char *, const char *> names[] = {
        {"2", "Error is ERROR_FILE_NOT_FOUND"},
        {"3758096949", "Error is ERROR_IN_WOW64"}, // 0xE0000235
        {"1004", "Error is ERROR_INVALID_FLAGS"},
        {"3758096907", "Error is ERROR_NO_SUCH_DEVINST"}, // 0xE000020B
        {"259", "Error is ERROR_NO_MORE_ITEMS"},
    };
    for (const auto &[number, name] : names) {
        if (code == number)
            return name;
    }
    return "Error is unknown";
}

std::optional<Effect> modemEffect(const Facts &f, const Fault &fault)
{
    const QStringList before = QStringList{infLine(f.inf)} + portLines(f);
    const ModemLog m(QString("COM%1").arg(f.port));
    const QString &code = fault.how;
    const QString given = errorLine("InstallModem", "InstallRootEnumeratedDriver failed");
    const QString last = m.lastError(code);
    const QStringList made{m.classRead, m.setMade, m.deviceMade};
    const QStringList attached = made + m.registration + QStringList{m.attached};
    const auto noDevice = [&](const QStringList &lines) {
        return Effect{before + lines + QStringList{last}, {}, Ending::WithoutModem, {}};
    };
    const auto fails = [&](const QStringList &lines) {
        return Effect{before + lines + QStringList{given}, {}, Ending::TriedAgain, modemTold};
    };
    // The lines of the registration as far as it came, then its own error.
    const auto unregistered = [&](int done, const char *error) {
        return fails(made + m.registration.mid(0, done) +
                     QStringList{errorLine("RegisterModem", error), m.notAttached, last});
    };
    const auto changed = [&](const QString &line, const QStringList &into) {
        QStringList lines = before + m.all();
        const int place = int(lines.indexOf(line));
        lines.removeAt(place);
        for (int i = 0; i < into.size(); ++i)
            lines.insert(place + i, into.at(i));
        return Effect{lines, {}};
    };
    const QString noId =
        errorLine(m.function, "An error occured when getting the instance id. but it's not a big "
                              "prob.");
    const std::vector<Row> rows = {
        {"GetVersionExW", 1, {}, changed(infLine(f.inf), {infLine(f.inf32)})},
        {"GetVersionExW", 1, {"empty"}, changed(infLine(f.inf), {infLine(f.inf32)})},
        {"GetModuleHandleW", 1, {}, changed(infLine(f.inf), {infLine(f.fallbackInf)})},
        {"GetProcAddress", 1, {}, changed(infLine(f.inf), {infLine(f.fallbackInf)})},
        {"SetupDiGetINFClassW", 1, {}, fails({errorLine(m.function, "ERROR SetupDiGetINFClass")})},
        {"SetupDiGetINFClassW", 1, {"empty"}, changed(m.classRead, {m.classNamed({})})},
        {"SetupDiGetINFClassW",
         1,
         {"huge"},
         changed(m.classRead, {m.classNamed(QString(31, QChar('x')))})},
        {"SetupDiCreateDeviceInfoList",
         1,
         {},
         fails({m.classRead, errorLine(m.function, "ERROR SetupDiCreateDeviceInfoList")})},
        {"SetupDiCreateDeviceInfoW",
         1,
         {},
         noDevice({m.classRead, m.setMade, errorLine(m.function, "CreateDeviceInfo")})},
        {"SetupDiGetDeviceInstanceIdW", 1, {}, changed(m.deviceMade, {noId, m.idGiven({})})},
        {"SetupDiGetDeviceInstanceIdW", 1, {"huge"}, changed(m.deviceMade, {noId, m.idGiven({})})},
        {"SetupDiGetDeviceInstanceIdW", 1, {"empty"}, changed(m.deviceMade, {m.idGiven({})})},
        {"SetupDiSetDeviceRegistryPropertyW",
         1,
         {},
         noDevice(made + QStringList{errorLine(m.function, "SetDeviceRegistryProperty")})},
        {"SetupDiRegisterDeviceInfo", 1, {}, unregistered(1, "SetupDiRegisterDeviceInfo Device\n")},
        // 0xE0000204: there is no key yet, as it has to be.
        {"SetupDiOpenDevRegKey", 1, {"3758096900"}, {before + m.all(), {}}},
        {"SetupDiOpenDevRegKey", 1, {}, unregistered(2, "SetupDiOpenDevRegKey failed")},
        {"SetupDiCreateDevRegKeyW",
         1,
         {},
         unregistered(2, "SetupDiOpenDevRegKey/SetupDiCreateDevRegKey failed: ")},
        {"RegSetValueExW",
         1,
         {},
         changed(m.valueSet, {errorLine("RegisterModem", "RegSetValueEx"), m.valueSet})},
        {"SetupDiRegisterDeviceInfo",
         2,
         {},
         unregistered(4, "SetupDiRegisterDeviceInfo call for the second time failed(don't know why "
                         "called it :-S. But it is needed.")},
        {"LoadLibraryW",
         1,
         {},
         {before + attached, {}, Ending::Fatal, "Error, newdev.dll not found\n"}},
        {"UpdateDriverForPlugAndPlayDevicesW",
         1,
         {},
         fails(attached +
               QStringList{errorLine(m.function, "UpdateDriverForPlugAndPlayDevices failed."),
                           errorLine(m.function, quoted("Error code " + code)),
                           errorLine(m.function, updateErrorText(code)), last})},
    };
    return lookUp(rows, fault);
}

std::optional<Effect> entryEffect(const Fault &fault)
{
    const auto fails = [](const QString &line) {
        return Effect{{line}, {}, Ending::TriedAgain, entryTold};
    };
    const auto ends = [](const QString &text) { return Effect{{}, {}, Ending::Fatal, text}; };
    const QString noProperties = "RasGetEntryProperties failed";
    const QString noModem = "Error! No compatible modem found!";
    const std::vector<Row> rows = {
        // The size is asked for first; 603 tells it. A size of 0 is not enough for
        // the machine when it is asked again.
        {"RasGetEntryPropertiesW", 1, {"603", "empty"}, fails(noProperties)},
        {"RasGetEntryPropertiesW", 1, {}, {{}, {}, Ending::TriedAgain, entryTold}},
        {"RasGetEntryPropertiesW", 2, {}, fails(noProperties)},
        {"HeapAlloc", 1, {}, fails("HeapAlloc failed!\n")},
        {"RasEnumDevicesW", 1, {"603"}, ends("An Error Occured.")},
        {"RasEnumDevicesW", 1, {}, ends("Small Buffer Small Error Not Found.")},
        {"RasEnumDevicesW", 0, {"empty", "unterminated"}, fails(noModem)},
        {"HeapAlloc", 2, {}, ends("HeapAlloc failed!")},
        {"RasEnumDevicesW", 2, {}, ends("An Error Occured.")},
        {"RasSetEntryPropertiesW",
         1,
         {"5"},
         fails("The user does not have the correct privileges. Only an administrator can complete "
               "this task.\n \n")},
        {"RasSetEntryPropertiesW",
         1,
         {"87"},
         fails("The RASENTRY structure pointed to by the lpRasEntry parameter does not contain "
               "adequate information. See the description for lpRasEntry to see what information "
               "is required. \n")},
        {"RasSetEntryPropertiesW",
         1,
         {"610"},
         fails("The address or buffer specified by lpRasEntry is invalid. \n")},
        {"RasSetEntryPropertiesW",
         1,
         {"621"},
         fails("The phone book is corrupted or missing components. \n")},
        {"RasSetEntryPropertiesW",
         1,
         {},
         fails(QString("Unknown error occured. Error code =  %1 \n").arg(fault.how))},
    };
    return lookUp(rows, fault);
}

// The connection.

std::optional<Effect> connectEffect(const Facts &f, const Fault &fault)
{
    const QString &code = fault.how;
    const QStringList before = portLines(f) + QStringList{pathLine(f.port)};
    const QStringList all = connectLines(f);
    // A port that was opened and not set up stays in use until the program ends.
    const QStringList inUse = before + QStringList{"CreateFile failed with error  5"};
    const auto keepsPort = [&](const QStringList &lines) {
        return Effect{before + lines + inUse, {}, Ending::Refused, disconnectedResult};
    };
    const QString again = atPrinted() + atPrinted();
    const QString noWait = QString("Waiting for single object failed with error no %1\n");
    const QString filler = QString(100, QChar('x')) + "\n";
    const std::vector<Row> rows = {
        {"CreateFileW",
         1,
         {},
         {before + QStringList{"CreateFile failed with error  " + code} + all, again,
          Ending::TriedAgain, disconnectedResult}},
        {"GetCommState", 1, {}, keepsPort({"GetCommState failed with error " + code})},
        {"SetCommState", 1, {}, keepsPort({"SetCommState failed with error " + code})},
        {"SetCommTimeouts",
         1,
         {},
         keepsPort({reconfiguredLine(f.port), "Error setting time-outs " + code})},
        // The modem is not spoken to, and keeps the name that it has.
        {"SetCommMask", 1, {}, {all + QStringList{"SetCommMask failed with error " + code}, {}}},
        // One of the two commands is not sent, or its answer not waited for.
        {"CreateEventW", 1, {}, {all, okPrinted() + atPrinted()}},
        {"CreateEventW", 2, {}, {all, writtenPrinted() + atPrinted()}},
        {"CreateEventW", 3, {}, {all, atPrinted() + okPrinted()}},
        {"CreateEventW", 4, {}, {all, atPrinted() + writtenPrinted()}},
        // 997: the system goes on writing, and is waited for.
        {"WriteFile", 1, {"997"}, {all, writtenLaterPrinted() + okPrinted() + atPrinted()}},
        {"WriteFile", 2, {"997"}, {all, atPrinted() + writtenLaterPrinted() + okPrinted()}},
        {"WriteFile", 1, {}, {all, notWrittenPrinted(code) + okPrinted() + atPrinted()}},
        {"WriteFile", 2, {}, {all, atPrinted() + notWrittenPrinted(code) + okPrinted()}},
        {"WaitForSingleObject", 1, {}, {all, writtenPrinted() + noWait.arg(code) + atPrinted()}},
        {"WaitForSingleObject", 2, {}, {all, atPrinted() + writtenPrinted() + noWait.arg(code)}},
        // The last error is that of the wait that is pending.
        {"WaitForSingleObject",
         1,
         {"timeout"},
         {all, writtenPrinted() + noWait.arg("997") + atPrinted()}},
        {"WaitForSingleObject",
         2,
         {"timeout"},
         {all, atPrinted() + writtenPrinted() + noWait.arg("997")}},
        // Full buffers without a terminator, once with an impossible count.
        {"ReadFile",
         1,
         {"huge", "unterminated"},
         {all, writtenPrinted() + filler + okPrinted() + atPrinted()}},
        {"ReadFile",
         2,
         {"huge", "unterminated"},
         {all, atPrinted() + writtenPrinted() + filler + okPrinted()}},
        {"RasDialDlgW", 1, {}, {all + all, again + again, Ending::TriedAgain, disconnectedResult}},
    };
    return lookUp(rows, fault);
}

/// A look at the connections, which is the poll and a part of others.
std::optional<QStringList> listEffect(const Fault &fault, int connections)
{
    if (fault.operation != "RasEnumConnectionsW")
        return std::nullopt;
    if (isCode(fault.how))
        return QStringList{askedLine(entryName)};
    if (fault.how == "empty")
        return noConnectionLines(0);
    if (fault.how == "unterminated") // a field of 257 units
        return noConnectionLines(1) + otherLines(QString(257, QChar('x')));
    // The count is beyond the array: that is looked at, all of it.
    QStringList lines = noConnectionLines(0xFFFFFFFF);
    if (connections > 0)
        return lines + connectedLines(entryName).mid(3);
    for (int i = 0; i < 100; ++i)
        lines += otherLines({});
    return lines;
}

// The parts, put together.

class Teller
{
public:
    Teller(const Facts &facts, const Fault &fault) : f(facts), m_fault(fault) {}

    Story tell()
    {
        starts();
        if (!setUp() || !connection())
            return m_story;
        poll();
        disconnect();
        nextStart();
        return m_story;
    }

private:
    bool isHere(const char *part) const { return m_fault.part == QLatin1String(part); }
    std::optional<Search> search(const char *part) const
    {
        return isHere(part) ? searchEffect(f, m_fault) : std::nullopt;
    }

    void starts()
    {
        // Where a copy answers in its own time, there is none.
        QString second = f.isReal ? firstResult : otherFoundResult;
        if (isHere(secondStartPhase)) {
            if (const auto effect = startEffect(m_fault))
                second = effect->told;
        }
        m_story.append({secondStartPhase, {second}, {}, {}});
        m_story.append({firstStartPhase, {firstResult}, {}, {}});
    }

    Effect stepEffect(const char *step) const
    {
        const Effect healthy = {stepLines(f, step), {}};
        if (!isHere(step))
            return healthy;
        std::optional<Effect> effect;
        if (isHere(driversStep))
            effect = driversEffect(f, m_fault);
        if (isHere(rescanStep))
            effect = rescanEffect(m_fault);
        if (isHere(modemStep))
            effect = modemEffect(f, m_fault);
        if (isHere(entryStep))
            effect = entryEffect(m_fault);
        if (const auto found = search(portStep))
            effect = Effect{
                found->lines, {}, found->isFound ? Ending::GoesOn : Ending::TriedAgain, portTold};
        if (const auto found = search(modemStep)) {
            const QString port = QString("COM%1").arg(found->isFound ? f.port : 0);
            effect = Effect{QStringList{infLine(f.inf)} + found->lines + ModemLog(port).all(),
                            {},
                            found->isFound ? Ending::GoesOn : Ending::WithoutPort};
        }
        return effect.value_or(healthy);
    }

    bool setUp()
    {
        Phase phase{setUpPhase, {}, {}, {}};
        bool isDone = true;
        for (const char *step : setUpSteps) {
            const Effect effect = stepEffect(step);
            phase.lines += effect.lines;
            phase.printed += effect.printed;
            if (effect.ending == Ending::TriedAgain) {
                phase.results += effect.told;
                phase.lines += stepLines(f, step);
            } else if (effect.ending == Ending::Fatal) {
                phase.results += fatalResult + effect.told;
                m_story.append(phase);
                return false;
            } else if (effect.ending == Ending::WithoutPort) {
                m_isPhonesEntry = false;
            } else if (effect.ending == Ending::WithoutModem) {
                const QString none = "Error! No compatible modem found!";
                phase.lines += {none, none};
                phase.results += {entryTold, entryTold};
                isDone = false;
                break;
            }
        }
        if (isDone)
            phase.results += setUpResult;
        m_story.append(phase);
        return isDone;
    }

    bool connection()
    {
        Effect effect = {connectLines(f), atPrinted() + atPrinted()};
        if (!m_isPhonesEntry)
            // There is no entry for this port, so an empty name is dialled.
            effect = {connectLines(f) + connectLines(f), QString(effect.printed).repeated(2),
                      Ending::Refused, disconnectedResult};
        const auto found = search(connectPhase);
        if (found && !found->isFound)
            effect = {found->lines + QStringList{pathLine(0), "CreateFile failed with error  2"} +
                          connectLines(f),
                      effect.printed, Ending::TriedAgain, disconnectedResult};
        else if (found)
            effect.lines = found->lines + connectLines(f).mid(portLines(f).size());
        else if (isHere(connectPhase))
            effect = connectEffect(f, m_fault).value_or(effect);
        Phase phase{connectPhase, {}, effect.lines, effect.printed};
        if (effect.ending == Ending::TriedAgain)
            phase.results += effect.told;
        if (effect.ending == Ending::Refused)
            phase.results += {effect.told, effect.told};
        else
            phase.results += connectedResult;
        m_story.append(phase);
        return effect.ending != Ending::Refused;
    }

    void poll()
    {
        Phase phase{pollPhase, {connectedResult}, connectedLines(entryName), {}};
        const auto list = isHere(pollPhase) ? listEffect(m_fault, 1) : std::nullopt;
        if (list && *list != phase.lines && m_fault.how != "huge") {
            // The connection is not seen, and made anew.
            phase.lines = *list + connectLines(f);
            phase.printed = atPrinted() + atPrinted();
            phase.results = QStringList{disconnectedResult, connectedResult};
        } else if (list) {
            phase.lines = *list;
        }
        m_story.append(phase);
    }

    void disconnect()
    {
        Phase phase{disconnectPhase, {disconnectedResult}, connectedLines(entryName), {}};
        const auto list = isHere(disconnectPhase) ? listEffect(m_fault, 1) : std::nullopt;
        const bool isRefused = isHere(disconnectPhase) && m_fault.operation == "RasHangUpW";
        if (isRefused || (list && m_fault.how != "huge")) {
            phase.lines = list.value_or(phase.lines) + phase.lines;
            phase.results.prepend(connectedResult);
        } else if (list) {
            phase.lines = *list;
        }
        m_story.append(phase);
    }

    void nextStart()
    {
        Phase phase{nextStartPhase, {countingDownResult}, {}, {}};
        const QString known = "connection name in reg:  " + quoted(entryName);
        QStringList list = noConnectionLines(0);
        if (isHere(nextStartPhase))
            list = listEffect(m_fault, 0).value_or(list);
        const auto found = search(nextStartPhase);
        if (found && !found->isFound) {
            // The next look finds it.
            phase.results.prepend(waitingResult);
            phase.lines =
                found->lines + QStringList{"Checking port availability \n"} + portLines(f);
        } else {
            phase.lines = (found ? found->lines : portLines(f)) + QStringList{known} + list;
        }
        m_story.append(phase);
    }

    const Facts &f;
    const Fault &m_fault;
    Story m_story;
    bool m_isPhonesEntry = true;
};

} // namespace

Story expectedStory(const Facts &facts, const Fault &fault)
{
    return Teller(facts, fault).tell();
}

} // namespace faults
