// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "requests.h"
#include "simulatortest.h"

#include "qtdbusvalue.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QDBusMessage>
#include <QProcess>
#include <QTest>

using namespace SimulatorTest;
using Requests::request;

// Scripted mode: the order in which responses answer, the D-Bus types JSON values become, and
// the directives that answer with an error, a reply of any signature, nothing, or an exit.
class TestSimulatorScript : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void orderedResponses()
    {
        QVERIFY(startScript(R"({"responses": [{"n": 1}, {"n": 2}, {"n": 3}]})"));
        const QVariantMap categories = request(ls::CommandHandlerCmdId::GetCommandCategories);
        verifyExchanges({
                {"the first response", categories, {{QStringLiteral("n"), 1}}},
                {"the second", categories, {{QStringLiteral("n"), 2}}},
                {"the third", categories, {{QStringLiteral("n"), 3}}},
                {"then the script is used up", categories, exhausted()},
        });
    }

    void byCommand()
    {
        QVERIFY(startScript(R"({"responses": [{"n": 1}, {"n": 2}],
                           "byCommand": {"GetCommands": {"c": "list"}}})"));
        const QVariantMap commands = request(ls::CommandHandlerCmdId::GetCommands);
        const QVariantMap execution = request(ls::CommandHandlerCmdId::HandleCommand);
        const QVariantMap list{{QStringLiteral("c"), QStringLiteral("list")}};
        verifyExchanges({
                {"the command's entry", commands, list},
                {"another command: the first ordered response",
                 execution,
                 {{QStringLiteral("n"), 1}}},
                // The command's entry answers every time and takes nothing from the ordered ones.
                {"the command's entry again", commands, list},
                {"and again", commands, list},
                {"no command id: the next ordered response",
                 {{ls::senderIdKey, ls::ServiceId::CommandHandler}},
                 {{QStringLiteral("n"), 2}}},
                {"the ordered responses used up", execution, exhausted()},
                {"the command's entry still answers", commands, list},
        });
    }

    void exhaustion_data()
    {
        addColumns<QByteArray, QString>("script", "commandId");

        QTest::newRow("empty script") << QByteArray("{}") << ls::CommandHandlerCmdId::HandleCommand;
        QTest::newRow("empty responses")
                << QByteArray(R"({"responses": []})") << ls::CommandHandlerCmdId::HandleCommand;
        QTest::newRow("entry for another command only")
                << QByteArray(R"({"byCommand": {"GetCommands": {"n": 1}}})")
                << ls::CommandHandlerCmdId::GetCommandCategories;
        QTest::newRow("command id in another letter case")
                << QByteArray(R"({"byCommand": {"GetCommands": {"n": 1}}})")
                << QStringLiteral("getcommands");
    }

    void exhaustion()
    {
        QFETCH(QByteArray, script);
        QFETCH(QString, commandId);
        QVERIFY(startScript(script));
        QCOMPARE(process(request(commandId)), exhausted());
        // It stays exhausted, and up.
        QCOMPARE(process(request(commandId)), exhausted());
    }

    void dataTypes_data()
    {
        addColumns<QByteArray, QString>("json", "expected");

        QTest::newRow("whole number is int") << QByteArray("7") << QStringLiteral("int(7)");
        QTest::newRow("negative whole number is int")
                << QByteArray("-2147483648") << QStringLiteral("int(-2147483648)");
        QTest::newRow("whole number past 32 bits is x")
                << QByteArray("2147483648") << QStringLiteral("qlonglong(2147483648)");
        QTest::newRow("fraction is double") << QByteArray("1.5") << QStringLiteral("double(1.5)");
        QTest::newRow("1.0 is a whole number") << QByteArray("1.0") << QStringLiteral("int(1)");
        QTest::newRow("true") << QByteArray("true") << QStringLiteral("bool(true)");
        QTest::newRow("false") << QByteArray("false") << QStringLiteral("bool(false)");
        QTest::newRow("string") << QByteArray(R"("Ä \"x\"")") << QStringLiteral("QString(Ä \"x\")");
        QTest::newRow("empty string") << QByteArray(R"("")") << QStringLiteral("QString()");
        QTest::newRow("array is av")
                << QByteArray(R"([1, "a", [true]])")
                << QStringLiteral("QVariantList[int(1), QString(a), QVariantList[bool(true)]]");
        QTest::newRow("empty array") << QByteArray("[]") << QStringLiteral("QVariantList[]");
        QTest::newRow("object is a{sv}")
                << QByteArray(R"({"b": {"c": 2}, "a": 1})")
                << QStringLiteral("QVariantMap{a=int(1), b=QVariantMap{c=int(2)}}");
        QTest::newRow("empty object") << QByteArray("{}") << QStringLiteral("QVariantMap{}");
        QTest::newRow("typed y") << QByteArray(R"({"$typed": "y", "value": 255})")
                                 << QStringLiteral("uchar(255)");
        QTest::newRow("typed n") << QByteArray(R"({"$typed": "n", "value": -5})")
                                 << QStringLiteral("short(-5)");
        QTest::newRow("typed q") << QByteArray(R"({"$typed": "q", "value": 65535})")
                                 << QStringLiteral("ushort(65535)");
        QTest::newRow("typed i") << QByteArray(R"({"$typed": "i", "value": 3})")
                                 << QStringLiteral("int(3)");
        QTest::newRow("typed u") << QByteArray(R"({"$typed": "u", "value": 7})")
                                 << QStringLiteral("uint(7)");
        QTest::newRow("typed x") << QByteArray(R"({"$typed": "x", "value": -1})")
                                 << QStringLiteral("qlonglong(-1)");
        QTest::newRow("typed t") << QByteArray(R"({"$typed": "t", "value": 4294967296})")
                                 << QStringLiteral("qulonglong(4294967296)");
        QTest::newRow("typed d from whole number")
                << QByteArray(R"({"$typed": "d", "value": 2})") << QStringLiteral("double(2)");
        QTest::newRow("typed b") << QByteArray(R"({"$typed": "b", "value": false})")
                                 << QStringLiteral("bool(false)");
        QTest::newRow("typed s") << QByteArray(R"({"$typed": "s", "value": "x"})")
                                 << QStringLiteral("QString(x)");
        QTest::newRow("typed o") << QByteArray(R"({"$typed": "o", "value": "/a/b"})")
                                 << QStringLiteral("QString(/a/b)");
        QTest::newRow("typed g") << QByteArray(R"({"$typed": "g", "value": "a{sv}"})")
                                 << QStringLiteral("QString(a{sv})");
        QTest::newRow("typed v in a variant")
                << QByteArray(R"({"$typed": "v", "value": 1})") << QStringLiteral("int(1)");
        QTest::newRow("typed as") << QByteArray(R"({"$typed": "as", "value": ["a", ""]})")
                                  << QStringLiteral("QVariantList[QString(a), QString()]");
        QTest::newRow("typed empty as") << QByteArray(R"({"$typed": "as", "value": []})")
                                        << QStringLiteral("QVariantList[]");
        QTest::newRow("typed ay") << QByteArray(R"({"$typed": "ay", "value": [0, 255]})")
                                  << QStringLiteral("QVariantList[uchar(0), uchar(255)]");
        QTest::newRow("typed au") << QByteArray(R"({"$typed": "au", "value": [1, 2]})")
                                  << QStringLiteral("QVariantList[uint(1), uint(2)]");
        QTest::newRow("typed ai") << QByteArray(R"({"$typed": "ai", "value": [-1]})")
                                  << QStringLiteral("QVariantList[int(-1)]");
        QTest::newRow("typed ad") << QByteArray(R"({"$typed": "ad", "value": [0.5]})")
                                  << QStringLiteral("QVariantList[double(0.5)]");
        QTest::newRow("typed ab") << QByteArray(R"({"$typed": "ab", "value": [true]})")
                                  << QStringLiteral("QVariantList[bool(true)]");
        QTest::newRow("typed av") << QByteArray(R"({"$typed": "av", "value": [1]})")
                                  << QStringLiteral("QVariantList[int(1)]");
        QTest::newRow("typed a{sv}") << QByteArray(R"({"$typed": "a{sv}", "value": {"k": "v"}})")
                                     << QStringLiteral("QVariantMap{k=QString(v)}");
        QTest::newRow("typed value inside an array and a map")
                << QByteArray(R"([{"k": {"$typed": "u", "value": 1}}])")
                << QStringLiteral("QVariantList[QVariantMap{k=uint(1)}]");

        // A double holds every whole number up to 2^53; beyond, a number is what its double holds.
        QTest::newRow("untyped 2^53 is x")
                << QByteArray("9007199254740992") << QStringLiteral("qlonglong(9007199254740992)");
        QTest::newRow("untyped -2^53 is x") << QByteArray("-9007199254740992")
                                            << QStringLiteral("qlonglong(-9007199254740992)");
        QTest::newRow("typed x at 2^53")
                << QByteArray(R"({"$typed": "x", "value": 9007199254740992})")
                << QStringLiteral("qlonglong(9007199254740992)");
        QTest::newRow("typed t at 2^53")
                << QByteArray(R"({"$typed": "t", "value": 9007199254740992})")
                << QStringLiteral("qulonglong(9007199254740992)");
        QTest::newRow("untyped 2^53+1 arrives as d, the nearest double")
                << QByteArray("9007199254740993") << QStringLiteral("double(9007199254740992)");
        QTest::newRow("untyped -2^53-1 arrives as d, the nearest double")
                << QByteArray("-9007199254740993") << QStringLiteral("double(-9007199254740992)");
        QTest::newRow("untyped 20-digit whole number arrives as d")
                << QByteArray("12345678901234567890")
                << QStringLiteral("double(12345678901234567000)");
        QTest::newRow("fraction that rounds to a whole double arrives as d")
                << QByteArray("4503599627370496.5") << QStringLiteral("double(4503599627370496)");
        QTest::newRow("fraction below a double's precision arrives as d")
                << QByteArray("1.0000000000000000001") << QStringLiteral("double(1)");
        QTest::newRow("negative zero is int") << QByteArray("-0") << QStringLiteral("int(0)");
        QTest::newRow("2^53 written with a fraction and an exponent is x")
                << QByteArray("90071992547409.920e2")
                << QStringLiteral("qlonglong(9007199254740992)");
        QTest::newRow("2^53+1 inside a list arrives as d")
                << QByteArray("[9007199254740993, 1]")
                << QStringLiteral("QVariantList[double(9007199254740992), int(1)]");
        QTest::newRow("typed d from 2^53+1, the nearest double")
                << QByteArray(R"({"$typed": "d", "value": 9007199254740993})")
                << QStringLiteral("double(9007199254740992)");
        QTest::newRow("typed v holding 2^53+1 arrives as d")
                << QByteArray(R"({"$typed": "v", "value": 9007199254740993})")
                << QStringLiteral("double(9007199254740992)");
        QTest::newRow("digits of 2^53+1 in a string stay text")
                << QByteArray(R"("a\"9007199254740993")")
                << QStringLiteral("QString(a\"9007199254740993)");
        // 1e3 is no integer literal, but its double is exactly the whole number it names: as
        // before, it counts as whole.
        QTest::newRow("1e3 is a whole number, as before")
                << QByteArray("1e3") << QStringLiteral("int(1000)");
        QTest::newRow("typed t from 1e3, as before")
                << QByteArray(R"({"$typed": "t", "value": 1e3})")
                << QStringLiteral("qulonglong(1000)");
    }

    void dataTypes()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, expected);
        QVERIFY(startScript(R"({"responses": [{"value": )" + json + "}]}"));
        const QVariantMap response = process(request(ls::CommandHandlerCmdId::HandleCommand));
        QCOMPARE(response.keys(), QStringList{QStringLiteral("value")});
        QCOMPARE(typeDump(response.value(QStringLiteral("value"))), expected);
    }

    void errorDirectives_data()
    {
        addColumns<QByteArray, QString, QString>("response", "errorId", "errorMessage");

        QTest::newRow("error") << QByteArray(
                R"({"$error": {"name": "se.tarnvik.Error.Jammed", "message": "Paper jam"}})")
                               << QStringLiteral("se.tarnvik.Error.Jammed")
                               << QStringLiteral("Paper jam");
        QTest::newRow("error without message")
                << QByteArray(R"({"$error": {"name": "org.freedesktop.DBus.Error.Failed"}})")
                << QStringLiteral("org.freedesktop.DBus.Error.Failed") << QString();
        QTest::newRow("no reply: the bus times the call out")
                << QByteArray(R"({"$noReply": true})")
                << QStringLiteral("org.freedesktop.DBus.Error.NoReply")
                << QStringLiteral("Message did not receive a reply (timeout by message bus)");
    }

    void errorDirectives()
    {
        QFETCH(QByteArray, response);
        QFETCH(QString, errorId);
        QFETCH(QString, errorMessage);
        QVERIFY(startScript(R"({"responses": [)" + response + R"(, {"n": 2}]})"));
        const QVariantMap answer = process(request(ls::CommandHandlerCmdId::HandleCommand));
        QCOMPARE(answer.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
        QCOMPARE(answer.value(ls::errorIdKey).toString(), errorId);
        QCOMPARE(answer.value(ls::errorMessageKey).toString(), errorMessage);
        // The next request gets the next response.
        QCOMPARE(process(request(ls::CommandHandlerCmdId::HandleCommand)),
                 (QVariantMap{{QStringLiteral("n"), 2}}));
    }

    void replyDirective_data()
    {
        addColumns<QByteArray, QString, QString>("response", "signature", "arguments");

        QTest::newRow("string") << QByteArray(R"({"$reply": "s", "value": "x"})")
                                << QStringLiteral("s")
                                << QStringLiteral("QVariantList[QString(x)]");
        QTest::newRow("no arguments")
                << QByteArray(R"({"$reply": ""})") << QString() << QStringLiteral("QVariantList[]");
        QTest::newRow("uint") << QByteArray(R"({"$reply": "u", "value": 3})") << QStringLiteral("u")
                              << QStringLiteral("QVariantList[uint(3)]");
        QTest::newRow("array of variants")
                << QByteArray(R"({"$reply": "av", "value": [1]})") << QStringLiteral("av")
                << QStringLiteral("QVariantList[QVariantList[int(1)]]");
        QTest::newRow("a{sv} as plain data")
                << QByteArray(R"({"$reply": "a{sv}", "value": {"resultId": "Success"}})")
                << QStringLiteral("a{sv}")
                << QStringLiteral("QVariantList[QVariantMap{resultId=QString(Success)}]");
        QTest::newRow("variant") << QByteArray(R"({"$reply": "v", "value": "x"})")
                                 << QStringLiteral("v")
                                 << QStringLiteral("QVariantList[QString(x)]");
    }

    void replyDirective()
    {
        QFETCH(QByteArray, response);
        QFETCH(QString, signature);
        QFETCH(QString, arguments);
        QVERIFY(startScript(R"({"responses": [)" + response + "]}"));
        const QDBusMessage reply = processCall({request(ls::CommandHandlerCmdId::HandleCommand)});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(reply.signature(), signature);
        QCOMPARE(typeDump(plainFromQtDBus(reply.arguments())), arguments);
    }

    void exitDirective()
    {
        const QString recordPath = filePath(QStringLiteral("record.jsonl"));
        QVERIFY(startScript(R"({"byCommand": {"Quit": {"$exit": true}}})",
                            {QStringLiteral("--record"), recordPath}));
        const QVariantMap answer = process(request(QStringLiteral("Quit")));
        QCOMPARE(answer.value(ls::errorIdKey).toString(),
                 QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
        QCOMPARE(endOf(m_simulator.process()), QStringLiteral("exit status 0"));
        QCOMPARE(readFile(QStringLiteral("record.jsonl")),
                 QByteArray(R"({"commandId": {"s": "Quit"}, "senderId": {"s": "CommandHandler"}})"
                            "\n"));
    }
};

QTEST_GUILESS_MAIN(TestSimulatorScript)

#include "tst_simulator_script.moc"
