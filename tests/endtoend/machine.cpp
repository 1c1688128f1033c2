#include "tests/endtoend/machine.h"

#include "tests/desktop/desktop.h"
#include "tests/desktop/waiting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>

#include <csignal>

namespace {

constexpr int CommandPatience = 30000; // milliseconds

QByteArray content(const QString &fileName)
{
    QFile file(fileName);
    // Not there yet is empty: callers wait for what it is to hold.
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void copyFile(const QFileInfo &from, const QString &folder)
{
    const QString target = folder + '/' + from.fileName();
    QFile::remove(target);
    expect(QFile::copy(from.filePath(), target), "Cannot copy to " + target);
}

void copyFolder(const QString &from, const QString &to)
{
    expect(QDir().mkpath(to), "Cannot make " + to);
    const QFileInfoList entries =
        QDir(from).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir())
            copyFolder(entry.filePath(), to + '/' + entry.fileName());
        else
            copyFile(entry, to);
    }
}

QString runCommand(const QString &program, const QStringList &arguments,
                   const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    const QString what = program + ' ' + arguments.join(' ');
    expect(process.waitForFinished(CommandPatience), what + ": " + process.errorString());
    const QString answer = QString::fromUtf8(process.readAllStandardOutput());
    expect(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0,
           what + ": " + answer + QString::fromUtf8(process.readAllStandardError()));
    return answer;
}

} // namespace

Machine::Machine(const QString &artefacts) : m_artefacts(artefacts)
{
    expect(QDir().mkpath(artefacts), "Cannot make " + artefacts);
    expect(m_folder.isValid(), "Cannot make a temporary folder");
    for (const char *folder : {"pc", "pc/usb", "profile"})
        expect(QDir().mkpath(m_folder.filePath(folder)), "Cannot make a PC's folder");
    for (const char *file : {"program.log", "program-output.txt", "phone-transcript.txt",
                             "phone.log", "pc.json", "settings.ini"})
        QFile::remove(artefact(file));
}

Machine::~Machine()
{
    m_secondProgram.reset();
    m_program.reset();
    m_phone.reset();
    saveState();
}

QString Machine::artefact(const QString &name) const
{
    return m_artefacts + '/' + name;
}

void Machine::saveState() const
{
    QFile::copy(pcDirectory() + "/pc.json", artefact("pc.json"));
    QFile::copy(settingsFile(), artefact("settings.ini"));
}

void Machine::becomeCopyOf(const Machine &other)
{
    copyFolder(other.m_folder.filePath("profile"), m_folder.filePath("profile"));
    // Not usb/: the phone in its sockets is the other PC's.
    const QFileInfoList entries =
        QDir(other.pcDirectory())
            .entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir() && entry.fileName() != "usb")
            copyFolder(entry.filePath(), pcDirectory() + '/' + entry.fileName());
        else if (entry.isFile())
            copyFile(entry, pcDirectory());
    }
}

QString Machine::programDirectory()
{
    return QCoreApplication::applicationDirPath();
}

QProcessEnvironment Machine::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SIMULATED_PC", pcDirectory());
    return environment;
}

void Machine::startPhone(const QStringList &options)
{
    m_phone = std::make_unique<ChildProcess>();
    m_phone->setProcessEnvironment(environment());
    m_phone->setStandardErrorFile(artefact("phone.log"));
    m_phone->start(programDirectory() + "/virtual-phone",
                   QStringList{"--bus", pcDirectory() + "/usb", "--transcript",
                               artefact("phone-transcript.txt")} +
                       options);
    expect(m_phone->waitForStarted(), "The phone cannot be started: " + m_phone->errorString());
    // It prints one line once it is ready.
    waitFor("The phone",
            [this] { return m_phone->canReadLine() || m_phone->state() == QProcess::NotRunning; });
    expect(m_phone->state() == QProcess::Running,
           "The phone ended at once: " + QString::fromUtf8(content(artefact("phone.log"))));
}

QString Machine::phone(const QString &command) const
{
    return runCommand(programDirectory() + "/virtual-phone",
                      {"--bus", pcDirectory() + "/usb", "--send", command}, environment());
}

QString Machine::pc(const QStringList &arguments) const
{
    return runCommand(programDirectory() + "/simulated-pc", arguments, environment());
}

QProcessEnvironment Machine::programEnvironment(const Desktop &desktop) const
{
    QProcessEnvironment environment = desktop.environment();
    environment.insert("SIMULATED_PC", pcDirectory());
    environment.insert("XDG_CONFIG_HOME", m_folder.filePath("profile"));
    environment.insert("XDG_DATA_HOME", m_folder.filePath("data"));
    // With a journal at hand the toolkit would log there.
    environment.insert("QT_FORCE_STDERR_LOGGING", "1");
    return environment;
}

void Machine::startProgram(const Desktop &desktop, const QString &workingDirectory,
                           const QStringList &more)
{
    QProcessEnvironment environment = programEnvironment(desktop);
    for (const QString &variable : more)
        environment.insert(variable.section('=', 0, 0), variable.section('=', 1));

    m_program = std::make_unique<ChildProcess>();
    m_program->setProcessEnvironment(environment);
    m_program->setWorkingDirectory(workingDirectory.isEmpty() ? m_folder.path() : workingDirectory);
    m_logStart = QFileInfo(artefact("program.log")).size();
    m_outputStart = QFileInfo(artefact("program-output.txt")).size();
    m_program->setStandardErrorFile(artefact("program.log"), QIODevice::Append);
    m_program->setStandardOutputFile(artefact("program-output.txt"), QIODevice::Append);
    m_sinceStart.start();
    m_program->start(programDirectory() + "/TolvaneDialler-simulated", QStringList());
    expect(m_program->waitForStarted(),
           "The program cannot be started: " + m_program->errorString());
}

int Machine::startAgain(const Desktop &desktop) const
{
    ChildProcess program;
    program.setProcessEnvironment(programEnvironment(desktop));
    program.setWorkingDirectory(m_folder.path());
    program.setStandardErrorFile(artefact("started-again.log"));
    program.start(programDirectory() + "/TolvaneDialler-simulated", QStringList());
    expect(program.waitForFinished(patience), "The second start does not end");
    expect(program.exitStatus() == QProcess::NormalExit, "The second start crashed");
    return program.exitCode();
}

void Machine::startBeside(const Desktop &desktop)
{
    m_secondProgram = std::make_unique<ChildProcess>();
    m_secondProgram->setProcessEnvironment(programEnvironment(desktop));
    m_secondProgram->setWorkingDirectory(m_folder.path());
    m_secondProgram->setStandardErrorFile(artefact("started-beside.log"));
    m_secondProgram->start(programDirectory() + "/TolvaneDialler-simulated", QStringList());
    expect(m_secondProgram->waitForStarted(), "The second start cannot be started");
}

void Machine::crashProgram()
{
    m_program->kill();
    expect(m_program->waitForFinished(), "The program cannot be killed");
}

void Machine::pauseProgram() const
{
    expect(::kill(static_cast<pid_t>(m_program->processId()), SIGSTOP) == 0,
           "The program cannot be paused");
}

void Machine::resumeProgram() const
{
    expect(::kill(static_cast<pid_t>(m_program->processId()), SIGCONT) == 0,
           "The program cannot go on");
}

bool Machine::isProgramRunning()
{
    // Looks for its end without waiting.
    return m_program && !m_program->waitForFinished(0) && m_program->state() == QProcess::Running;
}

int Machine::waitForProgramEnd(int timeout)
{
    waitFor(
        "The program's end", [this] { return !isProgramRunning(); }, timeout);
    expect(m_program->exitStatus() == QProcess::NormalExit,
           "The program crashed: " + QString::fromUtf8(log()));
    return m_program->exitCode();
}

void Machine::endProgram()
{
    m_program.reset();
}

qint64 Machine::programWakeUps() const
{
    const QString tasks = QString("/proc/%1/task").arg(m_program->processId());
    const QStringList threads = QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    expect(!threads.isEmpty(), "The program does not run");
    qint64 sum = 0;
    for (const QString &thread : threads) {
        const QList<QByteArray> lines = content(tasks + '/' + thread + "/status").split('\n');
        for (const QByteArray &line : lines) {
            if (line.startsWith("voluntary_ctxt_switches:"))
                sum += line.mid(line.indexOf(':') + 1).trimmed().toLongLong();
        }
    }
    return sum;
}

qint64 Machine::programDelay() const
{
    // Nanoseconds on a processor, nanoseconds waiting for one, time slices.
    const QList<QByteArray> times =
        content(QString("/proc/%1/schedstat").arg(m_program->processId())).split(' ');
    expect(times.size() == 3, "The program does not run");
    return times.at(1).toLongLong() / 1000000;
}

QByteArray Machine::log(qsizetype from) const
{
    return content(artefact("program.log")).mid(static_cast<int>(m_logStart + from));
}

void Machine::waitForLog(const QByteArray &text, qsizetype from, int timeout) const
{
    waitFor(
        "\"" + QString::fromUtf8(text) + "\" in the log", [&] { return log(from).contains(text); },
        timeout < 0 ? patience : timeout);
}

QStringList Machine::messageFiles() const
{
    const QDir folder(m_folder.filePath("data/Brantiq Developer Network/Tolvane Modem Connector"));
    QStringList files;
    const QFileInfoList entries = folder.entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &entry : entries)
        files.append(QString::fromUtf8(content(entry.filePath())));
    return files;
}

QByteArray Machine::printed() const
{
    return content(artefact("program-output.txt")).mid(static_cast<int>(m_outputStart));
}

QByteArray Machine::transcript() const
{
    return content(artefact("phone-transcript.txt"));
}

QByteArray Machine::heard() const
{
    QByteArray bytes;
    const QList<QByteArray> lines = transcript().split('\n');
    for (const QByteArray &line : lines) {
        // date, clock, direction, count, "bytes"
        if (!line.contains(" pc->phone "))
            continue;
        const int start = static_cast<int>(line.indexOf('"')) + 1;
        bytes += line.mid(start, line.size() - start - 1);
    }
    return bytes;
}

QJsonObject Machine::pcState() const
{
    return QJsonDocument::fromJson(content(pcDirectory() + "/pc.json")).object();
}

int Machine::connectionCount() const
{
    return static_cast<int>(pcState().value("connections").toArray().size());
}

QString Machine::settingsFile() const
{
    return m_folder.filePath("profile/Brantiq Developer Network/Tolvane Modem Connector.ini");
}

QVariant Machine::setting(const QString &key) const
{
    // The program replaces the file: read from a copy of its own, nothing of
    // an earlier reading can be taken for what is there now.
    QTemporaryDir folder;
    const QString copy = folder.filePath("settings.ini");
    if (!QFile::copy(settingsFile(), copy))
        return QVariant();
    return QSettings(copy, QSettings::IniFormat).value(key);
}

void Machine::setSetting(const QString &key, const QVariant &value) const
{
    QSettings settings(settingsFile(), QSettings::IniFormat);
    settings.setValue(key, value);
    settings.sync();
    expect(settings.status() == QSettings::NoError, "Cannot write " + settingsFile());
}
