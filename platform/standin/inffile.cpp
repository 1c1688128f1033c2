#include "platform/standin/inffile.h"

#include "platform/standin/guid.h"

#include <QFile>
#include <QtEndian>

namespace platform {

namespace {

constexpr qint64 LargestFile = qint64{4} * 1024 * 1024;

/// INF files come in several encodings. A byte order mark decides; without one
/// it is UTF-8, or Latin-1 if the bytes are not valid UTF-8.
QString decoded(const QByteArray &content)
{
    const auto *bytes = reinterpret_cast<const uchar *>(content.constData());
    if (content.startsWith("\xFF\xFE")) {
        QString text;
        for (int i = 2; i + 1 < content.size(); i += 2)
            text += QChar(qFromLittleEndian<quint16>(bytes + i));
        return text;
    }
    const QString text = QString::fromUtf8(content.constData(), content.size());
    if (text.contains(QChar::ReplacementCharacter))
        return QString::fromLatin1(content.constData(), content.size());
    return text.startsWith(QChar::ByteOrderMark) ? text.mid(1) : text;
}

/// Takes one logical line apart. Separators and comment signs inside quotes are
/// text, and two quotes inside quotes mean one.
class LineSplitter
{
public:
    void add(const QString &line)
    {
        m_continued = false;
        bool quoted = false;
        for (int i = 0; i < line.size(); ++i) {
            const QChar c = line.at(i);
            if (c == '"') {
                const bool doubled = quoted && i + 1 < line.size() && line.at(i + 1) == '"';
                if (doubled)
                    m_item += line.at(++i);
                else
                    quoted = !quoted;
                m_hadQuotes = true;
            } else if (quoted) {
                m_item += c;
            } else if (c == ';') {
                break;
            } else if (c == '\\' && restIsEmpty(line, i + 1)) {
                m_continued = true;
                break;
            } else if (c == ',') {
                finishItem();
            } else if (c == '=' && !m_hasKey && m_items.isEmpty()) {
                finishItem();
                m_key = m_items.takeLast();
                m_hasKey = true;
            } else if (!c.isSpace() || !m_item.isEmpty()) {
                m_item += c;
            }
            if (!c.isSpace() || quoted)
                m_significant = m_item.size();
        }
    }

    bool isContinued() const { return m_continued; }
    bool isEmpty() const
    {
        return !m_hasKey && m_items.isEmpty() && m_item.isEmpty() && !m_hadQuotes;
    }
    QString key() const { return m_key; }
    QStringList takeItems()
    {
        finishItem();
        return m_items;
    }

private:
    static bool restIsEmpty(const QString &line, int from)
    {
        const QString rest = line.mid(from).trimmed();
        return rest.isEmpty() || rest.startsWith(';');
    }

    void finishItem()
    {
        m_items += m_item.left(m_significant);
        m_item.clear();
        m_significant = 0;
        m_hadQuotes = false;
    }

    QString m_key;
    QStringList m_items;
    QString m_item;
    int m_significant = 0; // the item's length without trailing blanks
    bool m_hasKey = false;
    bool m_hadQuotes = false;
    bool m_continued = false;
};

} // namespace

std::optional<InfFile> InfFile::read(const QString &path, QString *error, QByteArray *content)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QString("%1: %2").arg(path, file.errorString());
        return std::nullopt;
    }
    if (file.size() > LargestFile) {
        *error = QString("%1: too large for an INF").arg(path);
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    if (content)
        *content = bytes;
    std::optional<InfFile> inf = parse(bytes, error);
    if (!inf)
        *error = QString("%1: %2").arg(path, *error);
    return inf;
}

std::optional<InfFile> InfFile::parse(const QByteArray &content, QString *error)
{
    const QString text = decoded(content);
    // A program or a picture with the name of an INF is refused here, before
    // its bytes are read as lines.
    if (text.contains(QChar(0))) {
        *error = "not an INF: it holds binary data";
        return std::nullopt;
    }
    InfFile inf;
    if (!inf.addLines(text, error))
        return std::nullopt;
    // Strings come last in most files, so they are gathered before any is used.
    for (const Line &line : inf.m_sections.value("strings"))
        inf.m_strings[line.key.toLower()] = line.values.value(0);

    const QString signature = inf.versionValue("signature").toLower();
    if (signature != "$windows nt$" && signature != "$chicago$" && signature != "$windows 95$") {
        *error = "not an INF: its [Version] section has no known Signature";
        return std::nullopt;
    }
    return inf;
}

bool InfFile::addLines(const QString &text, QString *error)
{
    const QStringList lines = QString(text).remove('\r').split('\n');
    QString section;
    for (int i = 0; i < lines.size(); ++i) {
        const QString trimmed = lines.at(i).trimmed();
        if (trimmed.startsWith('[')) {
            const int end = trimmed.indexOf(']');
            if (end < 0) {
                *error = QString("line %1: a section name without \"]\"").arg(i + 1);
                return false;
            }
            section = trimmed.mid(1, end - 1).trimmed().toLower();
            m_sections[section]; // an empty section exists, too
            continue;
        }
        const int first = i;
        LineSplitter splitter;
        splitter.add(lines.at(i));
        while (splitter.isContinued() && i + 1 < lines.size())
            splitter.add(lines.at(++i));
        if (splitter.isEmpty())
            continue;
        if (section.isEmpty()) {
            *error = QString("not an INF: line %1 stands before any section").arg(first + 1);
            return false;
        }
        const QString key = splitter.key();
        m_sections[section] += Line{key, splitter.takeItems()};
    }
    return true;
}

QString InfFile::substituted(const QString &text) const
{
    QString result;
    int position = 0;
    for (;;) {
        const int begin = text.indexOf('%', position);
        const int end = begin < 0 ? -1 : text.indexOf('%', begin + 1);
        if (end < 0)
            return result + text.mid(position);
        result += text.mid(position, begin - position);
        const QString name = text.mid(begin + 1, end - begin - 1);
        // Two percent signs are one; an unknown name stays as it was written.
        if (name.isEmpty())
            result += '%';
        else
            result += m_strings.value(name.toLower(), text.mid(begin, end - begin + 1));
        position = end + 1;
    }
}

QString InfFile::versionValue(const QString &key) const
{
    for (const Line &line : m_sections.value("version")) {
        if (line.key.compare(key, Qt::CaseInsensitive) == 0)
            return substituted(line.values.value(0));
    }
    return QString();
}

QString InfFile::className() const
{
    return versionValue("Class");
}

std::optional<Guid> InfFile::classGuid() const
{
    return guidFromText(versionValue("ClassGuid"));
}

QString InfFile::provider() const
{
    return versionValue("Provider");
}

QString InfFile::modelSection(const Line &manufacturer, const QString &platformDecoration) const
{
    // `%Maker%` alone names its models section as well.
    const QString base =
        manufacturer.values.isEmpty() ? QString() : substituted(manufacturer.values.first());
    if (platformDecoration.isEmpty())
        return base;
    for (int i = 1; i < manufacturer.values.size(); ++i) {
        // A release may follow the processor: NTamd64.6.1
        const QString offered = manufacturer.values.at(i);
        if (offered.section('.', 0, 0).compare(platformDecoration, Qt::CaseInsensitive) == 0)
            return base + '.' + offered;
    }
    return QString();
}

QList<InfModel> InfFile::models(const QString &platformDecoration) const
{
    QList<InfModel> result;
    for (const Line &manufacturer : m_sections.value("manufacturer")) {
        const QString section = modelSection(manufacturer, platformDecoration);
        const QString maker = manufacturer.key.isEmpty() ? section : substituted(manufacturer.key);
        for (const Line &line : m_sections.value(section.toLower())) {
            if (line.values.size() < 2)
                continue;
            InfModel model;
            model.description = substituted(line.key);
            model.manufacturer = maker;
            model.installSection = line.values.first();
            for (const QString &id : line.values.mid(1))
                model.hardwareIds += substituted(id);
            result += model;
        }
    }
    return result;
}

} // namespace platform
