#include "dialogs/creditdialog.h"

#include "ui_creditdialog.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QEvent>
#include <QMessageBox>
#include <QSettings>

namespace {

constexpr int ClicksToTheDevelopers = 10;

/// What a screen reader is told of the hidden button: that nobody sees it.
class UnseenButton : public QAccessibleWidget
{
public:
    explicit UnseenButton(QWidget *button) : QAccessibleWidget(button, QAccessible::NoRole) {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.invisible = true;
        state.offscreen = true;
        return state;
    }
};

QAccessibleInterface *describeUnseenButton(const QString &, QObject *object)
{
    auto *button = qobject_cast<QPushButton *>(object);
    const bool unseen = button && button->objectName() == "pushButton" &&
                        qobject_cast<CreditDialog *>(button->parent());
    return unseen ? new UnseenButton(button) : nullptr;
}

} // namespace

CreditDialog::CreditDialog(QWidget *parent)
    : QDialog(parent), ui(std::make_unique<Ui::CreditDialog>())
{
    ui->setupUi(this);
    QAccessible::installFactory(describeUnseenButton);
    // Otherwise the label has the focus first, and Enter on its link opens the
    // browser. The form cannot give the focus to a button inside the box.
    ui->buttonBox->button(QDialogButtonBox::Ok)->setFocus();
}

CreditDialog::~CreditDialog() = default;

void CreditDialog::changeEvent(QEvent *event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::LanguageChange)
        ui->retranslateUi(this);
}

// The form has no button of this name, so nothing calls this slot. Kept on
// purpose.
void CreditDialog::on_pushButton_2_clicked()
{
    QSettings().clear();
}

void CreditDialog::on_pushButton_clicked()
{
    ++m_clicks;
    if (m_clicks < ClicksToTheDevelopers)
        return;
    QMessageBox::information(this, "Developers",
                             "The program is developed by\n"
                             "1. Connectivity team (connection manager)\n"
                             "2. Device team (driver packages)\n"
                             "3. Interface team (windows and wizard)\n"
                             "4. Quality team (tests)",
                             QMessageBox::Ok, QMessageBox::NoButton);
}
