#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

namespace virtualphone {

/// How the characters of a command are echoed.
enum class EchoMode {
    Off,
    On,    ///< a chunk of its own
    Glued, ///< in front of the answer, in the same chunk
};

/// How the phone departs from the orderly exchange in which every echo, text
/// and answer is a chunk of its own.
struct Misbehaviour {
    EchoMode echo = EchoMode::On; ///< until ATE says otherwise
    int delayMs = 5;              ///< from the end of a command line to its answer
    int splitAfter = 0;           ///< bytes of an answer's first chunk; 0: not split
    bool join = false;            ///< texts and answers that are ready together are one chunk
    bool silent = false;          ///< nothing is answered until it is switched off
    QByteArray errorPrefix;       ///< upper case; commands that begin so get ERROR; "*": all
    QByteArray unplugPrefix;      ///< upper case; a command that begins so unplugs the phone, once
    QByteArray noise;             ///< sent before each answer as a chunk of its own
    QByteArray glue;              ///< put in front of each answer, in the same chunk

    /// Changes the setting that has this name in misbehaviourHelp(). False with
    /// a message, and nothing changed, when there is no such setting or the
    /// value does not fit.
    bool set(const QString &name, const QString &value, QString *error);
};

/// One setting of Misbehaviour as users see it.
struct MisbehaviourHelp {
    const char *name;
    const char *value;   ///< the values that it takes
    const char *meaning; ///< a sentence or two
};

/// Every setting that Misbehaviour::set knows, in the order in which the
/// command line's help shows them.
QList<MisbehaviourHelp> misbehaviourHelp();

/// Whether a command line begins with an upper-case prefix, in whatever case
/// the line is written; never for an empty prefix.
bool hasCommandPrefix(const QByteArray &line, const QByteArray &prefix);

} // namespace virtualphone
