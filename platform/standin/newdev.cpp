#include "platform/standin/deviceinstallation.h"

#include "platform/platform.h"
#include "platform/standin/infstore.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/paths.h"
#include "platform/text.h"

#include <algorithm>

namespace platform {

namespace {

constexpr DWORD KnownInstallFlags = 0x7; // force, read-only, non-interactive

/// A model that the INF has for this machine and hardware id.
std::optional<InfModel> findModel(const InfFile &inf, const QStringList &decorations,
                                  const QString &hardwareId)
{
    for (const QString &decoration : decorations) {
        for (const InfModel &model : inf.models(decoration)) {
            if (model.hardwareIds.contains(hardwareId, Qt::CaseInsensitive))
                return model;
        }
    }
    return std::nullopt;
}

class DriverUpdate
{
public:
    explicit DriverUpdate(const std::shared_ptr<Machine> &machine) : m_machine(machine) {}

    BOOL UpdateDriverForPlugAndPlayDevicesW(HWND, const WCHAR *HardwareId, const WCHAR *FullInfPath,
                                            DWORD InstallFlags, BOOL *bRebootRequired)
    {
        if (!HardwareId || !FullInfPath)
            return fail(ErrorInvalidParameter);
        if (InstallFlags & ~KnownInstallFlags)
            return fail(ErrorInvalidFlags);
        const QString id = fromWide(HardwareId);
        const QString path = systemPath(fromWide(FullInfPath));
        const QStringList decorations = m_machine->modelDecorations();
        const DWORD code = m_machine->changeDevices([&](DeviceList *list) {
            return update(list, id, path, decorations, (InstallFlags & InstallFlagForce) != 0);
        });
        if (code != Success)
            return fail(code);
        if (bRebootRequired)
            *bRebootRequired = 0;
        return 1;
    }

private:
    DWORD update(DeviceList *list, const QString &id, const QString &path,
                 const QStringList &decorations, bool isForced)
    {
        std::optional<InfFile> inf;
        QByteArray content;
        DWORD code = readInf("UpdateDriverForPlugAndPlayDevicesW", path, &inf, &content);
        if (code != Success)
            return code;
        // Report a missing device before a missing driver: a wrong hardware id
        // should say so.
        QList<RootDevice *> devices;
        for (RootDevice &device : list->devices) {
            if (device.hardwareIds.contains(id, Qt::CaseInsensitive))
                devices += &device;
        }
        if (devices.isEmpty())
            return ErrorNoSuchDevInst;
        const std::optional<InfModel> model = findModel(*inf, decorations, id);
        if (!model)
            return ErrorNoMoreItems;
        // Without force a driver has to be better than the present one.
        const auto isServed = [](const RootDevice *device) {
            return !device->friendlyName.isEmpty();
        };
        if (!isForced)
            devices.erase(std::remove_if(devices.begin(), devices.end(), isServed), devices.end());
        if (devices.isEmpty())
            return ErrorNoMoreItems;

        // The INF of a driver in use is kept in the store, as its disk may be
        // removed.
        QString storedName;
        code = storeInf(m_machine.get(), content, &storedName);
        if (code != Success)
            return code;
        for (RootDevice *device : devices) {
            device->driverInf = storedName;
            if (device->friendlyName.isEmpty())
                device->friendlyName = m_machine->newDeviceName(list->devices, model->description);
        }
        return Success;
    }

    const std::shared_ptr<Machine> m_machine;
};

} // namespace

void provideNewDev(Platform *platform, const std::shared_ptr<Machine> &machine)
{
    platform->UpdateDriverForPlugAndPlayDevicesW.provide(
        std::make_shared<DriverUpdate>(machine), &DriverUpdate::UpdateDriverForPlugAndPlayDevicesW);
}

} // namespace platform
