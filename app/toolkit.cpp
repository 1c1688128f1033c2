#include "app/toolkit.h"

#include <QGuiApplication>

void prepareToolkit()
{
    // On X11, Qt 5 would load the whole OpenGL stack at the start. Nothing here
    // draws with it, and without it the program starts four times as fast.
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none");
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // The forms have a fixed geometry, which must grow with the text.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // Dialogs and the wizard would have a button for help in their title that
    // does nothing.
    QCoreApplication::setAttribute(Qt::AA_DisableWindowContextHelpButton);
#endif
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}
