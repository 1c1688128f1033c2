#include "tests/endtoend/scenario.h"

#include "tests/desktop/waiting.h"

#include <QDir>
#include <QTest>

namespace {

/// Test programs that run side by side do not share them.
QString artefacts(const QString &scenario)
{
    const QString program = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    return QDir(Machine::programDirectory()).filePath("../artefacts/" + program + '/' + scenario);
}

/// Fails the test with what went wrong and with what the program logged.
void reportFailure(const std::exception &error, Session *session)
{
    QByteArray log;
    if (session) {
        log = session->machine.log();
        try {
            session->desktop.keepPicture("not-as-expected");
        } catch (const NotAsExpected &) {
            log += "(no picture)";
        }
    }
    QFAIL(qPrintable(QString("%1\nThe program's log:\n%2")
                         .arg(QString::fromUtf8(error.what()), QString::fromUtf8(log))));
}

std::unique_ptr<FirstRun> makeFirstRun()
{
    auto run = std::make_unique<FirstRun>();
    Session session(artefacts("first-run"));
    const auto show = [&session](const char *picture, const char *) {
        session.desktop.keepPicture(picture);
    };
    try {
        run->seen = walkFirstRun(session, show, [&] {
            session.pressNext();
            show("setting-up", "");
            session.waitForSetup();
        });
        closeProgram(session);
    } catch (const NotAsExpected &) {
        session.desktop.keepPicture("not-as-expected");
        throw;
    }
    run->faces = session.faces();
    run->machine = std::make_unique<Machine>(artefacts("prepared"));
    run->machine->becomeCopyOf(session.machine);
    return run;
}

} // namespace

const FirstRun &firstRunDone()
{
    static const std::unique_ptr<FirstRun> run = makeFirstRun();
    return *run;
}

void onNewPc(const QString &name, const Scenario &scenario)
{
    std::unique_ptr<Session> session;
    try {
        session = std::make_unique<Session>(artefacts(name));
        scenario(*session);
        if (!session->desktop.visibleWindows().isEmpty())
            session->desktop.keepPicture("at-the-end");
    } catch (const NotAsExpected &error) {
        reportFailure(error, session.get());
    }
}

void onPreparedPc(const QString &name, const Scenario &scenario)
{
    onNewPc(name, [&](Session &session) {
        const FirstRun &run = firstRunDone();
        session.machine.becomeCopyOf(*run.machine);
        session.useFaces(run.faces);
        scenario(session);
    });
}

QByteArray heardWhenDialling(const QByteArray &apn)
{
    return "AT\\rAT+CGDCONT=1,\\\"IP\\\",\\\"" + apn + "\\\"\\rATZ\\rATD*99#\\r";
}

int wakeUpsWhenIdle(const Session &session, const char *state)
{
    constexpr int Watched = 6000;
    const qint64 before = session.machine.programWakeUps();
    QTest::qWait(Watched);
    const int wakeUps = static_cast<int>(session.machine.programWakeUps() - before);
    qInfo("Wake-ups in %d ms, %s: %d", Watched, state, wakeUps);
    return wakeUps;
}
