#include "operators/providertable.h"

#include <QFile>
#include <QXmlStreamReader>

namespace {

const char compiledIn[] = ":/operators/serviceproviders.xml";
const char installed[] = "/usr/share/mobile-broadband-provider-info/serviceproviders.xml";

/// Reads one file. Each of its functions begins at an element's start and ends
/// at that element's end, or where the file cannot be read any further.
class Reader
{
public:
    explicit Reader(QIODevice *device) : m_xml(device) {}

    ProviderTable read()
    {
        ProviderTable table;
        if (!m_xml.readNextStartElement() || m_xml.name() != QLatin1String("serviceproviders")) {
            table.problem = "The file is no list of mobile operators.";
            return table;
        }
        const QString format = attribute("format");
        if (format.section('.', 0, 0) != "2")
            table.problem = QString("The list of mobile operators has the unknown format \"%1\". "
                                    "What is understood of it is shown.")
                                .arg(format.left(20));
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == QLatin1String("country"))
                readCountry(&table);
            else
                m_xml.skipCurrentElement();
        }
        if (m_xml.hasError())
            table.problem = QString("The list of mobile operators is damaged in line %1. What "
                                    "stands before that line is shown.")
                                .arg(m_xml.lineNumber());
        return table;
    }

private:
    QString attribute(const char *name) const
    {
        return m_xml.attributes().value(QLatin1String(name)).toString().trimmed();
    }

    QString readText()
    {
        return m_xml.readElementText(QXmlStreamReader::SkipChildElements).simplified();
    }

    /// The name without a language comes to stand first.
    void readName(QStringList *names)
    {
        const bool isPlain = !m_xml.attributes().hasAttribute(QLatin1String("xml:lang"));
        const QString name = readText();
        if (name.isEmpty())
            return;
        if (isPlain)
            names->prepend(name);
        else
            names->append(name);
    }

    void readCountry(ProviderTable *table)
    {
        Country country;
        country.code = attribute("code").toLower();
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == QLatin1String("name"))
                readName(&country.names);
            else if (m_xml.name() == QLatin1String("provider"))
                readProvider(&country);
            else
                m_xml.skipCurrentElement();
        }
        if (!country.code.isEmpty() && !country.providers.isEmpty())
            table->countries.append(country);
    }

    void readProvider(Country *country)
    {
        Provider provider;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == QLatin1String("name"))
                readName(&provider.names);
            else if (m_xml.name() == QLatin1String("gsm"))
                readNetwork(&provider);
            else
                m_xml.skipCurrentElement();
        }
        if (!provider.names.isEmpty() && !provider.accessPoints.isEmpty())
            country->providers.append(provider);
    }

    void readNetwork(Provider *provider)
    {
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == QLatin1String("apn"))
                readAccessPoint(provider);
            else
                m_xml.skipCurrentElement();
        }
    }

    void readAccessPoint(Provider *provider)
    {
        AccessPoint point;
        point.apn = attribute("value");
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() == QLatin1String("name")) {
                readName(&point.names);
            } else if (m_xml.name() == QLatin1String("username")) {
                point.userName = readText();
            } else if (m_xml.name() == QLatin1String("password")) {
                point.password = readText();
            } else {
                if (m_xml.name() == QLatin1String("plan"))
                    point.plans.append(attribute("type"));
                else if (m_xml.name() == QLatin1String("usage"))
                    point.usage = attribute("type");
                m_xml.skipCurrentElement();
            }
        }
        // Half an access point may be one for other uses.
        if (!m_xml.hasError())
            provider->accessPoints.append(point);
    }

    QXmlStreamReader m_xml;
};

} // namespace

QString providersFile()
{
    return QFile::exists(compiledIn) ? compiledIn : installed;
}

ProviderTable readProviders(QIODevice *device)
{
    return Reader(device).read();
}

ProviderTable readProvidersFile(const QString &fileName)
{
    QFile file(fileName);
    if (file.open(QIODevice::ReadOnly))
        return readProviders(&file);
    ProviderTable table;
    table.problem = "The list of mobile operators cannot be read: " + fileName;
    return table;
}
