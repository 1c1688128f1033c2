#pragma once

#include <QDataStream>
#include <QString>
#include <QStringList>

namespace faults {

/// One part of what a person does with the program, as it was seen.
struct Phase {
    QString name;
    QStringList results; ///< what the person saw at each try, in order
    QStringList lines;   ///< the debug stream
    QString printed;     ///< standard output

    bool operator==(const Phase &other) const
    {
        return name == other.name && results == other.results && lines == other.lines &&
               printed == other.printed;
    }
};

inline QDataStream &operator<<(QDataStream &stream, const Phase &phase)
{
    return stream << phase.name << phase.results << phase.lines << phase.printed;
}

inline QDataStream &operator>>(QDataStream &stream, Phase &phase)
{
    return stream >> phase.name >> phase.results >> phase.lines >> phase.printed;
}

/// Everything from the first start to the second.
using Story = QList<Phase>;

// The phases of a walk, in order.
inline const char secondStartPhase[] = "second start";
inline const char firstStartPhase[] = "first start";
inline const char setUpPhase[] = "set-up";
inline const char connectPhase[] = "connect";
inline const char pollPhase[] = "poll";
inline const char disconnectPhase[] = "disconnect";
inline const char nextStartPhase[] = "next start";
inline const char goOnPhase[] = "going on"; ///< only where the phone was pulled before

// The parts of the set-up.
inline const char driversStep[] = "drivers";
inline const char rescanStep[] = "rescan";
inline const char portStep[] = "port";
inline const char modemStep[] = "modem";
inline const char entryStep[] = "entry";

// What a person may see.
inline const char otherFoundResult[] = "the window of the other one comes to the front";
inline const char firstResult[] = "starts";
inline const char setUpResult[] = "set up";
inline const char connectedResult[] = "connected";
inline const char disconnectedResult[] = "disconnected";
inline const char countingDownResult[] = "counting down";
inline const char waitingResult[] = "waiting for the port";
inline const char wizardResult[] = "the wizard opens";
inline const char fatalResult[] = "a box, and the program ends: "; ///< and its text

} // namespace faults
