#pragma once

#include "tests/desktop/childprocess.h"

#include <QElapsedTimer>
#include <QImage>
#include <QList>
#include <QPoint>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <optional>

/// The X window number, as text.
using WindowId = QString;

/// A virtual display of its own with a window manager, used as a person uses
/// one: by mouse and keyboard, looking at windows and pictures. Several may
/// exist at once. Everything throws NotAsExpected when it cannot be done.
class Desktop
{
public:
    /// Starts the display and its window manager. Pictures go to the folder
    /// `artefacts`, which is made. `scale` is that of the programs shown:
    /// every coordinate below is in their own, unscaled pixels.
    explicit Desktop(const QString &artefacts, double scale = 1);

    /// A display that somebody else made with its window manager, and ends.
    struct Display {
        QString name;        ///< ":7"
        QString frameBuffer; ///< the folder in which Xvfb keeps its screen (-fbdir)
    };
    Desktop(const QString &artefacts, const Display &display);

    /// What a program needs to show up here. No setting of the caller's own
    /// desktop is in it.
    QProcessEnvironment environment() const;
    double scale() const { return m_scale; }

    /// The visible window with exactly this title, the topmost of several;
    /// empty when there is none. A blank behind the title does not count.
    WindowId window(const QString &title) const;
    WindowId waitForWindow(const QString &title, int timeout) const;
    WindowId waitForWindow(const QString &title) const;
    void waitForNoWindow(const QString &title) const;
    /// Waits until the window has the keyboard.
    void waitForFocus(const WindowId &window) const;
    /// Gives the window the keyboard and waits until it has it.
    void activate(const WindowId &window) const;
    /// Every visible window of a program, menus and lists included.
    QStringList visibleWindows() const;
    /// The titles of the visible windows, for a person to read.
    QStringList visibleTitles() const;

    /// The inside of the window on the screen, in the screen's pixels.
    QRect geometry(const WindowId &window) const;
    /// The inside of the window, in its own pixels.
    QSize size(const WindowId &window) const;
    /// A property as xprop prints it.
    QString property(const WindowId &window, const QString &name) const;

    /// Never the second half of a double click: it waits out the time since
    /// the last click at the same place.
    void click(const WindowId &window, QPoint point) const;
    /// Clicks twice at the pace of a person.
    void doubleClick(const WindowId &window, QPoint point) const;
    /// Puts the mouse where it touches no window.
    void moveMouseAway() const;
    /// Presses keys one after the other, named as X names them: "alt+n".
    void press(const QStringList &keys) const;
    void press(const QString &key) const { press(QStringList{key}); }
    /// The same in this window, which is given the keyboard first.
    void pressIn(const WindowId &window, const QStringList &keys) const;
    void pressIn(const WindowId &window, const QString &key) const
    {
        pressIn(window, QStringList{key});
    }
    /// Keeps a key down for two seconds; the display repeats it some thirty times.
    void hold(const QString &key) const;
    /// Presses the key in the window every few seconds until `done`, as a
    /// person does whose key came before the window was ready. Only where a
    /// second press does no harm. `what` names what is waited for.
    void pressUntil(const WindowId &window, const QString &key, const QString &what,
                    const std::function<bool()> &done) const;
    /// Makes the window disappear into the taskbar.
    void minimise(const WindowId &window) const;
    /// Asks for the window to be closed, as its title bar's button does. It may stay.
    void askToClose(const WindowId &window) const;
    /// The same, and waits until it is gone.
    void close(const WindowId &window) const;

    /// Whether another program could have the mouse and the keyboard for
    /// itself: nobody else keeps them. Asks the display for both.
    bool canGrabInput() const;

    /// The whole screen, in its own pixels.
    QImage screen() const;
    /// What is on the screen where the window is.
    QImage picture(const WindowId &window) const;
    /// A part of that, given in the window's own pixels.
    QImage picture(const WindowId &window, const QRect &part) const;
    /// Leaves the visible windows with their frames, and nothing of the desktop
    /// between them, in the artefact folder as NN-<what>.png, numbered in order.
    /// Waits until the picture has stood still for as long as setStillness()
    /// says. Returns the file's name.
    QString keepPicture(const QString &what);
    /// How long the screen has to be unchanged to stand still, in milliseconds.
    /// More where a window is painted late.
    void setStillness(int milliseconds) { m_stillness = milliseconds; }

private:
    void click(const WindowId &window, QPoint point, const QStringList &how) const;
    void repeatUntil(const QString &what, const std::function<void()> &act,
                     const std::function<bool()> &done) const;
    void removeEarlierPictures() const;
    /// The screen when it stands still; of one that never does, what is there
    /// after a while.
    QImage stillScreen() const;
    std::optional<QRect> geometryIfThere(const WindowId &window) const;
    /// The window with the frame that the window manager put around it, on the
    /// screen; empty when it has gone.
    QRect frame(const WindowId &window) const;
    QString run(const QString &program, const QStringList &arguments) const;
    QString xdotool(const QStringList &arguments) const;

    QString m_artefacts;
    double m_scale;
    int m_pictures = 0;
    struct Click {
        QPoint place;
        QElapsedTimer since;
    };
    mutable QList<Click> m_clicks; ///< the last ones
    int m_stillness = 20;
    QTemporaryDir m_folder;
    QString m_frameBuffer;
    QString m_name;
    ChildProcess m_display;
    ChildProcess m_windowManager;
};
