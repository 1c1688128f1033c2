#pragma once

#include <QByteArray>
#include <QTemporaryFile>

/// Catches what the process prints to standard output while it lives.
class StdoutCapture
{
public:
    StdoutCapture();
    ~StdoutCapture();

    /// Everything printed so far.
    QByteArray text() const;

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};
