// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "datatable.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {
const QString execute = QStringLiteral("HandleCommand");

const QByteArray readyResponse
        = R"({"resultId": "Success", "errorId": "NoError", "details": {"state": "ready"}})";
const QByteArray failedResponse = R"({"resultId": "Failure", "errorId": "Busy"})";

const QByteArray categoriesResponse = R"({"resultId": "Success", "errorId": "NoError",
    "commandCategories": [
        {"id": "ConfigurationCommandId", "description": "Configuration"},
        {"id": "PaperFeedCommandId", "description": "Paper feed"},
        {"id": "DocumentCommandId", "description": "Documents"},
        {"id": "EmbossCommandId", "description": "Embossing"},
        {"id": "TestingCommandId", "description": "Testing"},
        {"id": "IpcCommandId", "description": "Inter-process"}]})";

const QByteArray ipcResponse = R"({"resultId": "Success", "errorId": "NoError",
    "commands": [
        {"id": "Ping", "description": "Answers", "argumentCount": 0, "argumentTypes": []},
        {"id": "GetServiceInfo", "description": "Service information"},
        {"id": "Echo", "description": "Repeats its text", "argumentCount": 1,
         "argumentTypes": [{"name": "text", "type": "string"}]},
        {"id": "GetDeviceState", "description": "Device state", "argumentCount": 0}]})";

// A peer that answers every request the tool can make.
const QByteArray everyAnswer = QByteArrayLiteral("{\"byCommand\": {\"HandleCommand\": ")
                               + readyResponse + QByteArrayLiteral(", \"GetCommandCategories\": ")
                               + categoriesResponse + QByteArrayLiteral(", \"GetCommands\": ")
                               + ipcResponse + QByteArrayLiteral("}}");

LogMessages readyResult()
{
    return {resultLine(QStringLiteral("state"), QStringLiteral("ready"))};
}

LogMessages categoriesListing()
{
    return {listedLine(1, QStringLiteral("Configuration")),
            listedLine(2, QStringLiteral("Paper feed")),
            listedLine(3, QStringLiteral("Documents")),
            listedLine(4, QStringLiteral("Embossing")),
            listedLine(5, QStringLiteral("Testing")),
            listedLine(6, QStringLiteral("Inter-process"))};
}

LogMessages ipcListing()
{
    return {listedLine(601, QStringLiteral("Answers")),
            listedLine(602, QStringLiteral("Service information")),
            listedLine(603, QStringLiteral("Repeats its text"), QStringLiteral("( text: string )")),
            listedLine(604, QStringLiteral("Device state"))};
}

LogMessage mainError(const char *text)
{
    return criticalMessage(QStringLiteral("main"),
                           QStringLiteral("ERROR: ") + QString::fromUtf8(text));
}

QByteArray helpOptionText(const QString &program = ToolRunner::toolPath())
{
    QFile file(QStringLiteral(COMMANDPARSER_DATA_DIR "/help-option.txt"));
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    // The usage line names the program as it was started.
    return file.readAll().replace("@PROGRAM@", program.toUtf8());
}

// The name of a link to the tool: Qt's default application name would be this one.
const QString otherName = QStringLiteral("embosser-shell");
const QString programPlaceholder = QStringLiteral("@PROGRAM@");
} // namespace

// The command line of command-parser: dispatch, option values, the help screen, the parser's own
// handling, and the form of every message.
class TestCommandLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        startToolTestBus(m_bus);

        // A user set-up that would silence or reshape the log if it reached the tool: every row
        // below shows that the runner keeps it out.
        QVERIFY(m_hostileConfig.isValid());
        QVERIFY(QDir(m_hostileConfig.path()).mkpath(QStringLiteral("QtProject")));
        QFile rules(m_hostileConfig.filePath(QStringLiteral("QtProject/qtlogging.ini")));
        QVERIFY(rules.open(QIODevice::WriteOnly));
        rules.write("[Rules]\n*.debug=false\n");
        rules.close();
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_hostileConfig.path()));
        qputenv("QT_LOGGING_RULES", "default.critical=false");
        qputenv("QT_MESSAGE_PATTERN", "%{time} %{message}");
    }

    void cleanupTestCase() { m_bus.stop(); }

    void dispatch_data()
    {
        addColumns<QStringList, LogMessages, QStringList>("arguments", "messages", "requests");

        const QString e = QStringLiteral("-e");
        const QString a = QStringLiteral("-a");
        const QString l = QStringLiteral("-l");
        const QString c = QStringLiteral("-c");

        QTest::newRow("empty command line: no options, help screen")
                << QStringList() << noOptions() << QStringList();
        QTest::newRow("-a alone: no options, help screen")
                << QStringList{a, QStringLiteral("1 2")} << noOptions() << QStringList();
        QTest::newRow("-a alone with an empty value: no options, help screen")
                << QStringList{a, QString()} << noOptions() << QStringList();
        QTest::newRow("--arguments alone: no options, help screen")
                << QStringList{QStringLiteral("--arguments"), QStringLiteral("601")} << noOptions()
                << QStringList();
        QTest::newRow("positional argument alone: no options, help screen")
                << QStringList{QStringLiteral("601")} << noOptions() << QStringList();

        QTest::newRow("-e empty: both errors, command 0 unknown and not sent")
                << QStringList{e, QString()}
                << LogMessages{mainError("No command specified."),
                               mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e x: invalid, command 0 unknown and not sent")
                << QStringList{e, QStringLiteral("x")}
                << LogMessages{mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e 601abc: invalid")
                << QStringList{e, QStringLiteral("601abc")}
                << LogMessages{mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e 0x259: not decimal, invalid")
                << QStringList{e, QStringLiteral("0x259")}
                << LogMessages{mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e 2147483648: beyond int, invalid")
                << QStringList{e, QStringLiteral("2147483648")}
                << LogMessages{mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-e 5 without -a: unknown, not sent")
                << QStringList{e, QStringLiteral("5")} << LogMessages{unknownCommand(5)}
                << QStringList();
        QTest::newRow("-e -601: unknown, written with its minus sign")
                << QStringList{e, QStringLiteral("-601")} << LogMessages{unknownCommand(-601)}
                << QStringList();
        QTest::newRow("-e 601 without -a: empty argument list sent")
                << QStringList{e, QStringLiteral("601")} << readyResult()
                << QStringList{Requests::recordedCommand(601, {})};
        QTest::newRow("-e +601: decimal with sign")
                << QStringList{e, QStringLiteral("+601")} << readyResult()
                << QStringList{Requests::recordedCommand(601, {})};
        QTest::newRow("-e with blanks around 601: decimal")
                << QStringList{e, QStringLiteral(" 601 ")} << readyResult()
                << QStringList{Requests::recordedCommand(601, {})};

        QTest::newRow("-a 1, two blanks, 2: three arguments, the middle one empty")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("1  2")} << readyResult()
                << QStringList{Requests::recordedCommand(
                           603, {QStringLiteral("1"), QString(), QStringLiteral("2")})};
        QTest::newRow("-a blank then 1: an empty argument and 1")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral(" 1")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {QString(), QStringLiteral("1")})};
        QTest::newRow("-a empty: one empty argument")
                << QStringList{e, QStringLiteral("603"), a, QString()} << readyResult()
                << QStringList{Requests::recordedCommand(603, {QString()})};
        QTest::newRow("-a 42: stays text")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("42")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {QStringLiteral("42")})};
        QTest::newRow("-a with a trailing blank: a trailing empty argument")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("a b ")} << readyResult()
                << QStringList{Requests::recordedCommand(
                           603, {QStringLiteral("a"), QStringLiteral("b"), QString()})};
        QTest::newRow("-a two blanks: three empty arguments")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("  ")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {QString(), QString(), QString()})};
        QTest::newRow("-a with a tab: one argument, the tab kept")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("a\tb")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {QStringLiteral("a\tb")})};
        QTest::newRow("-a -l: -l is the value, not an option")
                << QStringList{e, QStringLiteral("603"), a, l} << readyResult()
                << QStringList{Requests::recordedCommand(603, {l})};
        QTest::newRow("-a non-ASCII: sent unchanged as UTF-8")
                << QStringList{e, QStringLiteral("603"), a, QStringLiteral("åäö ⠃⠗")}
                << readyResult()
                << QStringList{Requests::recordedCommand(
                           603, {QStringLiteral("åäö"), QStringLiteral("⠃⠗")})};

        QTest::newRow("-e 3 with -l and -c 2: only the execution, unknown")
                << QStringList{e, QStringLiteral("3"), l, c, QStringLiteral("2")}
                << LogMessages{unknownCommand(3)} << QStringList();
        QTest::newRow("-e 603 with -l and -c 2: only the execution")
                << QStringList{l, c, QStringLiteral("2"), e, QStringLiteral("603")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {})};
        QTest::newRow("-l with -c 2: the categories only")
                << QStringList{l, c, QStringLiteral("2")} << categoriesListing()
                << QStringList{Requests::recordedCategories()};
        QTest::newRow("-c 2 before -l: the categories only")
                << QStringList{c, QStringLiteral("2"), l} << categoriesListing()
                << QStringList{Requests::recordedCategories()};
        QTest::newRow("-l with a bad -c value: the categories only, no -c error")
                << QStringList{l, c, QStringLiteral("x")} << categoriesListing()
                << QStringList{Requests::recordedCategories()};
        QTest::newRow("-e with a bad -c value: no -c error")
                << QStringList{e, QStringLiteral("603"), c, QString()} << readyResult()
                << QStringList{Requests::recordedCommand(603, {})};

        QTest::newRow("-e twice: the last one")
                << QStringList{e, QStringLiteral("601"), e, QStringLiteral("603")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {})};
        QTest::newRow("-e twice, the last one bad: invalid")
                << QStringList{e, QStringLiteral("601"), e, QStringLiteral("x")}
                << LogMessages{mainError("Invalid command specified."), unknownCommand(0)}
                << QStringList();
        QTest::newRow("-a twice: the last one")
                << QStringList{e, QStringLiteral("603"),   a, QStringLiteral("first one"),
                               a, QStringLiteral("second")}
                << readyResult()
                << QStringList{Requests::recordedCommand(603, {QStringLiteral("second")})};
        QTest::newRow("-c twice: the last one")
                << QStringList{c, QStringLiteral("1"), c, QStringLiteral("6")} << ipcListing()
                << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};

        QTest::newRow("-c empty: both errors, category 0 unknown and not asked for")
                << QStringList{c, QString()}
                << LogMessages{mainError("No category specified."),
                               mainError("Invalid category specified."), unknownCategory(0)}
                << QStringList();
        QTest::newRow("-c x: invalid, category 0 unknown and not asked for")
                << QStringList{c, QStringLiteral("x")}
                << LogMessages{mainError("Invalid category specified."), unknownCategory(0)}
                << QStringList();
        QTest::newRow("-c 6: the commands of category 6")
                << QStringList{c, QStringLiteral("6")} << ipcListing()
                << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};

        QTest::newRow("long options: --executeCommand with --arguments")
                << QStringList{QStringLiteral("--executeCommand"), QStringLiteral("603"),
                               QStringLiteral("--arguments"), QStringLiteral("a b")}
                << readyResult()
                << QStringList{Requests::recordedCommand(
                           603, {QStringLiteral("a"), QStringLiteral("b")})};
        QTest::newRow("long option with an equals sign")
                << QStringList{QStringLiteral("--executeCommand=603")} << readyResult()
                << QStringList{Requests::recordedCommand(603, {})};
        QTest::newRow("long options: --listCategories")
                << QStringList{QStringLiteral("--listCategories")} << categoriesListing()
                << QStringList{Requests::recordedCategories()};
        QTest::newRow("long options: --listCommands")
                << QStringList{QStringLiteral("--listCommands"), QStringLiteral("6")}
                << ipcListing()
                << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};
    }

    void dispatch()
    {
        QFETCH(QStringList, arguments);
        QFETCH(LogMessages, messages);
        QFETCH(QStringList, requests);

        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted(everyAnswer), qPrintable(runner.errorString()));
        verifyLoggedRuns(runner, arguments, messages, requests);
    }

    void parserHandled_data()
    {
        addColumns<QStringList, QByteArray, QByteArray, int>("arguments", "standardOutput",
                                                             "standardError", "exitCode");

        const QByteArray help = helpOptionText();
        const QByteArray version = QByteArrayLiteral("command-parser \n");

        QTest::newRow("--help: the parser's help")
                << QStringList{QStringLiteral("--help")} << help << QByteArray() << 0;
        QTest::newRow("-h: the parser's help")
                << QStringList{QStringLiteral("-h")} << help << QByteArray() << 0;
        QTest::newRow("--help with -e 601: the help, nothing sent")
                << QStringList{QStringLiteral("-e"), QStringLiteral("601"),
                               QStringLiteral("--help")}
                << help << QByteArray() << 0;
        QTest::newRow("--version: name and no version")
                << QStringList{QStringLiteral("--version")} << version << QByteArray() << 0;
        QTest::newRow("-v: name and no version")
                << QStringList{QStringLiteral("-v")} << version << QByteArray() << 0;
        QTest::newRow("--version with -l: the version, nothing sent")
                << QStringList{QStringLiteral("-l"), QStringLiteral("--version")} << version
                << QByteArray() << 0;

        QTest::newRow("unknown short option")
                << QStringList{QStringLiteral("-z")} << QByteArray()
                << QByteArrayLiteral("command-parser: Unknown option 'z'.\n") << 1;
        QTest::newRow("unknown long option")
                << QStringList{QStringLiteral("--bogus")} << QByteArray()
                << QByteArrayLiteral("command-parser: Unknown option 'bogus'.\n") << 1;
        QTest::newRow("-?: help only on Windows, unknown here")
                << QStringList{QStringLiteral("-?")} << QByteArray()
                << QByteArrayLiteral("command-parser: Unknown option '?'.\n") << 1;
        QTest::newRow("two unknown options")
                << QStringList{QStringLiteral("-z"), QStringLiteral("-y")} << QByteArray()
                << QByteArrayLiteral("command-parser: Unknown options: z, y.\n") << 1;
        QTest::newRow("unknown option beside -e 601: nothing sent")
                << QStringList{QStringLiteral("-e"), QStringLiteral("601"), QStringLiteral("-z")}
                << QByteArray() << QByteArrayLiteral("command-parser: Unknown option 'z'.\n") << 1;
        QTest::newRow("-e without value")
                << QStringList{QStringLiteral("-e")} << QByteArray()
                << QByteArrayLiteral("command-parser: Missing value after '-e'.\n") << 1;
        QTest::newRow("-a without value beside -e 601: nothing sent")
                << QStringList{QStringLiteral("-e"), QStringLiteral("601"), QStringLiteral("-a")}
                << QByteArray() << QByteArrayLiteral("command-parser: Missing value after '-a'.\n")
                << 1;
        QTest::newRow("-c without value")
                << QStringList{QStringLiteral("-c")} << QByteArray()
                << QByteArrayLiteral("command-parser: Missing value after '-c'.\n") << 1;
        QTest::newRow("--listCommands without value")
                << QStringList{QStringLiteral("--listCommands")} << QByteArray()
                << QByteArrayLiteral("command-parser: Missing value after '--listCommands'.\n")
                << 1;
    }

    void parserHandled()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, standardOutput);
        QFETCH(QByteArray, standardError);
        QFETCH(int, exitCode);
        QVERIFY(!standardOutput.isEmpty() || !standardError.isEmpty());

        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted(everyAnswer), qPrintable(runner.errorString()));
        // The parser writes these itself, past the message logger: no pattern changes them.
        for (MessagePattern pattern : {MessagePattern::Default, MessagePattern::Context}) {
            const ToolRun run = runner.run(arguments, pattern);
            QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
            QCOMPARE(run.standardOutput.split('\n'), standardOutput.split('\n'));
            QCOMPARE(run.standardError, standardError);
            QCOMPARE(run.exitCode, exitCode);
            QCOMPARE(run.requests, QStringList());
        }
    }

    void applicationName_data()
    {
        addColumns<QStringList, QByteArray, QByteArray, int>("arguments", "standardOutput",
                                                             "standardError", "exitCode");

        QTest::newRow("--version under another name: still command-parser")
                << QStringList{QStringLiteral("--version")}
                << QByteArrayLiteral("command-parser \n") << QByteArray() << 0;
        QTest::newRow("unknown option under another name: still command-parser")
                << QStringList{QStringLiteral("-z")} << QByteArray()
                << QByteArrayLiteral("command-parser: Unknown option 'z'.\n") << 1;
        QTest::newRow("missing value under another name: still command-parser")
                << QStringList{QStringLiteral("-e")} << QByteArray()
                << QByteArrayLiteral("command-parser: Missing value after '-e'.\n") << 1;
        // Qt's usage line shows the path the program was started with, not the application name.
        QTest::newRow("--help under another name: the usage line shows the link")
                << QStringList{QStringLiteral("--help")} << helpOptionText(programPlaceholder)
                << QByteArray() << 0;
    }

    void applicationName()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, standardOutput);
        QFETCH(QByteArray, standardError);
        QFETCH(int, exitCode);

        QTemporaryDir linkDir;
        QVERIFY2(linkDir.isValid(), qPrintable(linkDir.errorString()));
        const QString link = linkDir.filePath(otherName);
        QVERIFY(QFile::link(ToolRunner::toolPath(), link));
        standardOutput.replace(programPlaceholder.toUtf8(), link.toUtf8());
        QVERIFY(!standardOutput.isEmpty() || !standardError.isEmpty());

        ToolRunner runner(m_bus);
        runner.setToolPath(link);
        QVERIFY2(runner.startScripted(everyAnswer), qPrintable(runner.errorString()));
        const ToolRun run = runner.run(arguments);
        QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
        QCOMPARE(run.standardOutput.split('\n'), standardOutput.split('\n'));
        QCOMPARE(run.standardError, standardError);
        QCOMPARE(run.exitCode, exitCode);
        QCOMPARE(run.requests, QStringList());
    }

    void loggingRules_data()
    {
        addColumns<QString, QStringList, LogMessages, QStringList>("rules", "arguments", "messages",
                                                                   "requests");

        const QString noDebug = QStringLiteral("default.debug=false");
        const QString noCritical = QStringLiteral("default.critical=false");

        QTest::newRow("debug off: the help screen goes, its error stays")
                << noDebug << QStringList() << LogMessages{mainError("No options specified.")}
                << QStringList();
        QTest::newRow("debug off: the unknown command goes, the option errors stay")
                << noDebug << QStringList{QStringLiteral("-e"), QString()}
                << LogMessages{mainError("No command specified."),
                               mainError("Invalid command specified.")}
                << QStringList();
        QTest::newRow("debug off: the listing goes")
                << noDebug << QStringList{QStringLiteral("-l")} << LogMessages()
                << QStringList{Requests::recordedCategories()};
        QTest::newRow("debug off: the result goes")
                << noDebug << QStringList{QStringLiteral("-e"), QStringLiteral("601")}
                << LogMessages() << QStringList{Requests::recordedCommand(601, {})};
        QTest::newRow("critical off: the help screen stays, its error goes")
                << noCritical << QStringList() << helpScreen() << QStringList();
        QTest::newRow("critical off: the unknown category goes")
                << noCritical << QStringList{QStringLiteral("-c"), QStringLiteral("7")}
                << LogMessages() << QStringList();
        QTest::newRow("critical off: the unknown command stays")
                << noCritical << QStringList{QStringLiteral("-e"), QStringLiteral("x")}
                << LogMessages{unknownCommand(0)} << QStringList();
    }

    void loggingRules()
    {
        QFETCH(QString, rules);
        QFETCH(QStringList, arguments);
        QFETCH(LogMessages, messages);
        QFETCH(QStringList, requests);

        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted(everyAnswer), qPrintable(runner.errorString()));
        QProcessEnvironment environment;
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), rules);
        verifyLoggedRuns(runner, arguments, messages, requests, environment);
    }

    void messageContext_data()
    {
        addColumns<QStringList, QByteArray, QStringList>("arguments", "script", "functions");

        const QString main = QStringLiteral("main");
        const QString help = QStringLiteral("printHelp");
        const QString description = QStringLiteral("CommandParser::getDescription");
        const QString signature = QStringLiteral("CommandParser::getArgumentsList");
        const QString display = QStringLiteral("CommandParser::display");
        QStringList categoryLines;
        for (int i = 0; i < categoryEnumerators().size(); ++i)
            categoryLines << description << signature << display;
        QStringList ipcLines;
        for (int i = 0; i < commandEnumerators(6).size(); ++i)
            ipcLines << description << signature << display;

        QTest::newRow("main and printHelp")
                << QStringList() << everyAnswer
                << QStringList{main, help, help, help, help, help, help};
        QTest::newRow("main and the unknown command")
                << QStringList{QStringLiteral("-e"), QString()} << everyAnswer
                << QStringList{main, main, QStringLiteral("CommandHandler::executeCommand")};
        QTest::newRow("result line")
                << QStringList{QStringLiteral("-e"), QStringLiteral("601")} << everyAnswer
                << QStringList{QStringLiteral("CommandParser::executeCommand")};
        QTest::newRow("failed execution")
                << QStringList{QStringLiteral("-e"), QStringLiteral("601")}
                << Scripts::answering(execute, failedResponse)
                << QStringList{QStringLiteral("CommandHandler::executeCommand")};
        QTest::newRow("failed category query")
                << QStringList{QStringLiteral("-l")}
                << Scripts::answering(QStringLiteral("GetCommandCategories"), failedResponse)
                << QStringList{QStringLiteral("CommandHandler::getCommandCategories")}
                           + categoryLines;
        QTest::newRow("failed command query")
                << QStringList{QStringLiteral("-c"), QStringLiteral("6")}
                << Scripts::answering(QStringLiteral("GetCommands"), failedResponse)
                << QStringList{QStringLiteral("CommandHandler::getCommands")} + ipcLines;
        QTest::newRow("unknown category")
                << QStringList{QStringLiteral("-c"), QStringLiteral("0")} << everyAnswer
                << QStringList{QStringLiteral("CommandParser::listCommands")};
    }

    void messageContext()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, functions);

        ToolRunner runner(m_bus);
        QVERIFY2(runner.startScripted(script), qPrintable(runner.errorString()));
        const ToolRun run = runner.run(arguments, MessagePattern::FileLine);
        QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
        QCOMPARE(run.exitCode, 0);

        // Without the text in the pattern every message is one line: file|line|function.
        QList<QByteArray> lines = run.standardError.split('\n');
        QCOMPARE(lines.takeLast(), QByteArray());
        QCOMPARE(lines.size(), functions.size());
        QString mainFile;
        for (int i = 0; i < lines.size(); ++i) {
            const QStringList parts = QString::fromUtf8(lines.at(i)).split(QLatin1Char('|'));
            QCOMPARE(parts.size(), 3);
            const QString &file = parts.at(0);
            const QString &function = functions.at(i);
            QCOMPARE(parts.at(2), function);
            QVERIFY2(parts.at(1).toInt() > 0, lines.at(i).constData());
            QVERIFY2(file.endsWith(QLatin1String(".cpp")), lines.at(i).constData());
            if (function.startsWith(QLatin1String("CommandParser::"))) {
                QVERIFY2(file.endsWith(QLatin1String("/CommandParser.cpp")), qPrintable(file));
            } else if (function.startsWith(QLatin1String("CommandHandler::"))) {
                QVERIFY2(file.endsWith(QLatin1String("/dbus/CommandHandler.cpp")),
                         qPrintable(file));
            } else {
                // main and printHelp share the main source file.
                if (mainFile.isEmpty())
                    mainFile = file;
                QCOMPARE(file, mainFile);
                QVERIFY(!file.endsWith(QLatin1String("/CommandParser.cpp")));
            }
        }
    }

private:
    TestBus m_bus;
    QTemporaryDir m_hostileConfig;
};

QTEST_GUILESS_MAIN(TestCommandLine)

#include "tst_commandline.moc"
