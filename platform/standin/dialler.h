#pragma once

#include "platform/types.h"

#include <QObject>
#include <QString>

namespace platform {

/// Why a dial failed: the number that RAS has for it and a sentence for the
/// user.
struct DialFailure {
    DWORD code = 0;
    QString text;
    QString details = {};    ///< what was said in the end, line by line; may be empty
    bool needsSetUp = false; ///< the entry has to be made anew
};

/// Dials one phone-book entry, as often as it is asked to. Destroyed while it
/// runs, it frees the line first. Lives in a thread with an event loop.
class Dialler : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Dials; connected() or failed() follows. One dial at a time.
    virtual void start() = 0;

    /// Gives up the dial that is running. Its outcome follows when the line is
    /// free: connected() when it was too late.
    virtual void stop() = 0;

    virtual bool isRunning() const = 0;

    /// Whether it takes a name and a password for a network that wants them.
    virtual bool takesSignIn() const { return false; }

    /// What the network gets as name and password, from the next dial on.
    virtual void setSignIn(const QString &, const QString &) {}

signals:
    /// What happens now, as a text for the user.
    void progressed(const QString &text);
    /// The connection is up.
    void connected();
    void failed(const platform::DialFailure &failure);
};

} // namespace platform
