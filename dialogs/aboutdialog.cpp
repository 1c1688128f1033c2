#include "dialogs/aboutdialog.h"

#include "ui_aboutdialog.h"

#include <QEvent>

AboutDialog::AboutDialog(QWidget *parent) : QDialog(parent), ui(std::make_unique<Ui::AboutDialog>())
{
    ui->setupUi(this);
}

AboutDialog::~AboutDialog() = default;

void AboutDialog::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
}
