#include "operators/entrydialog.h"

#include "operators/operatorlist.h"
#include "ui_entrydialog.h"

#include <QPushButton>

EntryDialog::EntryDialog(const QString &name, const QString &apn, const QStringList &taken,
                         QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::EntryDialog>()), m_taken(taken)
{
    ui->setupUi(this);
    setWindowTitle(name.isEmpty() ? tr("Add an Operator") : tr("Edit an Operator"));
    ui->nameEdit->setText(name);
    ui->apnEdit->setText(apn);
    connect(ui->nameEdit, &QLineEdit::textChanged, this, &EntryDialog::check);
    connect(ui->apnEdit, &QLineEdit::textChanged, this, &EntryDialog::check);
    check();
}

EntryDialog::~EntryDialog() = default;

QString EntryDialog::name() const
{
    return ui->nameEdit->text().trimmed();
}

QString EntryDialog::apn() const
{
    return ui->apnEdit->text().trimmed();
}

void EntryDialog::check()
{
    QString problem = nameProblem(name());
    if (problem.isEmpty() && m_taken.contains(name()))
        problem = tr("The list has an operator of this name already.");
    if (problem.isEmpty())
        problem = apnProblem(apn());
    ui->problemLabel->setText(problem);
    ui->buttonBox->button(QDialogButtonBox::Ok)->setEnabled(problem.isEmpty());
}
