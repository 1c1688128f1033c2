#include "app/damagedsettings.h"
#include "app/formfont.h"
#include "app/heldkeys.h"
#include "app/identity.h"
#include "app/messagelog.h"
#include "app/settings.h"
#include "app/singleinstance.h"
#include "app/toolkit.h"
#include "mainwindow/front.h"
#include "mainwindow/mainwindow.h"
#include "platform/platform.h"

#include <QApplication>
#include <QDebug>
#include <QIcon>
#include <QSettings>
#include <QStandardPaths>

#include <cstdlib>
#include <memory>

namespace {

/// The program from the first window to the last; its exit code.
int run(int argc, char *argv[])
{
    prepareToolkit();
    const QApplication application(argc, argv);
    setApplicationIdentity();
    auto instance = std::make_unique<SingleInstance>(QSettings().fileName());
    if (!instance->isFirst()) {
        qDebug() << "The program is running already; its window comes to the front";
        return EXIT_SUCCESS;
    }
    startMessageLog(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
    preserveDamagedSettings();
    reportUnwritableSettings();
    useFormFont();
    // The form looks for its icon file in the working directory only. Without
    // it, windows take this one.
    QApplication::setWindowIcon(QIcon(":/48x48.ico"));

    const HeldKeys heldKeys;

    // The window decides itself whether it shows.
    MainWindow window;
    QObject::connect(instance.get(), &SingleInstance::startedAgain, &window, [&] {
        if (instance->giveWay(window.isBusy())) {
            qDebug() << "The program was started as an administrator and goes on there";
            QApplication::quit();
        } else {
            bringToFront(&window);
        }
    });
    instance->watch();
    const int code = QApplication::exec();
    // A set-up step may still run for minutes, without a window. Whoever starts
    // the program meanwhile shall see one.
    instance.reset();
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    platform::setCurrent(&platform::backend(programIdentity()));
    const int code = run(argc, argv);
    finishMessageLog();
    return code;
}
