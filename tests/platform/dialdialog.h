#pragma once

#include "platform/standin/dialdialog.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <functional>

// What a test does in the dial dialog.

/// The dial dialog that is open; null when there is none.
inline platform::DialDialog *openDialDialog()
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        auto *dialog = qobject_cast<platform::DialDialog *>(window);
        if (dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

/// Runs `play` as soon as a dial dialog is open: before the first answer to a
/// dial that it began by itself. A test that fails there leaves the dialog.
inline void inDialDialog(const std::function<void(platform::DialDialog *)> &play)
{
    auto *timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, play] {
        platform::DialDialog *dialog = openDialDialog();
        if (!dialog)
            return;
        timer->stop();
        timer->deleteLater();
        play(dialog);
        if (QTest::currentTestFailed())
            dialog->done(QDialog::Rejected);
    });
    timer->start(0);
}

inline QPushButton *dialButton(const QDialog *dialog)
{
    return dialog->findChild<QPushButton *>("dialButton");
}

inline QPushButton *cancelButton(const QDialog *dialog)
{
    return dialog->findChild<QPushButton *>("cancelButton");
}

inline QString status(const QDialog *dialog)
{
    return dialog->findChild<QLabel *>("statusLabel")->text();
}
