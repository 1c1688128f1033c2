#include "platform/newdev.h"

#include "platform/setupapi.h"
#include "platform/simulated/deviceinstallation.h"
#include "platform/simulated/infstore.h"
#include "platform/simulated/machinesession.h"
#include "platform/standin/inffile.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QFile>

#include <cstdio>

namespace platform::simulated {

namespace {

constexpr DWORD KnownInstallFlags = 0x7;     // force, read-only, non-interactive
constexpr DWORD ErrorNoCatalog = 0xE000022F; // ERROR_NO_CATALOG_FOR_OEM_INF

/// A model that the INF has for this processor and hardware id.
bool findModel(const InfFile &inf, Processor processor, const QString &hardwareId, InfModel *found)
{
    QStringList decorations;
    switch (processor) {
    case Processor::X64:
        decorations = QStringList{"NTamd64"};
        break;
    case Processor::Itanium:
        decorations = QStringList{"NTia64"};
        break;
    case Processor::X86:
        decorations = QStringList{"NTx86", QString()};
        break;
    }
    for (const QString &decoration : decorations) {
        for (const InfModel &model : inf.models(decoration)) {
            if (model.hardwareIds.contains(hardwareId, Qt::CaseInsensitive)) {
                *found = model;
                return true;
            }
        }
    }
    return false;
}

/// Several devices of one driver are told apart by a number from #2 on.
QString freeName(const MachineState &state, const QString &description)
{
    QString name = description;
    for (int number = 2; state.findDeviceNamed(name); ++number)
        name = QString("%1 #%2").arg(description).arg(number);
    return name;
}

} // namespace

BOOL DeviceInstallation::updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, DWORD flags,
                                      BOOL *rebootRequired)
{
    if (!hardwareId || !infPath)
        return fail(ErrorInvalidParameter);
    if (flags & ~KnownInstallFlags)
        return fail(ErrorInvalidFlags);
    MachineSession session(m_directory);
    if (!session.state.administrator)
        return fail(ErrorAccessDenied);
    QFile file(hostPath(fromWide(infPath)));
    if (!file.open(QIODevice::ReadOnly))
        return fail(ErrorFileNotFound);
    const QByteArray content = file.readAll();
    QString error;
    const auto inf = InfFile::parse(content, &error);
    if (!inf) {
        std::fprintf(stderr, "simulated PC: UpdateDriverForPlugAndPlayDevicesW: %s: %s\n",
                     qPrintable(file.fileName()), qPrintable(error));
        return fail(ErrorInvalidInfStyle);
    }
    // Only packages that the system has taken in are trusted.
    const QString storeName = storedInf(m_directory, content);
    if (storeName.isEmpty())
        return fail(ErrorNoCatalog);

    const QString id = fromWide(hardwareId);
    QList<Device *> devices;
    for (Device &device : session.state.devices) {
        if (device.hardwareIds.contains(id, Qt::CaseInsensitive))
            devices += &device;
    }
    // No device comes before no driver: the caller may have the id wrong.
    if (devices.isEmpty())
        return fail(ErrorNoSuchDevInst);
    InfModel model;
    if (!findModel(*inf, session.state.windows.processor, id, &model))
        return fail(ErrorNoMoreItems);

    bool updated = false;
    for (Device *device : devices) {
        // Without force a driver has to be better than the present one.
        if (!(flags & InstallFlagForce) && !device->driverInf.isEmpty())
            continue;
        device->driverInf = storeName;
        if (device->friendlyName.isEmpty())
            device->friendlyName = freeName(session.state, model.description);
        updated = true;
    }
    if (!updated)
        return fail(ErrorNoMoreItems);
    if (!session.save())
        return fail(ErrorGenFailure);
    if (rebootRequired)
        *rebootRequired = 0;
    return 1;
}

} // namespace platform::simulated
