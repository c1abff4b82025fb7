// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "rawbus.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <algorithm>

using namespace RawBus;

struct Call
{
    QList<Value> arguments;
    QByteArray member = "Process";
    QByteArray interface;
    QByteArray path;
};
Q_DECLARE_METATYPE(Call)

// Requests the simulator refuses, descriptors above all: each refused alike, none kept open, and
// nothing written on its output.
class TestStressDescriptors : public StressTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void descriptorsNotKept_data()
    {
        QTest::addColumn<bool>("recorded");
        QTest::newRow("device") << false;
        QTest::newRow("device with the record") << true;
    }

    void descriptorsNotKept()
    {
        QFETCH(bool, recorded);
        const int requests = 10000;
        const QString record = m_dir->filePath(QStringLiteral("record.jsonl"));
        QStringList arguments{QStringLiteral("--step")};
        if (recorded)
            arguments << QStringLiteral("--record") << record;
        QVERIFY(m_simulator->start(arguments));
        RawClient client(m_bus.address());
        QVERIFY(client.connect());
        QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
        const int before = m_simulator->descriptorCount();

        QElapsedTimer timer;
        timer.start();
        const Value request = handleCommand(ls::IpcCommandId::Ping, {descriptor()});
        int refused = 0;
        QString other;
        for (int i = 0; i < requests; ++i) {
            const Outcome outcome = client.process(request);
            if (outcome.kind == Outcome::Kind::Error && outcome.errorName == invalidArgs)
                ++refused;
            else if (other.isEmpty())
                other = outcome.describe();
        }
        qInfo("%d requests with a descriptor in %lld ms", requests, timer.elapsed());
        QVERIFY2(other.isEmpty(), qPrintable(other));
        QCOMPARE(refused, requests);

        QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
        QVERIFY2(m_simulator->descriptorCount() <= before,
                 qPrintable(QStringLiteral("%1 descriptors open, %2 before")
                                    .arg(m_simulator->descriptorCount())
                                    .arg(before)));
        if (recorded) {
            QFile file(record);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QList<QByteArray> lines = file.readAll().split('\n');
            QCOMPARE(lines.size(), requests + 3);
            QCOMPARE(lines.at(1), QByteArray(R"({"args": {"av": [{"h": null}]}, )"
                                             R"("commandId": {"s": "HandleCommand"}, )"
                                             R"("senderId": {"s": "CommandHandler"}, )"
                                             R"("subCommandId": {"i": 601}})"));
        }
        QVERIFY(m_simulator->stop());
        QCOMPARE(m_simulator->standardError(), QByteArray());
    }

    void refusedRequestsLogNothing_data()
    {
        addColumns<QStringList, Call>("arguments", "call");
        // "reply", "dropped", "error" for any error or "error NAME" for that one.
        QTest::addColumn<QString>("expected");

        // An Echo of one word, with entries replaced or added.
        const auto request = [](const QList<QPair<QString, Value>> &changes) {
            QList<QPair<QString, Value>> entries{
                    {ls::commandIdKey, str(ls::CommandHandlerCmdId::HandleCommand)},
                    {ls::subCommandIdKey, int32(ls::IpcCommandId::Echo)},
                    {ls::senderIdKey, str(ls::ServiceId::CommandHandler)},
                    {ls::argsKey, array("v", {variant(str(QStringLiteral("hi")))})}};
            for (const auto &change : changes) {
                auto it = std::find_if(entries.begin(), entries.end(), [&change](const auto &e) {
                    return e.first == change.first;
                });
                if (it == entries.end())
                    entries.append(change);
                else
                    it->second = change.second;
            }
            return Call{{requestMap(entries)}};
        };
        const auto withArgument = [&request](const Value &argument) {
            return request({{ls::argsKey, array("v", {variant(argument)})}});
        };
        const auto nested = [&request](int levels) {
            // A string at the given level, made of variants below the map's value.
            Value value = str(QStringLiteral("bottom"));
            for (int level = levels; level > 3; --level)
                value = variant(value);
            return request({{QStringLiteral("deep"), value}});
        };
        const QString reply = QStringLiteral("reply");
        const QString refusedArgs = QStringLiteral("error ") + invalidArgs;
        const QList<QPair<QString, QStringList>> modes{
                {QStringLiteral("device"),
                 {QStringLiteral("--step"), QStringLiteral("--state-file"),
                  QStringLiteral("@state")}},
                {QStringLiteral("script"),
                 {QStringLiteral("--script"), QStringLiteral("@script")}}};
        for (const auto &mode : modes) {
            const QStringList arguments
                    = mode.second
                      + QStringList{QStringLiteral("--record"), QStringLiteral("@record")};
            const auto row = [&mode, &arguments](const char *name, const Call &call,
                                                 const QString &expected) {
                QTest::addRow("%s, %s", name, qPrintable(mode.first))
                        << arguments << call << expected;
            };
            row("empty signature as an argument", withArgument(text('g', "")), reply);
            row("empty signature as a value", request({{QStringLiteral("g"), text('g', "")}}),
                reply);
            row("signature as an argument", withArgument(text('g', "a{sv}")), reply);
            row("descriptor as an argument", withArgument(descriptor()), refusedArgs);
            row("descriptor as a value", request({{QStringLiteral("h"), descriptor()}}),
                refusedArgs);
            row("descriptors as dictionary keys",
                request({{QStringLiteral("m"),
                          dictionary("h", "s", {descriptor(), str(QStringLiteral("x"))})}}),
                refusedArgs);
            row("object path as an argument", withArgument(text('o', "/a/b")), reply);
            row("object path as the command id",
                request({{ls::commandIdKey, text('o', "/HandleCommand")}}), reply);
            row("struct as an argument",
                withArgument(structure({int32(1), str(QStringLiteral("x"))})), reply);
            row("byte-keyed dictionary as an argument",
                withArgument(dictionary("y", "s", {basic('y', 65), str(QStringLiteral("x"))})),
                reply);
            row("command number as text",
                request({{ls::subCommandIdKey, str(QStringLiteral("601"))},
                         {ls::argsKey, array("v", {})}}),
                reply);
            row("arguments as a map", request({{ls::argsKey, requestMap({})}}), reply);
            row("nested to level 64", nested(64), reply);
            row("nested to level 65, which the bus refuses", nested(65), QStringLiteral("dropped"));
            row("one string instead of a{sv}", Call{{str(QStringLiteral("x"))}}, refusedArgs);
            row("two maps", Call{{requestMap({}), requestMap({})}}, refusedArgs);
            row("no arguments", Call{}, refusedArgs);
            row("unknown method", Call{{requestMap({})}, "Execute"},
                QStringLiteral("error org.freedesktop.DBus.Error.UnknownMethod"));
            row("another interface", Call{{requestMap({})}, "Process", "org.example.Other"},
                QStringLiteral("error"));
            row("another object path", Call{{requestMap({})}, "Process", {}, "/se/tarnvik/Other"},
                QStringLiteral("error"));
        }
    }

    void refusedRequestsLogNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Call, call);
        QFETCH(QString, expected);

        QFile script(m_dir->filePath(QStringLiteral("script.json")));
        QVERIFY(script.open(QIODevice::WriteOnly));
        script.write(
                R"({"byCommand": {"HandleCommand": {"resultId": "Success", "errorId": "NoError",
                     "details": {"reply": "pong"}}}})");
        script.close();
        arguments.replaceInStrings(QStringLiteral("@script"), script.fileName());
        arguments.replaceInStrings(QStringLiteral("@state"),
                                   m_dir->filePath(QStringLiteral("state.json")));
        arguments.replaceInStrings(QStringLiteral("@record"),
                                   m_dir->filePath(QStringLiteral("record.jsonl")));
        QVERIFY(m_simulator->start(arguments));

        RawClient client(m_bus.address());
        QVERIFY(client.connect());
        const Outcome outcome
                = client.call(call.arguments, call.member.constData(),
                              call.interface.isEmpty() ? nullptr : call.interface.constData(),
                              call.path.isEmpty() ? nullptr : call.path.constData());
        QString actual;
        switch (outcome.kind) {
        case Outcome::Kind::Reply:
            QVERIFY2(outcome.wellFormed, qPrintable(outcome.describe()));
            actual = QStringLiteral("reply");
            break;
        case Outcome::Kind::Error:
            actual = expected == QLatin1String("error")
                             ? QStringLiteral("error")
                             : QStringLiteral("error ") + outcome.errorName;
            break;
        case Outcome::Kind::Lost:
            actual = QStringLiteral("dropped");
            QVERIFY(client.connect());
            break;
        }
        QVERIFY2(actual == expected, qPrintable(outcome.describe()));

        QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
        QVERIFY(m_simulator->stop());
        QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
        QCOMPARE(QString::fromUtf8(m_simulator->standardOutput()), QString());
    }
};

QTEST_GUILESS_MAIN(TestStressDescriptors)

#include "tst_simulatorstress_descriptors.moc"
