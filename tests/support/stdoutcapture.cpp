#include "tests/support/stdoutcapture.h"

#include <QFile>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

// Where it exists, line ends are translated without it.
#ifndef O_BINARY
#define O_BINARY 0
#endif

StdoutCapture::StdoutCapture()
{
    if (!m_file.open())
        qFatal("no temporary file for the standard output");
    std::fflush(stdout);
    m_saved = dup(fileno(stdout));
    const int file =
        open(QFile::encodeName(m_file.fileName()).constData(), O_WRONLY | O_APPEND | O_BINARY);
    dup2(file, fileno(stdout));
    close(file);
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
