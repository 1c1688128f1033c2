#include "operators/operatorstore.h"

#include "app/damagedsettings.h"
#include "app/operators.h"
#include "app/settings.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>

#include <functional>
#include <memory>

namespace {

/// Without fall-backs: what is read and written is in this scope.
std::unique_ptr<QSettings> open(Scope scope)
{
    auto settings = scope == Scope::User
                        ? std::make_unique<QSettings>()
                        : std::make_unique<QSettings>(QSettings::IniFormat, QSettings::SystemScope,
                                                      QCoreApplication::organizationName(),
                                                      QCoreApplication::applicationName());
    settings->setFallbacksEnabled(false);
    return settings;
}

QString change(Scope scope, const std::function<void(QSettings &)> &doChange)
{
    const QString failed = "The settings cannot be written: " + settingsFile(scope);
    preserveDamagedSettings(*open(scope));
    // Opened anew: settings that have met damage never tell of a failing write.
    const auto settings = open(scope);
    if (!canBeWritten(*settings))
        return failed;
    doChange(*settings);
    settings->sync();
    return settings->status() == QSettings::AccessError ? failed : QString();
}

/// These settings get that list.
void forgetVanishingOperator(QSettings &settings, const QVariantMap &list)
{
    if (!vanishingOperator(list).isEmpty())
        settings.remove(settingskeys::CurrentMobileOperator);
}

} // namespace

StoredList storedList(Scope scope)
{
    const auto settings = open(scope);
    if (settings->contains(settingskeys::MobileOperators))
        return {settings->value(settingskeys::MobileOperators).toMap(), Origin::Own};
    return scope == Scope::User ? listWithoutOwn()
                                : StoredList{BuiltInMobileOperators(), Origin::BuiltIn};
}

StoredList listWithoutOwn()
{
    StoredList list = storedList(Scope::System);
    if (list.origin == Origin::Own)
        list.origin = Origin::Preset;
    return list;
}

QString settingsFile(Scope scope)
{
    return QDir::toNativeSeparators(QDir::cleanPath(open(scope)->fileName()));
}

QString storeList(Scope scope, const QVariantMap &list)
{
    QVariantMap texts;
    for (auto entry = list.begin(); entry != list.end(); ++entry)
        texts.insert(entry.key(), entry.value().toString());
    return change(scope, [&](QSettings &settings) {
        settings.setValue(settingskeys::MobileOperators, texts);
        if (scope == Scope::User)
            forgetVanishingOperator(settings, list);
    });
}

QString removeStoredList(Scope scope)
{
    return change(scope, [&](QSettings &settings) {
        settings.remove(settingskeys::MobileOperators);
        if (scope == Scope::User)
            forgetVanishingOperator(settings, listWithoutOwn().list);
    });
}

QString vanishingOperator(const QVariantMap &list)
{
    const QString chosen = QSettings().value(settingskeys::CurrentMobileOperator).toString();
    return list.contains(chosen) ? QString() : chosen;
}
