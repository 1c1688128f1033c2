#include "app/identity.h"
#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/messagenotices.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "tests/linux/filemode.h"
#include "tests/linux/helperfixture.h"
#include "tests/linux/toldnotices.h"
#include "tests/support/ordinaryuser.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const QByteArray damage = "half a thi";

/// The box of that title that is shown; null without one.
QMessageBox *box(const QString &title)
{
    for (QWidget *window : QApplication::topLevelWidgets()) {
        auto *found = qobject_cast<QMessageBox *>(window);
        if (found && found->isVisible() && found->windowTitle() == title)
            return found;
    }
    return nullptr;
}

} // namespace

/// A list of what is set up that cannot be read: the program would wait for the phone
/// for ever, and say nothing.
class DamagedStateTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void isToldAndPutAside_data();
    void isToldAndPutAside();
    void whatIsGoodStays();
    void onlyWhoMaySetUpPutsItAside();
    void theBoxPutsItAside();
    void theBoxTellsThatItCouldNot();
    void whatMayNotBeReadIsTold();
    void theBoxTellsOnceThatItMayNotBeRead();

private:
    void damageIt() const
    {
        QVERIFY(QDir().mkpath(m_folder->filePath("state")));
        QFile file(m_folder->filePath("state/state.json"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(damage);
    }
    QByteArray read(const QString &name) const
    {
        QFile file(m_folder->filePath("state/" + name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// What listing the ports of the machine ends with.
    DWORD listPorts(const std::shared_ptr<Notices> &notices) const
    {
        Platform platform;
        provideErrorHandling(&platform);
        provideDeviceInstallation(&platform, programIdentity(),
                                  std::make_shared<StateStore>(m_paths.state),
                                  std::make_shared<HelperClient>(m_paths), notices);
        const HDEVINFO set = platform.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 2);
        if (set == invalidHandle())
            return lastError();
        platform.SetupDiDestroyDeviceInfoList(set);
        return Success;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    SystemPaths m_paths;
};

void DamagedStateTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_paths = SystemPaths();
    m_paths.state = m_folder->filePath("state");
}

void DamagedStateTest::isToldAndPutAside_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<bool>("works");
    QTest::newRow("with the rights") << QByteArray() << true;
    QTest::newRow("through the helper") << QByteArray("give") << true;
    QTest::newRow("refused") << QByteArray("refuse") << false;
}

void DamagedStateTest::isToldAndPutAside()
{
    QFETCH(QByteArray, plan);
    QFETCH(bool, works);
    if (!plan.isEmpty()) {
        useHelperStandIn(&m_paths, m_folder->path());
        usePkexecStandIn(&m_paths, plan);
    }
    for (const char *aside : {"state.json.damaged1", "state.json.damaged2"}) {
        damageIt();
        const auto notices = std::make_shared<ToldNotices>();
        QCOMPARE(listPorts(notices), ErrorInvalidData);
        QVERIFY(!notices->told.isEmpty());
        QCOMPARE(notices->told.first(), "damaged: " + m_folder->filePath("state/state.json"));
        QCOMPARE(notices->putAside(), works);
        if (!works) {
            QCOMPARE(read("state.json"), damage);
            return;
        }
        QCOMPARE(read(aside), damage);
        QVERIFY(!QFile::exists(m_folder->filePath("state/state.json")));
        const auto then = std::make_shared<ToldNotices>();
        QCOMPARE(listPorts(then), DWORD(Success));
        QCOMPARE(then->told, QStringList());
    }
}

void DamagedStateTest::whatIsGoodStays()
{
    StateStore(m_paths.state).change([](QJsonObject *state) {
        state->insert("ports", QJsonObject{{"tty:ttyS0", 1}});
        return true;
    });
    const QByteArray before = read("state.json");
    QVERIFY(!before.isEmpty());
    QCOMPARE(Service(m_paths, programIdentity(), Role::SetUp).answer(putStateAsideRequest()),
             DWORD(Success));
    QCOMPARE(read("state.json"), before);
}

void DamagedStateTest::onlyWhoMaySetUpPutsItAside()
{
    damageIt();
    for (const Role role : {Role::Connect, Role::EndOthers})
        QCOMPARE(Service(m_paths, programIdentity(), role).answer(putStateAsideRequest()),
                 ErrorAccessDenied);
    QCOMPARE(read("state.json"), damage);
}

void DamagedStateTest::theBoxPutsItAside()
{
    MessageNotices notices;
    int asked = 0;
    const auto putAside = [&asked] { return ++asked > 0; };
    // The program looks for its port every five seconds.
    for (int look = 0; look < 3; ++look)
        notices.stateDamaged("/a/<b>file", putAside);
    QTRY_VERIFY(box("Damaged File"));
    QVERIFY2(box("Damaged File")->text().contains("\"/a/<b>file\" is damaged"),
             qPrintable(box("Damaged File")->text()));
    QCOMPARE(box("Damaged File")->textFormat(), Qt::PlainText);
    QCOMPARE(asked, 0);
    for (QAbstractButton *button : box("Damaged File")->buttons()) {
        if (button->text() == "&Put Aside") {
            button->click();
            break;
        }
    }
    QTRY_COMPARE(asked, 1);
    QVERIFY(!box("Damaged File"));
    // Another damage is told again.
    notices.stateDamaged("/a/file", putAside);
    QTRY_VERIFY(box("Damaged File"));
    box("Damaged File")->close();
    QTRY_VERIFY(!box("Damaged File"));
    QCOMPARE(asked, 1);
}

void DamagedStateTest::theBoxTellsThatItCouldNot()
{
    MessageNotices notices;
    notices.stateDamaged("/a/file", [] { return false; });
    QTRY_VERIFY(box("Damaged File"));
    for (QAbstractButton *button : box("Damaged File")->buttons()) {
        if (button->text() == "&Put Aside") {
            button->click();
            break;
        }
    }
    QTRY_VERIFY(box("Damaged File") &&
                box("Damaged File")->text().contains("could not be renamed"));
    // Whoever has said no is not asked every five seconds.
    notices.stateDamaged("/a/file", [] { return false; });
    QCoreApplication::processEvents();
    QVERIFY(box("Damaged File")->text().contains("could not be renamed"));
    box("Damaged File")->close();
}

/// A folder into which its owner lets nobody else.
void DamagedStateTest::whatMayNotBeReadIsTold()
{
    damageIt();
    setMode(m_folder->path(), 0755);
    setMode(m_paths.state, 0);
    const auto notices = std::make_shared<ToldNotices>();
    DWORD code = Success;
    {
        const OrdinaryUser user;
        code = listPorts(notices);
    }
    setMode(m_paths.state, 0755);
    QCOMPARE(code, ErrorAccessDenied);
    QVERIFY(!notices->told.isEmpty());
    QCOMPARE(notices->told.first(), "forbidden: " + m_paths.state + "/state.json");
}

void DamagedStateTest::theBoxTellsOnceThatItMayNotBeRead()
{
    MessageNotices notices;
    for (int look = 0; look < 3; ++look)
        notices.stateForbidden("/a/<b>file");
    QTRY_VERIFY(box("Unreadable File"));
    QVERIFY2(box("Unreadable File")->text().contains("\"/a/<b>file\""),
             qPrintable(box("Unreadable File")->text()));
    box("Unreadable File")->close();
    QTRY_VERIFY(!box("Unreadable File"));
    notices.stateForbidden("/a/<b>file");
    QCoreApplication::processEvents();
    QVERIFY(!box("Unreadable File"));
}

QTEST_MAIN(DamagedStateTest)
#include "damagedstate_test.moc"
