// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "CommandParser.h"
#include "datatable.h"
#include "parsermessages.h"
#include "requests.h"
#include "scriptedpeertestcase.h"

#include <ls/commandids.h>
#include <ls/metaenum.h>

#include <QTest>

#include <climits>
#include <memory>

using MessageLog::critical;
using MessageLog::debug;
using namespace ParserMessages;
using Scripts::answer;
using Scripts::success;

namespace {

const QString listCommandsFunction = QStringLiteral("void CommandParser::listCommands(int) const");

QString field(const QString &text)
{
    return debug(sourceFile(),
                 QStringLiteral("void CommandParser::executeCommand(int, const QList<QVariant>&) "
                                "const"),
                 text);
}

const QString categoriesFailed = critical(
        QStringLiteral("CommandHandler.cpp"),
        QStringLiteral("const QVariantList CommandHandler::getCommandCategories() const"),
        QStringLiteral("CommandHandler::getCommandCategories ERROR: Processing "
                       "GetCommandCategories failed!"));
const QString commandsFailed = critical(
        QStringLiteral("CommandHandler.cpp"),
        QStringLiteral("const QVariantList CommandHandler::getCommands(const QString&) const"),
        QStringLiteral("CommandHandler::getCommands ERROR: Processing GetCommandCategories "
                       "failed!"));

} // namespace

// CommandParser's three operations in the test's own process against a scripted peer on a
// private bus: the messages it logs and the requests the peer records.
// TestCommandParser is the friend CommandParser names.
class TestCommandParser : public ScriptedPeerTestCase
{
    Q_OBJECT

public:
    TestCommandParser() : ScriptedPeerTestCase(QStringLiteral(COMMAND_HANDLER_SIM)) { }

private Q_SLOTS:
    void listCategories_data();
    void listCategories()
    {
        QFETCH(QByteArray, script);
        QFETCH(QStringList, expectedMessages);
        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        m_parser->listCategories();
        QCOMPARE(MessageLog::messages(), expectedMessages);
        QCOMPARE(m_peer.requests(), QStringList{Requests::recordedCategories()});
    }

    void listCommands_data();
    void listCommands()
    {
        QFETCH(int, category);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, expectedMessages);
        QFETCH(QStringList, expectedRequests);
        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        m_parser->listCommands(category);
        QCOMPARE(MessageLog::messages(), expectedMessages);
        QCOMPARE(m_peer.requests(), expectedRequests);
    }

    void executeCommand_data();
    void executeCommand()
    {
        QFETCH(int, commandId);
        QFETCH(QVariantList, args);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, expectedMessages);
        QFETCH(QStringList, expectedRequests);
        QVERIFY2(m_peer.startScripted(script), qPrintable(m_peer.errorString()));
        m_parser->executeCommand(commandId, args);
        QCOMPARE(MessageLog::messages(), expectedMessages);
        QCOMPARE(m_peer.requests(), expectedRequests);
    }

private:
    void createObjects() override;

    std::unique_ptr<QObject> m_owner;
    CommandParser *m_parser = nullptr;
};

void TestCommandParser::createObjects()
{
    m_owner = std::make_unique<QObject>();
    m_parser = new CommandParser(m_owner.get());
}

void TestCommandParser::listCategories_data()
{
    addColumns<QByteArray, QStringList>("script", "expectedMessages");

    const QByteArray described = R"([
            {"id": "ConfigurationCommandId", "description": "Configuration"},
            {"id": "PaperFeedCommandId", "description": "Paper feed"},
            {"id": "DocumentCommandId", "description": "Document"},
            {"id": "EmbossCommandId", "description": "Emboss"},
            {"id": "TestingCommandId", "description": "Testing"},
            {"id": "IpcCommandId", "description": "IPC", "argumentCount": 1,
             "argumentTypes": [{"name": "a", "type": "b"}]}])";
    // The described categories without the list's brackets.
    const QByteArray entries = described.mid(described.indexOf('{')).chopped(1);
    const QStringList describedLines{
            line(QStringLiteral("1 \t Configuration ")), line(QStringLiteral("2 \t Paper feed ")),
            line(QStringLiteral("3 \t Document ")),      line(QStringLiteral("4 \t Emboss ")),
            line(QStringLiteral("5 \t Testing ")),       line(QStringLiteral("6 \t IPC ( a: b )"))};

    QTest::newRow("every category described")
            << answer("{" + success + R"(, "commandCategories": )" + described + "}")
            << describedLines;
    QTest::newRow("service failure: every category still listed")
            << answer("{}")
            << QStringList{categoriesFailed} + listingWithoutEntries(ls::CommandCategories::meta);
    QTest::newRow("empty catalogue: every category still listed")
            << answer("{" + success + R"(, "commandCategories": []})")
            << listingWithoutEntries(ls::CommandCategories::meta);
    QStringList replaced = describedLines;
    replaced[0] = line(QStringLiteral("1 \t Newer "));
    QTest::newRow("later duplicate id replaces the earlier")
            << answer("{" + success + R"(, "commandCategories": [
                    {"id": "ConfigurationCommandId", "description": "Older"}, )"
                      + entries + R"(, {"id": "ConfigurationCommandId", "description": "Newer"}]})")
            << replaced;
    QTest::newRow("entries not maps or without id never shown")
            << answer("{" + success + R"(, "commandCategories": ["junk", 7, [1],
                      {"description": "no id"}, {"id": "", "description": "empty id"},
                      {"id": "Unknown", "description": "no such category"}, )"
                      + entries + "]}")
            << describedLines;
}

void TestCommandParser::listCommands_data()
{
    addColumns<int, QByteArray, QStringList, QStringList>("category", "script", "expectedMessages",
                                                          "expectedRequests");

    const QByteArray emptyCatalogue = answer("{" + success + R"(, "commands": []})");
    auto unknown = [](int category) {
        return QStringList{
                critical(sourceFile(), listCommandsFunction,
                         QStringLiteral("CommandParser::listCommands ERROR: Category %1 not found!")
                                 .arg(category))};
    };

    QTest::newRow("unknown category: message only, no request")
            << 99 << emptyCatalogue << unknown(99) << QStringList();
    QTest::newRow("category 0 is unknown") << 0 << emptyCatalogue << unknown(0) << QStringList();
    QTest::newRow("negative category") << -1 << emptyCatalogue << unknown(-1) << QStringList();
    QTest::newRow("smallest int") << INT_MIN << emptyCatalogue << unknown(INT_MIN) << QStringList();
    QTest::newRow("IPC commands described")
            << 6 << answer("{" + success + R"(, "commands": [
                    {"id": "Echo", "description": "Echo the words", "argumentCount": 2,
                     "argumentTypes": [{"name": "first", "type": "string"},
                                       {"name": "second", "type": "int"}]},
                    {"id": "Ping", "description": "Ping", "argumentCount": 0},
                    {"id": "Unlisted", "description": "never shown"},
                    {"id": "GetServiceInfo", "description": "Service information"},
                    {"id": "GetDeviceState", "description": "", "argumentCount": 1}]})")
            << QStringList{line(QStringLiteral("601 \t Ping ")),
                           line(QStringLiteral("602 \t Service information ")),
                           line(QStringLiteral("603 \t Echo the words ( first: string, second: "
                                               "int )")),
                           line(QStringLiteral("604 \t  ( )"))}
            << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};
    QTest::newRow("service failure: every command still listed")
            << 6 << answer("{}")
            << QStringList{commandsFailed} + listingWithoutEntries(ls::IpcCommandId::meta)
            << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};

    const struct
    {
        int category;
        const char *name;
        const ls::MetaEnum &commands;
    } categories[] = {
            {1, "configuration chooses its commands", ls::ConfigurationCommandId::meta},
            {2, "paper feed chooses its commands", ls::PaperFeedCommandId::meta},
            {3, "document chooses its commands", ls::DocumentCommandId::meta},
            {4, "emboss chooses its commands", ls::EmbossCommandId::meta},
            {5, "testing chooses its commands", ls::TestingCommandId::meta},
    };
    for (const auto &row : categories) {
        QTest::newRow(row.name) << row.category << emptyCatalogue
                                << listingWithoutEntries(row.commands)
                                << QStringList{Requests::recordedCommands(
                                           ls::CommandCategories::meta.name(row.category))};
    }
}

void TestCommandParser::executeCommand_data()
{
    addColumns<int, QVariantList, QByteArray, QStringList, QStringList>(
            "commandId", "args", "script", "expectedMessages", "expectedRequests");

    auto details = [](const QByteArray &map) {
        return answer("{" + success + R"(, "details": )" + map + "}");
    };
    const QStringList pinged{Requests::recordedCommand(601, {})};

    QTest::newRow("empty result writes nothing")
            << 601 << QVariantList() << details("{}") << QStringList() << pinged;
    QTest::newRow("keys in map order, upper case first")
            << 601 << QVariantList() << details(R"({"b": 1, "a": "x", "B": true})")
            << QStringList{field(QStringLiteral("B \t true")), field(QStringLiteral("a \t x")),
                           field(QStringLiteral("b \t 1"))}
            << pinged;
    QTest::newRow("nested map and list skipped, neighbours written")
            << 601 << QVariantList()
            << details(R"({"a": "1", "m": {"x": 1}, "l": [1, 2], "z": "2"})")
            << QStringList{field(QStringLiteral("a \t 1")), field(QStringLiteral("z \t 2"))}
            << pinged;
    QTest::newRow("empty value keeps the blank after the tab")
            << 601 << QVariantList() << details(R"({"e": ""})")
            << QStringList{field(QStringLiteral("e \t "))} << pinged;
    QTest::newRow("numbers in decimal, booleans as words")
            << 601 << QVariantList() << details(R"({"d": 1.5, "f": false, "n": -3})")
            << QStringList{field(QStringLiteral("d \t 1.5")), field(QStringLiteral("f \t false")),
                           field(QStringLiteral("n \t -3"))}
            << pinged;
    QTest::newRow("unsigned and 64-bit numbers in decimal")
            << 601 << QVariantList() << details(R"({"u": {"$typed": "u", "value": 7},
                           "x": {"$typed": "x", "value": -9000000000}})")
            << QStringList{field(QStringLiteral("u \t 7")),
                           field(QStringLiteral("x \t -9000000000"))}
            << pinged;
    QTest::newRow("unquoted: tab, line break and quotes as they are")
            << 601 << QVariantList() << details(R"({"say \"it\"": "a\tb\n\"c\""})")
            << QStringList{field(QStringLiteral("say \"it\" \t a\tb\n\"c\""))} << pinged;
    QTest::newRow("no details: the whole response")
            << 601 << QVariantList() << answer("{" + success + R"(, "state": "idle"})")
            << QStringList{field(QStringLiteral("errorId \t NoError")),
                           field(QStringLiteral("resultId \t Success")),
                           field(QStringLiteral("state \t idle"))}
            << pinged;
    QTest::newRow("arguments passed on unchanged")
            << 603 << QVariantList{QStringLiteral("1"), QStringLiteral(""), QStringLiteral("2")}
            << details(R"({"echo": "1  2"})") << QStringList{field(QStringLiteral("echo \t 1  2"))}
            << QStringList{Requests::recordedCommand(
                       603, {QStringLiteral("1"), QString(), QStringLiteral("2")})};
    QTest::newRow("failed request: only the failure")
            << 601 << QVariantList()
            << answer(R"({"resultId": "Failure", "errorId": "Busy", "details": {"a": "1"}})")
            << QStringList{critical(
                       QStringLiteral("CommandHandler.cpp"),
                       QStringLiteral("const QVariantMap CommandHandler::executeCommand(int, "
                                      "const QList<QVariant>&) const"),
                       QStringLiteral("CommandHandler::executeCommand FAILED! Processing "
                                      "HandleCommand failed."))}
            << pinged;
    QTest::newRow("unknown command: only the debug message, no request")
            << 99 << QVariantList() << details(R"({"a": "1"})")
            << QStringList{debug(QStringLiteral("CommandHandler.cpp"),
                                 QStringLiteral("const QVariantMap CommandHandler::executeCommand("
                                                "int, const QList<QVariant>&) const"),
                                 QStringLiteral("\nCommand 99 not found!"))}
            << QStringList();
}

QTEST_GUILESS_MAIN(TestCommandParser)

#include "tst_commandparser_service.moc"
