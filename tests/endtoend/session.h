#pragma once

#include "tests/desktop/desktop.h"
#include "tests/endtoend/machine.h"

#include <QMap>

inline constexpr char MainTitle[] = "Tolvane Modem Connector";
inline constexpr char WizardTitle[] = "Welcome To Tolvane Modem Connector Settings";
inline constexpr char DialTitle[] = "Connect TolvaneModem 1 (simulated)";

/// What is written on the button of the main window.
enum class Face { ConnectNow, Disconnect, PleaseWait, CheckConnection };

/// How the faces look, once a run has found out; see Session::learnFace.
using Faces = QMap<Face, QImage>;

/// A person at a simulated PC: the display, the machine, and where on the
/// program's windows everything is. Everything throws NotAsExpected when it
/// cannot be done.
class Session
{
public:
    explicit Session(const QString &artefacts, double scale = 1);

    Machine machine;
    Desktop desktop;

    void startProgram() { machine.startProgram(desktop); }

    // The wizard.
    /// Waits until it is there and has the keyboard.
    WindowId wizard() const;
    void pressNext() const;
    void pressBack() const;
    void pressFinish() const { pressNext(); } // it stands in the same place
    void pressCancel() const;
    /// Waits until the page's text is red and Retry is there.
    void waitForFailedStep() const;
    bool isRed() const;
    /// Presses Retry, wherever the text above has pushed it.
    void pressRetry() const;
    /// Waits until the last step is done and Finish can be pressed.
    void waitForSetup() const;
    /// Goes through the whole wizard by mouse.
    void goThroughWizard() const;

    // The main window.
    WindowId mainWindow() const;
    bool isMainWindowShown() const { return !desktop.window(MainTitle).isEmpty(); }
    /// Presses the button, whatever it says now.
    void pressButton() const;
    /// Double-clicks it.
    void doubleClickButton() const;
    /// Opens the list of operators or a menu and leaves it open.
    void openOperators() const;
    void openHelp() const;
    /// Chooses an item of a menu by mouse; the first is 0.
    void chooseFromHelp(int item) const { chooseFromMenu(HelpMenu, item); }
    void chooseFromFile(int item) const { chooseFromMenu(FileMenu, item); }
    /// Whether the Help menu opens when it is clicked, within `timeout`
    /// milliseconds. It is closed again.
    bool helpMenuOpens(int timeout) const;
    /// Chooses the operator whose place in the list is `index` by keyboard.
    void chooseOperator(int index) const;
    /// The ink on the button.
    QImage face() const;
    /// Waits until the button stops saying `before`; what it says then is
    /// known as that face from now on.
    void learnFace(Face face);
    void useFaces(const Faces &faces) { m_faces = faces; }
    const Faces &faces() const { return m_faces; }
    bool shows(Face face) const;
    void waitForFace(Face face, int timeout) const;
    void waitForFace(Face face) const;

    /// Presses the button that connects while the phone says nothing: the window
    /// waits for its answer to AT, until "silent" is set off.
    void blockWindow() const;

    // The system's dial dialog, which dials by itself.
    WindowId dialDialog() const;
    /// Waits until the dial has connected and the dialog is gone.
    void waitForConnection() const;
    /// Waits until the window says so too.
    void waitUntilConnected() const;
    /// Waits until the dialog offers Redial, which it does after a failure.
    void waitForDialError() const;
    void pressRedial() const;
    /// Presses Cancel and waits until the dialog is gone.
    void cancelDial() const;
    /// Makes the phone so slow that holdDial() comes in time.
    void slowPhone();
    /// Waits until the slow phone has been told the number, keeps it from
    /// answering, and returns the dialog.
    WindowId holdDial() const;
    /// Lets the phone answer again, without delay.
    void letDialGoOn() const;

    /// Waits for the window, presses its only button by keyboard, and waits
    /// until it is gone.
    void acknowledge(const QString &title) const;

private:
    static constexpr int FileMenu = 20; // middle of its title, from the left
    static constexpr int HelpMenu = 54;

    void chooseFromMenu(int titleMiddle, int item) const;
    WindowId openMenu(const WindowId &window, int titleMiddle, int timeout) const;

    Faces m_faces;
    int m_heardBeforeDial = 0; // bytes
};
