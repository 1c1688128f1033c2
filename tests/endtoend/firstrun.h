#pragma once

#include <QByteArray>

#include <functional>

class Session;

/// Tells of a step and keeps a picture of it under this short name.
using ShowStep = std::function<void(const char *picture, const char *what)>;

/// What was seen of a first run.
struct SeenOfFirstRun {
    QByteArray setupLog; ///< the debug stream of the set-up
    QByteArray heard;    ///< what the phone heard up to the connection
    QByteArray printed;  ///< what the program printed up to there
};

/// The first run by mouse: from an empty store through the wizard to a
/// connection and back. The program runs on. `setUp` presses Next and comes
/// back when Finish can be pressed. The faces of the button are learnt where
/// what it does tells what it says.
SeenOfFirstRun walkFirstRun(Session &session, const ShowStep &show,
                            const std::function<void()> &setUp);

/// Closes the program by its window; it has to end well.
void closeProgram(Session &session);
