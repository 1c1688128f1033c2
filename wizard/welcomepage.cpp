#include "wizard/welcomepage.h"

#include <QLabel>
#include <QVBoxLayout>

WelcomePage::WelcomePage(QWidget *parent) : QWizardPage(parent)
{
    setTitle(tr("Welcome"));
    label = new QLabel(tr("<html>Welcome to the Tolvane Modem Connector Settings Wizard. This "
                          "wizard will guide you and create an Internet Connection for "
                          "you.<br><br>To continue press <b><i>Next</i></b>.</html>"));
    label->setWordWrap(true);
    auto *layout = new QVBoxLayout;
    layout->addWidget(label);
    setLayout(layout);
}
