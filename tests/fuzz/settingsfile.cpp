// The settings file, whoever wrote it: a text, a half of one, or any bytes.

#include "app/damagedsettings.h"
#include "app/operators.h"
#include "app/settings.h"
#include "operators/operatorstore.h"
#include "tests/fuzz/fuzz.h"

#include "app/identity.h"

#include <QGuiApplication>
#include <QSettings>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    static Scratch scratch;
    // A file may hold a picture, for which the toolkit wants windows, as the program has.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argumentCount = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static const QGuiApplication application(argumentCount, arguments);
    static const bool isReady = [] {
        setApplicationIdentity();
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, scratch.path("system"));
        return true;
    }();
    require(isReady, "the program has an identity");
    // The toolkit keeps what it read of a file; so each input has one of its own.
    static int number = 0;
    scratch.empty();
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope,
                       scratch.path(QString("user%1").arg(++number)));
    const QString file = QSettings().fileName();
    const QByteArray content(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QDir().mkpath(QFileInfo(file).path());
    // Only whoever reads a file first is told that it is damaged; so one is read for that.
    const QString alone = scratch.path(QString("alone%1.ini").arg(number));
    for (const QString &place : {file, alone}) {
        QFile written(place);
        require(written.open(QIODevice::WriteOnly) && written.write(content) == content.size(),
                "the settings file can be written");
    }
    const QSettings read(alone, QSettings::IniFormat);
    read.allKeys();
    const bool isDamaged = read.status() == QSettings::FormatError;

    preserveDamagedSettings();
    hasDialupEntry();
    const QVariantMap operators = MobileOperatorsMap();
    for (const QString &name : operators.keys())
        MobileOperatorApn(name);
    const int port = QSettings().value(settingskeys::CurrentPort).toInt();
    QSettings().value(settingskeys::port(port)).toString();
    QSettings().value(settingskeys::isINFSetupDone, false).toBool();
    vanishingOperator(storedList(Scope::User).list);

    // What cannot be read is still there after a write.
    QSettings().setValue(settingskeys::CurrentPort, 7);
    require(QSettings().value(settingskeys::CurrentPort).toInt() == 7, "a value is kept");
    if (isDamaged) {
        QFile copy(file + ".damaged1");
        require(copy.open(QIODevice::ReadOnly) && copy.readAll() == content,
                "a damaged file is copied before it is written");
    }
    return 0;
}
