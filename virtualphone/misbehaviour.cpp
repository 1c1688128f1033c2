#include "virtualphone/misbehaviour.h"

#include "virtualphone/byteescapes.h"

namespace virtualphone {

namespace {

bool readSwitch(const QString &value, bool *flag)
{
    if (value != "on" && value != "off")
        return false;
    *flag = value == "on";
    return true;
}

bool readNumber(const QString &value, int maximum, int *number)
{
    bool isNumber = false;
    const uint read = value.toUInt(&isNumber);
    if (!isNumber || read > static_cast<uint>(maximum))
        return false;
    *number = static_cast<int>(read);
    return true;
}

// No command begins with "off", so it can stand for no prefix.
bool readPrefix(const QString &value, QByteArray *prefix)
{
    if (value.isEmpty())
        return false;
    *prefix = value == "off" ? QByteArray() : value.toLatin1().toUpper();
    return true;
}

bool readBytes(const QString &value, QByteArray *bytes)
{
    if (value == "off") {
        bytes->clear();
        return true;
    }
    return !value.isEmpty() && unescapeBytes(value.toLatin1(), bytes);
}

bool readEcho(const QString &value, EchoMode *mode)
{
    if (value == "off")
        *mode = EchoMode::Off;
    else if (value == "on")
        *mode = EchoMode::On;
    else if (value == "glued")
        *mode = EchoMode::Glued;
    else
        return false;
    return true;
}

bool readErrorPrefix(const QString &value, QByteArray *prefix)
{
    if (value != "all")
        return readPrefix(value, prefix);
    *prefix = "*";
    return true;
}

/// A setting, and how its value is read: false, with nothing changed, when the
/// value does not fit.
struct Setting {
    MisbehaviourHelp help;
    bool (*read)(const QString &value, Misbehaviour *misbehaviour);
};

const Setting settings[] = {
    {{"echo", "on|off|glued",
      "Echo commands until ATE says otherwise: as a chunk of its own (on, the default) or in "
      "the same chunk as the answer (glued)."},
     [](const QString &value, Misbehaviour *m) { return readEcho(value, &m->echo); }},
    {{"delay", "MILLISECONDS", "Time from a command to its answer; 5 by default."},
     [](const QString &value, Misbehaviour *m) { return readNumber(value, 3600000, &m->delayMs); }},
    {{"split", "BYTES",
      "Write each answer in two chunks, the first of them BYTES long; 0 writes it whole."},
     [](const QString &value, Misbehaviour *m) { return readNumber(value, 1000, &m->splitAfter); }},
    {{"join", "on|off", "Write texts and answers that are ready together as one chunk."},
     [](const QString &value, Misbehaviour *m) { return readSwitch(value, &m->join); }},
    {{"silent", "on|off",
      "Answer nothing. Commands received meanwhile are answered after \"silent off\"."},
     [](const QString &value, Misbehaviour *m) { return readSwitch(value, &m->silent); }},
    {{"error", "PREFIX|all|off",
      "Answer ERROR to all commands, or to those that begin with PREFIX, for example AT+CGD."},
     [](const QString &value, Misbehaviour *m) { return readErrorPrefix(value, &m->errorPrefix); }},
    {{"unplug-on", "PREFIX|off",
      "Unplug once when a command starting with PREFIX arrives, even before its end."},
     [](const QString &value, Misbehaviour *m) { return readPrefix(value, &m->unplugPrefix); }},
    {{"noise", "TEXT|off",
      "Send TEXT before each answer as a chunk of its own; \\r, \\n, \\t, \\0, \\xNN and "
      "\\\\ are escapes."},
     [](const QString &value, Misbehaviour *m) { return readBytes(value, &m->noise); }},
    {{"glue", "TEXT|off", "Put TEXT in front of each answer, in the same chunk."},
     [](const QString &value, Misbehaviour *m) { return readBytes(value, &m->glue); }},
};

} // namespace

bool Misbehaviour::set(const QString &name, const QString &value, QString *error)
{
    QStringList names;
    for (const Setting &setting : settings) {
        names += setting.help.name;
        if (name != setting.help.name)
            continue;
        if (setting.read(value, this))
            return true;
        *error = QString("\"%1\" is not a value for %2; it takes %3")
                     .arg(value, name, setting.help.value);
        return false;
    }
    *error = QString("there is no setting \"%1\"; there are: %2").arg(name, names.join(", "));
    return false;
}

QList<MisbehaviourHelp> misbehaviourHelp()
{
    QList<MisbehaviourHelp> all;
    for (const Setting &setting : settings)
        all += setting.help;
    return all;
}

bool hasCommandPrefix(const QByteArray &line, const QByteArray &prefix)
{
    return !prefix.isEmpty() && line.toUpper().startsWith(prefix);
}

} // namespace virtualphone
