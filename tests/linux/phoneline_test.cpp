#include "platform/linux/dialphone/phoneline.h"

#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace dialphone;

/// What a phone says to each command line it gets.
struct Said {
    QByteArray command;
    QByteArray answer;
};
Q_DECLARE_METATYPE(QList<Said>)

namespace {

/// A line with a phone at its other end that plays a script, then hangs up or
/// stays silent.
class ScriptedPhone
{
public:
    ScriptedPhone(QList<Said> script, bool hangsUp) : m_script(std::move(script))
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM, 0, m_ends) != 0)
            qFatal("socketpair");
        m_thread = std::thread([this, hangsUp] {
            play();
            if (hangsUp)
                ::shutdown(m_ends[1], SHUT_RDWR);
        });
    }
    ~ScriptedPhone()
    {
        ::shutdown(m_ends[0], SHUT_RDWR);
        m_thread.join();
        ::close(m_ends[0]);
        ::close(m_ends[1]);
    }

    int line() const { return m_ends[0]; }
    /// After the dial.
    QByteArray wrongCommand() const { return m_wrong; }

private:
    void play()
    {
        for (const Said &said : std::as_const(m_script)) {
            QByteArray command;
            char character = 0;
            while (::read(m_ends[1], &character, 1) == 1 && character != '\r')
                command += character;
            if (command != said.command)
                m_wrong = command;
            const QByteArray answer = said.answer;
            if (::write(m_ends[1], answer.constData(), size_t(answer.size())) != answer.size())
                return;
        }
    }

    QList<Said> m_script;
    int m_ends[2];
    QByteArray m_wrong;
    std::thread m_thread;
};

} // namespace

class PhoneLineTest : public QObject
{
    Q_OBJECT

private slots:
    void dials_data();
    void dials();
    void aLineThatIsTooLongIsCut();
    void leavesWhatFollowsConnect();
    void aSilentPhoneAndASilentNetworkAreTold();
    void aPhoneThatSleepsIsSpokenToAgain_data();
    void aPhoneThatSleepsIsSpokenToAgain();
    void whyThePhoneRefusesIsAsked_data();
    void whyThePhoneRefusesIsAsked();
    void whatIsSaidIsHeard();
    void numbers();
};

void PhoneLineTest::dials_data()
{
    QTest::addColumn<QList<Said>>("script");
    QTest::addColumn<QString>("result");
    const Said ready = {"AT", "\r\nOK\r\n"};
    const auto dialled = [&ready](const QByteArray &answer) {
        return QList<Said>{ready, {"ATD*99#", answer}};
    };
    QTest::newRow("connect") << dialled("\r\nCONNECT\r\n") << "CONNECT";
    QTest::newRow("speed") << dialled("\r\nCONNECT 115200\r\n") << "CONNECT 115200";
    QTest::newRow("echo") << QList<Said>{{"AT", "AT\r\r\nOK\r\n"},
                                         {"ATD*99#", "ATD*99#\r\r\nCONNECT\r\n"}}
                          << "CONNECT";
    QTest::newRow("noise") << QList<Said>{{"AT", "\r\nRING\r\n\r\nOK\r\n"},
                                          {"ATD*99#", "\r\n+CREG: 1\r\n\r\nCONNECT\r\n"}}
                           << "CONNECT";
    for (const char *answer : {"NO CARRIER", "BUSY", "NO ANSWER", "NO DIALTONE", "NO DIAL TONE",
                               "ERROR", "+CME ERROR: 30", "+CMS ERROR: 500"}) {
        QTest::newRow(answer) << dialled(QByteArray("\r\n") + answer + "\r\n") << answer;
    }
    QTest::newRow("ended at once") << dialled("\r\nOK\r\n") << "NO CARRIER";
    QTest::newRow("AT refused") << QList<Said>{{"AT", "\r\nERROR\r\n"}} << "NOT READY";
    QTest::newRow("gone at once") << QList<Said>{} << "HANGUP";
    QTest::newRow("gone while dialling") << QList<Said>{ready} << "HANGUP";
}

void PhoneLineTest::dials()
{
    QFETCH(QList<Said>, script);
    QFETCH(QString, result);
    const ScriptedPhone phone(script, true);
    std::signal(SIGPIPE, SIG_IGN);
    PhoneLine line(phone.line(), phone.line());
    QCOMPARE(QString::fromStdString(line.dial("*99#", 5, 5)), result);
    QCOMPARE(phone.wrongCommand(), QByteArray());
}

void PhoneLineTest::aLineThatIsTooLongIsCut()
{
    const QByteArray answer = "CONNECT " + QByteArray(10000, 'x');
    const ScriptedPhone phone({{"AT", "\r\nOK\r\n"}, {"ATD1", "\r\n" + answer + "\r\n"}}, false);
    PhoneLine line(phone.line(), phone.line());
    QCOMPARE(QByteArray::fromStdString(line.dial("1", 5, 5)), answer.left(PhoneLine::LongestLine));
}

void PhoneLineTest::leavesWhatFollowsConnect()
{
    const ScriptedPhone phone({{"AT", "\r\nOK\r\n"}, {"ATD1", "\r\nCONNECT\r\n~\xff}#"}}, false);
    PhoneLine line(phone.line(), phone.line());
    QCOMPARE(line.dial("1", 5, 5), std::string("CONNECT"));
    char rest[8] = {};
    QCOMPARE(::read(phone.line(), rest, sizeof rest), ssize_t(4));
    QCOMPARE(QByteArray(rest, 4), QByteArray("~\xff}#"));
}

void PhoneLineTest::aSilentPhoneAndASilentNetworkAreTold()
{
    const ScriptedPhone silent({{"AT", ""}}, false);
    PhoneLine line(silent.line(), silent.line());
    QCOMPARE(line.dial("1", 1, 1), std::string("NOT READY"));

    const ScriptedPhone waiting({{"AT", "\r\nOK\r\n"}, {"ATD1", ""}}, false);
    PhoneLine second(waiting.line(), waiting.line());
    QCOMPARE(second.dial("1", 5, 1), std::string("TIMEOUT"));
}

void PhoneLineTest::aPhoneThatSleepsIsSpokenToAgain_data()
{
    QTest::addColumn<QList<Said>>("script");
    const Said dialled = {"ATD1", "\r\nCONNECT\r\n"};
    QTest::newRow("the first is lost") << QList<Said>{{"AT", ""}, {"AT", "\r\nOK\r\n"}, dialled};
    QTest::newRow("two are lost") << QList<Said>{
        {"AT", ""}, {"AT", ""}, {"AT", "\r\nOK\r\n"}, dialled};
    // Taken for the answer to ATD, the second OK would be the end of the call.
    QTest::newRow("all are answered in the end")
        << QList<Said>{{"AT", ""}, {"AT", "\r\nOK\r\n\r\nOK\r\n"}, dialled};
}

void PhoneLineTest::aPhoneThatSleepsIsSpokenToAgain()
{
    QFETCH(QList<Said>, script);
    const ScriptedPhone phone(script, false);
    PhoneLine line(phone.line(), phone.line());
    QCOMPARE(line.dial("1", 5, 5), std::string("CONNECT"));
    QCOMPARE(phone.wrongCommand(), QByteArray());
}

void PhoneLineTest::whyThePhoneRefusesIsAsked_data()
{
    QTest::addColumn<QByteArray>("refusal");
    QTest::addColumn<QByteArray>("card");
    QTest::addColumn<QByteArray>("network");
    QTest::addColumn<QString>("result");
    const QByteArray ready = "+CPIN: READY\r\n\r\nOK";
    const auto row = [](const char *name, const QByteArray &refusal, const QByteArray &card,
                        const QByteArray &network, const char *result) {
        QTest::newRow(name) << refusal << card << network << result;
    };
    row("PIN", "ERROR", "+CPIN: SIM PIN\r\n\r\nOK", "", "+CME ERROR: 11");
    row("PUK", "ERROR", "+CPIN: SIM PUK\r\n\r\nOK", "", "+CME ERROR: 12");
    row("no card", "NO CARRIER", "+CME ERROR: 10", "", "+CME ERROR: 10");
    row("no network", "NO CARRIER", ready, "+CREG: 0,2\r\n\r\nOK", "+CME ERROR: 30");
    row("network denied", "NO DIALTONE", ready, "+CREG: 0,3\r\n\r\nOK", "+CME ERROR: 30");
    row("own network", "NO CARRIER", ready, "+CREG: 0,1\r\n\r\nOK", "NO CARRIER");
    row("another's network", "ERROR", ready, "+CREG: 0,5,\"1\"\r\n\r\nOK", "ERROR");
    row("knows no such questions", "ERROR", "ERROR", "ERROR", "ERROR");
}

void PhoneLineTest::whyThePhoneRefusesIsAsked()
{
    QFETCH(QByteArray, refusal);
    QFETCH(QByteArray, card);
    QFETCH(QByteArray, network);
    QFETCH(QString, result);
    const auto said = [](const QByteArray &text) { return "\r\n" + text + "\r\n"; };
    QList<Said> script = {{"AT", said("OK")},
                          {"ATD1", said(refusal)},
                          {"AT+CMEE=1", said("OK")},
                          {"AT+CPIN?", said(card)}};
    if (!network.isEmpty())
        script += {"AT+CREG?", said(network)};
    // The window understands bare errors only.
    script += {"AT+CMEE=0", said("OK")};
    const ScriptedPhone phone(script, true);
    PhoneLine line(phone.line(), phone.line());
    QCOMPARE(QString::fromStdString(line.dial("1", 5, 5)), result);
    QCOMPARE(phone.wrongCommand(), QByteArray());
}

void PhoneLineTest::whatIsSaidIsHeard()
{
    const ScriptedPhone phone({{"AT", "AT\r\r\nOK\r\n"}, {"ATD1", "\r\nBUSY\r\n"}}, false);
    QStringList heard;
    PhoneLine line(phone.line(), phone.line(),
                   [&heard](const std::string &text) { heard += QString::fromStdString(text); });
    QCOMPARE(line.dial("1", 5, 5), std::string("BUSY"));
    QCOMPARE(heard, QStringList({"AT", "OK", "ATD1", "BUSY"}));
}

void PhoneLineTest::numbers()
{
    QVERIFY(isDialableNumber("*99***1#"));
    QVERIFY(isDialableNumber(std::string(80, '1')));
    for (const std::string &number :
         {std::string(), std::string(81, '1'), std::string("1;2"), std::string("1\rAT"),
          std::string("$HOME"), std::string("1\0", 2)})
        QVERIFY2(!isDialableNumber(number), number.c_str());
}

QTEST_APPLESS_MAIN(PhoneLineTest)
#include "phoneline_test.moc"
