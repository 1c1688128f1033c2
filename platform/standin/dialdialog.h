#pragma once

#include "platform/standin/dialler.h"

#include <QDialog>

class QLabel;
class QPushButton;

namespace platform {

/// The system's dial dialog for one entry: name, number, what happens and why
/// it failed. While it dials it offers Cancel only; after a failure Redial,
/// too. Belongs to no window and keeps none from working, but stays above those
/// of the program. GUI thread.
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
    /// given up.
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

    Dialler *m_dialler;
    bool m_givenUp = false;
    DWORD m_lastError = 0;
    QLabel *m_status;
    QPushButton *m_dialButton;
};

} // namespace platform
