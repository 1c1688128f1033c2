#include "platform/linux/phonebook.h"

#include "platform/linux/dialphone/phoneline.h"
#include "platform/posix/storedfiles.h"
#include "platform/text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>

namespace platform::linuxsystem {

namespace {

const char recordMark[] = "# record ";
constexpr int LongestFileName = 240; // "ppp-" and ".pid" go around it

bool isPlain(char character)
{
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '.' || character == '-';
}

/// One word of a pppd options file.
QByteArray optionWord(const QByteArray &text)
{
    QByteArray word = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\')
            word += '\\';
        word += character;
    }
    return word + '"';
}

/// pppd hands its connect command to a shell. That command is nothing but the
/// program's path, as one quoted word.
QByteArray shellWord(const QByteArray &text)
{
    QByteArray word = text;
    word.replace("'", "'\\''");
    return "'" + word + "'";
}

QByteArray numberOf(const RasEntry &entry)
{
    return fromField(entry.szLocalPhoneNumber).toLatin1();
}

} // namespace

bool isDialable(const QString &number)
{
    return dialphone::isDialableNumber(number.toStdString());
}

PhoneBook::PhoneBook(const Program &program, const QString &peersFolder, const QString &dialProgram)
    : m_filePrefix(program.filePrefix),
      m_signature("# Dial-up entry of " + program.name.toUtf8() + '\n'),
      m_folder(peersFolder),
      m_dialProgram(dialProgram)
{
}

QString PhoneBook::fileName(const QString &entryName) const
{
    QString name = m_filePrefix;
    for (const char character : entryName.toUtf8()) {
        if (isPlain(character))
            name += QLatin1Char(character);
        else if (character == ' ')
            name += '_';
        else
            name +=
                QString("%%1").arg(static_cast<unsigned char>(character), 2, 16, QLatin1Char('0'));
    }
    return entryName.isEmpty() || name.size() > LongestFileName ? QString() : name;
}

std::optional<QString> PhoneBook::entryName(const QString &fileName) const
{
    if (!fileName.startsWith(m_filePrefix))
        return {};
    QByteArray encoded = fileName.mid(m_filePrefix.size()).toUtf8();
    encoded.replace('_', ' ');
    const QString name = QString::fromUtf8(QByteArray::fromPercentEncoding(encoded));
    if (this->fileName(name) != fileName)
        return {};
    return name;
}

DWORD PhoneBook::open() const
{
    const QFileInfo folder(m_folder);
    if (!folder.isDir())
        return RasErrorCannotOpenPhonebook;
    return folder.isReadable() && folder.isExecutable() ? Success : ErrorAccessDenied;
}

DWORD PhoneBook::readFile(const QString &path, RasEntry *entry) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QFileInfo::exists(path) ? ErrorAccessDenied : RasErrorEntryNotFound;
    const QList<QByteArray> lines = file.readAll().split('\n');
    if (lines.first() + '\n' != m_signature)
        return RasErrorCannotOpenPhonebook;
    for (const QByteArray &line : lines) {
        if (!line.startsWith(recordMark))
            continue;
        const QByteArray record =
            qUncompress(QByteArray::fromBase64(line.mid(int(sizeof recordMark) - 1)));
        if (record.size() != int(sizeof *entry))
            break;
        std::memcpy(entry, record.constData(), sizeof *entry);
        return entry->dwSize == RasEntrySize ? Success : RasErrorCannotOpenPhonebook;
    }
    return RasErrorCannotOpenPhonebook;
}

DWORD PhoneBook::read(const QString &entryName, RasEntry *entry) const
{
    const DWORD code = open();
    if (code != Success)
        return code;
    const QString name = fileName(entryName);
    return name.isEmpty() ? RasErrorEntryNotFound : readFile(m_folder + '/' + name, entry);
}

DWORD PhoneBook::write(const QString &entryName, const RasEntry &entry) const
{
    const DWORD code = open();
    if (code != Success)
        return code;
    const QString name = fileName(entryName);
    if (name.isEmpty() || !isDialable(fromField(entry.szLocalPhoneNumber)))
        return ErrorInvalidParameter;
    const QDir folder(m_folder);
    for (const QString &other : folder.entryList({m_filePrefix + '*'}, QDir::Files)) {
        RasEntry ignored;
        if (this->entryName(other) &&
            readFile(folder.filePath(other), &ignored) == RasErrorCannotOpenPhonebook)
            return RasErrorCannotOpenPhonebook;
    }

    const QByteArray record(reinterpret_cast<const char *>(&entry), sizeof entry);
    const QByteArray link = name.toLatin1();
    QByteArray text = m_signature;
    text += "# By hand: pppd call " + link + " /dev/DEVICE\n";
    text += "linkname " + optionWord(link) + '\n';
    text += "connect " + optionWord(shellWord(QFile::encodeName(m_dialProgram))) + '\n';
    // The dialling program gets the number from its environment, where no shell
    // reads it. A number from the dial dialog comes as DIAL_NUMBER and is
    // preferred.
    text += "set " + optionWord("DIAL_ENTRY_NUMBER=" + numberOf(entry)) + '\n';
    text += "115200\n"
            "modem\n"
            "crtscts\n"
            "lock\n"
            // The network knows the phone by its card. Some phones still ask
            // for a name and a password and accept any. pppd must have some to
            // give, or it would end the connection.
            "noauth\n"
            "user gprs\n"
            "password gprs\n"
            "hide-password\n"
            "refuse-eap\n"
            "noipdefault\n"
            "ipcp-accept-local\n"
            "ipcp-accept-remote\n"
            // Some networks never tell their own address.
            "ipcp-max-failure 30\n"
            "defaultroute\n"
            "replacedefaultroute\n"
            "usepeerdns\n"
            "noipv6\n"
            "novj\n"
            "nobsdcomp\n"
            "nodeflate\n"
            "lcp-echo-interval 30\n"
            "lcp-echo-failure 4\n"
            "maxfail 1\n"
            "nopersist\n";
    text += recordMark + qCompress(record, 9).toBase64() + '\n';

    // The folder's group may dial: it reads the entries, and nobody else does.
    return replaceFile(m_folder + '/' + name, text, 0640);
}

} // namespace platform::linuxsystem
