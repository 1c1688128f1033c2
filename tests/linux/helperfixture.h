#pragma once

#include "platform/linux/systempaths.h"
#include "tests/linux/trustedplaces.h"

#include <QByteArray>
#include <QCoreApplication>
#include <QFile>

/// Lets the helper's stand-in (standin/helper.cpp) work on the paths, all of which
/// are in the test's own folder.
inline void useHelperStandIn(platform::linuxsystem::SystemPaths *paths, const QString &folder)
{
    const QString standIns = QCoreApplication::applicationDirPath() + "/standin/";
    paths->helper = standIns + "tolvane-dialler-helper";
    paths->trusted = testPlaces({paths->helper, folder});
    qputenv("STANDIN_TRUSTED", folder.toLocal8Bit());
    qputenv("STANDIN_STATE", paths->state.toLocal8Bit());
    qputenv("STANDIN_PEERS", paths->peers.toLocal8Bit());
    qputenv("STANDIN_RUN", paths->run.toLocal8Bit());
    qputenv("STANDIN_PPPD_PROGRAM", paths->pppd.toLocal8Bit());
    qputenv("STANDIN_DRIVERS", paths->drivers.toLocal8Bit());
    qunsetenv("STANDIN_UNCHECKED");
}

/// Lets this process ask for its rights, as an ordinary user's has to. The plan is
/// that of standin/pkexec.cpp.
inline void usePkexecStandIn(platform::linuxsystem::SystemPaths *paths, const QByteArray &plan = {})
{
    paths->pkexec = QCoreApplication::applicationDirPath() + "/standin/pkexec";
    paths->user = 1000;
    qputenv("STANDIN_UID", "1000");
    qputenv("STANDIN_PKEXEC", plan);
}
