// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "requests.h"
#include "simulatortest.h"

#include <ls/messagekeys.h>

#include <QProcess>
#include <QTest>

using namespace SimulatorTest;
using Requests::request;

namespace {

// A response whose value "deep" holds bottom inside the given containers, outermost first:
// 'm' a map with the one key "k", 'l' a list of one element.
QByteArray deepResponse(const QByteArray &containers, const QByteArray &bottom)
{
    QByteArray value = bottom;
    for (int i = containers.size() - 1; i >= 0; --i)
        value = containers.at(i) == 'm' ? "{\"k\": " + value + '}' : '[' + value + ']';
    return "{\"responses\": [{\"deep\": " + value + "}]}";
}

} // namespace

// Scripts checked when the simulator starts: every mistake ends it with one line naming the
// place, and replies as deep as the bus allows are sent.
class TestSimulatorScriptChecks : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void badScripts_data();
    void deepReplies_data();
    void deepReplies()
    {
        QFETCH(QByteArray, script);
        QVERIFY(startScript(script));
        // A reply the bus refused would end in a failure map, without "deep".
        const QVariantMap response = process(request(ls::CommandHandlerCmdId::GetCommands));
        QCOMPARE(response.keys(), QStringList{QStringLiteral("deep")});
        // And the simulator is still there for the next request.
        QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), exhausted());
    }

    void badScripts()
    {
        QFETCH(QByteArray, script);
        QFETCH(QString, message);
        const QString path = writeFile(QStringLiteral("script.json"), script);
        QProcess simulator;
        simulator.setProcessEnvironment(m_bus.environment());
        simulator.start(simulatorPath(), {QStringLiteral("--script"), path});
        QCOMPARE(endOf(simulator), QStringLiteral("exit status 1"));
        QCOMPARE(QString::fromUtf8(simulator.readAllStandardError()),
                 QStringLiteral("command-handler-sim: %1: %2\n").arg(path, message));
        QCOMPARE(simulator.readAllStandardOutput(), QByteArray());
    }
};

void TestSimulatorScriptChecks::badScripts_data()
{
    addColumns<QByteArray, QString>("script", "message");

    QTest::newRow("not JSON") << QByteArray("{\"responses\": [")
                              << QStringLiteral("not JSON: unterminated array at offset 15");
    QTest::newRow("not an object")
            << QByteArray("[]") << QStringLiteral("the script must be a JSON object");
    QTest::newRow("unknown key")
            << QByteArray(R"({"response": []})")
            << QStringLiteral(
                       "unknown key \"response\"; a script holds \"responses\" and \"byCommand\"");
    QTest::newRow("responses not an array") << QByteArray(R"({"responses": {}})")
                                            << QStringLiteral("\"responses\" must be an array");
    QTest::newRow("byCommand not an object") << QByteArray(R"({"byCommand": []})")
                                             << QStringLiteral("\"byCommand\" must be an object");
    QTest::newRow("response not an object")
            << QByteArray(R"({"responses": [{}, 3]})")
            << QStringLiteral("responses[1]: a response must be a JSON object");
    QTest::newRow("null value")
            << QByteArray(R"({"responses": [{"a": [1, null]}]})")
            << QStringLiteral(
                       "responses[0].a[1]: null has no D-Bus form; give a value or use \"$typed\"");
    QTest::newRow("unknown directive")
            << QByteArray(R"({"byCommand": {"Ping": {"$eror": {}}}})")
            << QStringLiteral("byCommand.Ping: unknown directive; known are \"$error\", "
                              "\"$noReply\", \"$exit\", \"$reply\" and, inside data, \"$typed\"");
    QTest::newRow("typed value out of range")
            << QByteArray(R"({"responses": [{"n": {"$typed": "y", "value": 256}}]})")
            << QStringLiteral(
                       "responses[0].n.value: D-Bus type \"y\" needs a whole number from 0 to 255");
    QTest::newRow("typed u negative")
            << QByteArray(R"({"responses": [{"n": {"$typed": "u", "value": -1}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"u\" needs a whole number from 0 "
                              "to 4294967295");
    QTest::newRow("typed i fraction")
            << QByteArray(R"({"responses": [{"n": {"$typed": "i", "value": 1.5}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"i\" needs a whole number from "
                              "-2147483648 to 2147483647");
    QTest::newRow("typed t past what a JSON number holds exactly")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 1e16}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed t 2^53+1, which a JSON number does not hold")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed x -2^53-1, which a JSON number does not hold")
            << QByteArray(R"({"responses": [{"n": {"$typed": "x", "value": -9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"x\" needs a whole number from "
                              "-9007199254740992 to 9007199254740992");
    QTest::newRow("typed x 20-digit whole number")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "x", "value": 12345678901234567890}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"x\" needs a whole number from "
                              "-9007199254740992 to 9007199254740992");
    QTest::newRow("typed i 2^53+1")
            << QByteArray(R"({"responses": [{"n": {"$typed": "i", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"i\" needs a whole number from "
                              "-2147483648 to 2147483647");
    QTest::newRow("typed t fraction that rounds to a whole double")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 4503599627370496.5}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed ay with byte 2^53+1")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "ay", "value": [9007199254740993]}}]})")
            << QStringLiteral("responses[0].n.value[0]: D-Bus type \"y\" needs a whole number "
                              "from 0 to 255");
    QTest::newRow("typed s from 2^53+1")
            << QByteArray(R"({"responses": [{"n": {"$typed": "s", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"s\" needs a string");
    QTest::newRow("typed a{sv} from 2^53+1")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "a{sv}", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"a{sv}\" needs an object");
    QTest::newRow("response 2^53+1")
            << QByteArray(R"({"responses": [9007199254740993]})")
            << QStringLiteral("responses[0]: a response must be a JSON object");
    QTest::newRow("byCommand 2^53+1") << QByteArray(R"({"byCommand": 9007199254740993})")
                                      << QStringLiteral("\"byCommand\" must be an object");
    QTest::newRow("typed o not an object path")
            << QByteArray(R"({"responses": [{"p": {"$typed": "o", "value": "a//b"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed o empty")
            << QByteArray(R"({"responses": [{"p": {"$typed": "o", "value": ""}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed ao with a path ending in a slash")
            << QByteArray(R"({"responses": [{"p": {"$typed": "ao", "value": ["/", "/a/"]}}]})")
            << QStringLiteral("responses[0].p.value[1]: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed g not a signature")
            << QByteArray(R"({"responses": [{"p": {"$typed": "g", "value": "a{"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("typed g with a dictionary keyed by a variant")
            << QByteArray(R"({"responses": [{"p": {"$typed": "g", "value": "a{vs}"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("reply g not a signature")
            << QByteArray(R"({"responses": [{"$reply": "g", "value": "("}]})")
            << QStringLiteral("responses[0].value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("typed ay with a byte out of range")
            << QByteArray(R"({"responses": [{"n": {"$typed": "ay", "value": [1, 256]}}]})")
            << QStringLiteral("responses[0].n.value[1]: D-Bus type \"y\" needs a whole number "
                              "from 0 to 255");
    QTest::newRow("typed unsupported type")
            << QByteArray(R"({"responses": [{"n": {"$typed": "a{ss}", "value": {}}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"a{ss}\" is not supported here");
    QTest::newRow("typed with a stray key")
            << QByteArray(R"({"responses": [{"n": {"$typed": "u", "value": 1, "x": 2}}]})")
            << QStringLiteral("responses[0].n: \"x\" does not go with \"$typed\"");
    QTest::newRow("typed as response")
            << QByteArray(R"({"responses": [{"$typed": "u", "value": 1}]})")
            << QStringLiteral("responses[0]: \"$typed\" gives a value inside data, not a response");
    QTest::newRow("directive inside data")
            << QByteArray(R"({"responses": [{"n": {"$noReply": true}}]})")
            << QStringLiteral("responses[0].n: only \"$typed\" may stand inside data");
    QTest::newRow("error name invalid")
            << QByteArray(R"({"responses": [{"$error": {"name": "Jammed"}}]})")
            << QStringLiteral("responses[0].$error.name: needs a D-Bus error name such as "
                              "\"org.freedesktop.DBus.Error.Failed\"");
    QTest::newRow("error message not a string")
            << QByteArray(R"({"responses": [{"$error": {"name": "a.b", "message": 1}}]})")
            << QStringLiteral("responses[0].$error.message: needs a string");
    QTest::newRow("noReply false") << QByteArray(R"({"responses": [{"$noReply": false}]})")
                                   << QStringLiteral("responses[0]: \"$noReply\" takes true");
    QTest::newRow("exit a string") << QByteArray(R"({"byCommand": {"Quit": {"$exit": "yes"}}})")
                                   << QStringLiteral("byCommand.Quit: \"$exit\" takes true");
    QTest::newRow("exit with data")
            << QByteArray(R"({"responses": [{"$exit": true, "resultId": "Success"}]})")
            << QStringLiteral("responses[0]: \"resultId\" does not go with \"$exit\"");
    QTest::newRow("reply value of the wrong type")
            << QByteArray(R"({"responses": [{"$reply": "s", "value": 1}]})")
            << QStringLiteral("responses[0].value: D-Bus type \"s\" needs a string");
    QTest::newRow("empty reply with a value")
            << QByteArray(R"({"responses": [{"$reply": "", "value": 1}]})")
            << QStringLiteral("responses[0]: a reply of signature \"\" takes no value");
    // Levels as docs/wire-contract.md counts them: under the reply's a{sv} a value is at level 3,
    // each map adds 3, each list 2; the bus takes 64 at most.
    const QString tooDeep = QStringLiteral(": nested deeper than 64 levels");
    const QString deep = QStringLiteral("responses[0].deep");
    const QByteArray lists29(29, 'l');
    const QString first29 = QStringLiteral("[0]").repeated(29);
    QTest::newRow("21 maps, a string at level 66")
            << deepResponse(QByteArray(21, 'm'), "\"x\"")
            << deep + QStringLiteral(".k").repeated(21) + tooDeep;
    QTest::newRow("31 lists, a string at level 65")
            << deepResponse(QByteArray(31, 'l'), "\"x\"")
            << deep + QStringLiteral("[0]").repeated(31) + tooDeep;
    QTest::newRow("a list at level 64 holding a string")
            << deepResponse('m' + lists29, "[\"x\"]")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral("[0]") + tooDeep;
    QTest::newRow("a map at level 64 holding a string")
            << deepResponse('m' + lists29, R"({"k": "x"})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".k") + tooDeep;
    QTest::newRow("a string list at level 64 holding a string")
            << deepResponse('m' + lists29, R"({"$typed": "as", "value": ["x"]})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value[0]") + tooDeep;
    QTest::newRow("an object path list at level 64 holding a path")
            << deepResponse('m' + lists29, R"({"$typed": "ao", "value": ["/a"]})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value[0]") + tooDeep;
    QTest::newRow("a variant at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "v", "value": 1})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value") + tooDeep;
    QTest::newRow("too deep under byCommand")
            << QByteArray("{\"byCommand\": {\"Ping\": ")
                       + deepResponse(QByteArray(21, 'm'), "1").mid(15).chopped(2) + "}}"
            << QStringLiteral("byCommand.Ping.deep") + QStringLiteral(".k").repeated(21) + tooDeep;
    QTest::newRow("a variant reply holding 32 lists")
            << QByteArray(R"({"responses": [{"$reply": "v", "value": )")
                       + QByteArray("[").repeated(32) + "1" + QByteArray("]").repeated(32) + "}]}"
            << QStringLiteral("responses[0].value") + QStringLiteral("[0]").repeated(32) + tooDeep;
}

void TestSimulatorScriptChecks::deepReplies_data()
{
    QTest::addColumn<QByteArray>("script");

    const QByteArray lists29(29, 'l');
    QTest::newRow("20 maps, a string at level 63") << deepResponse(QByteArray(20, 'm'), "\"x\"");
    QTest::newRow("21 maps, the innermost empty at level 63")
            << deepResponse(QByteArray(20, 'm'), "{}");
    QTest::newRow("30 lists, a string at level 63") << deepResponse(QByteArray(30, 'l'), "\"x\"");
    QTest::newRow("a string at level 64") << deepResponse('m' + lists29, "\"x\"");
    QTest::newRow("an empty list at level 64") << deepResponse('m' + lists29, "[]");
    QTest::newRow("an empty map at level 64") << deepResponse('m' + lists29, "{}");
    QTest::newRow("an empty string list at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "as", "value": []})");
    QTest::newRow("bytes at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "ay", "value": [1, 2]})");
    QTest::newRow("ints at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "ai", "value": [1, 2]})");
}

QTEST_GUILESS_MAIN(TestSimulatorScriptChecks)

#include "tst_simulator_scriptchecks.moc"
