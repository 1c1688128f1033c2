// Prints what the program's identity and settings locations come to. The test
// copies it into a folder of its own, since the locations depend on where the
// executable lies.
#include "app/identity.h"

#include <QCoreApplication>
#include <QSettings>

#include <cstdio>

namespace {

void print(const char *name, const QString &value)
{
    std::printf("%s=%s\n", name, value.toUtf8().constData());
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    setApplicationIdentity();
    print("organisation", QCoreApplication::organizationName());
    print("domain", QCoreApplication::organizationDomain());
    print("application", QCoreApplication::applicationName());
    print("ini", QSettings::defaultFormat() == QSettings::IniFormat ? "yes" : "no");
    print("user", QSettings().fileName());
    print("system",
          QSettings(QSettings::IniFormat, QSettings::SystemScope,
                    QCoreApplication::organizationName(), QCoreApplication::applicationName())
              .fileName());
    print("preset", QSettings().value("Preset", "none").toString());
    if (argc > 1)
        QSettings().setValue("Preset", QString::fromLocal8Bit(argv[1]));
    return 0;
}
