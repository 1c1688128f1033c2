#include "mainwindow/mainwindow.h"

#include "app/diagnostics.h"
#include "app/operators.h"
#include "app/settings.h"
#include "dialogs/aboutdialog.h"
#include "dialogs/creditdialog.h"
#include "dialup/connectionstatus.h"
#include "dialup/dialling.h"
#include "install/portdiscovery.h"
#include "mainwindow/singlepress.h"
#include "mainwindow/windowblock.h"
#include "ui_mainwindow.h"
#include "wizard/settingswizard.h"

#include <QApplication>
#include <QDebug>
#include <QEvent>
#include <QScreen>
#include <QSettings>
#include <QTimer>
#include <QWindow>

#include <algorithm>
#include <iterator>

namespace {

constexpr int ProgressInterval = 100; // milliseconds; the bar has 100 steps
constexpr int StatusInterval = 10000; // milliseconds
constexpr int PortInterval = 5000;    // milliseconds
constexpr int CountdownSeconds = 10;

enum Visibility { Hide, Show, Keep };

template<typename Control> void apply(Visibility visibility, Control *control)
{
    if (visibility != Keep)
        control->setVisible(visibility == Show);
}

QTimer *newTimer(QObject *parent, int interval)
{
    auto *timer = new QTimer(parent);
    timer->setInterval(interval);
    return timer;
}

/// Closing the dialog must not end the program. The toolkit would end it when
/// only the wizard is left, because it does not count windows with a parent.
void showDialog(QDialog *dialog)
{
    dialog->setAttribute(Qt::WA_QuitOnClose, false);
    dialog->show();
}

/// Keys that are still held down when a call has returned must not act again:
/// where the port refuses at once, they would dial again and again. Keys that
/// were released may act although the toolkit takes their next press for a
/// repetition. It does so on Windows when the dial dialog got the release.
void actOnce(const QList<QAction *> &actions)
{
    const bool held = QGuiApplication::queryKeyboardModifiers().testFlag(Qt::ControlModifier);
    for (QAction *action : actions)
        action->setAutoRepeat(!held);
}

/// The phone-book entry that belongs to a port; "" when there is none.
QString entryName(int port)
{
    return QSettings().value(settingskeys::port(port)).toString();
}

int currentPort()
{
    return QSettings().value(settingskeys::CurrentPort).toInt();
}

} // namespace

struct MainWindow::ViewStateRow {
    bool fileMenuEnabled;
    Visibility disconnectAction;
    Visibility connectAction;
    Visibility connectButton;
    Visibility disconnectButton;
    Visibility pleaseWaitButton;
    Visibility autoConnectLabel;
    Visibility portCheckButton;
};

const MainWindow::ViewStateRow &MainWindow::viewStateRow(ViewState state)
{
    // clang-format off
    static const ViewStateRow rows[] = {
        //                    File   Discon. Connect Connect Discon. Please  Auto    Port
        //                    menu   action  action  button  button  Wait    label   check
        /*Start*/             {true,  Keep,   Keep,   Keep,   Hide,   Hide,   Keep,   Hide},
        /*WaitingForPort*/    {false, Hide,   Hide,   Hide,   Hide,   Show,   Hide,   Show},
        /*Busy*/              {false, Hide,   Hide,   Hide,   Hide,   Show,   Hide,   Hide},
        /*Connected*/         {true,  Show,   Hide,   Hide,   Show,   Hide,   Hide,   Hide},
        /*Disconnected*/      {true,  Hide,   Show,   Show,   Hide,   Hide,   Keep,   Hide},
        /*CountingDownAgain*/ {true,  Hide,   Show,   Show,   Hide,   Hide,   Show,   Hide},
    };
    // clang-format on
    static_assert(std::size(rows) == static_cast<int>(ViewState::CountingDownAgain) + 1);
    return rows[static_cast<int>(state)];
}

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent), ui(std::make_unique<Ui::MainWindow>())
{
    ui->setupUi(this);
    // The form looks for its icon file in the working directory. Without the
    // file its icon is empty but not null, and would hide the application's.
    if (windowIcon().availableSizes().isEmpty())
        setWindowIcon(QApplication::windowIcon());
    // A disabled or hidden menu may disable its actions' shortcuts. A user whose
    // port never appears must still be able to set up anew, so the window has
    // this action too.
    addAction(ui->actionCreate_New_Connection);
    const QSettings settings;

    applyViewState(ViewState::Start);
    new SinglePress(
        {ui->connectButton, ui->disconnectButton, ui->pleaseWaitbutton, ui->portCheckButton}, this);

    progressTimer = newTimer(this, ProgressInterval);
    connect(progressTimer, &QTimer::timeout, this, &MainWindow::UpdateProgressBar);
    statusTimer = newTimer(this, StatusInterval);
    connect(statusTimer, &QTimer::timeout, this, &MainWindow::CheckDialupConnectionStatus);
    portTimer = newTimer(this, PortInterval);
    connect(portTimer, &QTimer::timeout, this, &MainWindow::CheckPortAvailability);

    const QStringList operators = MobileOperatorNames();
    ui->operatorComboBox->insertItems(ui->operatorComboBox->count(), operators);
    const QString chosen = settings.value(settingskeys::CurrentMobileOperator, "").toString();
    // An operator that is no longer in the table leaves nothing selected.
    if (!chosen.isEmpty())
        ui->operatorComboBox->setCurrentIndex(static_cast<int>(operators.indexOf(chosen)));

    if (!hasDialupEntry()) {
        ShowCreateNewConnectionWizard();
        return;
    }
    if (SetCurrentPortSettings()) {
        const QString name = entryName(currentPort());
        qDebug() << "connection name in reg: " << Quoted(name);
        if (name.isEmpty()) {
            ShowCreateNewConnectionWizard();
            return;
        }
        if (isDialupConnectionConnected(name)) {
            showConnected();
            connectionName = name;
        } else {
            progressTimer->start();
        }
        show();
    } else if (settings.value(settingskeys::isINFSetupDone, false).toBool()) {
        portTimer->start();
        showWaitingForPort();
        show();
    } else {
        ShowCreateNewConnectionWizard();
    }
}

MainWindow::~MainWindow() = default;

bool MainWindow::isBusy() const
{
    const bool isWaiting = ui->portCheckButton->isHidden() && !ui->pleaseWaitbutton->isHidden();
    const bool isConnected = !ui->disconnectButton->isHidden();
    const QList<SettingsWizard *> wizards = findChildren<SettingsWizard *>();
    const bool isSettingUp =
        std::any_of(wizards.begin(), wizards.end(),
                    [](const SettingsWizard *wizard) { return wizard->isStepRunning(); });
    return isWaiting || isConnected || isSettingUp;
}

void MainWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
}

// The status and port timers go on, and the controls stay as they are: when the
// wizard closes, the window shows what it showed before.
void MainWindow::ShowCreateNewConnectionWizard()
{
    progressTimer->stop();
    // The toolkit centres the wizard on this window. A window that was never
    // shown lies in the corner of the screen.
    if (!windowHandle())
        move(screen()->availableGeometry().center() - rect().center());
    auto *wizard = new SettingsWizard(this);
    hide();
    // A window of its own for the window system, too: one that a hidden window
    // owns has no button on the taskbar. It is told when the wizard shows, so
    // its window has to be there before. Qt 6 also ends the program when the last
    // window without a transient parent is closed.
    wizard->winId();
    wizard->windowHandle()->setTransientParent(nullptr);
    wizard->show();
}

void MainWindow::StartDialling()
{
    progressTimer->stop();
    WindowBlock block(this, ui->pleaseWaitbutton, {progressTimer, statusTimer, portTimer});
    showBusy();
    const QList<QVariant> parameters = CurrentConnectionParameters();
    const QString entry = parameters.at(0).toString();
    const QString mobileOperator = ui->operatorComboBox->currentText();
    storeSetting(settingskeys::CurrentMobileOperator, mobileOperator);

    const QString apn = MobileOperatorApn(mobileOperator);
    const bool dialled = setApnAndDial(entry, parameters.at(1).toInt(), apn);
    block.takePendingInput();
    actOnce({ui->action_Connect, ui->action_Disconnect});
    if (dialled) {
        showConnected();
        connectionName = entry;
    } else {
        showDisconnected();
        block.closeIfAsked();
        // Without it every dial would end so: after the system has lost its entries, or
        // with settings that came from another computer.
        if (isVisible() && isDialupEntryMissing())
            ShowCreateNewConnectionWizard();
    }
}

void MainWindow::StopDialling()
{
    progressTimer->stop();
    WindowBlock block(this, ui->pleaseWaitbutton, {progressTimer, statusTimer, portTimer});
    showBusy();
    const bool hungUp = hangUpDialupConnection(connectionName);
    block.takePendingInput();
    actOnce({ui->action_Connect, ui->action_Disconnect});
    // Also shows Connected when there was no connection: File offers Disconnect
    // during the first countdown. The next status poll corrects it.
    if (hungUp) {
        showDisconnected();
        block.closeIfAsked();
    } else {
        showConnected();
    }
}

// The bar starts at -1 and ignores values above 100. So the first tick shows 10
// seconds and the 101st dials. Nothing resets the bar, on purpose: a later
// countdown dials on its first tick.
void MainWindow::UpdateProgressBar()
{
    QProgressBar *bar = ui->connectionProgressBar;
    bar->setValue(bar->value() + 1);
    ui->autoConnectLabel->setText(
        QString("Auto connecting in <b>%1</b> seconds").arg(CountdownSeconds - bar->value() / 10));
    if (bar->value() == bar->maximum()) {
        progressTimer->stop();
        StartDialling();
    }
}

void MainWindow::CheckDialupConnectionStatus()
{
    if (!isDialupConnectionConnected(connectionName))
        showDisconnected();
}

void MainWindow::CheckPortAvailability()
{
    // Behind the wizard the poll would open another wizard over it, or dial while
    // it installs the modem.
    if (isWizardOpen())
        return;
    qDebug() << "Checking port availability" << Qt::endl;
    if (!SetCurrentPortSettings())
        return;
    portTimer->stop();
    showDisconnected();
    if (entryName(currentPort()).isEmpty()) {
        ShowCreateNewConnectionWizard();
        return;
    }
    progressTimer->start();
    applyViewState(ViewState::CountingDownAgain);
}

void MainWindow::ShowCreditDialog()
{
    showDialog(new CreditDialog(this));
}

void MainWindow::ShowAboutDialog()
{
    showDialog(new AboutDialog(this));
}

void MainWindow::showWaitingForPort()
{
    applyViewState(ViewState::WaitingForPort);
}

void MainWindow::showBusy()
{
    applyViewState(ViewState::Busy);
    ui->pleaseWaitbutton->setFocus(Qt::OtherFocusReason);
    // The caller is about to block the event loop, and the user must see this
    // state meanwhile.
    repaint();
}

void MainWindow::showConnected()
{
    applyViewState(ViewState::Connected);
    progressTimer->stop();
    if (!statusTimer->isActive())
        statusTimer->start();
}

void MainWindow::showDisconnected()
{
    applyViewState(ViewState::Disconnected);
    statusTimer->stop();
    connectionName = "";
}

void MainWindow::applyViewState(ViewState state)
{
    const ViewStateRow &row = viewStateRow(state);
    // When the focused button disappears, focus goes to the operator list, not
    // to the button that replaces it: a double key press would otherwise undo
    // the action.
    if (qobject_cast<QPushButton *>(focusWidget()))
        ui->operatorComboBox->setFocus(Qt::OtherFocusReason);

    ui->menu_File->setEnabled(row.fileMenuEnabled);
    apply(row.disconnectAction, ui->action_Disconnect);
    apply(row.connectAction, ui->action_Connect);
    apply(row.connectButton, ui->connectButton);
    apply(row.disconnectButton, ui->disconnectButton);
    apply(row.pleaseWaitButton, ui->pleaseWaitbutton);
    apply(row.autoConnectLabel, ui->autoConnectLabel);
    apply(row.portCheckButton, ui->portCheckButton);
}

bool MainWindow::isWizardOpen() const
{
    const QList<SettingsWizard *> wizards = findChildren<SettingsWizard *>();
    return std::any_of(wizards.begin(), wizards.end(),
                       [](const SettingsWizard *wizard) { return wizard->isVisible(); });
}

QList<QVariant> MainWindow::CurrentConnectionParameters()
{
    // Without a port the number is 0. COM0 cannot be opened, so dialling fails.
    SetCurrentPortSettings();
    const int port = currentPort();
    return {entryName(port), port};
}
