#include "platform/linux/messagenotices.h"

#include <QApplication>
#include <QMessageBox>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QPushButton>

namespace platform::linuxsystem {

namespace {

/// A box that takes the place of the one that is open. GUI thread.
QMessageBox *newBox(const QString &title, const QString &text)
{
    static QPointer<QMessageBox> open;
    delete open.data();
    auto *box = new QMessageBox(QMessageBox::Warning, title, text, QMessageBox::NoButton);
    open = box;
    box->setAttribute(Qt::WA_DeleteOnClose);
    // The toolkit would end the program with it when its windows are hidden.
    box->setAttribute(Qt::WA_QuitOnClose, false);
    box->setTextFormat(Qt::PlainText); // names of files and of other programs are in it
    box->setTextInteractionFlags(Qt::TextSelectableByMouse);
    box->setModal(false);
    return box;
}

/// Runs it in the GUI thread, once that is back in its event loop. False without one.
bool runLater(const std::function<void()> &function)
{
    auto *application = qobject_cast<QApplication *>(QCoreApplication::instance());
    if (application)
        QMetaObject::invokeMethod(application, function, Qt::QueuedConnection);
    return application != nullptr;
}

bool showNotice(const QString &title, const QString &text)
{
    return runLater([title, text] {
        QMessageBox *box = newBox(title, text);
        box->addButton(QMessageBox::Ok);
        box->show();
    });
}

void showPortNotice(const QString &text)
{
    showNotice(QObject::tr("Phone Port"), text);
}

void showDamage(const QString &file, const std::function<bool()> &putAside)
{
    const QString title = QObject::tr("Damaged File");
    QMessageBox *box = newBox(
        title, QObject::tr("The file \"%1\" is damaged. It tells what is set up on this computer; "
                           "without it the phone cannot be found. Put Aside renames the file, "
                           "for which an administrator's password is needed. Then set the phone "
                           "up again.")
                   .arg(file));
    const QPushButton *button = box->addButton(QObject::tr("&Put Aside"), QMessageBox::AcceptRole);
    box->addButton(QMessageBox::Close);
    QObject::connect(button, &QPushButton::clicked, box, [file, putAside, title] {
        runLater([file, putAside, title] {
            if (putAside())
                return;
            QMessageBox *failed =
                newBox(title, QObject::tr("The file \"%1\" could not be renamed. An "
                                          "administrator has to do it.")
                                  .arg(file));
            failed->addButton(QMessageBox::Ok);
            failed->show();
        });
    });
    box->show();
}

} // namespace

void MessageNotices::portInUse(const QString &program)
{
    showPortNotice(program.isEmpty()
                       ? QObject::tr("Another program is using the phone. Close it, then press "
                                     "Connect Now.")
                       : QObject::tr("The program \"%1\" is using the phone. Close it, then press "
                                     "Connect Now.")
                             .arg(program));
}

void MessageNotices::portKept()
{
    showPortNotice(QObject::tr("The phone's port is still open from an earlier try. Close this "
                               "program and start it again."));
}

void MessageNotices::portForbidden()
{
    showPortNotice(
        QObject::tr("You may not use the phone's port. Whoever sits at the computer may. "
                    "In a remote session, ask the administrator to add you to the group "
                    "\"dialout\"."));
}

void MessageNotices::stateDamaged(const QString &file, const std::function<bool()> &putAside)
{
    if (m_isDamageTold->exchange(true))
        return;
    // Another damage later on is told again, this one only once.
    const auto thisOne = [putAside, isTold = m_isDamageTold] {
        const bool isAside = putAside();
        *isTold = !isAside;
        return isAside;
    };
    if (!runLater([file, thisOne] { showDamage(file, thisOne); }))
        *m_isDamageTold = false;
}

void MessageNotices::stateForbidden(const QString &file)
{
    if (m_isForbiddenTold.exchange(true))
        return;
    if (!showNotice(QObject::tr("Unreadable File"),
                    QObject::tr("You may not read the file \"%1\". It tells what is set up on this "
                                "computer; without it the phone cannot be found. An administrator "
                                "has to let everybody read it and its folder.")
                        .arg(file)))
        m_isForbiddenTold = false;
}

} // namespace platform::linuxsystem
