#include "app/damagedsettings.h"
#include "app/formfont.h"
#include "app/identity.h"
#include "app/messagelog.h"
#include "app/settings.h"
#include "mainwindow/mainwindow.h"
#include "platform/platform.h"

#include <QApplication>
#include <QIcon>
#include <QStandardPaths>

namespace {

/// The program from the first window to the last; its exit code.
int run(int argc, char *argv[])
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

    const QApplication application(argc, argv);
    setApplicationIdentity();
    startMessageLog(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    preserveDamagedSettings();
    reportUnwritableSettings();
    useFormFont();
    // The form looks for its icon file in the working directory only. Without
    // it, windows take this one.
    QApplication::setWindowIcon(QIcon(":/48x48.ico"));

    // The window decides itself whether it shows.
    const MainWindow window;
    return QApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    platform::setCurrent(&platform::backend(programIdentity()));
    const int code = run(argc, argv);
    finishMessageLog();
    return code;
}
