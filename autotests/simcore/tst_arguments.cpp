// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The request and its arguments (device/dispatcher.cpp, device/arguments.cpp): requests of the
// wrong shape, and words that do not fit a command's argument schema.

#include "datatable.h"
#include "simcoretest.h"

using namespace SimTest;

class ArgumentsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void invalidRequest_data()
    {
        addColumns<QVariantMap, QString>("request", "errorId");

        const QVariantMap handle = commandRequest(601, {});
        QVariantMap r;

        QTest::newRow("empty request") << QVariantMap() << QStringLiteral("InvalidRequest");
        r = handle;
        r.insert(ls::commandIdKey, QStringLiteral("Reboot"));
        QTest::newRow("unknown command id") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.insert(ls::commandIdKey, 5);
        QTest::newRow("command id a number") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.insert(ls::subCommandIdKey, QStringLiteral("601"));
        QTest::newRow("sub-command id as text") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.insert(ls::subCommandIdKey, 601.5);
        QTest::newRow("sub-command id a fraction") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.remove(ls::subCommandIdKey);
        QTest::newRow("sub-command id missing") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.insert(ls::argsKey, QStringLiteral("7 Hello"));
        QTest::newRow("args not a list") << r << QStringLiteral("InvalidRequest");
        r = handle;
        r.remove(ls::argsKey);
        QTest::newRow("args missing") << r << QStringLiteral("InvalidRequest");
        r = commandRequest(603, {});
        r.insert(ls::argsKey, QVariantList({QVariantMap{{QStringLiteral("a"), 1}}}));
        QTest::newRow("argument a map") << r << QStringLiteral("InvalidRequest");
        r = catalogueRequest(ls::CommandHandlerCmdId::GetCommands);
        QTest::newRow("category missing") << r << QStringLiteral("InvalidRequest");
        r.insert(ls::categoryKey, 3);
        QTest::newRow("category a number") << r << QStringLiteral("InvalidRequest");
        QTest::newRow("command number unknown")
                << commandRequest(999, {}) << QStringLiteral("UnknownCommand");
        QTest::newRow("command number zero")
                << commandRequest(0, {}) << QStringLiteral("UnknownCommand");
        QTest::newRow("category number, not a command")
                << commandRequest(6, {}) << QStringLiteral("UnknownCommand");
    }

    void invalidRequest()
    {
        QFETCH(QVariantMap, request);
        QFETCH(QString, errorId);
        Device device(DeviceOptions{});
        const QVariantMap response = device.handle(request);
        QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
        QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
        QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
        QVERIFY(!response.contains(ls::detailsMapKey));
    }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        QTest::newRow("argument to a command without one")
                << Steps() << step(IpcCommandId::Ping, {QString()}) << count;
        QTest::newRow("no argument where one is needed")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine) << count;
        QTest::newRow("text command without any word")
                << Steps() << step(IpcCommandId::Echo) << count;
        QTest::newRow("one word short of two")
                << Steps() << step(EmbossCommandId::StartEmbossing, {one}) << count;
        QTest::newRow("extra word after an int")
                << Steps()
                << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20"), QString()})
                << count;
        QTest::newRow("int in hex")
                << Steps()
                << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("0x14")})
                << argument;
        QTest::newRow("int with a blank")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral(" 20")})
                << argument;
        QTest::newRow("int empty")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QString()})
                << argument;
        QTest::newRow("int with a fraction")
                << Steps()
                << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20.0")})
                << argument;
        QTest::newRow("int beyond int range")
                << Steps() << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("99999999999")})
                << argument;
        QTest::newRow("cells below range")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("9")})
                << argument;
        QTest::newRow("cells above range")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("49")})
                << argument;
        QTest::newRow("lines above range")
                << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("33")})
                << argument;
        QTest::newRow("dot strength zero")
                << Steps() << step(ConfigurationCommandId::SetDotStrength, {QStringLiteral("0")})
                << argument;
        QTest::newRow("sheets zero")
                << Steps() << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("0")})
                << argument;
        QTest::newRow("copies zero")
                << closedDocument(QStringLiteral("abc"))
                << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("0")}) << argument;
        QTest::newRow("document negative")
                << Steps() << step(DocumentCommandId::GetDocumentInfo, {QStringLiteral("-1")})
                << argument;
        QTest::newRow("bool yes") << Steps()
                                  << step(ConfigurationCommandId::SetDuplex,
                                          {QStringLiteral("yes")})
                                  << argument;
        QTest::newRow("bool in capitals")
                << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("TRUE")})
                << argument;
        QTest::newRow("paper format in other case")
                << Steps() << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("a4")})
                << argument;
        QTest::newRow("paper format of two words")
                << Steps()
                << step(ConfigurationCommandId::SetPaperFormat,
                        {QStringLiteral("A4"), QStringLiteral("x")})
                << argument;
        QTest::newRow("feed mode unknown")
                << Steps() << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("roll")})
                << argument;
        QTest::newRow("test pattern unknown")
                << Steps() << step(TestingCommandId::EmbossTestPage, {QStringLiteral("logo")})
                << argument;
        QTest::newRow("fault unknown")
                << Steps() << step(TestingCommandId::InjectFault, {QStringLiteral("fire")})
                << argument;
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(ArgumentsTest)
#include "tst_arguments.moc"
