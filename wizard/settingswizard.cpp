#include "wizard/settingswizard.h"

#include "app/settings.h"
// For its base class only: whatever is called on the window is QWidget's, so
// this folder does not depend on that one's library.
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

void SettingsWizard::Closing()
{
    if (hasDialupEntry())
        parentWidget()->show();
}
