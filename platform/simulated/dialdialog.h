#pragma once

#include "platform/simulated/dialler.h"

#include <QDialog>

class QLabel;
class QPushButton;

namespace platform::simulated {

/// The dial dialog of the simulated system: Dial and Cancel, progress and
/// errors in words. Accepted when the connection is up. GUI thread.
class DialDialog : public QDialog
{
    Q_OBJECT

public:
    DialDialog(const QString &directory, const QString &entry, const QString &number,
               QWidget *parent = nullptr);

    /// Why the last dial failed; 0 when none did.
    DWORD lastError() const { return m_lastError; }

    void reject() override;

private:
    void dial();
    void showProgress(const QString &text);
    void onFinished(platform::DWORD code);

    Dialler m_dialler;
    DWORD m_lastError = platform::Success;
    QLabel *m_statusLabel;
    QPushButton *m_dialButton;
};

} // namespace platform::simulated
