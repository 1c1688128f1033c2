#pragma once

#include "platform/standin/dialler.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QStackedWidget;

namespace platform {

/// The system's dial dialog for one entry: name, number, what happens and why
/// it failed. While it dials it offers Cancel only; after a failure Redial,
/// too, and what was said in the end, folded up. When the network has refused name
/// and password, both can be typed. Where only a new entry helps, Set Up takes the
/// place of Redial. Belongs to no window and keeps none from working,
/// but stays above those of the program. GUI thread.
class DialDialog : public QDialog
{
    Q_OBJECT

public:
    /// The dialler must outlive the dialog.
    DialDialog(const QString &title, const QString &entryName, const QString &number,
               Dialler *dialler);

    /// Shows the dialog and returns when it is gone: true when a connection was
    /// made. Dials at once, or waits for Dial. Events are processed meanwhile.
    /// When the program ends, the dial is given up.
    bool run(bool asksFirst);

    /// The number of the last dial's failure; 0 when it did not fail or was
    /// given up. After Set Up it is 623, as there is no entry that is good for
    /// anything; 631 when that was offered and not taken.
    DWORD lastError() const { return m_lastError; }

    /// Whether a dial was given up while it was running. A connection may have
    /// come up all the same.
    bool wasGivenUp() const { return m_givenUp; }

    void reject() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void dial();
    void finish();
    void showFailure(const DialFailure &failure);
    QWidget *newDetails();
    QWidget *newSignIn();
    void askForSignIn(bool asks);
    void setDetails(const QString &details);
    void unfoldDetails(bool unfolded);

    Dialler *m_dialler;
    bool m_givenUp = false;
    bool m_needsSetUp = false;
    DWORD m_lastError = 0;
    QLabel *m_status;
    QStackedWidget *m_facts; ///< what is dialled, or name and password
    QLineEdit *m_name;
    QLineEdit *m_password;
    QPushButton *m_dialButton;
    QPushButton *m_detailsButton;
    QPlainTextEdit *m_detailsText;
    QWidget *m_details;
};

} // namespace platform
