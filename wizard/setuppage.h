#pragma once

#include <QFuture>
#include <QFutureWatcher>
#include <QList>
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
    /// Whether any step runs, or its result waits to be taken: there is no gap
    /// between two steps.
    bool isStepRunning() const;

public slots:
    /// Takes the result of the step that has just finished: goes on with the
    /// next one, or reports the failure and offers Retry.
    void OnDriverSetupComplete();
    /// Starts the current step, also when it failed before.
    void StartSetup();

private:
    QFutureWatcher<bool> setupWatcher; ///< follows the step started last
    bool isResultAwaited;              ///< of that step
    QList<QFuture<bool>> startedSteps; ///< also those that are not followed any more
    QLabel *statusLabel;               ///< owned through the page's layout
    QPushButton *retryButton;          ///< owned through the page's layout
    int currentStep;                   ///< row of setupSteps that runs or runs next
    bool setupComplete;                ///< never reset
};
