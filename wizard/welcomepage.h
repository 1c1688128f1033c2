#pragma once

#include <QWizardPage>

class QLabel;

/// First page of the settings wizard: says what is going to happen.
class WelcomePage : public QWizardPage
{
    Q_OBJECT

public:
    explicit WelcomePage(QWidget *parent = nullptr);

private:
    QLabel *label; ///< owned through the page's layout
};
