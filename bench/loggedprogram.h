#pragma once

#include "app/identity.h"
#include "app/messagelog.h"

#include <QApplication>
#include <QSettings>
#include <QTemporaryDir>

/// What the functions under measurement find in the program: its application object, a
/// settings store of its own, and its message log, which is part of their cost.
class LoggedProgram
{
public:
    LoggedProgram(int &argc, char *argv[]) : m_application(withoutDisplay(argc), argv)
    {
        setApplicationIdentity();
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_folder.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, m_folder.path());
        startMessageLog(m_folder.path());
    }
    ~LoggedProgram() { finishMessageLog(); }

private:
    static int &withoutDisplay(int &argc)
    {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return argc;
    }

    QTemporaryDir m_folder;
    QApplication m_application;
};
