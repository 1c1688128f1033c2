#pragma once

#include "platform/linux/notices.h"

#include <QStringList>

/// Notices that are written down instead of being shown.
class ToldNotices : public platform::linuxsystem::Notices
{
public:
    void portInUse(const QString &program) override { told += "in use by " + program; }
    void portKept() override { told += "kept"; }
    void portForbidden() override { told += "forbidden"; }
    void stateDamaged(const QString &file, const std::function<bool()> &putAside) override
    {
        told += "damaged: " + file;
        m_putAside = putAside;
    }

    void stateForbidden(const QString &file) override { told += "forbidden: " + file; }

    bool putAside() const { return m_putAside(); }

    QStringList told;

private:
    std::function<bool()> m_putAside;
};
