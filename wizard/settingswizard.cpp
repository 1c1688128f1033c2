#include "wizard/settingswizard.h"

#include "app/settings.h"
// Needed because the constructor takes a MainWindow. Only functions of QWidget
// are called on it, so this folder does not link the main window's library.
#include "mainwindow/mainwindow.h"
#include "wizard/setuppage.h"
#include "wizard/welcomepage.h"

SettingsWizard::SettingsWizard(MainWindow *parent) : QWizard(parent)
{
    addPage(new WelcomePage);
    addPage(new SetupPage);
    setWindowTitle(tr("Welcome To Tolvane Modem Connector Settings"));
    connect(this, &QWizard::finished, this, &SettingsWizard::Closing);
}

bool SettingsWizard::isStepRunning() const
{
    return findChild<SetupPage *>()->isStepRunning();
}

void SettingsWizard::Closing()
{
    if (hasDialupEntry())
        parentWidget()->show();
}
