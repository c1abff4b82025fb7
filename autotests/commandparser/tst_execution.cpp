// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "datatable.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QTest>

// command-parser -e: the execution request on the bus, the success test of its answer and the
// result fields it writes.
class TestExecution : public ToolBusTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void successTest_data();
    void successTest() { verifyScriptedRow(m_bus); }

    void commandNumbers_data();
    void commandNumbers() { verifyScriptedRow(m_bus); }

    void resultFields_data();
    void resultFields() { verifyScriptedRow(m_bus); }

    void peerGone_data()
    {
        addColumns<bool, QStringList>("peerStarted", "requests");

        QTest::newRow("peer leaves the bus without answering")
                << true << QStringList{Requests::recordedCommand(601, {})};
        QTest::newRow("no peer on the bus") << false << QStringList();
    }

    void peerGone();
};

namespace {
const QString execute = QStringLiteral("HandleCommand");

LogMessage processingFailed()
{
    return criticalMessage(
            QStringLiteral("CommandHandler::executeCommand"),
            QStringLiteral(
                    "CommandHandler::executeCommand FAILED! Processing HandleCommand failed."));
}

const QStringList ping = {QStringLiteral("-e"), QStringLiteral("601")};
} // namespace

void TestExecution::successTest_data()
{
    addScriptedRowColumns();
    const QStringList sent = {Requests::recordedCommand(601, {})};
    const LogMessages ready = {resultLine(QStringLiteral("state"), QStringLiteral("ready"))};
    const LogMessages failed = {processingFailed()};

    QTest::newRow("success with error id: details written")
            << ping << Scripts::answering(execute, R"({"resultId": "Success", "errorId": "NoError",
                                      "details": {"state": "ready"}})")
            << ready << sent;
    QTest::newRow("success without error id: failure")
            << ping
            << Scripts::answering(execute,
                                  R"({"resultId": "Success", "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("success in lower case: failure")
            << ping << Scripts::answering(execute, R"({"resultId": "success", "errorId": "NoError",
                                      "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("success in upper case: failure")
            << ping << Scripts::answering(execute, R"({"resultId": "SUCCESS", "errorId": "NoError",
                                      "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("success with a trailing blank: failure")
            << ping << Scripts::answering(execute, R"({"resultId": "Success ", "errorId": "NoError",
                                      "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("result id missing: failure")
            << ping
            << Scripts::answering(execute,
                                  R"({"errorId": "NoError", "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("result id a number: failure")
            << ping << Scripts::answering(execute, R"({"resultId": 1, "errorId": "NoError",
                                      "details": {"state": "ready"}})")
            << failed << sent;
    QTest::newRow("failure answer: failure")
            << ping << Scripts::answering(execute, R"({"resultId": "Failure", "errorId": "Busy"})")
            << failed << sent;
    QTest::newRow("empty response: failure")
            << ping << Scripts::answering(execute, "{}") << failed << sent;
    QTest::newRow("error id naming an error: still a success, its value unread")
            << ping << Scripts::answering(execute, R"({"resultId": "Success", "errorId": "Busy",
                                      "details": {"state": "ready"}})")
            << ready << sent;
    QTest::newRow("error id empty text: present, a success")
            << ping << Scripts::answering(execute, R"({"resultId": "Success", "errorId": "",
                                      "details": {"state": "ready"}})")
            << ready << sent;
    QTest::newRow("error id a number: present, a success")
            << ping << Scripts::answering(execute, R"({"resultId": "Success", "errorId": 0,
                                      "details": {"state": "ready"}})")
            << ready << sent;
    QTest::newRow("D-Bus error instead of an answer: failure")
            << ping
            << Scripts::answering(
                       execute,
                       R"({"$error": {"name": "se.tarnvik.Error.Busy", "message": "busy"}})")
            << failed << sent;
    QTest::newRow("no answer within the bus's time-out: failure")
            << ping << Scripts::answering(execute, R"({"$noReply": true})") << failed << sent;
    QTest::newRow("peer out of answers: failure") << ping << QByteArray("{}") << failed << sent;
    QTest::newRow("reply of another signature: failure")
            << ping << Scripts::answering(execute, R"({"$reply": "s", "value": "Success"})")
            << failed << sent;
    QTest::newRow("reply without arguments: failure")
            << ping << Scripts::answering(execute, R"({"$reply": ""})") << failed << sent;
}

void TestExecution::commandNumbers_data()
{
    addScriptedRowColumns();
    const QByteArray ready = Scripts::answeringDetails(R"({"state": "ready"})");
    const LogMessages readyLine = {resultLine(QStringLiteral("state"), QStringLiteral("ready"))};

    // Every enum is asked in turn: its first and last commands get through.
    for (int category = 1; category <= 6; ++category) {
        const QList<Enumerator> commands = commandEnumerators(category);
        for (const Enumerator &command : {commands.constFirst(), commands.constLast()}) {
            QTest::addRow("%d %s of category %d: sent", command.value, qPrintable(command.name),
                          category)
                    << QStringList{QStringLiteral("-e"), QString::number(command.value)} << ready
                    << readyLine << QStringList{Requests::recordedCommand(command.value, {})};
        }
    }

    for (int number : {0, 1, 100, 109, 200, 206, 307, 400, 507, 600, 605, 999, -1, -601, 2147483647,
                       int(-2147483647 - 1)}) {
        QTest::addRow("%d unknown: not sent", number)
                << QStringList{QStringLiteral("-e"), QString::number(number)} << ready
                << LogMessages{unknownCommand(number)} << QStringList();
    }

    QTest::newRow("arguments sent unchanged, empty ones kept")
            << QStringList{QStringLiteral("-e"), QStringLiteral("603"), QStringLiteral("-a"),
                           QStringLiteral("a  b")}
            << ready << readyLine
            << QStringList{Requests::recordedCommand(
                       603, {QStringLiteral("a"), QString(), QStringLiteral("b")})};
    QTest::newRow("arguments of an unknown number: not sent")
            << QStringList{QStringLiteral("-e"), QStringLiteral("999"), QStringLiteral("-a"),
                           QStringLiteral("a b")}
            << ready << LogMessages{unknownCommand(999)} << QStringList();
}

void TestExecution::resultFields_data()
{
    addScriptedRowColumns();
    const QStringList sent = {Requests::recordedCommand(601, {})};
    auto line = [](const char *key, const char *value) {
        return resultLine(QString::fromUtf8(key), QString::fromUtf8(value));
    };

    QTest::newRow("details missing: the whole response")
            << ping
            << Scripts::answering(execute,
                                  R"({"resultId": "Success", "errorId": "NoError", "extra": "x"})")
            << LogMessages{line("errorId", "NoError"), line("extra", "x"),
                           line("resultId", "Success")}
            << sent;
    QTest::newRow("details missing, nothing else: result id and error id")
            << ping
            << Scripts::answering(execute, R"({"resultId": "Success", "errorId": "NoError"})")
            << LogMessages{line("errorId", "NoError"), line("resultId", "Success")} << sent;
    QTest::newRow("details missing: fields of every kind")
            << ping << Scripts::answering(execute, R"({"resultId": "Success", "errorId": "NoError",
                                      "nested": {"a": "b"}, "count": 3})")
            << LogMessages{line("count", "3"), line("errorId", "NoError"),
                           line("resultId", "Success")}
            << sent;
    QTest::newRow("details a text: nothing written")
            << ping << Scripts::answeringDetails(R"("text")") << LogMessages() << sent;
    QTest::newRow("details a list: nothing written")
            << ping << Scripts::answeringDetails(R"(["a", "b"])") << LogMessages() << sent;
    QTest::newRow("details a number: nothing written")
            << ping << Scripts::answeringDetails("5") << LogMessages() << sent;
    QTest::newRow("details empty: nothing written")
            << ping << Scripts::answeringDetails("{}") << LogMessages() << sent;

    QTest::newRow("b a number and a a text: a first")
            << ping << Scripts::answeringDetails(R"({"b": 5, "a": "x"})")
            << LogMessages{line("a", "x"), line("b", "5")} << sent;
    QTest::newRow("upper case before lower case")
            << ping << Scripts::answeringDetails(R"({"b": "1", "B": "2", "a": "3", "A": "4"})")
            << LogMessages{line("A", "4"), line("B", "2"), line("a", "3"), line("b", "1")} << sent;
    QTest::newRow("keys by code unit: digits, underscore, letters")
            << ping << Scripts::answeringDetails(R"({"z": "1", "9": "2", "10": "3", "_": "4"})")
            << LogMessages{line("10", "3"), line("9", "2"), line("_", "4"), line("z", "1")} << sent;
    QTest::newRow("nested map and list skipped, neighbours written")
            << ping
            << Scripts::answeringDetails(
                       R"({"a": "1", "m": {"x": "y"}, "l": ["p", "q"], "z": "2"})")
            << LogMessages{line("a", "1"), line("z", "2")} << sent;
    QTest::newRow("empty list skipped")
            << ping << Scripts::answeringDetails(R"({"a": "1", "l": []})")
            << LogMessages{line("a", "1")} << sent;
    QTest::newRow("empty text: key, blank, tab and one trailing blank")
            << ping << Scripts::answeringDetails(R"({"e": ""})") << LogMessages{line("e", "")}
            << sent;
    QTest::newRow("trailing blanks of a value kept")
            << ping << Scripts::answeringDetails(R"({"k": "  two  "})")
            << LogMessages{line("k", "  two  ")} << sent;
    QTest::newRow("booleans: true and false")
            << ping << Scripts::answeringDetails(R"({"t": true, "f": false})")
            << LogMessages{line("f", "false"), line("t", "true")} << sent;
    QTest::newRow("whole numbers: decimal")
            << ping << Scripts::answeringDetails(R"({"n": 42, "m": -7, "z": 0})")
            << LogMessages{line("m", "-7"), line("n", "42"), line("z", "0")} << sent;
    QTest::newRow("fraction: its decimal text")
            << ping << Scripts::answeringDetails(R"({"d": 2.5})") << LogMessages{line("d", "2.5")}
            << sent;
    QTest::newRow("double of a whole value: no fraction")
            << ping << Scripts::answeringDetails(R"({"d": {"$typed": "d", "value": 2}})")
            << LogMessages{line("d", "2")} << sent;
    QTest::newRow("numbers of other D-Bus types: decimal")
            << ping
            << Scripts::answeringDetails(
                       R"({"u": {"$typed": "u", "value": 7}, "x": {"$typed": "x", "value": -8},
                               "t": {"$typed": "t", "value": 9}, "n": {"$typed": "n", "value": -3},
                               "q": {"$typed": "q", "value": 4}})")
            << LogMessages{line("n", "-3"), line("q", "4"), line("t", "9"), line("u", "7"),
                           line("x", "-8")}
            << sent;
    QTest::newRow("tab and line break in a value written as they are")
            << ping << Scripts::answeringDetails(R"({"k": "a\tb\nc"})")
            << LogMessages{line("k", "a\tb\nc")} << sent;
    QTest::newRow("quotes and backslashes unquoted, unescaped")
            << ping << Scripts::answeringDetails(R"({"say \"hi\"": "back\\slash"})")
            << LogMessages{line("say \"hi\"", "back\\slash")} << sent;
    QTest::newRow("empty key") << ping << Scripts::answeringDetails(R"({"": "v"})")
                               << LogMessages{line("", "v")} << sent;
    QTest::newRow("non-ASCII value: written unchanged as UTF-8")
            << ping << Scripts::answeringDetails(R"({"k": "åäö ⠃⠗"})")
            << LogMessages{line("k", "åäö ⠃⠗")} << sent;
}

void TestExecution::peerGone()
{
    QFETCH(bool, peerStarted);
    QFETCH(QStringList, requests);
    // A peer that exits answers one run only, so each run gets its own.
    for (MessagePattern pattern : {MessagePattern::Default, MessagePattern::Context}) {
        ToolRunner runner(m_bus);
        if (peerStarted) {
            QVERIFY2(runner.startScripted(Scripts::answering(execute, R"({"$exit": true})")),
                     qPrintable(runner.errorString()));
        }
        const ToolRun run = runner.run(ping, pattern);
        QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
        QCOMPARE(run.standardError, rendering({processingFailed()}, pattern));
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.requests, requests);
    }
}

QTEST_GUILESS_MAIN(TestExecution)

#include "tst_execution.moc"
