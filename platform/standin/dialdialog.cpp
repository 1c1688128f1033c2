#include "platform/standin/dialdialog.h"

#include <QApplication>
#include <QEventLoop>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>

namespace platform {

namespace {

// Wide enough for the whole title beside the frame's buttons.
constexpr int StatusCharacters = 64;
constexpr int StatusLines = 4; // so that a long reason does not move the buttons

/// Names come from the phone book and must not be taken for markup.
QLabel *plainLabel(const QString &name, const QString &text)
{
    auto *label = new QLabel(text);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    return label;
}

/// A text of any length, on one line that does not widen the dialog.
QLabel *shortenedLabel(const QString &name, const QString &text, int width)
{
    QLabel *label = plainLabel(name, QString());
    label->setText(label->fontMetrics().elidedText(text, Qt::ElideMiddle, width));
    return label;
}

} // namespace

DialDialog::DialDialog(const QString &title, const QString &entryName, const QString &number,
                       Dialler *dialler)
    : m_dialler(dialler),
      m_status(plainLabel("statusLabel", tr("Press Dial to connect."))),
      m_dialButton(new QPushButton(tr("&Dial")))
{
    setObjectName("DialDialog");
    // It is the system's, not a window of the program, whose other windows may all
    // be hidden or have a parent. The toolkit would end the program with it.
    setAttribute(Qt::WA_QuitOnClose, false);
    setWindowTitle(title);

    const QFontMetrics metrics = m_status->fontMetrics();
    const int width = StatusCharacters * metrics.averageCharWidth();
    m_status->setWordWrap(true);
    // Users can copy the reason of a failure into a request for help.
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_status->setMinimumSize(width, StatusLines * metrics.lineSpacing());
    m_status->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    auto *facts = new QFormLayout;
    facts->addRow(tr("Connection:"), shortenedLabel("entryLabel", entryName, width * 3 / 4));
    facts->addRow(tr("Number:"), shortenedLabel("numberLabel", number, width * 3 / 4));

    m_dialButton->setObjectName("dialButton");
    m_dialButton->setDefault(true);
    auto *cancelButton = new QPushButton(tr("&Cancel"));
    cancelButton->setObjectName("cancelButton");
    // No button box: it hands the focus on to its first button, hidden or not.
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_dialButton);
    buttons->addWidget(cancelButton);

    auto *layout = new QVBoxLayout(this);
    layout->addLayout(facts);
    layout->addWidget(m_status);
    layout->addLayout(buttons);

    connect(m_dialButton, &QPushButton::clicked, this, &DialDialog::dial);
    connect(cancelButton, &QPushButton::clicked, this, &DialDialog::reject);
    connect(m_dialler, &Dialler::progressed, m_status, &QLabel::setText);
    connect(m_dialler, &Dialler::connected, this, &DialDialog::finish);
    connect(m_dialler, &Dialler::failed, this, &DialDialog::showFailure);
    m_dialButton->setFocus();
    qApp->installEventFilter(this);
}

bool DialDialog::run(bool asksFirst)
{
    QEventLoop loop;
    connect(this, &QDialog::finished, &loop, &QEventLoop::quit);
    if (!asksFirst)
        dial();
    show();
    loop.exec();
    // The end of the program ends every loop. Nobody waits for the line then.
    if (isVisible()) {
        m_givenUp = m_givenUp || m_dialler->isRunning();
        m_dialler->stop();
        hide();
    }
    return result() == Accepted;
}

void DialDialog::reject()
{
    if (!m_dialler->isRunning()) {
        QDialog::reject();
        return;
    }
    if (m_givenUp)
        return;
    // The dialog closes when the line is free again.
    m_givenUp = true;
    m_status->setText(tr("Hanging up..."));
    m_dialler->stop();
}

bool DialDialog::eventFilter(QObject *watched, QEvent *event)
{
    // Another window of the program comes to the front and would cover it.
    const bool comesToFront =
        event->type() == QEvent::FocusIn || event->type() == QEvent::MouseButtonPress;
    if (comesToFront && watched->isWindowType() && watched != windowHandle() && isVisible())
        raise();
    // A key that is held down must not dial again and again.
    return watched == m_dialButton && event->type() == QEvent::KeyPress &&
           static_cast<QKeyEvent *>(event)->isAutoRepeat();
}

void DialDialog::dial()
{
    m_lastError = Success;
    // Not to Cancel: the second press of an impatient key would give up.
    setFocus();
    m_dialButton->hide();
    m_dialler->start();
}

void DialDialog::finish()
{
    done(m_givenUp ? Rejected : Accepted);
}

void DialDialog::showFailure(const DialFailure &failure)
{
    if (m_givenUp) {
        QDialog::reject();
        return;
    }
    m_lastError = failure.code;
    m_status->setText(tr("Error %1: %2").arg(failure.code).arg(failure.text));
    m_dialButton->setText(tr("Re&dial"));
    m_dialButton->show();
    m_dialButton->setFocus();
}

} // namespace platform
