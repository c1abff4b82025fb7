// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "requests.h"
#include "simulatortest.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>
#include <QTest>

using namespace SimulatorTest;
using Requests::request;

// The request record: one line of JSON per call of Process, on disk before the answer, in
// scripted and in device mode.
class TestSimulatorRecord : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void record_data()
    {
        addColumns<QVariantMap, QByteArray>("request", "line");

        QTest::newRow("execution request of the tool")
                << QVariantMap{{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
                               {ls::subCommandIdKey, 601},
                               {ls::argsKey, QVariantList{QStringLiteral("a"), QString()}},
                               {ls::senderIdKey, ls::ServiceId::CommandHandler}}
                << QByteArray(
                           R"({"args": {"av": [{"s": "a"}, {"s": ""}]}, )"
                           R"("commandId": {"s": "HandleCommand"}, )"
                           R"("senderId": {"s": "CommandHandler"}, "subCommandId": {"i": 601}})");
        QTest::newRow("catalogue request with an empty category")
                << QVariantMap{{ls::commandIdKey, ls::CommandHandlerCmdId::GetCommands},
                               {ls::subCommandIdKey, QStringLiteral("Undefined")},
                               {ls::categoryKey, QString()}}
                << QByteArray(R"({"category": {"s": ""}, "commandId": {"s": "GetCommands"}, )"
                              R"("subCommandId": {"s": "Undefined"}})");
        QTest::newRow("empty request") << QVariantMap() << QByteArray("{}");
        QTest::newRow("empty argument list") << QVariantMap{{ls::argsKey, QVariantList()}}
                                             << QByteArray(R"({"args": {"av": []}})");
        QTest::newRow("as against av")
                << QVariantMap{{QStringLiteral("as"), QStringList{QStringLiteral("a")}},
                               {QStringLiteral("av"), QVariantList{QStringLiteral("a")}}}
                << QByteArray(R"({"as": {"as": [{"s": "a"}]}, "av": {"av": [{"s": "a"}]}})");
        QTest::newRow("integer types")
                << QVariantMap{{QStringLiteral("i"), -1},
                               {QStringLiteral("u"), 1u},
                               {QStringLiteral("x"), qlonglong(-5000000000)},
                               {QStringLiteral("t"), qulonglong(5000000000)},
                               {QStringLiteral("n"), QVariant::fromValue(short(-2))},
                               {QStringLiteral("q"), QVariant::fromValue(ushort(2))},
                               {QStringLiteral("y"), QVariant::fromValue(uchar(255))}}
                << QByteArray(R"({"i": {"i": -1}, "n": {"n": -2}, "q": {"q": 2}, )"
                              R"("t": {"t": 5000000000}, "u": {"u": 1}, "x": {"x": -5000000000}, )"
                              R"("y": {"y": 255}})");
        QTest::newRow("doubles keep a fraction")
                << QVariantMap{{QStringLiteral("a"), 2.0},
                               {QStringLiteral("b"), 0.1},
                               {QStringLiteral("c"), -1.5e300}}
                << QByteArray(R"({"a": {"d": 2.0}, "b": {"d": 0.1}, "c": {"d": -1.5e+300}})");
        QTest::newRow("booleans") << QVariantMap{{QStringLiteral("t"), true},
                                                 {QStringLiteral("f"), false}}
                                  << QByteArray(R"({"f": {"b": false}, "t": {"b": true}})");
        QTest::newRow("nested map sorted")
                << QVariantMap{{QStringLiteral("m"),
                                QVariantMap{{QStringLiteral("z"), 1},
                                            {QStringLiteral("a"),
                                             QVariantMap{{QStringLiteral("k"), QString()}}}}}}
                << QByteArray(
                           R"({"m": {"a{sv}": {"a": {"a{sv}": {"k": {"s": ""}}}, "z": {"i": 1}}}})");
        QTest::newRow("object path and bytes")
                << QVariantMap{{QStringLiteral("o"), QVariant::fromValue(QDBusObjectPath(
                                                             QStringLiteral("/se/tarnvik")))},
                               {QStringLiteral("y"), QByteArray("\x01\xff", 2)}}
                << QByteArray(
                           R"({"o": {"o": "/se/tarnvik"}, "y": {"ay": [{"y": 1}, {"y": 255}]}})");
        QTest::newRow("variant inside a variant")
                << QVariantMap{{QStringLiteral("v"),
                                QVariant::fromValue(QDBusVariant(QStringLiteral("x")))}}
                << QByteArray(R"({"v": {"v": {"s": "x"}}})");
        QTest::newRow("byte keys as numbers, not characters")
                << QVariantMap{{QStringLiteral("d"), QVariant::fromValue(QMap<uchar, QDBusVariant>{
                                                             {uchar(65), QDBusVariant(1)},
                                                             {uchar(10), QDBusVariant(2)}})}}
                << QByteArray(R"({"d": {"a{yv}": {"10": {"i": 2}, "65": {"i": 1}}}})");
        QTest::newRow("escaped strings")
                << QVariantMap{{QStringLiteral("k\"ey"),
                                QStringLiteral("a\"b\\c\nd\te\x01 \u00e4\u2800")}}
                << QByteArray("{\"k\\\"ey\": {\"s\": \"a\\\"b\\\\c\\nd\\te\\u0001 "
                              "\xc3\xa4\xe2\xa0\x80\"}}");
    }

    void record()
    {
        QFETCH(QVariantMap, request);
        QFETCH(QByteArray, line);
        QVERIFY(startScript(R"({"responses": [{}]})", {QStringLiteral("--record"),
                                                       filePath(QStringLiteral("record.jsonl"))}));
        const QDBusMessage reply = processCall({request});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        // The line is on disk once the answer is in.
        QCOMPARE(readFile(QStringLiteral("record.jsonl")), line + '\n');
    }

    void recordAppends()
    {
        const QString recordPath = writeFile(QStringLiteral("record.jsonl"), "earlier\n");
        QVERIFY(startScript("{}", {QStringLiteral("--record"), recordPath}));
        process(request(QStringLiteral("A")));
        process(request(QStringLiteral("B")));
        QCOMPARE(readFile(QStringLiteral("record.jsonl")),
                 QByteArray("earlier\n"
                            R"({"commandId": {"s": "A"}, "senderId": {"s": "CommandHandler"}})"
                            "\n"
                            R"({"commandId": {"s": "B"}, "senderId": {"s": "CommandHandler"}})"
                            "\n"));
    }

    void deviceRecord()
    {
        QVERIFY(m_simulator.start({QStringLiteral("--step"), QStringLiteral("--record"),
                                   filePath(QStringLiteral("record.jsonl"))}));
        execute(QStringLiteral("603 a"));
        QCOMPARE(
                readFile(QStringLiteral("record.jsonl")),
                QByteArray(R"({"args": {"av": [{"s": "a"}]}, "commandId": {"s": "HandleCommand"}, )"
                           R"("senderId": {"s": "CommandHandler"}, "subCommandId": {"i": 603}})"
                           "\n"));
    }
};

QTEST_GUILESS_MAIN(TestSimulatorRecord)

#include "tst_simulator_record.moc"
