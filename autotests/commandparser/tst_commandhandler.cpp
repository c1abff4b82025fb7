// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbus/CommandHandler.h"
#include "messagelog.h"
#include "requests.h"
#include "scriptedpeertestcase.h"
#include "testbus.h"

#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QTest>

#include <memory>

using MessageLog::critical;
using MessageLog::debug;
using Scripts::answer;
using Scripts::success;

namespace {

const QString sourceFile = QStringLiteral("CommandHandler.cpp");
const QString getCommandCategoriesFunction
        = QStringLiteral("const QVariantList CommandHandler::getCommandCategories() const");
const QString getCommandsFunction
        = QStringLiteral("const QVariantList CommandHandler::getCommands(const QString&) const");
const QString executeCommandFunction = QStringLiteral(
        "const QVariantMap CommandHandler::executeCommand(int, const QList<QVariant>&) const");

QString categoriesError(const QString &text)
{
    return critical(sourceFile, getCommandCategoriesFunction,
                    QStringLiteral("CommandHandler::getCommandCategories ERROR: ") + text);
}

QString commandsError(const QString &text)
{
    return critical(sourceFile, getCommandsFunction,
                    QStringLiteral("CommandHandler::getCommands ERROR: ") + text);
}

QString executeFailure()
{
    return critical(sourceFile, executeCommandFunction,
                    QStringLiteral("CommandHandler::executeCommand FAILED! Processing "
                                   "HandleCommand failed."));
}

QString notFound(int commandId)
{
    return debug(sourceFile, executeCommandFunction,
                 QStringLiteral("\nCommand %1 not found!").arg(commandId));
}

struct FailedTest
{
    const char *name;
    QByteArray script;
};

// Responses that fail the success test, each carrying every payload key.
QList<FailedTest> failedTests()
{
    // Payloads present and not empty, so a wrongly passed test shows in the result too.
    const QByteArray payloads
            = R"("commandCategories": ["c"], "commands": ["c"], "details": {"k": "v"})";
    return {
            {"success without error id fails",
             answer(R"({"resultId": "Success", )" + payloads + "}")},
            {"success in another letter case fails",
             answer(R"({"resultId": "success", "errorId": "NoError", )" + payloads + "}")},
            {"result id with a trailing blank fails",
             answer(R"({"resultId": "Success ", "errorId": "NoError", )" + payloads + "}")},
            {"error id without result id fails",
             answer(R"({"errorId": "NoError", )" + payloads + "}")},
            {"result id Failure fails",
             answer(R"({"resultId": "Failure", "errorId": "Busy", )" + payloads + "}")},
            {"empty response fails", answer("{}")},
            {"D-Bus error fails",
             answer(R"({"$error": {"name": "se.tarnvik.Error.Busy", "message": "busy"}})")},
            {"peer leaving without an answer fails", answer(R"({"$exit": true})")},
            {"peer never answering fails", answer(R"({"$noReply": true})")},
    };
}

QString request(const QByteArray &json)
{
    return ScriptedSimulator::normalised(json);
}

} // namespace

class TestCommandHandler : public ScriptedPeerTestCase
{
    Q_OBJECT

public:
    TestCommandHandler() : ScriptedPeerTestCase(QStringLiteral(COMMAND_HANDLER_SIM)) { }

private Q_SLOTS:
    void sendRequest_data()
    {
        addColumns<QVariantMap, QString>("request", "expectedRequest");

        QTest::newRow("sender id added") << QVariantMap{{ls::commandIdKey, QStringLiteral("Probe")}}
                                         << request(R"({"commandId": {"s": "Probe"},
                                                    "senderId": {"s": "CommandHandler"}})");
        QTest::newRow("earlier sender id overwritten")
                << QVariantMap{{ls::commandIdKey, QStringLiteral("Probe")},
                               {ls::senderIdKey, QStringLiteral("Someone")}}
                << request(R"({"commandId": {"s": "Probe"}, "senderId": {"s": "CommandHandler"}})");
        QTest::newRow("sender id of another type overwritten")
                << QVariantMap{{ls::senderIdKey, 5}}
                << request(R"({"senderId": {"s": "CommandHandler"}})");
    }

    void sendRequest()
    {
        QFETCH(QVariantMap, request);
        QFETCH(QString, expectedRequest);

        QVERIFY2(m_peer.startScripted(
                         answer(R"({"resultId": "Success", "errorId": "NoError", "n": 3})")),
                 qPrintable(m_peer.errorString()));
        const QVariantMap response = m_handler->sendRequest(request);

        QCOMPARE(response, (QVariantMap{{ls::resultIdKey, ls::ResultId::Success},
                                        {ls::errorIdKey, QStringLiteral("NoError")},
                                        {QStringLiteral("n"), 3}}));
        // The caller's map now holds the sender id too.
        QCOMPARE(request.value(ls::senderIdKey), QVariant(ls::ServiceId::CommandHandler));
        QCOMPARE(m_peer.requests(), QStringList{expectedRequest});
        QCOMPARE(MessageLog::messages(), QStringList());
    }

    void getCommandCategories_data()
    {
        addColumns<QByteArray, QVariantList, QStringList>("script", "expected", "expectedMessages");

        const QString processingFailed
                = categoriesError(QStringLiteral("Processing GetCommandCategories failed!"));
        const QString notFoundText
                = categoriesError(QStringLiteral("Command categories not found!"));

        QTest::newRow("categories returned as sent")
                << answer("{" + success
                          + R"(, "commandCategories": [{"id": "A", "n": 1}, "x", 2]})")
                << QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("A")},
                                            {QStringLiteral("n"), 1}},
                                QStringLiteral("x"), 2}
                << QStringList();
        QTest::newRow("error id value is not looked at")
                << answer(R"({"resultId": "Success", "errorId": 17, "commandCategories": ["c"]})")
                << QVariantList{QStringLiteral("c")} << QStringList();
        QTest::newRow("empty list: no message")
                << answer("{" + success + R"(, "commandCategories": []})") << QVariantList()
                << QStringList();
        QTest::newRow("payload missing")
                << answer("{" + success + "}") << QVariantList() << QStringList{notFoundText};
        QTest::newRow("payload not a list: no message")
                << answer("{" + success + R"(, "commandCategories": {"a": 1}})") << QVariantList()
                << QStringList();
        for (const FailedTest &row : failedTests())
            QTest::newRow(row.name)
                    << row.script << QVariantList() << QStringList{processingFailed};
    }

    void getCommandCategories()
    {
        QFETCH(QByteArray, script);
        QFETCH(QVariantList, expected);
        QFETCH(QStringList, expectedMessages);

        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        QCOMPARE(m_handler->getCommandCategories(), expected);
        QCOMPARE(MessageLog::messages(), expectedMessages);
        QCOMPARE(m_peer.requests(), QStringList{Requests::recordedCategories()});
    }

    void getCommands_data()
    {
        addColumns<QString, QByteArray, QVariantList, QStringList>("category", "script", "expected",
                                                                   "expectedMessages");

        // The category query's text, on purpose.
        const QString processingFailed
                = commandsError(QStringLiteral("Processing GetCommandCategories failed!"));
        const QString document = QStringLiteral("DocumentCommandId");

        QTest::newRow("commands returned as sent")
                << document
                << answer("{" + success
                          + R"(, "commands": [{"id": "AddText", "argumentCount": 1}]})")
                << QVariantList{QVariantMap{{QStringLiteral("id"), QStringLiteral("AddText")},
                                            {QStringLiteral("argumentCount"), 1}}}
                << QStringList();
        QTest::newRow("empty list: no message")
                << document << answer("{" + success + R"(, "commands": []})") << QVariantList()
                << QStringList();
        QTest::newRow("payload missing")
                << document << answer("{" + success + R"(, "commandCategories": ["c"]})")
                << QVariantList()
                << QStringList{commandsError(QStringLiteral("Commands not found!"))};
        QTest::newRow("payload not a list: no message")
                << document << answer("{" + success + R"(, "commands": "AddText"})")
                << QVariantList() << QStringList();
        QTest::newRow("empty category name still sent")
                << QString() << answer("{" + success + R"(, "commands": []})") << QVariantList()
                << QStringList();
        QTest::newRow("category name sent untrimmed, unchecked")
                << QStringLiteral(" no such category ")
                << answer("{" + success + R"(, "commands": []})") << QVariantList()
                << QStringList();
        for (const FailedTest &row : failedTests())
            QTest::newRow(row.name)
                    << document << row.script << QVariantList() << QStringList{processingFailed};
    }

    void getCommands()
    {
        QFETCH(QString, category);
        QFETCH(QByteArray, script);
        QFETCH(QVariantList, expected);
        QFETCH(QStringList, expectedMessages);

        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        QCOMPARE(m_handler->getCommands(category), expected);
        QCOMPARE(MessageLog::messages(), expectedMessages);

        QCOMPARE(m_peer.requests(), QStringList{Requests::recordedCommands(category)});
    }

    void executeCommand_data()
    {
        addColumns<int, QVariantList, QByteArray, QVariantMap, QStringList, QStringList>(
                "commandId", "args", "script", "expected", "expectedMessages", "expectedRequests");

        const QByteArray details
                = answer("{" + success + R"(, "details": {"state": "ready", "n": 2}})");
        const QVariantMap detailsMap{{QStringLiteral("state"), QStringLiteral("ready")},
                                     {QStringLiteral("n"), 2}};
        auto handled = [](int commandId, const QByteArray &args) {
            return request(R"({"args": )" + args + R"(, "commandId": {"s": "HandleCommand"},
                          "senderId": {"s": "CommandHandler"}, "subCommandId": {"i": )"
                           + QByteArray::number(commandId) + "}}");
        };

        QTest::newRow("known to the first enum")
                << 101 << QVariantList() << details << detailsMap << QStringList()
                << QStringList{handled(101, R"({"av": []})")};
        QTest::newRow("known only to the last enum")
                << 601 << QVariantList() << details << detailsMap << QStringList()
                << QStringList{handled(601, R"({"av": []})")};
        QTest::newRow("words sent as strings, empty ones kept")
                << 603
                << QVariantList{QStringLiteral("1"), QStringLiteral(""),
                                QStringLiteral("two words")}
                << details << detailsMap << QStringList()
                << QStringList{
                           handled(603, R"({"av": [{"s": "1"}, {"s": ""}, {"s": "two words"}]})")};
        QTest::newRow("argument types passed on unchanged")
                << 302 << QVariantList{QStringLiteral("x"), 42, true} << details << detailsMap
                << QStringList()
                << QStringList{handled(302, R"({"av": [{"s": "x"}, {"i": 42}, {"b": true}]})")};
        QTest::newRow("unknown number: no request")
                << 99 << QVariantList{QStringLiteral("a")} << details << QVariantMap()
                << QStringList{notFound(99)} << QStringList();
        QTest::newRow("zero is unknown") << 0 << QVariantList() << details << QVariantMap()
                                         << QStringList{notFound(0)} << QStringList();
        QTest::newRow("negative number unknown, with its sign")
                << -601 << QVariantList() << details << QVariantMap() << QStringList{notFound(-601)}
                << QStringList();
        QTest::newRow("category number is no command")
                << 6 << QVariantList() << details << QVariantMap() << QStringList{notFound(6)}
                << QStringList();
        QTest::newRow("without details the whole response")
                << 604 << QVariantList() << answer("{" + success + R"(, "state": "idle"})")
                << QVariantMap{{ls::resultIdKey, ls::ResultId::Success},
                               {ls::errorIdKey, QStringLiteral("NoError")},
                               {QStringLiteral("state"), QStringLiteral("idle")}}
                << QStringList() << QStringList{handled(604, R"({"av": []})")};
        QTest::newRow("details not a map: empty, no message")
                << 604 << QVariantList() << answer("{" + success + R"(, "details": "ready"})")
                << QVariantMap() << QStringList() << QStringList{handled(604, R"({"av": []})")};
        QTest::newRow("empty details map")
                << 604 << QVariantList() << answer("{" + success + R"(, "details": {}})")
                << QVariantMap() << QStringList() << QStringList{handled(604, R"({"av": []})")};
        for (const FailedTest &row : failedTests())
            QTest::newRow(row.name)
                    << 601 << QVariantList() << row.script << QVariantMap()
                    << QStringList{executeFailure()} << QStringList{handled(601, R"({"av": []})")};
    }

    void executeCommand()
    {
        QFETCH(int, commandId);
        QFETCH(QVariantList, args);
        QFETCH(QByteArray, script);
        QFETCH(QVariantMap, expected);
        QFETCH(QStringList, expectedMessages);
        QFETCH(QStringList, expectedRequests);

        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        QCOMPARE(m_handler->executeCommand(commandId, args), expected);
        QCOMPARE(MessageLog::messages(), expectedMessages);
        QCOMPARE(m_peer.requests(), expectedRequests);
    }

private:
    void createObjects() override;
    void deleteObjects() override;

    CommandHandler *m_handler = nullptr;
};

void TestCommandHandler::createObjects()
{
    // The constructor is what makes the service known to the process-wide store.
    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    QVERIFY(store->getService(ls::ServiceId::CommandHandler)->serviceId().isEmpty());
    m_handler = new CommandHandler(nullptr);
    QCOMPARE(m_handler->parent(), nullptr);
    QCOMPARE(store->getService(ls::ServiceId::CommandHandler)->serviceId(),
             ls::ServiceId::CommandHandler);
}

void TestCommandHandler::deleteObjects()
{
    delete m_handler;
}

QTEST_GUILESS_MAIN(TestCommandHandler)

#include "tst_commandhandler.moc"
