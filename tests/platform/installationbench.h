#pragma once

#include "platform/platform.h"
#include "platform/standin/devices.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/paths.h"
#include "platform/text.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// What the tests of device installation need: they run on every machine that
// is not Windows, and each machine brings a bench of its own.

/// A machine of the backend under test, in a folder of its own.
class InstallationBench
{
public:
    virtual ~InstallationBench() = default;

    /// A machine on which nothing is installed yet. Defined once for each
    /// backend, in a file that the test is linked with.
    static std::unique_ptr<InstallationBench> make();

    /// What the machine keeps, as another program would find it.
    virtual platform::DeviceList kept() const = 0;
    virtual QString infFolder() const = 0;
    /// Whether a port is there without anything being plugged in.
    virtual bool hasOnBoardPort() const = 0;
    virtual void setAdministrator(bool on) = 0;

    QStringList storedInfs() const { return QDir(infFolder()).entryList(QDir::Files); }

    QString path(const QString &name) const { return m_folder.filePath(name); }

    /// A file beside the machine; its path as the program would write it.
    QString write(const QString &name, const QByteArray &content)
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("the test's file cannot be written");
        return platform::windowsPath(path(name));
    }

    /// The device installation under test.
    platform::Platform system;

private:
    QTemporaryDir m_folder;
};

/// An INF that has a modem for every machine.
inline QByteArray modemInf(const char *id = "mtkgprsmodem")
{
    return QByteArray("[Version]\nSignature=\"$Windows NT$\"\nClass=Modem\n"
                      "ClassGuid={4D36E96D-E325-11CE-BFC1-08002BE10318}\n"
                      "[Manufacturer]\nMaker=Models,NTamd64\n"
                      "[Models]\n\"MTK GPRS Modem\"=Install,") +
           id + "\n[Models.NTamd64]\n\"MTK GPRS Modem\"=Install," + id + "\n";
}

inline const platform::Guid modemClass = {
    0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

inline bool succeeded(platform::BOOL result)
{
    return result != 0;
}
inline bool succeeded(platform::HANDLE handle)
{
    return handle != platform::invalidHandle();
}

#define FAILS_WITH(code, call)                                                                     \
    do {                                                                                           \
        platform::setLastError(platform::Success);                                                 \
        QVERIFY(!succeeded(call));                                                                 \
        QCOMPARE(platform::lastError(), platform::DWORD(code));                                    \
    } while (false)

/// A device set with one new modem in it, the program's way step by step.
struct NewModem {
    explicit NewModem(InstallationBench &bench) : system(bench.system)
    {
        set = system.SetupDiCreateDeviceInfoList(&modemClass, nullptr);
        data.cbSize = sizeof data;
        platform::setLastError(platform::Success);
        created = system.SetupDiCreateDeviceInfoW(set, u"Modem", &modemClass, nullptr, nullptr,
                                                  platform::GenerateDeviceId, &data);
    }
    ~NewModem() { system.SetupDiDestroyDeviceInfoList(set); }
    NewModem(const NewModem &) = delete;
    NewModem &operator=(const NewModem &) = delete;

    platform::BOOL setHardwareId(const QString &id = "mtkgprsmodem")
    {
        const QString multi = id + QString(1, QChar(0));
        return setProperty(platform::PropertyHardwareId, multi, 2 * id.size() + 4);
    }
    platform::BOOL setProperty(platform::DWORD property, const QString &text, int bytes)
    {
        return system.SetupDiSetDeviceRegistryPropertyW(
            set, &data, property, reinterpret_cast<const platform::BYTE *>(text.utf16()),
            static_cast<platform::DWORD>(bytes));
    }
    platform::BOOL registerIt()
    {
        return system.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr);
    }
    platform::BOOL remove()
    {
        return system.SetupDiCallClassInstaller(platform::FunctionRemove, set, &data);
    }
    platform::HKEY openKey(platform::DWORD access = platform::KeyAllAccess)
    {
        return system.SetupDiOpenDevRegKey(set, &data, platform::ScopeGlobal, 0,
                                           platform::DriverKey, access);
    }
    platform::HKEY createKey()
    {
        return system.SetupDiCreateDevRegKeyW(set, &data, platform::ScopeGlobal, 0,
                                              platform::DriverKey, nullptr, nullptr);
    }
    /// The result of writing the port that the modem is attached to.
    platform::DWORD writePort(platform::HKEY key, const QString &port)
    {
        return static_cast<platform::DWORD>(
            system.RegSetValueExW(key, u"AttachedTo", 0, platform::RegistryString,
                                  reinterpret_cast<const platform::BYTE *>(port.utf16()),
                                  static_cast<platform::DWORD>(2 * port.size() + 2)));
    }
    QString instanceId()
    {
        WCHAR buffer[200] = {};
        system.SetupDiGetDeviceInstanceIdW(set, &data, buffer, 200, nullptr);
        return platform::fromField(buffer);
    }

    platform::Platform &system;
    platform::HDEVINFO set = nullptr;
    platform::DeviceInfoData data = {};
    platform::BOOL created = 0;

private:
    using WCHAR = platform::WCHAR;
};
