#pragma once

#include "virtualphone/atcommands.h"
#include "virtualphone/phonenetwork.h"

#include <QByteArray>
#include <QList>
#include <QTest>

#include <initializer_list>

/// A modem without a line: what it answers to a command line.
struct CommandBench {
    virtualphone::PhoneNetwork network;
    virtualphone::ModemState modem;
    int delayMs = 0; ///< that the last line took

    /// The information texts and the result word, with a bar between them:
    /// "+CSQ: 21,99|OK".
    QByteArray say(const QByteArray &line)
    {
        const virtualphone::CommandAnswer answer =
            virtualphone::executeCommandLine(line, network, &modem);
        delayMs = answer.delayMs;
        QList<QByteArray> parts = answer.informationTexts;
        parts += virtualphone::formatResult(answer.result, modem.settings).trimmed();
        return parts.join('|');
    }
};

/// Adds the rows of one standard's section. Each is a name of its own, a list of
/// lines, the last of which is answered as told.
class CommandRows
{
public:
    CommandRows() { addColumns(); }

    void section(const char *name) { m_section = name; }

    void row(const QByteArray &line, const QByteArray &answer) { row({}, line, answer); }

    void row(const std::initializer_list<QByteArray> &before, const QByteArray &line,
             const QByteArray &answer)
    {
        const QByteArray name = QList<QByteArray>(before).join(", ");
        QTest::addRow("%s: %s%s%s", m_section, name.constData(), name.isEmpty() ? "" : ", ",
                      line.constData())
            << QList<QByteArray>(before) << line << answer;
    }

private:
    static void addColumns()
    {
        QTest::addColumn<QList<QByteArray>>("before");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("answer");
    }

    const char *m_section = "";
};

/// The test of one such row.
inline void checkRow(CommandBench &bench)
{
    QFETCH(QList<QByteArray>, before);
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, answer);
    for (const QByteArray &each : before)
        bench.say(each);
    QCOMPARE(bench.say(line), answer);
}
