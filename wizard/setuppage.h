#pragma once

#include <QFutureWatcher>
#include <QWizardPage>

class QLabel;
class QPushButton;

/// Second page of the settings wizard: runs the set-up steps one after another
/// on the global thread pool and shows their progress. Entering the page starts
/// them; the page is complete when the last one has succeeded. Hiding or
/// cancelling the wizard does not stop them.
class SetupPage : public QWizardPage
{
    Q_OBJECT

public:
    explicit SetupPage(QWidget *parent = nullptr);

    void initializePage() override;
    bool isComplete() const override;
    /// Until what comes after the step is decided: there is no gap between two.
    bool isStepRunning() const { return !setupWatcher.isFinished(); }

public slots:
    /// Takes the result of the step that has just finished: goes on with the
    /// next one, or reports the failure and offers Retry.
    void OnDriverSetupComplete();
    /// Starts the current step, also when it failed before.
    void StartSetup();

private:
    QFutureWatcher<bool> setupWatcher; ///< follows the step started last
    QLabel *statusLabel;               ///< owned through the page's layout
    QPushButton *retryButton;          ///< owned through the page's layout
    int currentStep;                   ///< row of setupSteps that runs or runs next
    bool setupComplete;                ///< never reset
};
