#include "app/identity.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace platform;
using namespace platform::linuxsystem;

/// What the helper takes as name and password for the network. All of it goes into
/// a file of pppd's options.
class SignInTest : public QObject
{
    Q_OBJECT

private slots:
    void isStoredForTheAsker();
    void othersMayNot();
    void isRefused_data();
    void isRefused();

private:
    DWORD answer(Role role, const QJsonObject &request)
    {
        SystemPaths paths;
        paths.state = m_folder.path();
        paths.user = 1000;
        return Service(paths, programIdentity(), role).answer(request);
    }
    QByteArray stored() const
    {
        QFile file(m_folder.filePath("sign-in/1000"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
};

void SignInTest::isStoredForTheAsker()
{
    QCOMPARE(answer(Role::Connect, signInRequest("anna", "")), DWORD(Success));
    QVERIFY(stored().endsWith("\nuser \"anna\"\npassword \"\"\n"));
    const QString longest(255, 'x');
    QCOMPARE(answer(Role::Connect, signInRequest(longest, longest)), DWORD(Success));
    QVERIFY(stored().contains(longest.toLatin1()));
    QCOMPARE(QDir(m_folder.filePath("sign-in")).entryList(QDir::Files), QStringList("1000"));
}

void SignInTest::othersMayNot()
{
    const QByteArray before = stored();
    for (const Role role : {Role::SetUp, Role::EndOthers})
        QCOMPARE(answer(role, signInRequest("a", "b")), ErrorAccessDenied);
    QCOMPARE(stored(), before);
}

void SignInTest::isRefused_data()
{
    QTest::addColumn<QJsonValue>("name");
    QTest::addColumn<QJsonValue>("password");
    const auto row = [](const char *what, const QJsonValue &name, const QJsonValue &password) {
        QTest::newRow(what) << name << password;
    };
    row("no name", "", "x");
    row("name no text", 1, "x");
    row("password no text", "x", QJsonValue());
    row("name with an option", "a\nplugin evil.so", "x");
    row("password with an option", "a", "x\r\nconnect /bin/sh");
    row("end of text", QString(QChar(0)), "x");
    row("half a character", QString(QChar(0xD800)), "x");
    row("name too long", QString(256, 'x'), "x");
    row("password too long", "a", QString(128, QChar(0xE4)));
}

void SignInTest::isRefused()
{
    QFETCH(QJsonValue, name);
    QFETCH(QJsonValue, password);
    const QByteArray before = stored();
    const QJsonObject request{{"do", "sign-in"}, {"name", name}, {"password", password}};
    QCOMPARE(answer(Role::Connect, request), ErrorInvalidParameter);
    QCOMPARE(stored(), before);
}

QTEST_APPLESS_MAIN(SignInTest)
#include "signin_test.moc"
