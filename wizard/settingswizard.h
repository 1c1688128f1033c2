#pragma once

#include <QWizard>

class MainWindow;

/// The two-page wizard that sets the modem up. The main window shows it
/// modelessly and hides meanwhile. Closing does not delete it.
class SettingsWizard : public QWizard
{
    Q_OBJECT

public:
    /// The parent owns the wizard and must not be null: it is the window that
    /// comes back when the wizard closes.
    explicit SettingsWizard(MainWindow *parent);

    /// Whether a set-up step runs, also when the wizard was closed meanwhile.
    bool isStepRunning() const;

private slots:
    /// Brings the main window back when there is a phone-book entry to work
    /// with; otherwise no window is left and the program ends.
    void Closing();
};
