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

// "off" is no command's beginning, so it can stand for no prefix.
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

} // namespace

bool Misbehaviour::set(const QString &name, const QString &value, QString *error)
{
    bool isValid = false;
    if (name == "echo") {
        isValid = readEcho(value, &echo);
    } else if (name == "delay") {
        isValid = readNumber(value, 3600000, &delayMs);
    } else if (name == "split") {
        isValid = readNumber(value, 1000, &splitAfter);
    } else if (name == "join") {
        isValid = readSwitch(value, &join);
    } else if (name == "silent") {
        isValid = readSwitch(value, &silent);
    } else if (name == "error") {
        isValid = readPrefix(value, &errorPrefix);
        if (value == "all")
            errorPrefix = "*";
    } else if (name == "unplug-on") {
        isValid = readPrefix(value, &unplugPrefix);
    } else if (name == "noise") {
        isValid = readBytes(value, &noise);
    } else if (name == "glue") {
        isValid = readBytes(value, &glue);
    } else {
        QStringList names;
        for (const MisbehaviourHelp &help : misbehaviourHelp())
            names += help.name;
        *error = QString("there is no setting \"%1\"; there are: %2").arg(name, names.join(", "));
        return false;
    }
    if (!isValid) {
        QString expected;
        for (const MisbehaviourHelp &help : misbehaviourHelp()) {
            if (name == help.name)
                expected = help.value;
        }
        *error = QString("\"%1\" is no value for %2; it takes %3").arg(value, name, expected);
    }
    return isValid;
}

QList<MisbehaviourHelp> misbehaviourHelp()
{
    return {
        {"echo", "on|off|glued",
         "Echo commands until ATE says otherwise: as a chunk of its own (on, the default) or in "
         "the same chunk as the answer (glued)."},
        {"delay", "MILLISECONDS", "Time from a command to its answer; 5 by default."},
        {"split", "BYTES", "Write each answer in two chunks, the first that long; 0: do not."},
        {"join", "on|off", "Write all texts and answers that are there together as one chunk."},
        {"silent", "on|off", "Answer nothing; what waited is answered after silent off."},
        {"error", "PREFIX|all|off", "Answer ERROR to commands that begin so, for example AT+CGD."},
        {"unplug-on", "PREFIX|off",
         "Be unplugged, once, as soon as a command that begins so has come so far."},
        {"noise", "TEXT|off",
         "Send TEXT before each answer as a chunk of its own; \\r, \\n, \\t, \\0, \\xNN and "
         "\\\\ are escapes."},
        {"glue", "TEXT|off", "Put TEXT in front of each answer, in the same chunk."},
    };
}

bool hasCommandPrefix(const QByteArray &line, const QByteArray &prefix)
{
    return !prefix.isEmpty() && line.toUpper().startsWith(prefix);
}

} // namespace virtualphone
