#include "platform/linux/dialdialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace platform::linuxsystem {

namespace {

constexpr int StatusWidth = 320;
constexpr int StatusLines = 5; // so that a long reason does not move the buttons

QLabel *plainLabel(const QString &text)
{
    auto *label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

DialDialog::DialDialog(const QString &entryName, const QString &number, const QString &pppd,
                       TargetFinder findTarget)
    : m_number(number),
      m_findTarget(std::move(findTarget)),
      m_dialler(pppd),
      m_status(plainLabel(QString())),
      m_dialButton(new QPushButton(tr("&Dial")))
{
    setObjectName("DialDialog");
    // It is the system's, not a window of the program, whose other windows may all
    // be hidden or have a parent. The toolkit would end the program with it.
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(tr("Connect %1").arg(entryName));

    auto *facts = new QFormLayout;
    facts->addRow(tr("Connection:"), plainLabel(entryName));
    facts->addRow(tr("Number:"), plainLabel(number));

    m_status->setObjectName("statusLabel");
    m_status->setAccessibleName(tr("State of the connection"));
    m_status->setWordWrap(true);
    // Users can copy the reason of a failure into a request for help.
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_status->setMinimumSize(StatusWidth, StatusLines * m_status->fontMetrics().lineSpacing());
    m_status->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    m_status->setText(tr("Press Dial to connect."));

    m_dialButton->setObjectName("dialButton");
    m_dialButton->setDefault(true);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Cancel)->setObjectName("cancelButton");
    buttons->addButton(m_dialButton, QDialogButtonBox::ActionRole);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(facts);
    layout->addWidget(m_status);
    layout->addWidget(buttons);

    connect(m_dialButton, &QPushButton::clicked, this, &DialDialog::dial);
    connect(buttons, &QDialogButtonBox::rejected, this, &DialDialog::reject);
    connect(&m_dialler, &Dialler::progressed, m_status, &QLabel::setText);
    connect(&m_dialler, &Dialler::connected, this, &DialDialog::finish);
    connect(&m_dialler, &Dialler::failed, this, &DialDialog::showFailure);
    m_dialButton->setFocus();
}

DWORD DialDialog::lastError() const
{
    return m_lastError;
}

bool DialDialog::wasCancelledWhileDialling() const
{
    return m_cancelled;
}

void DialDialog::dial()
{
    const Target target = m_findTarget();
    if (target.code != Success) {
        showFailure(failureOf(target.code));
        return;
    }
    m_lastError = Success;
    setDialling(true);
    m_dialler.start(target.peer, target.device, m_number);
}

void DialDialog::reject()
{
    if (!m_dialler.isRunning()) {
        QDialog::reject();
        return;
    }
    // The dialog closes when the line is free again.
    m_cancelled = true;
    m_dialler.stop();
}

void DialDialog::finish()
{
    done(m_cancelled ? Rejected : Accepted);
}

void DialDialog::showFailure(const DialFailure &failure)
{
    m_lastError = failure.code;
    setDialling(false);
    m_status->setText(tr("%1\n\nError %2").arg(failure.text).arg(failure.code));
    if (m_cancelled)
        QDialog::reject();
}

void DialDialog::setDialling(bool dialling)
{
    m_dialButton->setEnabled(!dialling);
    if (!dialling)
        m_dialButton->setFocus();
}

} // namespace platform::linuxsystem
