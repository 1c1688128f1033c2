#include "platform/simulated/dialdialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace platform::simulated {

DialDialog::DialDialog(const QString &directory, const QString &entry, const QString &number,
                       QWidget *parent)
    : QDialog(parent),
      m_dialler(directory, entry, number),
      m_statusLabel(new QLabel(this)),
      m_dialButton(new QPushButton("&Dial", this))
{
    setObjectName("simulatedDialDialog");
    // It is the system's, not a window of the program, whose other windows may all
    // be hidden or have a parent. The toolkit would end the program with it.
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(QString("Connect %1 (simulated)").arg(entry));
    auto *nameLabel = new QLabel(entry, this);
    nameLabel->setObjectName("entryLabel");
    auto *numberLabel = new QLabel(number, this);
    numberLabel->setObjectName("numberLabel");
    for (QLabel *label : {nameLabel, numberLabel, m_statusLabel})
        // Names come from the phone book and must not be taken for markup.
        label->setTextFormat(Qt::PlainText);
    m_statusLabel->setObjectName("statusLabel");
    m_statusLabel->setAccessibleName("Status");
    m_statusLabel->setWordWrap(true);
    m_statusLabel->setText("Press Dial to connect through the phone.");
    // Two lines, so that an error does not make the dialog jump.
    m_statusLabel->setMinimumHeight(2 * m_statusLabel->fontMetrics().lineSpacing());
    // Wide enough for the whole title beside the frame's buttons.
    m_statusLabel->setMinimumWidth(64 * m_statusLabel->fontMetrics().averageCharWidth());

    m_dialButton->setObjectName("dialButton");
    m_dialButton->setDefault(true);
    auto *cancelButton = new QPushButton("&Cancel", this);
    cancelButton->setObjectName("cancelButton");
    auto *buttons = new QDialogButtonBox(this);
    buttons->addButton(m_dialButton, QDialogButtonBox::ActionRole);
    buttons->addButton(cancelButton, QDialogButtonBox::RejectRole);

    auto *form = new QFormLayout;
    form->addRow("Connection:", nameLabel);
    form->addRow("Number:", numberLabel);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_statusLabel);
    layout->addWidget(buttons);

    connect(m_dialButton, &QPushButton::clicked, this, &DialDialog::dial);
    connect(buttons, &QDialogButtonBox::rejected, this, &DialDialog::reject);
    connect(&m_dialler, &Dialler::progressed, this, &DialDialog::showProgress);
    connect(&m_dialler, &Dialler::finished, this, &DialDialog::onFinished);
}

void DialDialog::reject()
{
    if (m_dialler.cancel())
        QDialog::reject();
}

void DialDialog::dial()
{
    // Cancel stays enabled: the way out is always there.
    m_dialButton->setEnabled(false);
    m_dialler.start();
}

void DialDialog::showProgress(const QString &text)
{
    m_statusLabel->setText(text);
}

void DialDialog::onFinished(platform::DWORD code)
{
    m_lastError = code;
    if (code == platform::Success) {
        accept();
        return;
    }
    m_statusLabel->setText(QString("Error %1: %2").arg(code).arg(dialErrorText(code)));
    m_dialButton->setText("Re&dial");
    m_dialButton->setEnabled(true);
    m_dialButton->setFocus();
}

} // namespace platform::simulated
