#include "tests/support/stdoutcapture.h"

#include <QFile>

#include <cstdio>
#include <unistd.h>

StdoutCapture::StdoutCapture()
{
    if (!m_file.open())
        qFatal("no temporary file for the standard output");
    std::fflush(stdout);
    m_saved = dup(fileno(stdout));
    dup2(m_file.handle(), fileno(stdout));
}

StdoutCapture::~StdoutCapture()
{
    std::fflush(stdout);
    dup2(m_saved, fileno(stdout));
    close(m_saved);
}

QByteArray StdoutCapture::text() const
{
    std::fflush(stdout);
    QFile file(m_file.fileName());
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the captured standard output cannot be read");
    return file.readAll();
}
