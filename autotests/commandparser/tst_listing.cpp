// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "datatable.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

// command-parser -l and -c: the catalogue queries on the bus and the listings, with the
// descriptions and argument signatures of their lines.
class TestListing : public ToolBusTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void categories_data();
    void categories() { verifyScriptedRow(m_bus); }

    void commands_data();
    void commands() { verifyScriptedRow(m_bus); }

    void signatures_data();
    void signatures();
};

namespace {
const QString categoriesQuery = QStringLiteral("GetCommandCategories");
const QString commandsQuery = QStringLiteral("GetCommands");

QByteArray json(const QJsonValue &value)
{
    return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact).mid(1).chopped(1);
}

QString describe(const Enumerator &enumerator)
{
    return QStringLiteral("About ") + enumerator.name;
}

// One entry per enumerator, with a description and no arguments, in the reverse of the enum's
// order.
QByteArray everyEntryReversed(const QList<Enumerator> &enumerators)
{
    QJsonArray entries;
    for (const Enumerator &enumerator : enumerators) {
        entries.prepend(QJsonObject{{QStringLiteral("id"), enumerator.name},
                                    {QStringLiteral("description"), describe(enumerator)},
                                    {QStringLiteral("argumentCount"), 0}});
    }
    return json(entries);
}

LogMessages everyEntryListed(const QList<Enumerator> &enumerators)
{
    LogMessages messages;
    for (const Enumerator &enumerator : enumerators)
        messages << listedLine(enumerator.value, describe(enumerator));
    return messages;
}

// The lines of the enumerators, each listed when its name is among the listed ones and without
// texts otherwise.
LogMessages listing(const QList<Enumerator> &enumerators, const QStringList &listed)
{
    LogMessages messages;
    for (const Enumerator &enumerator : enumerators) {
        if (listed.contains(enumerator.name))
            messages << listedLine(enumerator.value, describe(enumerator));
        else
            messages << unlistedEntry(enumerator);
    }
    return messages;
}

QByteArray entry(const QString &name)
{
    return json(QJsonObject{{QStringLiteral("id"), name},
                            {QStringLiteral("description"), describe(Enumerator{0, name})}});
}

LogMessage queryError(const QString &function, const char *text)
{
    return criticalMessage(function,
                           function + QStringLiteral(" ERROR: ") + QString::fromUtf8(text));
}

const QString categoriesFunction = QStringLiteral("CommandHandler::getCommandCategories");
const QString commandsFunction = QStringLiteral("CommandHandler::getCommands");
} // namespace

void TestListing::categories_data()
{
    addScriptedRowColumns();
    const QStringList l = {QStringLiteral("-l")};
    const QStringList sent = {Requests::recordedCategories()};
    const QList<Enumerator> categories = categoryEnumerators();
    const LogMessages noneListed = unlistedEntries(categories);
    const QByteArray ipcEntry = entry(QStringLiteral("IpcCommandId"));
    QTest::newRow("every category, in the enum's order not the answer's")
            << l << Scripts::answeringCatalogue(categoriesQuery, everyEntryReversed(categories))
            << everyEntryListed(categories) << sent;
    QTest::newRow("category entry with arguments: a signature on its line")
            << l
            << Scripts::answeringCatalogue(categoriesQuery,
                                           R"([{"id": "IpcCommandId", "description": "IPC",
                                                     "argumentCount": 1, "argumentTypes":
                                                     [{"name": "a", "type": "b"}]}])")
            << unlistedEntries(categories.mid(0, 5))
                       + LogMessages{listedLine(6, QStringLiteral("IPC"),
                                                QStringLiteral("( a: b )"))}
            << sent;
    QTest::newRow("failed query: processing error, every category without texts")
            << l
            << Scripts::answering(categoriesQuery, R"({"resultId": "Failure", "errorId": "Busy"})")
            << LogMessages{queryError(categoriesFunction,
                                      "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("success without error id: processing error")
            << l
            << Scripts::answering(categoriesQuery, QByteArrayLiteral(R"({"resultId": "Success", )")
                                                           + R"("commandCategories": )"
                                                           + everyEntryReversed(categories) + "}")
            << LogMessages{queryError(categoriesFunction,
                                      "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("D-Bus error: processing error")
            << l
            << Scripts::answering(
                       categoriesQuery,
                       R"({"$error": {"name": "se.tarnvik.Error.Busy", "message": "busy"}})")
            << LogMessages{queryError(categoriesFunction,
                                      "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("success without the category list: categories not found")
            << l
            << Scripts::answering(categoriesQuery,
                                  R"({"resultId": "Success", "errorId": "NoError"})")
            << LogMessages{queryError(categoriesFunction, "Command categories not found!")}
                       + noneListed
            << sent;
    QTest::newRow("empty catalogue: no query message, lines end in the tab and two blanks")
            << l << Scripts::answeringCatalogue(categoriesQuery, "[]") << noneListed << sent;
    QTest::newRow("category list a number: as empty, no query message")
            << l << Scripts::answeringCatalogue(categoriesQuery, "5") << noneListed << sent;
    QTest::newRow("entries that are not maps: never shown")
            << l
            << Scripts::answeringCatalogue(categoriesQuery,
                                           "[5, \"IpcCommandId\", [\"x\"], " + ipcEntry + "]")
            << listing(categories, {QStringLiteral("IpcCommandId")}) << sent;
    QTest::newRow("entry without id: never shown")
            << l
            << Scripts::answeringCatalogue(categoriesQuery,
                                           R"([{"description": "About ConfigurationCommandId"}, )"
                                                   + ipcEntry + "]")
            << listing(categories, {QStringLiteral("IpcCommandId")}) << sent;
    QTest::newRow("two entries with one id: the later one shown")
            << l
            << Scripts::answeringCatalogue(categoriesQuery,
                                           R"([{"id": "IpcCommandId", "description": "Earlier"}, )"
                                                   + ipcEntry + "]")
            << listing(categories, {QStringLiteral("IpcCommandId")}) << sent;
    QTest::newRow("id matching no category: not shown")
            << l
            << Scripts::answeringCatalogue(
                       categoriesQuery,
                       R"([{"id": "MaintenanceCommandId", "description": "Other"}, )" + ipcEntry
                               + "]")
            << listing(categories, {QStringLiteral("IpcCommandId")}) << sent;
    QTest::newRow("id in another letter case: not found")
            << l
            << Scripts::answeringCatalogue(categoriesQuery,
                                           R"([{"id": "ipcCommandId", "description": "Lower"}])")
            << noneListed << sent;
    QTest::newRow("id a number: not found")
            << l
            << Scripts::answeringCatalogue(categoriesQuery, R"([{"id": 6, "description": "Six"}])")
            << noneListed << sent;
}

void TestListing::commands_data()
{
    addScriptedRowColumns();
    const QString c = QStringLiteral("-c");
    for (int category = 1; category <= 6; ++category) {
        const QList<Enumerator> commands = commandEnumerators(category);
        const QString name = categoryName(category);
        QTest::addRow("-c %d: %s asked for, its commands in the enum's order", category,
                      qPrintable(name))
                << QStringList{c, QString::number(category)}
                << Scripts::answeringCatalogue(commandsQuery, everyEntryReversed(commands))
                << everyEntryListed(commands) << QStringList{Requests::recordedCommands(name)};
        QTest::addRow("-c %d: empty catalogue, every command without texts", category)
                << QStringList{c, QString::number(category)}
                << Scripts::answeringCatalogue(commandsQuery, "[]") << unlistedEntries(commands)
                << QStringList{Requests::recordedCommands(name)};
    }

    const QByteArray emptyCatalogue = Scripts::answeringCatalogue(commandsQuery, "[]");
    for (int category : {0, 7, -1, 2147483647, int(-2147483647 - 1)}) {
        QTest::addRow("-c %d: unknown, nothing asked", category)
                << QStringList{c, QString::number(category)} << emptyCatalogue
                << LogMessages{unknownCategory(category)} << QStringList();
    }

    const QStringList ipc = {c, QStringLiteral("6")};
    const QStringList sent = {Requests::recordedCommands(QStringLiteral("IpcCommandId"))};
    const QList<Enumerator> ipcCommands = commandEnumerators(6);
    const LogMessages noneListed = unlistedEntries(ipcCommands);
    const QByteArray echoEntry = entry(QStringLiteral("Echo"));
    QTest::newRow("failed query: processing error naming the category query")
            << ipc
            << Scripts::answering(commandsQuery, R"({"resultId": "Failure", "errorId": "Busy"})")
            << LogMessages{queryError(commandsFunction, "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("success in lower case: processing error")
            << ipc
            << Scripts::answering(commandsQuery, QByteArrayLiteral(R"({"resultId": "success", )")
                                                         + R"("errorId": "NoError", "commands": )"
                                                         + everyEntryReversed(ipcCommands) + "}")
            << LogMessages{queryError(commandsFunction, "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("peer out of answers: processing error")
            << ipc << QByteArray("{}")
            << LogMessages{queryError(commandsFunction, "Processing GetCommandCategories failed!")}
                       + noneListed
            << sent;
    QTest::newRow("success without the command list: commands not found")
            << ipc
            << Scripts::answering(commandsQuery, R"({"resultId": "Success", "errorId": "NoError"})")
            << LogMessages{queryError(commandsFunction, "Commands not found!")} + noneListed
            << sent;
    QTest::newRow("command list a text: as empty, no query message")
            << ipc << Scripts::answeringCatalogue(commandsQuery, R"("Ping")") << noneListed << sent;
    QTest::newRow("commands of another category: not shown")
            << ipc
            << Scripts::answeringCatalogue(commandsQuery,
                                           "[" + entry(QStringLiteral("GetConfiguration")) + ", "
                                                   + echoEntry + "]")
            << listing(ipcCommands, {QStringLiteral("Echo")}) << sent;
    QTest::newRow("entries that are not maps or without id: never shown")
            << ipc
            << Scripts::answeringCatalogue(commandsQuery,
                                           R"([7, "Ping", {"description": "About Ping"}, )"
                                                   + echoEntry + "]")
            << listing(ipcCommands, {QStringLiteral("Echo")}) << sent;
    QTest::newRow("two entries with one id: the later one shown")
            << ipc
            << Scripts::answeringCatalogue(commandsQuery,
                                           R"([{"id": "Echo", "description": "Earlier"}, )"
                                                   + echoEntry + "]")
            << listing(ipcCommands, {QStringLiteral("Echo")}) << sent;
    QTest::newRow("id in another letter case: not found")
            << ipc
            << Scripts::answeringCatalogue(commandsQuery,
                                           R"([{"id": "echo", "description": "Lower"}])")
            << noneListed << sent;
}

void TestListing::signatures_data()
{
    addColumns<QByteArray, LogMessages>("echo", "echoMessages");

    auto echo = [](const char *description, const char *signature = "") {
        return LogMessages{
                listedLine(603, QString::fromUtf8(description), QString::fromUtf8(signature))};
    };
    const LogMessage noDescription = criticalMessage(
            QStringLiteral("CommandParser::getDescription"),
            QStringLiteral(
                    "CommandParser::getDescription ERROR: Parameter \"description\" not found!"));
    const LogMessage noDescriptionForSignature = criticalMessage(
            QStringLiteral("CommandParser::getArgumentsList"),
            QStringLiteral(
                    "CommandParser::getArgumentsList ERROR: Parameter \"description\" not found!"));

    QTest::newRow("one record: ( a: b )")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo", "( a: b )");
    QTest::newRow("two records: ( a: b, x: y )")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 2,
                             "argumentTypes": [{"name": "a", "type": "b"},
                                               {"name": "x", "type": "y"}]})")
            << echo("Echo", "( a: b, x: y )");
    QTest::newRow("three records, in list order")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 3,
                             "argumentTypes": [{"type": "int", "name": "z"},
                                               {"name": "a", "type": "b"},
                                               {"name": "m", "type": "n"}]})")
            << echo("Echo", "( z: int, a: b, m: n )");
    QTest::newRow("count 3, one record: the record alone")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 3,
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo", "( a: b )");
    QTest::newRow("count 1, two records: both")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a", "type": "b"},
                                               {"name": "x", "type": "y"}]})")
            << echo("Echo", "( a: b, x: y )");
    QTest::newRow("count 0 with records: no signature, the line ends in a blank")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 0,
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo");
    QTest::newRow("count -1, two records: both")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": -1,
                             "argumentTypes": [{"name": "a", "type": "b"},
                                               {"name": "x", "type": "y"}]})")
            << echo("Echo", "( a: b, x: y )");
    QTest::newRow("count missing, with records: no signature")
            << QByteArray(R"({"id": "Echo", "description": "Echo",
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo");
    QTest::newRow("count a text that is no number: as 0")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": "many",
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo");
    QTest::newRow("count a number in text: read as the number")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": "2",
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("Echo", "( a: b )");
    QTest::newRow("count non-zero, no argument list: ( )")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 2})")
            << echo("Echo", "( )");
    QTest::newRow("count non-zero, empty argument list: ( )")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 2,
                             "argumentTypes": []})")
            << echo("Echo", "( )");
    QTest::newRow("argument list a text: ( )")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": "a: b"})")
            << echo("Echo", "( )");
    QTest::newRow("record without name: the item begins with the colon")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"type": "b"}]})")
            << echo("Echo", "( : b )");
    QTest::newRow("record without type: the item ends in the colon and a blank")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a"}]})")
            << echo("Echo", "( a:  )");
    QTest::newRow("record without name and type")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"other": "x"}]})")
            << echo("Echo", "( :  )");
    QTest::newRow("record not a map: as one without name and type")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 2,
                             "argumentTypes": ["a", {"name": "x", "type": "y"}]})")
            << echo("Echo", "( : , x: y )");
    QTest::newRow("name %1: the type fills it, the pattern's %2 stays")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "%1", "type": "b"}]})")
            << echo("Echo", "( b: %2 )");
    QTest::newRow("name %2: the type fills both markers")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "%2", "type": "b"}]})")
            << echo("Echo", "( b: b )");
    QTest::newRow("type %1: never substituted")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a", "type": "%1"}]})")
            << echo("Echo", "( a: %1 )");
    QTest::newRow("name and type not texts: their text forms")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": 5, "type": true}]})")
            << echo("Echo", "( 5: true )");
    QTest::newRow("blanks inside name and type kept")
            << QByteArray(R"({"id": "Echo", "description": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a b", "type": "c d"}]})")
            << echo("Echo", "( a b: c d )");
    QTest::newRow("empty description: no message, the signature follows")
            << QByteArray(R"({"id": "Echo", "description": "", "argumentCount": 1,
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << echo("", "( a: b )");
    QTest::newRow("empty description, no arguments: the tab and two blanks")
            << QByteArray(R"({"id": "Echo", "description": "", "argumentCount": 0})") << echo("");
    QTest::newRow("no description: both report it, no signature despite arguments")
            << QByteArray(R"({"id": "Echo", "argumentCount": 1,
                             "argumentTypes": [{"name": "a", "type": "b"}]})")
            << LogMessages{noDescription, noDescriptionForSignature, listedLine(603, QString())};
    QTest::newRow("description a number: its text")
            << QByteArray(R"({"id": "Echo", "description": 5, "argumentCount": 0})") << echo("5");
    QTest::newRow("description with tab and line break: written as they are")
            << QByteArray(R"({"id": "Echo", "description": "a\tb\nc", "argumentCount": 1,
                             "argumentTypes": [{"name": "x\ty", "type": "z"}]})")
            << echo("a\tb\nc", "( x\ty: z )");
    QTest::newRow("description with quotes and backslash: unquoted")
            << QByteArray(R"({"id": "Echo", "description": "say \"hi\" \\o/"})")
            << echo("say \"hi\" \\o/");
    QTest::newRow("description non-ASCII: written unchanged as UTF-8")
            << QByteArray(R"({"id": "Echo", "description": "Upprepar ⠑⠉⠓⠕"})")
            << echo("Upprepar ⠑⠉⠓⠕");
}

void TestListing::signatures()
{
    QFETCH(QByteArray, echo);
    QFETCH(LogMessages, echoMessages);
    // Echo's neighbours stay plain, so that each row changes one line only.
    const QByteArray script = Scripts::answeringCatalogue(
            commandsQuery,
            R"([{"id": "Ping", "description": "Ping", "argumentCount": 0},
                {"id": "GetServiceInfo", "description": "Info"}, )"
                    + echo
                    + R"(, {"id": "GetDeviceState", "description": "State", "argumentCount": 0}])");
    const LogMessages messages = LogMessages{listedLine(601, QStringLiteral("Ping")),
                                             listedLine(602, QStringLiteral("Info"))}
                                 + echoMessages
                                 + LogMessages{listedLine(604, QStringLiteral("State"))};

    ToolRunner runner(m_bus);
    QVERIFY2(runner.startScripted(script), qPrintable(runner.errorString()));
    verifyLoggedRuns(runner, {QStringLiteral("-c"), QStringLiteral("6")}, messages,
                     {Requests::recordedCommands(QStringLiteral("IpcCommandId"))});
}

QTEST_GUILESS_MAIN(TestListing)

#include "tst_listing.moc"
