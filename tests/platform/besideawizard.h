#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>

#include <functional>

/// Shows a dialog and waits for its end while the only other window is one whose
/// parent is hidden, as the wizard's is. True when that window and the program
/// are still there afterwards.
inline bool endsNothing(const std::function<void()> &showAndWait)
{
    constexpr int EndOfTheTest = 2;
    QWidget hidden;
    QDialog wizard(&hidden);
    wizard.show();
    bool stayed = false;
    QTimer::singleShot(0, &wizard, [&] {
        showAndWait();
        // Anything that was to end the program has its turn before.
        QTimer::singleShot(200, &wizard, [&] {
            stayed = wizard.isVisible();
            QCoreApplication::exit(EndOfTheTest);
        });
    });
    return QApplication::exec() == EndOfTheTest && stayed;
}
