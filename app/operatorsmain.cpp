// Tolvane Mobile Operators: a window without arguments, the command
// tolvane-operators with them.
#include "app/damagedsettings.h"
#include "app/formfont.h"
#include "app/identity.h"
#include "app/toolkit.h"
#include "operators/command.h"
#include "operators/countrynames.h"
#include "operators/operatorswindow.h"
#include "operators/providertable.h"

#include <QApplication>
#include <QFile>
#include <QIcon>

#include <cstdio>

namespace {

int runCommand(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    setApplicationIdentity();
    QCoreApplication::setApplicationVersion(TMC_VERSION);
    QFile output;
    QFile errors;
    // Without a place to write to the command does its work all the same.
    output.open(stdout, QIODevice::WriteOnly);
    errors.open(stderr, QIODevice::WriteOnly);
    return runOperatorsCommand(QCoreApplication::arguments(), &output, &errors);
}

int runWindow(int argc, char *argv[])
{
    prepareToolkit();
    const QApplication application(argc, argv);
    setApplicationIdentity();
    preserveDamagedSettings();
    useFormFont();
    QApplication::setWindowIcon(QIcon(":/48x48.ico"));
    OperatorsWindow window(providersFile(), systemCountry());
    window.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    return argc > 1 ? runCommand(argc, argv) : runWindow(argc, argv);
}
