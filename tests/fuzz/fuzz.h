#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// What the fuzzing targets share. A target is LLVMFuzzerTestOneInput of libFuzzer:
// it hands the bytes to what parses them, and ends the process when a promise is
// broken that no sanitizer knows.

/// Takes an input apart, from the front. At its end there are zeros.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_bytes(QByteArray(reinterpret_cast<const char *>(data), static_cast<int>(size)))
    {
    }

    template<typename Number> Number number()
    {
        Number value = 0;
        fill(&value, sizeof value);
        return value;
    }

    /// Overwrites so many bytes with what is left; the others keep what they have.
    void fill(void *target, std::size_t bytes)
    {
        const std::size_t count = std::min(bytes, static_cast<std::size_t>(m_bytes.size() - m_at));
        std::memcpy(target, m_bytes.constData() + m_at, count);
        m_at += static_cast<int>(count);
    }

    /// The next bytes, as many as the byte before them says, at most `most`.
    QByteArray chunk(int most = 255) { return take(std::min<int>(number<std::uint8_t>(), most)); }

    /// The next bytes, at most so many.
    QByteArray take(int size)
    {
        const QByteArray taken = m_bytes.mid(m_at, size);
        m_at += static_cast<int>(taken.size());
        return taken;
    }

    QByteArray rest()
    {
        const QByteArray left = m_bytes.mid(m_at);
        m_at = static_cast<int>(m_bytes.size());
        return left;
    }

    bool isEmpty() const { return m_at >= m_bytes.size(); }

private:
    const QByteArray m_bytes;
    int m_at = 0;
};

/// Ends the process, with what was found, when a promise is broken.
inline void require(bool kept, const char *promise)
{
    if (kept)
        return;
    std::fprintf(stderr, "Broken: %s\n", promise);
    std::abort();
}

/// Lets the process write neither to standard output nor to the debug stream:
/// what the program says there would drown what the fuzzer says. Once.
inline void beSilent()
{
    static const bool done = [] {
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        return std::freopen("/dev/null", "w", stdout) != nullptr;
    }();
    require(done, "standard output can be closed");
}

/// A folder of the process's own, empty again for each input.
class Scratch
{
public:
    Scratch() = default;

    QString path(const QString &name = {}) const
    {
        return name.isEmpty() ? m_folder.path() : m_folder.filePath(name);
    }

    void empty()
    {
        QDir(m_folder.path()).removeRecursively();
        QDir().mkpath(m_folder.path());
    }

    void write(const QString &name, const QByteArray &content) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        require(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
                "the scratch folder can be written");
    }

    QByteArray read(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QTemporaryDir m_folder;
};
