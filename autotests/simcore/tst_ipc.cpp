// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The inter-process communication commands (commands/ipc.cpp).

#include "datatable.h"
#include "simcoretest.h"

using namespace SimTest;

class IpcTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ipcCommands_data()
    {
        addColumns<int, QStringList, QVariantMap>("command", "words", "expected");

        QTest::newRow("ping") << int(ls::IpcCommandId::Ping) << QStringList()
                              << QVariantMap{{QStringLiteral("reply"), QStringLiteral("pong")}};
        QTest::newRow("echo one word")
                << int(ls::IpcCommandId::Echo) << QStringList({QStringLiteral("hello")})
                << QVariantMap{{QStringLiteral("text"), QStringLiteral("hello")}};
        QTest::newRow("echo keeps double blank")
                << int(ls::IpcCommandId::Echo)
                << QStringList({QStringLiteral("Hello"), QString(), QStringLiteral("world")})
                << QVariantMap{{QStringLiteral("text"), QStringLiteral("Hello  world")}};
        QTest::newRow("echo leading blank")
                << int(ls::IpcCommandId::Echo) << QStringList({QString(), QStringLiteral("x")})
                << QVariantMap{{QStringLiteral("text"), QStringLiteral(" x")}};
        QTest::newRow("echo empty word") << int(ls::IpcCommandId::Echo) << QStringList({QString()})
                                         << QVariantMap{{QStringLiteral("text"), QString()}};
        QTest::newRow("echo non-ascii")
                << int(ls::IpcCommandId::Echo)
                << QStringList({QStringLiteral("grüß"), QStringLiteral("⠁")})
                << QVariantMap{{QStringLiteral("text"), QStringLiteral("grüß ⠁")}};
    }

    void ipcCommands()
    {
        QFETCH(int, command);
        QFETCH(QStringList, words);
        QFETCH(QVariantMap, expected);
        Device device(DeviceOptions{});
        const QVariantMap response = device.handle(commandRequest(command, words));
        QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
        QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
        QVERIFY(!response.contains(ls::errorMessageKey));
        QCOMPARE(response.value(ls::detailsMapKey).toMap(), expected);
    }

    void serviceInfoCountsRequests()
    {
        Device device(DeviceOptions{});
        run(device, ls::IpcCommandId::Ping);
        device.handle(QVariantMap());
        const QVariantMap info = run(device, ls::IpcCommandId::GetServiceInfo);
        QCOMPARE(info.value(QStringLiteral("service")).toString(),
                 QStringLiteral("CommandHandler"));
        QCOMPARE(info.value(QStringLiteral("version")).toString(), QStringLiteral("1.0.0"));
        QVERIFY(!info.value(QStringLiteral("liblouisVersion")).toString().isEmpty());
        QCOMPARE(info.value(QStringLiteral("uptimeSeconds")).userType(), int(QMetaType::Int));
        QVERIFY(info.value(QStringLiteral("uptimeSeconds")).toInt() >= 0);
        QCOMPARE(info.value(QStringLiteral("requestsServed")).toInt(), 3);
        QCOMPARE(info.value(QStringLiteral("pageTiming")).toString(), QStringLiteral("per second"));

        Device stepped(stepping());
        QCOMPARE(run(stepped, ls::IpcCommandId::GetServiceInfo).value(QStringLiteral("pageTiming")),
                 QVariant(QStringLiteral("per request")));
    }

    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QTest::newRow("GetDeviceState, fresh")
                << Steps() << step(IpcCommandId::GetDeviceState)
                << QVariantMap{{QStringLiteral("state"), QStringLiteral("Idle")},
                               {QStringLiteral("jobId"), 0},
                               {QStringLiteral("pagesDone"), 0},
                               {QStringLiteral("pagesTotal"), 0},
                               {QStringLiteral("documentCount"), 0},
                               {QStringLiteral("openDocuments"), 0},
                               {QStringLiteral("sheetsLoaded"), 0},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("pendingFault"), QStringLiteral("none")},
                               {QStringLiteral("errorLogEntries"), 0}};
        QTest::newRow("GetDeviceState, embossing")
                << (closedDocument(words(300), 5)
                    << step(DocumentCommandId::OpenDocument, {QStringLiteral("Draft")})
                    << step(EmbossCommandId::StartEmbossing, {one, one}))
                << step(IpcCommandId::GetDeviceState)
                << QVariantMap{{QStringLiteral("state"), QStringLiteral("Embossing")},
                               {QStringLiteral("jobId"), 1},
                               {QStringLiteral("pagesDone"), 1},
                               {QStringLiteral("pagesTotal"), 2},
                               {QStringLiteral("documentCount"), 2},
                               {QStringLiteral("openDocuments"), 1},
                               {QStringLiteral("sheetsLoaded"), 4},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("pendingFault"), QStringLiteral("none")},
                               {QStringLiteral("errorLogEntries"), 0}};
    }

    void commandResults() { verifyResultRow(); }
};

QTEST_GUILESS_MAIN(IpcTest)
#include "tst_ipc.moc"
