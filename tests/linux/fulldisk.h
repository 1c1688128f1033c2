#pragma once

#include <QtGlobal>

#include <csignal>
#include <sys/resource.h>

/// While it lives no file of this process can grow, as on a disk that is full.
class FullDisk
{
public:
    FullDisk()
    {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        rlimit none = m_before;
        none.rlim_cur = 0;
        m_handler = std::signal(SIGXFSZ, SIG_IGN); // the writing fails instead
        if (::setrlimit(RLIMIT_FSIZE, &none) != 0)
            qFatal("setrlimit");
    }
    ~FullDisk()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        std::signal(SIGXFSZ, m_handler);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit m_before = {};
    void (*m_handler)(int) = SIG_DFL;
};
