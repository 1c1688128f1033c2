#include "platform/standin/dialdialog.h"

#include "platform/ras.h"

#include <QApplication>
#include <QClipboard>
#include <QEventLoop>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QWindow>

namespace platform {

namespace {

// Wide enough for the whole title beside the frame's buttons.
constexpr int StatusCharacters = 64;
constexpr int FactsPage = 0;
constexpr int SignInPage = 1;
constexpr int LongestSignIn = 200; // characters; pppd takes 255 bytes
constexpr int StatusLines = 4;     // so that a long reason does not move the buttons

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
      m_facts(new QStackedWidget),
      m_name(new QLineEdit),
      m_password(new QLineEdit),
      m_dialButton(new QPushButton(tr("&Dial"))),
      m_detailsButton(new QPushButton(tr("Show D&etails"))),
      m_detailsText(new QPlainTextEdit),
      m_details(newDetails())
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

    auto *factsPage = new QWidget;
    auto *facts = new QFormLayout(factsPage);
    facts->setContentsMargins(0, 0, 0, 0);
    facts->addRow(tr("Connection:"), shortenedLabel("entryLabel", entryName, width * 3 / 4));
    facts->addRow(tr("Number:"), shortenedLabel("numberLabel", number, width * 3 / 4));

    m_facts->addWidget(factsPage);
    m_facts->addWidget(newSignIn());

    m_dialButton->setObjectName("dialButton");
    m_dialButton->setDefault(true);
    auto *cancelButton = new QPushButton(tr("&Cancel"));
    cancelButton->setObjectName("cancelButton");
    // No button box: it hands the focus on to its first button, hidden or not.
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_detailsButton);
    buttons->addStretch();
    buttons->addWidget(m_dialButton);
    buttons->addWidget(cancelButton);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_facts);
    layout->addWidget(m_status);
    layout->addLayout(buttons);
    layout->addWidget(m_details);
    setDetails({});

    connect(m_dialButton, &QPushButton::clicked, this, &DialDialog::dial);
    connect(m_detailsButton, &QPushButton::clicked, this,
            [this] { unfoldDetails(m_details->isHidden()); });
    connect(cancelButton, &QPushButton::clicked, this, &DialDialog::reject);
    connect(m_dialler, &Dialler::progressed, m_status, &QLabel::setText);
    connect(m_dialler, &Dialler::connected, this, &DialDialog::finish);
    connect(m_dialler, &Dialler::failed, this, &DialDialog::showFailure);
    m_dialButton->setFocus();
    qApp->installEventFilter(this);
}

QWidget *DialDialog::newSignIn()
{
    m_name->setObjectName("nameEdit");
    m_password->setObjectName("passwordEdit");
    m_password->setEchoMode(QLineEdit::Password);
    for (QLineEdit *edit : {m_name, m_password})
        edit->setMaxLength(LongestSignIn);
    auto *page = new QWidget;
    auto *layout = new QFormLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addRow(tr("&Name:"), m_name);
    layout->addRow(tr("&Password:"), m_password);
    return page;
}

// In the place of what is dialled, so that nothing moves.
void DialDialog::askForSignIn(bool asks)
{
    m_facts->setCurrentIndex(asks ? SignInPage : FactsPage);
    if (!asks)
        return;
    (m_name->text().isEmpty() ? m_name : m_password)->setFocus();
    m_password->selectAll();
}

/// The lines and a button that copies them, for a request for help.
QWidget *DialDialog::newDetails()
{
    m_detailsButton->setObjectName("detailsButton");
    m_detailsButton->setAutoDefault(false);
    m_detailsText->setObjectName("detailsText");
    m_detailsText->setReadOnly(true);
    m_detailsText->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_detailsText->setTabChangesFocus(true);
    auto *copyButton = new QPushButton(tr("C&opy"));
    copyButton->setObjectName("copyButton");
    copyButton->setAutoDefault(false);
    connect(copyButton, &QPushButton::clicked, this,
            [this] { QGuiApplication::clipboard()->setText(m_detailsText->toPlainText()); });
    auto *details = new QWidget;
    auto *layout = new QVBoxLayout(details);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_detailsText);
    layout->addWidget(copyButton, 0, Qt::AlignLeft);
    return details;
}

void DialDialog::setDetails(const QString &details)
{
    m_detailsText->setPlainText(details);
    m_detailsButton->setVisible(!details.isEmpty());
    unfoldDetails(false);
}

// Below the buttons, so that none of them moves.
void DialDialog::unfoldDetails(bool unfolded)
{
    m_details->setVisible(unfolded);
    m_detailsButton->setText(unfolded ? tr("Hide D&etails") : tr("Show D&etails"));
    if (isVisible()) {
        layout()->activate();
        resize(width(), layout()->totalSizeHint().height());
    }
    // What came last tells most.
    m_detailsText->moveCursor(QTextCursor::End);
    m_detailsText->moveCursor(QTextCursor::StartOfLine);
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
        if (m_needsSetUp)
            m_lastError = RasErrorUserDisconnected;
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
    if (m_needsSetUp) {
        m_lastError = RasErrorEntryNotFound;
        done(Rejected);
        return;
    }
    m_lastError = Success;
    if (m_facts->currentIndex() == SignInPage && !m_name->text().isEmpty())
        m_dialler->setSignIn(m_name->text(), m_password->text());
    askForSignIn(false);
    // Not to Cancel: the second press of an impatient key would give up.
    setFocus();
    m_dialButton->hide();
    setDetails({});
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
    setDetails(failure.details);
    m_needsSetUp = failure.needsSetUp;
    m_dialButton->setText(m_needsSetUp ? tr("&Set Up") : tr("Re&dial"));
    m_dialButton->show();
    m_dialButton->setFocus();
    askForSignIn(failure.code == RasErrorAuthentication && m_dialler->takesSignIn());
}

} // namespace platform
