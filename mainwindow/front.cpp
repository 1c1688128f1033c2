#include "mainwindow/front.h"

#include <QApplication>
#include <QWidget>
#include <QWindow>

namespace {

/// Whether it stands for itself on the desktop. A dialog that belongs to a
/// window comes to the front with that.
bool isOwnWindow(const QWidget *widget)
{
    if (!widget->isVisible() ||
        (widget->windowType() != Qt::Window && widget->windowType() != Qt::Dialog))
        return false;
    const QWindow *window = widget->windowHandle();
    return window && !window->transientParent();
}

void raise(QWidget *window)
{
    // Its size, maximised or not, stays.
    window->setWindowState(window->windowState() & ~Qt::WindowMinimized);
    window->raise();
}

} // namespace

void bringToFront(QWidget *mainWindow)
{
    QWidget *front = mainWindow;
    if (isOwnWindow(mainWindow))
        raise(mainWindow);
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget *window : windows) {
        if (window == mainWindow || !isOwnWindow(window))
            continue;
        raise(window);
        front = window;
    }
    if (QWidget *modal = QApplication::activeModalWidget())
        front = modal;
    front->activateWindow();
}
