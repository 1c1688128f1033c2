#include "wizard/setuppage.h"

#include "app/settings.h"
#include "wizard/setupsteps.h"

#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QtConcurrentRun>
#include <QVBoxLayout>

#include <algorithm>

namespace {

bool isFinished(const QFuture<bool> &step)
{
    return step.isFinished();
}

} // namespace

SetupPage::SetupPage(QWidget *parent)
    : QWizardPage(parent), isResultAwaited(false), currentStep(0), setupComplete(false)
{
    setTitle(tr("Installing Drivers & Others"));
    // Shown until the page is entered. The first step has a text of its own.
    statusLabel = new QLabel("<html>Installing the drivers. It may take several minutes. Please "
                             "wait till finish.</html>");
    statusLabel->setWordWrap(true);
    retryButton = new QPushButton("Retry");
    auto *layout = new QVBoxLayout;
    layout->addWidget(statusLabel);
    layout->addWidget(retryButton);
    setLayout(layout);
    retryButton->setVisible(false);
    connect(retryButton, &QPushButton::clicked, this, &SetupPage::StartSetup);
    connect(&setupWatcher, &QFutureWatcher<bool>::finished, this,
            &SetupPage::OnDriverSetupComplete);

    if (QSettings().value(settingskeys::isINFSetupDone, false).toBool())
        currentStep = PortCheckStep;
}

void SetupPage::initializePage()
{
    StartSetup();
}

bool SetupPage::isComplete() const
{
    return setupComplete;
}

bool SetupPage::isStepRunning() const
{
    return isResultAwaited || !std::all_of(startedSteps.begin(), startedSteps.end(), isFinished);
}

void SetupPage::StartSetup()
{
    if (currentStep >= 0 && currentStep < SetupStepCount) {
        const SetupStep &step = setupSteps[currentStep];
        statusLabel->setText(step.statusText);
        // A step that is still running runs to its end, but its result is
        // ignored from here on.
        startedSteps.erase(std::remove_if(startedSteps.begin(), startedSteps.end(), isFinished),
                           startedSteps.end());
        startedSteps.append(QtConcurrent::run(step.function));
        setupWatcher.setFuture(startedSteps.last());
        isResultAwaited = true;
    } else if (currentStep == SetupStepCount) {
        statusLabel->setText(setupSteps[currentStep].statusText);
        setupComplete = true;
        emit completeChanged();
    }
    statusLabel->setStyleSheet("");
    // When the focused Retry button disappears, Qt would give the focus to Back,
    // and a double key press would leave the page. So the page takes the focus.
    // It ignores keys and returns the focus when Retry appears again.
    if (window()->focusWidget() == retryButton)
        setFocus();
    retryButton->setVisible(false);
}

void SetupPage::OnDriverSetupComplete()
{
    isResultAwaited = false;
    if (setupWatcher.result()) {
        ++currentStep;
        StartSetup();
        return;
    }
    if (currentStep >= 0 && currentStep <= SetupStepCount)
        statusLabel->setText(setupSteps[currentStep].errorText);
    if (currentStep == RescanStep) {
        ++currentStep;
        StartSetup();
    }
    // Also after a failed rescan: the port check then runs under a red label
    // and with a Retry button, the only hint that something went wrong.
    statusLabel->setStyleSheet("color: red");
    retryButton->setVisible(true);
    if (window()->focusWidget() == this)
        retryButton->setFocus();
}
