#pragma once

#include <QList>
#include <QMainWindow>
#include <QString>
#include <QVariant>

#include <memory>

class QTimer;

namespace Ui {
class MainWindow;
}

/// The product's window: lets the user choose an operator, connects and
/// disconnects, counts down to connecting by itself, and watches the
/// connection and the modem's port. GUI thread; connecting and disconnecting
/// block it until the modem and the system have answered.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    /// Decides from the settings, the port and the active connections what is
    /// shown: this window, or the settings wizard while this one stays hidden.
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    /// Whether the program has something to lose: it dials or hangs up, shows a
    /// connection, or a set-up step runs, be it behind a wizard that was closed.
    bool isBusy() const;

protected:
    void changeEvent(QEvent *event) override;

private slots:
    /// Hides this window and opens a new settings wizard.
    void ShowCreateNewConnectionWizard();
    /// Writes the chosen operator's APN into the modem and dials.
    void StartDialling();
    /// Hangs up the connection that this window considers up.
    void StopDialling();
    /// One tick of the countdown.
    void UpdateProgressBar();
    /// Notices that the connection is gone.
    void CheckDialupConnectionStatus();
    /// Looks for the modem's port. When it is found, starts the countdown, or
    /// opens the wizard if the port has no phone-book entry. Does nothing while
    /// a wizard is open.
    void CheckPortAvailability();
    /// Opens a new modeless dialog, owned by this window.
    void ShowCreditDialog();
    /// Opens a new modeless dialog, owned by this window.
    void ShowAboutDialog();

private:
    /// Which controls the window offers. At the start the form is left as it
    /// was made, except for the buttons of other states; the first countdown
    /// runs in that view.
    enum class ViewState {
        Start,
        WaitingForPort,
        Busy,
        Connected,
        Disconnected,
        CountingDownAgain
    };
    struct ViewStateRow;

    static const ViewStateRow &viewStateRow(ViewState state);
    void applyViewState(ViewState state);
    void showWaitingForPort();
    void showBusy();
    void showConnected();
    void showDisconnected();

    bool isWizardOpen() const;
    /// Looks for the port again and returns the entry name (string) and the
    /// port number (int).
    QList<QVariant> CurrentConnectionParameters();

    std::unique_ptr<Ui::MainWindow> ui;
    QTimer *progressTimer = nullptr;
    QTimer *statusTimer = nullptr;
    QTimer *portTimer = nullptr;
    QString connectionName; ///< entry of the connection considered up, or ""
};
