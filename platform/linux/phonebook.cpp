#include "platform/linux/phonebook.h"

#include "platform/linux/dialphone/phoneline.h"
#include "platform/linux/ownership.h"
#include "platform/posix/storedfiles.h"
#include "platform/text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstring>

namespace platform::linuxsystem {

namespace {

const char recordMark[] = "# record ";
const char connectOption[] = "connect ";
const char upOption[] = "ip-up-script ";
const char downOption[] = "ip-down-script ";
const char fileOption[] = "file ";
const char ownerMark[] = "@"; // in no encoded name
constexpr qint64 LargestRecord = qint64{64} * 1024;
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

/// What optionWord() made such a word of.
QByteArray unquoted(const QByteArray &word)
{
    QByteArray text;
    for (qsizetype i = 1; i + 1 < word.size(); ++i) {
        if (word.at(i) == '\\')
            ++i;
        text += word.at(i);
    }
    return text;
}

/// pppd hands its connect command to a shell. That command is nothing but the
/// program's path, as one quoted word.
QByteArray shellWord(const QByteArray &text)
{
    QByteArray word = text;
    word.replace("'", "'\\''");
    return "'" + word + "'";
}

QByteArray connectLine(const QString &program)
{
    return connectOption + optionWord(shellWord(QFile::encodeName(program)));
}

/// The program of a line that connectLine() makes; empty for any other command,
/// of which nobody can tell what it runs.
QString programOf(const QByteArray &line)
{
    QByteArray text = unquoted(line.mid(int(sizeof connectOption) - 1));
    const QByteArray quote = "'";
    if (text.size() < 2 || !text.startsWith(quote) || !text.endsWith(quote))
        return {};
    text = text.mid(1, text.size() - 2).replace("'\\''", quote);
    const QString program = QFile::decodeName(text);
    return connectLine(program) == line ? program : QString();
}

/// The file of a line that has an option and one quoted word; empty for any other.
QString fileOf(const QByteArray &line)
{
    const QByteArray option = line.left(line.indexOf(' ') + 1);
    const QString path = QFile::decodeName(unquoted(line.mid(option.size())));
    return option + optionWord(QFile::encodeName(path)) == line ? path : QString();
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

PhoneBook::PhoneBook(const Program &program, const SystemPaths &paths)
    : m_filePrefix(program.filePrefix),
      m_signature("# Dial-up entry of " + program.name.toUtf8() + '\n'),
      m_peers(paths.peers),
      m_records(paths.state + "/entries"),
      m_signIn(QString("%1/sign-in/%2").arg(paths.state).arg(paths.user)),
      m_drivers(paths.drivers),
      m_owner(paths.user),
      m_trusted(paths.trusted)
{
}

QString PhoneBook::fileName(const QString &entryName) const
{
    return fileName(EntryName{entryName, m_owner});
}

QString PhoneBook::fileName(const EntryName &entry) const
{
    QString name = m_filePrefix;
    for (const char character : entry.name.toUtf8()) {
        if (isPlain(character))
            name += QLatin1Char(character);
        else if (character == ' ')
            name += '_';
        else
            name +=
                QString("%%1").arg(static_cast<unsigned char>(character), 2, 16, QLatin1Char('0'));
    }
    // Root's entries bear no number.
    if (entry.owner != 0)
        name += ownerMark + QString::number(entry.owner);
    return entry.name.isEmpty() || name.size() > LongestFileName ? QString() : name;
}

std::optional<EntryName> PhoneBook::entryName(const QString &fileName) const
{
    if (!fileName.startsWith(m_filePrefix))
        return {};
    const QString own = fileName.mid(m_filePrefix.size());
    QByteArray encoded = own.section(ownerMark, 0, 0).toUtf8();
    encoded.replace('_', ' ');
    EntryName entry;
    entry.name = QString::fromUtf8(QByteArray::fromPercentEncoding(encoded));
    entry.owner = own.section(ownerMark, 1).toUInt();
    if (this->fileName(entry) != fileName)
        return {};
    return entry;
}

DWORD PhoneBook::readFile(const QString &path, RasEntry *entry) const
{
    QByteArray text;
    const DWORD code = readStoredFile(path, LargestRecord, &text);
    if (code == ErrorFileNotFound)
        return RasErrorEntryNotFound;
    if (code != Success)
        return code == ErrorAccessDenied ? code : DWORD(RasErrorCannotOpenPhonebook);
    const QList<QByteArray> lines = text.split('\n');
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
    const QString name = fileName(entryName);
    return name.isEmpty() ? RasErrorEntryNotFound : readFile(m_records + '/' + name, entry);
}

DWORD PhoneBook::write(const QString &entryName, const RasEntry &entry, const QString &device) const
{
    if (!QFileInfo(m_peers).isDir())
        return RasErrorCannotOpenPhonebook;
    const QString name = fileName(entryName);
    if (name.isEmpty() || !isDialable(fromField(entry.szLocalPhoneNumber)))
        return ErrorInvalidParameter;
    // pppd runs these with root's rights.
    for (const char *program : {"/DialPhone", "/LinkUp", "/LinkDown", "/LinkChange"}) {
        if (!isOnlyRoots(m_drivers + program, m_trusted))
            return ErrorAccessDenied;
    }
    const QDir folder(m_records);
    for (const QString &other : folder.entryList({m_filePrefix + '*'}, QDir::Files)) {
        RasEntry ignored;
        const std::optional<EntryName> known = this->entryName(other);
        if (known && known->owner == m_owner &&
            readFile(folder.filePath(other), &ignored) == RasErrorCannotOpenPhonebook)
            return RasErrorCannotOpenPhonebook;
    }
    DWORD code = makeFolder(m_records);
    if (code == Success)
        code = ensureSignIn();
    if (code == Success)
        code = replaceFile(m_peers + '/' + name, peerOf(name.toLatin1(), entry, device), 0600);
    return code == Success ? replaceFile(folder.filePath(name), recordOf(entry), 0644) : code;
}

DWORD PhoneBook::writeSignIn(const QString &name, const QString &password) const
{
    const DWORD code = makeFolder(QFileInfo(m_signIn).path());
    const QByteArray text = m_signature + "user " + optionWord(name.toUtf8()) + "\npassword " +
                            optionWord(password.toUtf8()) + '\n';
    return code == Success ? replaceFile(m_signIn, text, 0600) : code;
}

// The network knows the phone by its card. Some phones still ask for a name and a
// password and accept any. pppd must have some to give, or it would end the
// connection.
DWORD PhoneBook::ensureSignIn() const
{
    return QFileInfo::exists(m_signIn) ? DWORD(Success) : writeSignIn("gprs", "gprs");
}

PhoneBook::Peer PhoneBook::peer(const QString &entryName, QString *changeable) const
{
    const QString name = fileName(entryName);
    QFile file(m_peers + '/' + name);
    if (name.isEmpty() || !QFileInfo(file).isFile())
        return Peer::Missing;
    *changeable = file.fileName();
    if (!isOnlyRoots(*changeable, m_trusted) || !file.open(QIODevice::ReadOnly))
        return Peer::Changeable;
    for (const QByteArray &line : file.readAll().split('\n')) {
        QStringList named;
        if (line.startsWith(connectOption)) {
            named += programOf(line);
        } else if (line.startsWith(fileOption)) {
            named += fileOf(line); // whose options may run programs, too
        } else if (line.startsWith(upOption) || line.startsWith(downOption)) {
            const QString script = fileOf(line);
            named << script << QFileInfo(script).path() + "/LinkChange";
        }
        for (const QString &path : std::as_const(named)) {
            if (isOnlyRoots(path, m_trusted))
                continue;
            *changeable = path.isEmpty() ? QString::fromLocal8Bit(line) : path;
            return Peer::Changeable;
        }
    }
    changeable->clear();
    return Peer::Good;
}

void PhoneBook::forget(const QString &entryName) const
{
    QFile::remove(m_records + '/' + fileName(entryName));
}

QByteArray PhoneBook::recordOf(const RasEntry &entry) const
{
    const QByteArray record(reinterpret_cast<const char *>(&entry), sizeof entry);
    return m_signature + recordMark + qCompress(record, 9).toBase64() + '\n';
}

QByteArray PhoneBook::peerOf(const QByteArray &link, const RasEntry &entry,
                             const QString &device) const
{
    QByteArray text = m_signature;
    // Everybody can make pppd run with its rights. As nobody else can read this,
    // nobody else can have it dial on a line of his own.
    text += "# By hand, as root: pppd call " + link + " /dev/DEVICE\n";
    if (!device.isEmpty())
        text += optionWord(QFile::encodeName(device)) + '\n';
    text += "linkname " + optionWord(link) + '\n';
    text += connectLine(m_drivers + "/DialPhone") + '\n';
    text += upOption + optionWord(QFile::encodeName(m_drivers + "/LinkUp")) + '\n';
    text += downOption + optionWord(QFile::encodeName(m_drivers + "/LinkDown")) + '\n';
    // The dialling program gets the number from its environment, where no shell
    // reads it. A number from the dial dialog comes as DIAL_NUMBER and is
    // preferred.
    text += "set " + optionWord("DIAL_ENTRY_NUMBER=" + numberOf(entry)) + '\n';
    text += "file " + optionWord(QFile::encodeName(m_signIn)) + '\n';
    text += "115200\n"
            "modem\n"
            "crtscts\n"
            "lock\n"
            "noauth\n"
            "hide-password\n"
            "refuse-eap\n"
            "noipdefault\n"
            "ipcp-accept-local\n"
            "ipcp-accept-remote\n"
            // Some networks never tell their own address.
            "ipcp-max-failure 30\n"
            // Beside another network's default route. LinkUp makes it win.
            "defaultroute\n"
            "defaultroute-metric 50\n"
            "usepeerdns\n"
            "noipv6\n"
            "novj\n"
            "nobsdcomp\n"
            "nodeflate\n"
            "lcp-echo-interval 30\n"
            "lcp-echo-failure 4\n"
            "maxfail 1\n"
            "nopersist\n";
    return text;
}

} // namespace platform::linuxsystem
