#pragma once

#include "platform/linux/dialler.h"

#include <QDialog>

#include <functional>

class QLabel;
class QPushButton;

namespace platform::linuxsystem {

/// The system's dial dialog for one entry. It shows name, number, progress and
/// the reason of a failure, and has the buttons Dial and Cancel. Accepted when
/// a connection was made. GUI thread.
class DialDialog : public QDialog
{
    Q_OBJECT

public:
    /// What a dial needs. `code` is Success, or the reason why the dial cannot
    /// begin. It is asked for at each press of Dial, as a phone may have been
    /// plugged in since the last one.
    struct Target {
        DWORD code = 0;
        QString peer;
        QString device;
    };
    using TargetFinder = std::function<Target()>;

    DialDialog(const QString &entryName, const QString &number, const QString &pppd,
               TargetFinder findTarget);

    /// The number of the last failure; 0 when there was none.
    DWORD lastError() const;

    /// Whether Cancel stopped a dial that was under way.
    bool wasCancelledWhileDialling() const;

    void reject() override;

private:
    void dial();
    void finish();
    void showFailure(const DialFailure &failure);
    void setDialling(bool dialling);

    QString m_number;
    TargetFinder m_findTarget;
    Dialler m_dialler;
    bool m_cancelled = false;
    DWORD m_lastError = 0;
    QLabel *m_status;
    QPushButton *m_dialButton;
};

} // namespace platform::linuxsystem
