#pragma once

#include "app/formfont.h"
#include "app/identity.h"
#include "app/messagelog.h"
#include "app/toolkit.h"
#include "platform/platform.h"

#include <QApplication>
#include <QStandardPaths>

/// Everything of the program but its main window, as main() makes it. The machine is that
/// of the backend that the executable is linked with: the simulated PC in $SIMULATED_PC,
/// or this one.
class WindowProgram
{
public:
    WindowProgram(int &argc, char *argv[])
        : m_machine(platform::backend(programIdentity())), m_application(prepared(argc), argv)
    {
        platform::setCurrent(&m_machine);
        setApplicationIdentity();
        startMessageLog(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation));
        useFormFont();
    }
    ~WindowProgram() { finishMessageLog(); }
    WindowProgram(const WindowProgram &) = delete;
    WindowProgram &operator=(const WindowProgram &) = delete;

    platform::Platform &machine() { return m_machine; }

private:
    static int &prepared(int &argc)
    {
        prepareToolkit();
        return argc;
    }

    platform::Platform &m_machine;
    QApplication m_application;
};
