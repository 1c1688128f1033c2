#include "app/damagedsettings.h"
#include "app/formfont.h"
#include "app/identity.h"
#include "app/settings.h"
#include "mainwindow/mainwindow.h"
#include "platform/platform.h"

#include <QApplication>
#include <QIcon>

int main(int argc, char *argv[])
{
    platform::setCurrent(&platform::backend());

    // On X11, Qt 5 would load the whole OpenGL stack at start; nothing here
    // draws with it, and without it the start takes a quarter of the time.
    if (!qEnvironmentVariableIsSet("QT_XCB_GL_INTEGRATION"))
        qputenv("QT_XCB_GL_INTEGRATION", "none");
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // The forms' fixed geometry and their text have to grow together.
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
#endif
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);

    const QApplication application(argc, argv);
    setApplicationIdentity();
    preserveDamagedSettings();
    reportUnwritableSettings();
    useFormFont();
    // The form looks for its icon in the working directory only. When it is
    // not there, windows take the application's.
    QApplication::setWindowIcon(QIcon(":/48x48.ico"));

    // The window decides itself whether it shows.
    const MainWindow window;
    return QApplication::exec();
}
