#include "platform/simulated/entryrecord.h"

#include "platform/standin/guid.h"
#include "platform/text.h"

#include <cstddef>

using namespace platform;

namespace platform::simulated {

namespace {

struct NumberField {
    const char *name;
    DWORD RasEntry::*member;
};

constexpr NumberField numbers[] = {
    {"dwfOptions", &RasEntry::dwfOptions},
    {"dwCountryID", &RasEntry::dwCountryID},
    {"dwCountryCode", &RasEntry::dwCountryCode},
    {"dwAlternateOffset", &RasEntry::dwAlternateOffset},
    {"ipaddr", &RasEntry::ipaddr},
    {"ipaddrDns", &RasEntry::ipaddrDns},
    {"ipaddrDnsAlt", &RasEntry::ipaddrDnsAlt},
    {"ipaddrWins", &RasEntry::ipaddrWins},
    {"ipaddrWinsAlt", &RasEntry::ipaddrWinsAlt},
    {"dwFrameSize", &RasEntry::dwFrameSize},
    {"dwfNetProtocols", &RasEntry::dwfNetProtocols},
    {"dwFramingProtocol", &RasEntry::dwFramingProtocol},
    {"dwChannels", &RasEntry::dwChannels},
    {"dwReserved1", &RasEntry::dwReserved1},
    {"dwReserved2", &RasEntry::dwReserved2},
    {"dwSubEntries", &RasEntry::dwSubEntries},
    {"dwDialMode", &RasEntry::dwDialMode},
    {"dwDialExtraPercent", &RasEntry::dwDialExtraPercent},
    {"dwDialExtraSampleSeconds", &RasEntry::dwDialExtraSampleSeconds},
    {"dwHangUpExtraPercent", &RasEntry::dwHangUpExtraPercent},
    {"dwHangUpExtraSampleSeconds", &RasEntry::dwHangUpExtraSampleSeconds},
    {"dwIdleDisconnectSeconds", &RasEntry::dwIdleDisconnectSeconds},
    {"dwType", &RasEntry::dwType},
    {"dwEncryptionType", &RasEntry::dwEncryptionType},
    {"dwCustomAuthKey", &RasEntry::dwCustomAuthKey},
    {"dwVpnStrategy", &RasEntry::dwVpnStrategy},
};

struct TextField {
    const char *name;
    std::size_t offset;
    int size; ///< in characters
};

#define TEXT_FIELD(name)                                                                           \
    {                                                                                              \
#name, offsetof(RasEntry, name), int(sizeof(RasEntry::name) / sizeof(WCHAR))               \
    }
constexpr TextField texts[] = {
    TEXT_FIELD(szAreaCode),      TEXT_FIELD(szLocalPhoneNumber), TEXT_FIELD(szScript),
    TEXT_FIELD(szAutodialDll),   TEXT_FIELD(szAutodialFunc),     TEXT_FIELD(szDeviceType),
    TEXT_FIELD(szDeviceName),    TEXT_FIELD(szX25PadType),       TEXT_FIELD(szX25Address),
    TEXT_FIELD(szX25Facilities), TEXT_FIELD(szX25UserData),      TEXT_FIELD(szCustomDialDll),
};
#undef TEXT_FIELD

/// The text of a field, which need not be terminated.
QString readText(const RasEntry &entry, const TextField &field)
{
    const auto *bytes = reinterpret_cast<const char *>(&entry) + field.offset;
    const auto *text = reinterpret_cast<const WCHAR *>(bytes);
    int length = 0;
    while (length < field.size && text[length] != 0)
        ++length;
    return QString(reinterpret_cast<const QChar *>(text), length);
}

void writeText(RasEntry *entry, const TextField &field, const QString &text)
{
    auto *bytes = reinterpret_cast<char *>(entry) + field.offset;
    auto *buffer = reinterpret_cast<WCHAR *>(bytes);
    for (int i = 0; i < field.size; ++i)
        buffer[i] = 0;
    copyToBuffer(text, buffer, field.size);
}

} // namespace

RasEntry defaultEntry()
{
    constexpr DWORD remoteDefaultGateway = 0x10;
    constexpr DWORD modemLights = 0x100;
    constexpr DWORD showDialingProgress = 0x04000000;
    RasEntry entry = {};
    entry.dwfOptions = remoteDefaultGateway | modemLights | showDialingProgress |
                       EntryPreviewUserPassword | EntryPreviewPhoneNumber;
    entry.dwCountryID = 1;
    entry.dwCountryCode = 1;
    entry.dwfNetProtocols = 4;   // IP
    entry.dwFramingProtocol = 1; // PPP
    entry.dwDialMode = 1;        // all sub-entries
    entry.dwDialExtraPercent = 75;
    entry.dwDialExtraSampleSeconds = 120;
    entry.dwHangUpExtraPercent = 10;
    entry.dwHangUpExtraSampleSeconds = 120;
    entry.dwType = 1;           // telephone
    entry.dwEncryptionType = 3; // optional
    for (const TextField &field : texts) {
        if (field.offset == offsetof(RasEntry, szDeviceType))
            writeText(&entry, field, "modem");
    }
    return entry;
}

QJsonObject entryToJson(const RasEntry &entry)
{
    QJsonObject object;
    for (const NumberField &field : numbers)
        object[field.name] = static_cast<double>(entry.*field.member);
    for (const TextField &field : texts)
        object[field.name] = readText(entry, field);
    object["guidId"] = guidText(entry.guidId);
    return object;
}

RasEntry entryFromJson(const QJsonObject &object)
{
    RasEntry entry = defaultEntry();
    for (const NumberField &field : numbers) {
        if (object.contains(field.name))
            entry.*field.member = static_cast<DWORD>(object.value(field.name).toDouble());
    }
    for (const TextField &field : texts) {
        if (object.contains(field.name))
            writeText(&entry, field, object.value(field.name).toString());
    }
    entry.guidId = guidFromText(object.value("guidId").toString()).value_or(Guid{});
    return entry;
}

} // namespace platform::simulated
