#pragma once

#include "platform/setupapi.h"

#include <QString>
#include <QStringList>

#include <deque>
#include <optional>

namespace platform::simulated {

/// One device as a device information set holds it.
struct DeviceInfoElement {
    ULONG_PTR key = 0; ///< DeviceInfoData::Reserved: tells elements of a set apart
    DWORD devInst = 0;
    QString instanceId;
    QString className;
    Guid classGuid = {};
    /// Registered devices live in the machine's state under their instance id,
    /// and everything else below is unused.
    bool registered = false;
    bool removed = false; ///< by FunctionRemove: no longer enumerated
    QString friendlyName;
    QStringList hardwareIds;
};

/// A device information set. Used by one thread at a time.
class DeviceInfoSet
{
public:
    explicit DeviceInfoSet(const std::optional<Guid> &guid) : classGuid(guid) {}

    /// Adds an element, which keeps its address for the set's life.
    DeviceInfoElement &add(const DeviceInfoElement &element)
    {
        elements.push_back(element);
        elements.back().key = elements.size();
        return elements.back();
    }

    const std::optional<Guid> classGuid;
    std::deque<DeviceInfoElement> elements;
};

} // namespace platform::simulated
