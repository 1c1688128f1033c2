#pragma once

#include "platform/types.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace platform {

/// One model line of an INF: what a driver package calls a device and which
/// ids it serves.
struct InfModel {
    QString description;
    QString manufacturer;
    QString installSection;
    QStringList hardwareIds; ///< the hardware id first, then compatible ids
};

/// A driver information file. Reads UTF-16 (with mark), UTF-8 and Latin-1;
/// section names, keys and string names compare in any case; string names
/// (`%Name%`) are replaced. A value object.
class InfFile
{
public:
    /// Reads a file; none, with a sentence for people in *error, when it
    /// cannot be read or is no INF. *content, when given, gets what was read.
    static std::optional<InfFile> read(const QString &path, QString *error,
                                       QByteArray *content = nullptr);

    /// The same from a file's content.
    static std::optional<InfFile> parse(const QByteArray &content, QString *error);

    /// Class and ClassGuid of the version section; empty or none when it does
    /// not say.
    QString className() const;
    std::optional<Guid> classGuid() const;
    QString provider() const;

    /// The models for a platform: "" reads the undecorated sections, "NTamd64"
    /// those that the manufacturers section offers for it.
    QList<InfModel> models(const QString &platformDecoration) const;

private:
    /// One line: `key = values`, or values alone with an empty key.
    struct Line {
        QString key;
        QStringList values;
    };

    bool addLines(const QString &text, QString *error);
    QString substituted(const QString &text) const;
    QString versionValue(const QString &key) const;
    QString modelSection(const Line &manufacturer, const QString &platformDecoration) const;

    QHash<QString, QList<Line>> m_sections; // by lower-case name
    QHash<QString, QString> m_strings;      // by lower-case name
};

} // namespace platform
