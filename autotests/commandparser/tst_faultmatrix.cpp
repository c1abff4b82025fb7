// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString execute = QStringLiteral("HandleCommand");
const QString categoriesQuery = QStringLiteral("GetCommandCategories");
const QString commandsQuery = QStringLiteral("GetCommands");
const QString e = QStringLiteral("-e");
const QString a = QStringLiteral("-a");
const QStringList ping = {e, QStringLiteral("601")};
const QStringList list = {QStringLiteral("-l")};
// Well within the test bus's reply_timeout and the library's deadline, past start-up on a
// loaded machine.
constexpr int boundMs = 8000;

QByteArray ipcCommands(const QByteArray &entries)
{
    return Scripts::answeringCatalogue(commandsQuery, entries);
}

LogMessage categoriesFailed()
{
    const QString function = QStringLiteral("CommandHandler::getCommandCategories");
    return criticalMessage(
            function, function + QStringLiteral(" ERROR: Processing GetCommandCategories failed!"));
}

LogMessages categoriesQueryFailed()
{
    return LogMessages{categoriesFailed()} + unlistedEntries(categoryEnumerators());
}

// The commands of category 6, the one named listed with the description and signature given.
LogMessages ipcListing(const QString &listed, const QString &description,
                       const QString &signature = QString())
{
    LogMessages messages;
    for (const Enumerator &enumerator : commandEnumerators(6)) {
        if (enumerator.name == listed)
            messages << listedLine(enumerator.value, description, signature);
        else
            messages << unlistedEntry(enumerator);
    }
    return messages;
}

// levels lists, each inside the other, around a string.
QByteArray nestedLists(int levels)
{
    return QByteArray(levels, '[') + "\"bottom\"" + QByteArray(levels, ']');
}

QString words(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list << QString::number(i);
    return list.join(QLatin1Char(' '));
}
} // namespace

// Whatever the bus, the service or the person at the shell does, the tool ends in bounded time
// with its usual lines: the faults that no other test of the tool makes, each run as the tool is
// run on the device. docs/reliability.md maps every fault to the test that makes it.
class TestFaultMatrix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        startToolTestBus(m_bus);
        QVERIFY(m_dir.isValid());
    }

    void cleanupTestCase() { m_bus.stop(); }

    void replies_data()
    {
        addScriptedRowColumns();
        const QStringList sentPing = {Requests::recordedCommand(601, {})};
        const QStringList sentCategories = {Requests::recordedCategories()};
        const QStringList ipc = {QStringLiteral("-c"), QStringLiteral("6")};
        const QStringList sentIpc = {Requests::recordedCommands(QStringLiteral("IpcCommandId"))};

        // Under the response's map a details value sits at level 6; each list adds 2.
        QTest::newRow("details nested to level 64: accepted, the deep value skipped")
                << ping
                << Scripts::answeringDetails("{\"deep\": " + nestedLists(29)
                                             + R"(, "state": "ready"})")
                << LogMessages{resultLine(QStringLiteral("state"), QStringLiteral("ready"))}
                << sentPing;
        const QString big(30 * 1024 * 1024, QLatin1Char('x'));
        QTest::newRow("a 30 MiB reply: written whole")
                << ping << Scripts::answeringDetails("{\"big\": \"" + big.toLatin1() + "\"}")
                << LogMessages{resultLine(QStringLiteral("big"), big)} << sentPing;
        // Bytes, alone or in a list, have no text form for the result lines.
        QTest::newRow("object path and signature written as text, bytes skipped")
                << ping << Scripts::answeringDetails(R"({"path": {"$typed": "o", "value": "/a/b"},
                               "signature": {"$typed": "g", "value": "a{sv}"},
                               "bytes": {"$typed": "ay", "value": [65, 66]},
                               "byte": {"$typed": "y", "value": 65}})")
                << LogMessages{resultLine(QStringLiteral("path"), QStringLiteral("/a/b")),
                               resultLine(QStringLiteral("signature"), QStringLiteral("a{sv}"))}
                << sentPing;
        QTest::newRow("category list a string where a list belongs: as empty")
                << list
                << Scripts::answering(categoriesQuery,
                                      Scripts::successful(R"("commandCategories": "x")"))
                << unlistedEntries(categoryEnumerators()) << sentCategories;
        QTest::newRow("command list a map where a list belongs: as empty")
                << ipc
                << Scripts::answering(commandsQuery,
                                      Scripts::successful(R"("commands": {"id": "Ping"})"))
                << unlistedEntries(commandEnumerators(6)) << sentIpc;
        QTest::newRow("description a map where a string belongs: empty description")
                << ipc << ipcCommands(R"([{"id": "Ping", "description": {"text": "Answers"}}])")
                << ipcListing(QStringLiteral("Ping"), QString()) << sentIpc;
        QTest::newRow("id a map where a string belongs: the entry never found")
                << ipc << ipcCommands(R"([{"id": {"name": "Ping"}, "description": "Answers"}])")
                << unlistedEntries(commandEnumerators(6)) << sentIpc;
        QTest::newRow("argument records a string where a list belongs: empty brackets")
                << ipc
                << ipcCommands(R"([{"id": "Echo", "description": "Repeats", "argumentCount": 1,
                               "argumentTypes": "text: string"}])")
                << ipcListing(QStringLiteral("Echo"), QStringLiteral("Repeats"),
                              QStringLiteral("( )"))
                << sentIpc;
        QTest::newRow("argument name and type maps where strings belong: empty texts")
                << ipc
                << ipcCommands(R"([{"id": "Echo", "description": "Repeats", "argumentCount": 1,
                               "argumentTypes": [{"name": {"n": 1}, "type": {"t": 2}}]}])")
                << ipcListing(QStringLiteral("Echo"), QStringLiteral("Repeats"),
                              QStringLiteral("( :  )"))
                << sentIpc;
        QTest::newRow("argument count a list: not a number, no signature")
                << ipc
                << ipcCommands(R"([{"id": "Echo", "description": "Repeats", "argumentCount": [1],
                               "argumentTypes": [{"name": "text", "type": "string"}]}])")
                << ipcListing(QStringLiteral("Echo"), QStringLiteral("Repeats")) << sentIpc;
    }

    void replies() { verifyScriptedRow(m_bus); }

    void shell_data()
    {
        addScriptedRowColumns();
        const QByteArray echoed = Scripts::answeringDetails(R"({"text": "echoed"})");
        const LogMessages echoedLine
                = {resultLine(QStringLiteral("text"), QStringLiteral("echoed"))};

        const QString many = words(10000);
        QTest::newRow("-a with 10,000 words: 10,000 arguments sent")
                << QStringList{e, QStringLiteral("603"), a, many} << echoed << echoedLine
                << QStringList{Requests::recordedCommand(603, many.split(QLatin1Char(' ')))};
        // Linux passes no single argument longer than 128 KiB, its NUL included, so -a never
        // carries more text than this.
        const QString longest(128 * 1024 - 1, QLatin1Char('m'));
        QTest::newRow("-a with 128 KiB of text, the longest argument: sent whole")
                << QStringList{e, QStringLiteral("603"), a, longest} << echoed << echoedLine
                << QStringList{Requests::recordedCommand(603, {longest})};
        QTest::newRow("-e -0: command 0, unknown and not sent")
                << QStringList{e, QStringLiteral("-0")} << echoed << LogMessages{unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e 0x10: not decimal, invalid")
                << QStringList{e, QStringLiteral("0x10")} << echoed
                << LogMessages{criticalMessage(QStringLiteral("main"),
                                               QStringLiteral("ERROR: Invalid command specified.")),
                               unknownCommand(0)}
                << QStringList();
        QTest::newRow("unquoted words after -a: only the first is the value")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("hello"),
                               QStringLiteral("world")}
                << echoed << echoedLine
                << QStringList{Requests::recordedCommand(603, {QStringLiteral("hello")})};
    }

    void shell() { verifyScriptedRow(m_bus); }

    void busAddressPointsAtNothing()
    {
        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted("{}"), qPrintable(runner.errorString()));
        QProcessEnvironment nowhere;
        nowhere.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=")
                               + m_dir.filePath(QStringLiteral("no-bus-here")));

        QElapsedTimer timer;
        timer.start();
        verifyLoggedRuns(runner, list, categoriesQueryFailed(), QStringList(), nowhere);
        QVERIFY2(timer.elapsed() < 2 * boundMs, qPrintable(QString::number(timer.elapsed())));
    }

    // The bus dies while the tool waits for the answer: the tool says the query failed at once.
    void busExitsMidCall()
    {
        TestBus bus;
        TestBus::Options options;
        options.replyTimeoutMs = 60000;
        QVERIFY2(bus.start(options), qPrintable(bus.errorString()));
        ToolRunner runner(bus);
        QVERIFY2(runner.startScripted(Scripts::answering(categoriesQuery, R"({"$noReply": true})")),
                 qPrintable(runner.errorString()));

        TiedProcess tool;
        QProcessEnvironment env = bus.environment();
        env.remove(QStringLiteral("QT_LOGGING_RULES"));
        env.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
        env.remove(QStringLiteral("LS_DBUS_TIMEOUT_MS"));
        tool.setProcessEnvironment(env);
        QElapsedTimer timer;
        timer.start();
        tool.start(ToolRunner::toolPath(), list);
        QVERIFY(tool.waitForStarted(10000));
        // The simulator records the request before it stays silent: the call is pending then. A run
        // that sends nothing collects what the simulator has recorded so far.
        QDeadlineTimer recorded(boundMs);
        QStringList requests;
        while (!recorded.hasExpired()) {
            const ToolRun none = runner.run({QStringLiteral("--version")});
            requests += none.requests;
            if (!requests.isEmpty())
                break;
            QTest::qSleep(50);
        }
        QCOMPARE(requests, QStringList{Requests::recordedCategories()});
        bus.stop();

        QVERIFY(tool.waitForFinished(boundMs));
        QCOMPARE(tool.readAllStandardError(),
                 rendering(categoriesQueryFailed(), MessagePattern::Default));
        QCOMPARE(tool.exitCode(), 0);
        QVERIFY2(timer.elapsed() < 2 * boundMs, qPrintable(QString::number(timer.elapsed())));
    }

    void busGoneBetweenTwoRuns()
    {
        TestBus bus;
        QVERIFY2(bus.start(), qPrintable(bus.errorString()));
        QProcessEnvironment samePlace;
        samePlace.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), bus.address());
        {
            ToolRunner runner(bus);
            QVERIFY2(runner.startScripted(Scripts::answeringDetails(R"({"state": "ready"})")),
                     qPrintable(runner.errorString()));
            verifyLoggedRuns(runner, ping,
                             {resultLine(QStringLiteral("state"), QStringLiteral("ready"))},
                             {Requests::recordedCommand(601, {})}, samePlace);
        }
        bus.stop();

        // The same address once more, with nothing behind it now.
        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted("{}"), qPrintable(runner.errorString()));
        QElapsedTimer timer;
        timer.start();
        verifyLoggedRuns(runner, list, categoriesQueryFailed(), QStringList(), samePlace);
        QVERIFY2(timer.elapsed() < 2 * boundMs, qPrintable(QString::number(timer.elapsed())));
    }

    // A shell passes bytes, not text: what is not UTF-8 reaches the device as U+FFFD, never cut.
    void bytesThatAreNotUtf8()
    {
        const QString wrapper = m_dir.filePath(QStringLiteral("with-bad-bytes"));
        QFile script(wrapper);
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/sh\nexec \"" + QFile::encodeName(ToolRunner::toolPath())
                     + "\" \"$@\" -a \"$(printf 'a\\377b\\300')\"\n");
        script.close();
        QVERIFY(script.setPermissions(script.permissions() | QFileDevice::ExeOwner));

        ToolRunner runner(m_bus);
        runner.setToolPath(wrapper);
        QVERIFY2(runner.startScripted(Scripts::answeringDetails(R"({"text": "echoed"})")),
                 qPrintable(runner.errorString()));
        const QString replaced
                = QStringLiteral("a") + QChar(0xfffd) + QStringLiteral("b") + QChar(0xfffd);
        verifyLoggedRuns(runner, {e, QStringLiteral("603")},
                         {resultLine(QStringLiteral("text"), QStringLiteral("echoed"))},
                         {Requests::recordedCommand(603, {replaced})});
    }

private:
    TestBus m_bus;
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestFaultMatrix)

#include "tst_faultmatrix.moc"
