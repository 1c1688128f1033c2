// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "app/identity.h"
#include "install/portdiscovery.h"
#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/portlist.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/memory.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/toldnotices.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

/// A USB device with one serial line on each of its interfaces, as the kernel
/// and udev describe it.
struct UsbSerial {
    QString socket; ///< "1-2"
    QString vendor;
    QString productId;
    QString product;
    QString serial;
};

} // namespace

/// Enumeration on a mocked machine; run under umockdev-wrapper.
class PortsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void recordedMachines_data();
    void recordedMachines();
    void aPhonesModemPortIsTheOnlyAcceptedOne();
    void aPlainSerialConverterCarriesItsOwnName();
    void onBoardLinesThatAreFittedCount();
    void twoPhonesHaveNumbersOfTheirOwn();
    void phonesThatCannotBeToldApartGoBySocket();
    void aPhoneKeepsItsNumberInAnySocket();
    void aNumberIsKeptWhileTheDeviceIsAway();
    void pluggingIsSeenAtTheNextLook();
    void numbersGoBeyondNine();
    void withoutRightsNumbersAreFoundAnew();
    void aStoreThatCannotBeWrittenHidesNoPort();
    void aDamagedStoreIsToldAndKept();
    void aProductsNameIsOnlyText();
    void hostileDevices_data();
    void hostileDevices();
    void aMarkedLineWithoutHardwareCounts();
    void aPhonesStableNameIsTheRulesLink();
    void theDeviceSetHoldsThePorts();

private:
    QString add(const QString &subsystem, const QString &name, const QString &parent,
                const QStringList &attributes, const QStringList &properties);
    QString addUsb(const UsbSerial &usb);
    void addLine(const QString &usbDevice, int interface, const QString &name, bool isModem);
    QString addPhone(const QString &socket, const QString &serial, int firstLine);
    QString addHostile(const QString &socket, QByteArray text, const QString &line);
    void addOnBoard(int number, const QString &type);
    void unplug(const QString &device);
    QStringList names();

    UMockdevTestbed *m_bed = nullptr;
    QStringList m_paths; // of the devices, parents first
    std::unique_ptr<QTemporaryDir> m_folder;
    std::shared_ptr<StateStore> m_store;
};

void PortsTest::init()
{
    m_bed = umockdev_testbed_new();
    m_paths.clear();
    QVERIFY2(umockdev_in_mock_environment(), "start this test with umockdev-wrapper");
    m_folder = std::make_unique<QTemporaryDir>();
    m_store = std::make_shared<StateStore>(m_folder->filePath("state"));
}

void PortsTest::cleanup()
{
    g_object_unref(m_bed);
}

/// Returns the device's system path.
QString PortsTest::add(const QString &subsystem, const QString &name, const QString &parent,
                       const QStringList &attributes, const QStringList &properties)
{
    const auto pointers = [](const QStringList &texts, QList<QByteArray> *bytes) {
        std::vector<char *> result;
        for (const QString &text : texts)
            bytes->append(text.toUtf8());
        for (QByteArray &text : *bytes)
            result.push_back(text.data());
        result.push_back(nullptr);
        return result;
    };
    QList<QByteArray> attributeBytes;
    QList<QByteArray> propertyBytes;
    std::vector<char *> attributeList = pointers(attributes, &attributeBytes);
    std::vector<char *> propertyList = pointers(properties, &propertyBytes);
    char *path = umockdev_testbed_add_devicev(
        m_bed, subsystem.toUtf8().constData(), name.toUtf8().constData(),
        parent.isEmpty() ? nullptr : parent.toUtf8().constData(), attributeList.data(),
        propertyList.data());
    const QString result = QString::fromUtf8(path);
    g_free(path);
    m_paths.append(result);
    return result;
}

QString PortsTest::addUsb(const UsbSerial &usb)
{
    QStringList attributes{"idVendor", usb.vendor, "idProduct", usb.productId};
    if (!usb.product.isEmpty())
        attributes += {"product", usb.product};
    if (!usb.serial.isEmpty())
        attributes += {"serial", usb.serial};
    return add("usb", usb.socket, QString(), attributes, {"DEVTYPE", "usb_device"});
}

void PortsTest::addLine(const QString &usbDevice, int interface, const QString &name, bool isModem)
{
    const QString number = QString("%1").arg(interface, 2, 10, QChar('0'));
    const QString interfacePath =
        add("usb", QString("%1:1.%2").arg(usbDevice.section('/', -1)).arg(interface), usbDevice,
            {"bInterfaceNumber", number}, {"DEVTYPE", "usb_interface"});
    QStringList properties{"DEVNAME", "/dev/" + name};
    if (isModem)
        properties += {"TOLVANE_MODEM_PORT", "1"};
    add("tty", name, interfacePath, {}, properties);
}

/// A phone with a modem port and a port for diagnosis.
QString PortsTest::addPhone(const QString &socket, const QString &serial, int firstLine)
{
    const QString phone = addUsb({socket, "0e8d", "0003", "MT62xx phone 4", serial});
    addLine(phone, 0, QString("ttyACM%1").arg(firstLine), true);
    addLine(phone, 2, QString("ttyACM%1").arg(firstLine + 1), false);
    return phone;
}

void PortsTest::addOnBoard(int number, const QString &type)
{
    const QString chip = add("platform", QString("serial8250.%1").arg(number), QString(), {}, {});
    const QString name = QString("ttyS%1").arg(number);
    add("tty", name, chip, {"type", type}, {"DEVNAME", "/dev/" + name});
}

/// As the kernel does it: what hangs on a device goes before it.
void PortsTest::unplug(const QString &device)
{
    for (int i = m_paths.size() - 1; i >= 0; --i) {
        if (m_paths.at(i) == device || m_paths.at(i).startsWith(device + '/'))
            umockdev_testbed_remove_device(m_bed, m_paths.takeAt(i).toUtf8().constData());
    }
}

QStringList PortsTest::names()
{
    QList<SerialPortDevice> ports;
    const DWORD code = presentSerialPorts(programIdentity(), m_store.get(), &ports);
    QStringList result;
    if (code != Success)
        result += QString("error %1").arg(code);
    for (const SerialPortDevice &port : std::as_const(ports))
        result += friendlyName(port, programIdentity()) + ' ' + port.node;
    return result;
}

void PortsTest::recordedMachines_data()
{
    QTest::addColumn<QStringList>("recordings");
    QTest::addColumn<QStringList>("ports");
    const QStringList phone{"USB Modem Driver (COM5) /dev/ttyACM0",
                            "Virtual Phone GPRS modem (COM6) /dev/ttyUSB1"};
    const QStringList second{"USB Modem Driver (COM7) /dev/ttyACM1",
                             "Virtual Phone GPRS modem (COM8) /dev/ttyACM2"};
    const QString onBoard = "Communications Port (COM1) /dev/ttyS0";
    QTest::newRow("phone") << QStringList{"phone"} << phone;
    QTest::newRow("two phones") << QStringList{"phone", "second-phone"} << phone + second;
    QTest::newRow("USB UART") << QStringList{"usb-uart"}
                              << QStringList{"QEMU USB SERIAL (COM5) /dev/ttyUSB0"};
    QTest::newRow("USB UART without a serial number")
        << QStringList{"usb-uart-without-serial-number"}
        << QStringList{"QEMU USB SERIAL (COM5) /dev/ttyUSB2"};
    QTest::newRow("on-board UART") << QStringList{"on-board-uart"} << QStringList{onBoard};
    // Not recorded: written after what such a kernel shows.
    QTest::newRow("on-board UART, newer kernel")
        << QStringList{"on-board-uart-newer-kernel"} << QStringList{onBoard};
    // Written by hand: what is no phone keeps its own name.
    QTest::newRow("no phones") << QStringList{"no-phones"}
                               << QStringList{"GPS Receiver (COM5) /dev/ttyACM3",
                                              "Mobile Data Stick (COM6) /dev/ttyACM4",
                                              "Preloader (COM7) /dev/ttyACM5",
                                              "Phone Of Another Vendor (COM8) /dev/ttyACM6",
                                              "Diagnosis Only (COM9) /dev/ttyACM7"};
    // In the order of their sockets: the converter in 1-1 comes first.
    QTest::newRow("everything") << QStringList{"phone", "second-phone", "usb-uart",
                                               "usb-uart-without-serial-number", "on-board-uart"}
                                << QStringList{onBoard,
                                               "QEMU USB SERIAL (COM5) /dev/ttyUSB0",
                                               "USB Modem Driver (COM6) /dev/ttyACM0",
                                               "Virtual Phone GPRS modem (COM7) /dev/ttyUSB1",
                                               "USB Modem Driver (COM8) /dev/ttyACM1",
                                               "Virtual Phone GPRS modem (COM9) /dev/ttyACM2",
                                               "QEMU USB SERIAL (COM10) /dev/ttyUSB2"};
}

void PortsTest::recordedMachines()
{
    QFETCH(QStringList, recordings);
    QFETCH(QStringList, ports);
    QStringList added; // USB devices share their controller
    for (const QString &recording : std::as_const(recordings)) {
        QFile file(TMC_RECORDED_DEVICES "/" + recording + ".umockdev");
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        for (const QString &device : QString::fromUtf8(file.readAll()).trimmed().split("\n\n")) {
            const QString path = device.section('\n', 0, 0);
            if (added.contains(path))
                continue;
            added.append(path);
            GError *error = nullptr;
            umockdev_testbed_add_from_string(m_bed, (device + '\n').toUtf8().constData(), &error);
            const QString reason = error ? QString::fromUtf8(error->message) : QString();
            g_clear_error(&error);
            QCOMPARE(reason, QString());
        }
    }
    QCOMPARE(names(), ports);
}

void PortsTest::aPhonesModemPortIsTheOnlyAcceptedOne()
{
    addPhone("1-2", "ABC123", 0);
    QCOMPARE(names(), QStringList({"USB Modem Driver (COM5) /dev/ttyACM0",
                                   "MT62xx phone 4 (COM6) /dev/ttyACM1"}));
}

void PortsTest::aPlainSerialConverterCarriesItsOwnName()
{
    addLine(addUsb({"1-1", "0403", "6001", "FT232R USB UART", "A1"}), 0, "ttyUSB0", false);
    addLine(addUsb({"1-3", "1a86", "7523", "", ""}), 0, "ttyUSB1", false);
    QCOMPARE(names(), QStringList({"FT232R USB UART (COM5) /dev/ttyUSB0",
                                   "USB Serial Port (COM6) /dev/ttyUSB1"}));
}

void PortsTest::onBoardLinesThatAreFittedCount()
{
    addOnBoard(0, "4");
    addOnBoard(1, "0"); // a node without a chip
    addOnBoard(9, "4");
    add("tty", "tty1", QString(), {}, {"DEVNAME", "/dev/tty1"}); // a console
    QCOMPARE(names(), QStringList({"Communications Port (COM1) /dev/ttyS0",
                                   "Communications Port (COM10) /dev/ttyS9"}));
}

void PortsTest::twoPhonesHaveNumbersOfTheirOwn()
{
    addOnBoard(0, "4");
    addPhone("1-2", "ABC123", 0);
    addPhone("1-3", "XYZ789", 2);
    QCOMPARE(names(),
             QStringList(
                 {"Communications Port (COM1) /dev/ttyS0", "USB Modem Driver (COM5) /dev/ttyACM0",
                  "MT62xx phone 4 (COM6) /dev/ttyACM1", "USB Modem Driver (COM7) /dev/ttyACM2",
                  "MT62xx phone 4 (COM8) /dev/ttyACM3"}));
}

void PortsTest::phonesThatCannotBeToldApartGoBySocket()
{
    addPhone("1-2", "", 0);
    QCOMPARE(names().first(), QString("USB Modem Driver (COM5) /dev/ttyACM0"));
    addPhone("1-3", "", 2);
    QCOMPARE(names(),
             QStringList(
                 {"USB Modem Driver (COM5) /dev/ttyACM0", "MT62xx phone 4 (COM6) /dev/ttyACM1",
                  "USB Modem Driver (COM7) /dev/ttyACM2", "MT62xx phone 4 (COM8) /dev/ttyACM3"}));
}

void PortsTest::aPhoneKeepsItsNumberInAnySocket()
{
    const QString phone = addPhone("1-2", "ABC123", 0);
    QCOMPARE(names().first(), QString("USB Modem Driver (COM5) /dev/ttyACM0"));
    unplug(phone);
    QCOMPARE(names(), QStringList());
    // Something else takes its kernel name before it is back.
    addLine(addUsb({"1-2", "2341", "0043", "Board", "B1"}), 0, "ttyACM0", false);
    addPhone("2-1", "ABC123", 3);
    QCOMPARE(names(),
             QStringList({"USB Modem Driver (COM5) /dev/ttyACM3",
                          "MT62xx phone 4 (COM6) /dev/ttyACM4", "Board (COM7) /dev/ttyACM0"}));
}

void PortsTest::aNumberIsKeptWhileTheDeviceIsAway()
{
    const QString phone = addPhone("1-2", "ABC123", 0);
    names();
    unplug(phone);
    const StateStore again(m_store->folder()); // as another program would
    m_store = std::make_shared<StateStore>(again);
    addPhone("1-2", "XYZ789", 0);
    QCOMPARE(names().first(), QString("USB Modem Driver (COM7) /dev/ttyACM0"));
}

void PortsTest::pluggingIsSeenAtTheNextLook()
{
    QCOMPARE(names(), QStringList());
    const QString phone = addPhone("1-2", "ABC123", 0);
    QCOMPARE(names().size(), 2);
    unplug(phone);
    QCOMPARE(names(), QStringList());
}

void PortsTest::numbersGoBeyondNine()
{
    for (int device = 0; device < 8; ++device)
        addLine(addUsb({QString("1-%1").arg(device + 1), "0403", "6001", "UART",
                        QString::number(device)}),
                0, QString("ttyUSB%1").arg(device), false);
    QCOMPARE(names().last(), QString("UART (COM12) /dev/ttyUSB7"));
}

void PortsTest::withoutRightsNumbersAreFoundAnew()
{
    QVERIFY(QDir().mkpath(m_store->folder()));
    setMode(m_folder->path(), 0755);
    setMode(m_store->folder(), 0555);
    char *machine = umockdev_testbed_get_root_dir(m_bed);
    setMode(machine, 0755);
    g_free(machine);
    addPhone("1-2", "ABC123", 0);
    {
        const OrdinaryUser user;
        QCOMPARE(names().first(), QString("USB Modem Driver (COM5) /dev/ttyACM0"));
        QCOMPARE(names().first(), QString("USB Modem Driver (COM5) /dev/ttyACM0"));
    }
    QVERIFY(!QFile::exists(m_store->folder() + "/state.json"));
    setMode(m_store->folder(), 0755);
}

void PortsTest::aStoreThatCannotBeWrittenHidesNoPort()
{
    // Any reason but missing rights, such as a full or a read-only disk.
    QVERIFY(QDir().mkpath(m_store->folder() + "/state.lock"));
    addPhone("1-2", "ABC123", 0);
    QCOMPARE(names().first(), QString("USB Modem Driver (COM5) /dev/ttyACM0"));
}

void PortsTest::aProductsNameIsOnlyText()
{
    addLine(addUsb({"1-1", "0403", "6001", "%1 %2", "A1"}), 0, "ttyUSB0", false);
    addLine(addUsb({"1-2", "0403", "6001", "My USB Modem Driver", "A2"}), 0, "ttyUSB1", false);
    QCOMPARE(names(),
             QStringList({"%1 %2 (COM5) /dev/ttyUSB0", "USB Serial Port (COM6) /dev/ttyUSB1"}));
}

/// A serial converter that answers with those bytes whatever it is asked for.
QString PortsTest::addHostile(const QString &socket, QByteArray text, const QString &line)
{
    const QString device = addUsb({socket, "0403", "6001", "x", "x"});
    for (const char *attribute : {"product", "serial", "manufacturer"})
        umockdev_testbed_set_attribute_binary(m_bed, device.toUtf8().constData(), attribute,
                                              reinterpret_cast<guint8 *>(text.data()),
                                              int(text.size()));
    addLine(device, 0, line, false);
    return device;
}

void PortsTest::hostileDevices_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *what, const QByteArray &text, const QString &name) {
        QTest::newRow(what) << text << name;
    };
    const QString plain = "USB Serial Port"; // of a device that tells nothing that counts
    const QString sign(QChar::ReplacementCharacter);
    row("nothing", "", plain);
    row("blanks", " \t\r\n\v\f ", plain);
    row("lines", "Phone\nUSB\r\nSerial", "Phone USB Serial");
    row("control characters", "\x01\x1b[2J\x07\x7f", sign + sign + "[2J" + sign + sign);
    row("other direction", u8"a\u202egpj.exe\u2066", 'a' + sign + "gpj.exe" + sign);
    row("no UTF-8", "\xff\xfe\xc0\xaf", sign + sign + sign + sign);
    row("half a character", "Phone\xe2", "Phone" + sign);
    row("formats", "%n%s%1%2%99", "%n%s%1%2%99");
    row("a shell's", "`reboot`;$(reboot)|reboot&\"'\\", "`reboot`;$(reboot)|reboot&\"'\\");
    row("a path", "../../../etc/passwd", "../../../etc/passwd");
    row("JSON", "\":{},\"devices\":[{}],\"x", "\":{},\"devices\":[{}],\"x");
    row("INI", "x]\n[General]\nCurrentPort=99", "x] [General] CurrentPort=99");
    row("udev's", "x\nE:TOLVANE_MODEM_PORT=1", "x E:TOLVANE_MODEM_PORT=1");
    row("an identity", "usb:0e8d:0003:ABC123:00", "usb:0e8d:0003:ABC123:00");
    row("HTML", "<img src=x><b>", "<img src=x><b>");
    row("a number", "Phone (COM5)", "Phone (COM5)");
    row("a phone's port", "USB Modem Driver (COM5)", plain);
    row("a phone's other port", "Tolvane Modem Driver", plain);
    row("a phone's port in two lines", "USB Modem\nDriver", plain);
    row("a phone's port with other blanks", u8"USB Modem\u00a0Driver", plain);
    row("long", QByteArray(3000, 'x'), QString(3000, 'x'));
}

/// Whatever a device calls itself: the phone is found, and what is stored of it stays.
void PortsTest::hostileDevices()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, name);
    addPhone("1-2", "ABC123", 0);
    QCOMPARE(names().size(), 2);
    const QString device = addHostile("1-1", text, "ttyUSB0");
    const QStringList all{"USB Modem Driver (COM5) /dev/ttyACM0",
                          "MT62xx phone 4 (COM6) /dev/ttyACM1", name + " (COM7) /dev/ttyUSB0"};
    QCOMPARE(names(), all);
    QJsonObject kept;
    QCOMPARE(StateStore(m_store->folder()).read(&kept), DWORD(Success));
    QCOMPARE(kept.keys(), QStringList("ports"));
    QCOMPARE(kept.value("ports").toObject().size(), 3);
    // Told apart from the phone, and found again, by another program.
    m_store = std::make_shared<StateStore>(m_store->folder());
    unplug(device);
    QCOMPARE(names(), all.mid(0, 2));

    Platform installation;
    provideErrorHandling(&installation);
    provideMemory(&installation);
    provideDeviceInstallation(&installation, programIdentity(), m_store,
                              std::make_shared<HelperClient>(SystemPaths()),
                              std::make_shared<ToldNotices>());
    setCurrent(&installation);
    addHostile("1-4", text, "ttyUSB3");
    QCOMPARE(names().last(), name + " (COM7) /dev/ttyUSB3");
    QCOMPARE(GetModemPorts(), QList<int>{5});
}

void PortsTest::aDamagedStoreIsToldAndKept()
{
    QVERIFY(QDir().mkpath(m_store->folder()));
    QFile file(m_store->folder() + "/state.json");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("half a thi");
    file.close();
    addPhone("1-2", "ABC123", 0);
    QCOMPARE(names().first(), QString("error 13"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("half a thi"));
}

void PortsTest::aMarkedLineWithoutHardwareCounts()
{
    add("tty", "rfcomm0", QString(), {}, {"DEVNAME", "/dev/rfcomm0"});
    add("tty", "rfcomm1", QString(), {}, {"DEVNAME", "/dev/rfcomm1", "TOLVANE_MODEM_PORT", "1"});
    QCOMPARE(names(), QStringList("USB Modem Driver (COM5) /dev/rfcomm1"));
}

void PortsTest::aPhonesStableNameIsTheRulesLink()
{
    const QString phone = addUsb({"1-2", "0e8d", "0003", "MT62xx phone", "A"});
    addLine(phone, 2, "ttyACM1", true);
    add("tty", "ttyACM0", add("usb", "1-2:1.0", phone, {"bInterfaceNumber", "00"}, {}), {},
        {"DEVNAME", "/dev/ttyACM0", "DEVLINKS",
         "/dev/serial/by-id/x /dev/tolvane-modem-x-if00 /dev/serial/by-path/x"});
    QList<SerialPortDevice> ports;
    QCOMPARE(presentSerialPorts(programIdentity(), m_store.get(), &ports), DWORD(Success));
    QCOMPARE(ports.size(), 2);
    QCOMPARE(ports.at(0).stableNode, QString("/dev/tolvane-modem-x-if00"));
    QCOMPARE(ports.at(1).stableNode, QString("/dev/ttyACM1"));
}

void PortsTest::theDeviceSetHoldsThePorts()
{
    addPhone("1-2", "ABC123", 0);
    Platform installation;
    provideDeviceInstallation(&installation, programIdentity(), m_store,
                              std::make_shared<HelperClient>(SystemPaths()),
                              std::make_shared<ToldNotices>());
    const HDEVINFO set = installation.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 2);
    QVERIFY(set != invalidHandle());
    DeviceInfoData data = {};
    data.cbSize = sizeof data;
    QVERIFY(installation.SetupDiEnumDeviceInfo(set, 0, &data));
    QVERIFY(data.ClassGuid == PortsClassGuid);
    DWORD type = 0;
    DWORD size = 0;
    QVERIFY(!installation.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyFriendlyName, &type,
                                                            nullptr, 0, &size));
    QCOMPARE(size, DWORD(48));
    WCHAR name[24] = {};
    QVERIFY(installation.SetupDiGetDeviceRegistryPropertyW(
        set, &data, PropertyFriendlyName, &type, reinterpret_cast<BYTE *>(name), size, &size));
    QCOMPARE(fromField(name), QString("USB Modem Driver (COM5)"));
    QCOMPARE(type, RegistryString);
    QVERIFY(installation.SetupDiEnumDeviceInfo(set, 1, &data));
    QVERIFY(!installation.SetupDiEnumDeviceInfo(set, 2, &data));
    QVERIFY(!installation.SetupDiRegisterDeviceInfo(set, &data, 0, nullptr, nullptr, nullptr));
    QCOMPARE(lastError(), ErrorNotSupported); // ports are udev's
    QVERIFY(installation.SetupDiDestroyDeviceInfoList(set));
}

QTEST_GUILESS_MAIN(PortsTest)
#include "ports_test.moc"
