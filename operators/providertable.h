#pragma once

#include <QString>
#include <QStringList>
#include <QVector>

class QIODevice;

// The mobile providers of the world, as the file "serviceproviders.xml" of
// mobile-broadband-provider-info names them (its format 2.0). Any thread.

/// One access point of a provider.
struct AccessPoint {
    QString apn;
    /// The one without a language first; empty when it has none.
    QStringList names;
    /// "postpaid", "prepaid", both or none.
    QStringList plans;
    /// "internet", "mms", "wap" ...; "internet" when the file does not say.
    QString usage = "internet";
    /// What the network may ask for; "" when it asks for nothing.
    QString userName;
    QString password;
};

/// A provider with a GSM network.
struct Provider {
    /// The one without a language first.
    QStringList names;
    QVector<AccessPoint> accessPoints;
};

struct Country {
    /// ISO 3166, two lower-case letters.
    QString code;
    /// The one without a language first; empty when the file has none.
    QStringList names;
    QVector<Provider> providers;
};

struct ProviderTable {
    QVector<Country> countries;
    /// What is wrong with the file, as a sentence for the user; "" when nothing
    /// is. What could be read is in `countries` all the same.
    QString problem;
};

/// Where the providers are: compiled into the program, or the file that the
/// system has installed.
QString providersFile();

/// Reads an open device to its end. A damaged file gives what stands before the
/// damage, one of another format what is understood of it.
ProviderTable readProviders(QIODevice *device);

/// The same of a file.
ProviderTable readProvidersFile(const QString &fileName);
