#include "CommandParser.h"
#include "dbus/CommandHandler.h"
#include "messagelog.h"
#include "scriptedsimulator.h"
#include "testbus.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <QLoggingCategory>
#include <QMetaObject>
#include <QPointer>
#include <QTest>

#include <climits>
#include <memory>

Q_DECLARE_LOGGING_CATEGORY(lcCommandHandler)
Q_DECLARE_METATYPE(ls::MetaEnum)
Q_DECLARE_METATYPE(const QMetaObject *)

using MessageLog::critical;
using MessageLog::debug;

namespace {

const QString sourceFile = QStringLiteral("CommandParser.cpp");
const QString getDescriptionFunction = QStringLiteral(
        "const QString CommandParser::getDescription(const EnumKey&, const QVariantMap&) const");
const QString getArgumentsListFunction = QStringLiteral(
        "const QString CommandParser::getArgumentsList(const EnumKey&, const QVariantMap&) const");
const QString executeCommandFunction
        = QStringLiteral("void CommandParser::executeCommand(int, const QList<QVariant>&) const");
const QString listCommandsFunction = QStringLiteral("void CommandParser::listCommands(int) const");
const QString displayFunction = QStringLiteral(
        "void CommandParser::display(const ls::MetaEnum&, const QVariantMap&) const");

QString descriptionError(const QString &quotedKey)
{
    return critical(sourceFile, getDescriptionFunction,
                    QStringLiteral("CommandParser::getDescription ERROR: Parameter %1 not found!")
                            .arg(quotedKey));
}

QString argumentsError(const QString &quotedKey)
{
    return critical(sourceFile, getArgumentsListFunction,
                    QStringLiteral("CommandParser::getArgumentsList ERROR: Parameter %1 not found!")
                            .arg(quotedKey));
}

QString line(const QString &text)
{
    return debug(sourceFile, displayFunction, text);
}

QVariantMap record(const QVariant &name, const QVariant &type)
{
    QVariantMap argument;
    if (name.isValid())
        argument.insert(ls::argumentNameKey, name);
    if (type.isValid())
        argument.insert(ls::argumentTypeKey, type);
    return argument;
}

// A command entry; an invalid QVariant leaves that member out.
QVariantMap command(const QVariant &description, const QVariant &count = QVariant(),
                    const QVariant &types = QVariant())
{
    QVariantMap entry;
    if (description.isValid())
        entry.insert(ls::descriptionKey, description);
    if (count.isValid())
        entry.insert(ls::argumentCountKey, count);
    if (types.isValid())
        entry.insert(ls::argumentTypesKey, types);
    return entry;
}

QVariantList records(std::initializer_list<QVariantMap> items)
{
    QVariantList list;
    for (const QVariantMap &item : items)
        list.append(item);
    return list;
}

// Names laid out in one array ascend in address, so a meta built from them iterates in array
// order whatever the values.
const QString letterNames[]
        = {QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")};
const QString oddNames[] = {QStringLiteral("Quote\"d"), QStringLiteral("Plain")};

#ifdef COMMAND_HANDLER_SIM
const QString simulator = QStringLiteral(COMMAND_HANDLER_SIM);
#else
// Built without the simulator: the rows that need the service are skipped.
const QString simulator;
#endif

const QByteArray success = R"("resultId": "Success", "errorId": "NoError")";

QByteArray answer(const QByteArray &response)
{
    return R"({"responses": [)" + response + "]}";
}

QString field(const QString &text)
{
    return debug(sourceFile, executeCommandFunction, text);
}

QString categoriesRequest()
{
    return ScriptedSimulator::normalised(R"({"commandId": {"s": "GetCommandCategories"},
                                        "senderId": {"s": "CommandHandler"},
                                        "subCommandId": {"s": "Undefined"}})");
}

QString commandsRequest(const QString &category)
{
    return ScriptedSimulator::normalised(R"({"category": {"s": ")" + category.toUtf8()
                                         + R"("}, "commandId": {"s": "GetCommands"},
                                        "senderId": {"s": "CommandHandler"},
                                        "subCommandId": {"s": "Undefined"}})");
}

// What the listing of an enum writes when the catalogue has none of its entries.
QStringList listingWithoutEntries(const ls::MetaEnum &metaEnum)
{
    QStringList messages;
    for (const QString *name : metaEnum.names()) {
        const QString quoted = QLatin1Char('"') + *name + QLatin1Char('"');
        messages << descriptionError(quoted) << argumentsError(quoted)
                 << line(QString::number(metaEnum.value(name)) + QStringLiteral(" \t  "));
    }
    return messages;
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

class TestCommandParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void getDescription_data();
    void getDescription();
    void getArgumentsList_data();
    void getArgumentsList();
    void sameAnswerTwice_data();
    void sameAnswerTwice();
    void display_data();
    void display();

    void metaObjectHoldsOnlyTheClassName_data();
    void metaObjectHoldsOnlyTheClassName();
    void handlerOutlivesTheParser();
    void commandHandlerLoggingCategory();

    void listCategories_data();
    void listCategories();
    void listCommands_data();
    void listCommands();
    void executeCommand_data();
    void executeCommand();

private:
    TestBus m_bus;
    std::unique_ptr<ScriptedSimulator> m_peer;
    std::unique_ptr<QObject> m_owner;
    CommandParser *m_parser = nullptr;
};

void TestCommandParser::initTestCase()
{
    if (simulator.isEmpty()) {
        // Nothing may reach a bus: a request would show as an unexpected message.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/tst_commandparser");
    } else {
        QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
        m_bus.exportToProcess();
        m_peer = std::make_unique<ScriptedSimulator>(m_bus, simulator);
    }
    m_owner = std::make_unique<QObject>();
    m_parser = new CommandParser(m_owner.get());
    QCOMPARE(m_parser->parent(), m_owner.get());
}

void TestCommandParser::cleanupTestCase()
{
    m_peer.reset();
    m_bus.stop();
}

void TestCommandParser::init()
{
    MessageLog::install();
}

void TestCommandParser::cleanup()
{
    MessageLog::reset();
    // Stopped after every row, so that the next row's peer is the one that answers.
    if (m_peer)
        m_peer->stop();
}

void TestCommandParser::getDescription_data()
{
    QTest::addColumn<QVariantMap>("commands");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("expectNull");
    QTest::addColumn<QStringList>("expectedMessages");

    const QVariantMap catalogue{{QStringLiteral("Ping"), command(QStringLiteral("Check"))}};

    QTest::newRow("description present") << catalogue << QStringLiteral("Ping")
                                         << QStringLiteral("Check") << false << QStringList();
    QTest::newRow("key missing: null and the key quoted")
            << catalogue << QStringLiteral("Echo") << QString() << true
            << QStringList{descriptionError(QStringLiteral("\"Echo\""))};
    QTest::newRow("key differs in case only")
            << catalogue << QStringLiteral("ping") << QString() << true
            << QStringList{descriptionError(QStringLiteral("\"ping\""))};
    QTest::newRow("empty catalogue") << QVariantMap() << QStringLiteral("Ping") << QString() << true
                                     << QStringList{descriptionError(QStringLiteral("\"Ping\""))};
    QTest::newRow("key with quote and backslash is escaped")
            << QVariantMap() << QStringLiteral("a\"b\\c") << QString() << true
            << QStringList{descriptionError(QStringLiteral("\"a\\\"b\\\\c\""))};
    QTest::newRow("entry without description names the description key")
            << QVariantMap{{QStringLiteral("Ping"), command(QVariant(), 1, records({}))}}
            << QStringLiteral("Ping") << QString() << true
            << QStringList{descriptionError(QStringLiteral("\"description\""))};
    QTest::newRow("entry not a map reads as empty entry")
            << QVariantMap{{QStringLiteral("Ping"), QStringLiteral("text")}}
            << QStringLiteral("Ping") << QString() << true
            << QStringList{descriptionError(QStringLiteral("\"description\""))};
    QTest::newRow("empty description: no message, not null")
            << QVariantMap{{QStringLiteral("Ping"), command(QStringLiteral(""))}}
            << QStringLiteral("Ping") << QStringLiteral("") << false << QStringList();
    QTest::newRow("description with tab and line break as it is")
            << QVariantMap{{QStringLiteral("Ping"), command(QStringLiteral("a\tb\nc"))}}
            << QStringLiteral("Ping") << QStringLiteral("a\tb\nc") << false << QStringList();
    QTest::newRow("numeric description as text")
            << QVariantMap{{QStringLiteral("Ping"), command(42)}} << QStringLiteral("Ping")
            << QStringLiteral("42") << false << QStringList();
    QTest::newRow("empty key found under the empty key")
            << QVariantMap{{QString(), command(QStringLiteral("Nameless"))}} << QString()
            << QStringLiteral("Nameless") << false << QStringList();
}

void TestCommandParser::getDescription()
{
    QFETCH(QVariantMap, commands);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    QFETCH(bool, expectNull);
    QFETCH(QStringList, expectedMessages);

    const QString description = m_parser->getDescription(key, commands);
    QCOMPARE(description, expected);
    QCOMPARE(description.isNull(), expectNull);
    QCOMPARE(MessageLog::messages(), expectedMessages);
}

void TestCommandParser::getArgumentsList_data()
{
    QTest::addColumn<QVariantMap>("commands");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QStringList>("expectedMessages");

    const QString key = QStringLiteral("Echo");
    auto only = [&key](const QVariant &entry) {
        return QVariantMap{{key, entry}};
    };
    const QVariantMap ab = record(QStringLiteral("a"), QStringLiteral("b"));
    const QVariantMap xy = record(QStringLiteral("x"), QStringLiteral("y"));

    QTest::newRow("key missing") << QVariantMap() << key << QString()
                                 << QStringList{argumentsError(QStringLiteral("\"Echo\""))};
    QTest::newRow("no description, arguments ignored")
            << only(command(QVariant(), 2, records({ab, xy}))) << key << QString()
            << QStringList{argumentsError(QStringLiteral("\"description\""))};
    QTest::newRow("entry not a map")
            << only(QVariantList{1, 2}) << key << QString()
            << QStringList{argumentsError(QStringLiteral("\"description\""))};
    QTest::newRow("no argument count")
            << only(command(QStringLiteral("d"), QVariant(), records({ab}))) << key << QString()
            << QStringList();
    QTest::newRow("count 0 with records") << only(command(QStringLiteral("d"), 0, records({ab})))
                                          << key << QString() << QStringList();
    QTest::newRow("count not a number reads as 0")
            << only(command(QStringLiteral("d"), QStringLiteral("many"), records({ab}))) << key
            << QString() << QStringList();
    QTest::newRow("count as decimal text")
            << only(command(QStringLiteral("d"), QStringLiteral("1"), records({ab}))) << key
            << QStringLiteral("( a: b )") << QStringList();
    QTest::newRow("one record") << only(command(QStringLiteral("d"), 1, records({ab}))) << key
                                << QStringLiteral("( a: b )") << QStringList();
    QTest::newRow("two records") << only(command(QStringLiteral("d"), 2, records({ab, xy}))) << key
                                 << QStringLiteral("( a: b, x: y )") << QStringList();
    QTest::newRow("count 3 but one record") << only(command(QStringLiteral("d"), 3, records({ab})))
                                            << key << QStringLiteral("( a: b )") << QStringList();
    QTest::newRow("count -1 with two records")
            << only(command(QStringLiteral("d"), -1, records({ab, xy}))) << key
            << QStringLiteral("( a: b, x: y )") << QStringList();
    QTest::newRow("count 1, argument list missing") << only(command(QStringLiteral("d"), 1)) << key
                                                    << QStringLiteral("( )") << QStringList();
    QTest::newRow("count 1, argument list empty")
            << only(command(QStringLiteral("d"), 1, records({}))) << key << QStringLiteral("( )")
            << QStringList();
    QTest::newRow("count 1, argument list not a list")
            << only(command(QStringLiteral("d"), 1, 17)) << key << QStringLiteral("( )")
            << QStringList();
    QTest::newRow("record without name") << only(
            command(QStringLiteral("d"), 1, records({record(QVariant(), QStringLiteral("b"))})))
                                         << key << QStringLiteral("( : b )") << QStringList();
    QTest::newRow("record without type") << only(
            command(QStringLiteral("d"), 1, records({record(QStringLiteral("a"), QVariant())})))
                                         << key << QStringLiteral("( a:  )") << QStringList();
    QTest::newRow("record not a map") << only(command(QStringLiteral("d"), 1, QVariantList{5}))
                                      << key << QStringLiteral("( :  )") << QStringList();
    QTest::newRow("marker in the name takes the second substitution")
            << only(command(QStringLiteral("d"), 1,
                            records({record(QStringLiteral("%1"), QStringLiteral("b"))})))
            << key << QStringLiteral("( b: %2 )") << QStringList();
    QTest::newRow("marker in the type is never substituted")
            << only(command(QStringLiteral("d"), 1,
                            records({record(QStringLiteral("a"), QStringLiteral("%1"))})))
            << key << QStringLiteral("( a: %1 )") << QStringList();
    QTest::newRow("empty description goes on")
            << only(command(QStringLiteral(""), 1, records({ab}))) << key
            << QStringLiteral("( a: b )") << QStringList();
    QTest::newRow("numeric name and type as text")
            << only(command(QStringLiteral("d"), 1, records({record(7, true)}))) << key
            << QStringLiteral("( 7: true )") << QStringList();
}

void TestCommandParser::getArgumentsList()
{
    QFETCH(QVariantMap, commands);
    QFETCH(QString, key);
    QFETCH(QString, expected);
    QFETCH(QStringList, expectedMessages);

    const QString arguments = m_parser->getArgumentsList(key, commands);
    QCOMPARE(arguments, expected.isNull() ? QStringLiteral("") : expected);
    QVERIFY(!arguments.isNull());
    QCOMPARE(MessageLog::messages(), expectedMessages);
}

void TestCommandParser::sameAnswerTwice_data()
{
    QTest::addColumn<QVariantMap>("commands");
    QTest::addColumn<QString>("key");

    QTest::newRow("complete entry")
            << QVariantMap{{QStringLiteral("Echo"),
                            command(QStringLiteral("d"), 1,
                                    records({record(QStringLiteral("a"), QStringLiteral("b"))}))}}
            << QStringLiteral("Echo");
    QTest::newRow("missing entry") << QVariantMap() << QStringLiteral("Echo");
}

void TestCommandParser::sameAnswerTwice()
{
    QFETCH(QVariantMap, commands);
    QFETCH(QString, key);

    const QString description = m_parser->getDescription(key, commands);
    const QString arguments = m_parser->getArgumentsList(key, commands);
    const QStringList firstMessages = MessageLog::messages();
    MessageLog::messages().clear();

    QCOMPARE(m_parser->getDescription(key, commands), description);
    QCOMPARE(m_parser->getArgumentsList(key, commands), arguments);
    QCOMPARE(MessageLog::messages(), firstMessages);
}

void TestCommandParser::display_data()
{
    QTest::addColumn<ls::MetaEnum>("metaEnum");
    QTest::addColumn<QVariantMap>("commands");
    QTest::addColumn<QStringList>("expectedMessages");

    const QVariantMap ab = record(QStringLiteral("a"), QStringLiteral("b"));
    const QVariantMap full{
            {QStringLiteral("Alpha"), command(QStringLiteral("First"), 1, records({ab}))},
            {QStringLiteral("Beta"), command(QStringLiteral("Second"))},
            {QStringLiteral("Gamma"), command(QStringLiteral("Third"), 0)},
    };

    // Enums naming only the first letters.
    const ls::MetaEnum alphaOnly(ls::MetaEnum::Map{{&letterNames[0], 1}});
    const ls::MetaEnum alphaBeta(ls::MetaEnum::Map{{&letterNames[0], 1}, {&letterNames[1], 2}});

    QTest::newRow("empty enum writes nothing") << ls::MetaEnum() << full << QStringList();
    QTest::newRow("every entry present") << ls::MetaEnum(letterNames, {1, 2, 3}) << full
                                         << QStringList{line(QStringLiteral("1 \t First ( a: b )")),
                                                        line(QStringLiteral("2 \t Second ")),
                                                        line(QStringLiteral("3 \t Third "))};
    QTest::newRow("iteration order, not value order")
            << ls::MetaEnum(letterNames, {30, 10, 20}) << full
            << QStringList{line(QStringLiteral("30 \t First ( a: b )")),
                           line(QStringLiteral("10 \t Second ")),
                           line(QStringLiteral("20 \t Third "))};
    QTest::newRow("shared value shows the first name's entry twice")
            << ls::MetaEnum(letterNames, {7, 7, 8}) << full
            << QStringList{line(QStringLiteral("7 \t First ( a: b )")),
                           line(QStringLiteral("7 \t First ( a: b )")),
                           line(QStringLiteral("8 \t Third "))};
    QTest::newRow("negative value with its sign")
            << ls::MetaEnum(letterNames, {-5, 2, 3}) << full
            << QStringList{line(QStringLiteral("-5 \t First ( a: b )")),
                           line(QStringLiteral("2 \t Second ")),
                           line(QStringLiteral("3 \t Third "))};
    QTest::newRow("empty catalogue: errors first, then tab and two blanks")
            << alphaBeta << QVariantMap()
            << QStringList{descriptionError(QStringLiteral("\"Alpha\"")),
                           argumentsError(QStringLiteral("\"Alpha\"")),
                           line(QStringLiteral("1 \t  ")),
                           descriptionError(QStringLiteral("\"Beta\"")),
                           argumentsError(QStringLiteral("\"Beta\"")),
                           line(QStringLiteral("2 \t  "))};
    QTest::newRow("entry without description: both errors name the key")
            << alphaOnly
            << QVariantMap{{QStringLiteral("Alpha"), command(QVariant(), 1, records({ab}))}}
            << QStringList{descriptionError(QStringLiteral("\"description\"")),
                           argumentsError(QStringLiteral("\"description\"")),
                           line(QStringLiteral("1 \t  "))};
    QTest::newRow("entry not a map")
            << alphaOnly
            << QVariantMap{{QStringLiteral("Alpha"), QVariantList{QStringLiteral("x")}}}
            << QStringList{descriptionError(QStringLiteral("\"description\"")),
                           argumentsError(QStringLiteral("\"description\"")),
                           line(QStringLiteral("1 \t  "))};
    QTest::newRow("catalogue entry no enumerator names is not shown")
            << alphaOnly
            << QVariantMap{{QStringLiteral("Alpha"), command(QStringLiteral("First"))},
                           {QStringLiteral("Omega"), command(QStringLiteral("Last"))},
                           {QString(), command(QStringLiteral("Nameless"))}}
            << QStringList{line(QStringLiteral("1 \t First "))};
    QTest::newRow("description and signature unquoted, tab and line break pass")
            << alphaOnly
            << QVariantMap{{QStringLiteral("Alpha"),
                            command(QStringLiteral("say \"hi\"\tnow\nthen"), 1,
                                    records({record(QStringLiteral("w\"x"),
                                                    QStringLiteral("s\\t"))}))}}
            << QStringList{line(QStringLiteral("1 \t say \"hi\"\tnow\nthen ( w\"x: s\\t )"))};
    QTest::newRow("empty description, no arguments")
            << alphaOnly << QVariantMap{{QStringLiteral("Alpha"), command(QStringLiteral(""))}}
            << QStringList{line(QStringLiteral("1 \t  "))};
    QTest::newRow("name needing escapes: quoted in errors only")
            << ls::MetaEnum(oddNames, {1, 2})
            << QVariantMap{{QStringLiteral("Plain"), command(QStringLiteral("Fine"))}}
            << QStringList{descriptionError(QStringLiteral("\"Quote\\\"d\"")),
                           argumentsError(QStringLiteral("\"Quote\\\"d\"")),
                           line(QStringLiteral("1 \t  ")), line(QStringLiteral("2 \t Fine "))};
}

void TestCommandParser::display()
{
    QFETCH(ls::MetaEnum, metaEnum);
    QFETCH(QVariantMap, commands);
    QFETCH(QStringList, expectedMessages);

    m_parser->display(metaEnum, commands);
    QCOMPARE(MessageLog::messages(), expectedMessages);
}

void TestCommandParser::metaObjectHoldsOnlyTheClassName_data()
{
    QTest::addColumn<const QMetaObject *>("metaObject");
    QTest::addColumn<QByteArray>("className");

    QTest::newRow("CommandParser")
            << &CommandParser::staticMetaObject << QByteArrayLiteral("CommandParser");
    QTest::newRow("CommandHandler")
            << &CommandHandler::staticMetaObject << QByteArrayLiteral("CommandHandler");
}

void TestCommandParser::metaObjectHoldsOnlyTheClassName()
{
    QFETCH(const QMetaObject *, metaObject);
    QFETCH(QByteArray, className);

    QCOMPARE(QByteArray(metaObject->className()), className);
    QCOMPARE(metaObject->superClass(), &QObject::staticMetaObject);
    QCOMPARE(metaObject->methodCount(), metaObject->methodOffset());
    QCOMPARE(metaObject->propertyCount(), metaObject->propertyOffset());
    QCOMPARE(metaObject->enumeratorCount(), metaObject->enumeratorOffset());
    QCOMPARE(metaObject->classInfoCount(), metaObject->classInfoOffset());
    QCOMPARE(metaObject->constructorCount(), 0);
}

void TestCommandParser::handlerOutlivesTheParser()
{
    auto *parser = new CommandParser(nullptr);
    QPointer<CommandHandler> handler = parser->commandHandler;
    QVERIFY(handler);
    QCOMPARE(handler->parent(), nullptr);
    delete parser;
    QVERIFY(handler);
    QCOMPARE(MessageLog::messages(), QStringList());
}

void TestCommandParser::commandHandlerLoggingCategory()
{
    const QLoggingCategory &category = lcCommandHandler();
    QCOMPARE(QByteArray(category.categoryName()), QByteArrayLiteral("CommandHandler"));
    QVERIFY(!category.isDebugEnabled());
    QVERIFY(!category.isInfoEnabled());
    QVERIFY(!category.isWarningEnabled());
    QVERIFY(category.isCriticalEnabled());
}

void TestCommandParser::listCategories_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QStringList>("expectedMessages");

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

void TestCommandParser::listCategories()
{
    if (simulator.isEmpty())
        QSKIP("built without command-handler-sim");
    QFETCH(QByteArray, script);
    QFETCH(QStringList, expectedMessages);

    QVERIFY2(m_peer->startScripted(script), qPrintable(m_peer->errorString()));
    m_parser->listCategories();
    QCOMPARE(MessageLog::messages(), expectedMessages);
    QCOMPARE(m_peer->requests(), QStringList{categoriesRequest()});
}

void TestCommandParser::listCommands_data()
{
    QTest::addColumn<int>("category");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QStringList>("expectedMessages");
    QTest::addColumn<QStringList>("expectedRequests");

    const QByteArray emptyCatalogue = answer("{" + success + R"(, "commands": []})");
    auto unknown = [](int category) {
        return QStringList{
                critical(sourceFile, listCommandsFunction,
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
            << QStringList{commandsRequest(QStringLiteral("IpcCommandId"))};
    QTest::newRow("service failure: every command still listed")
            << 6 << answer("{}")
            << QStringList{commandsFailed} + listingWithoutEntries(ls::IpcCommandId::meta)
            << QStringList{commandsRequest(QStringLiteral("IpcCommandId"))};

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
                                << QStringList{commandsRequest(
                                           ls::CommandCategories::meta.name(row.category))};
    }
}

void TestCommandParser::listCommands()
{
    if (simulator.isEmpty())
        QSKIP("built without command-handler-sim");
    QFETCH(int, category);
    QFETCH(QByteArray, script);
    QFETCH(QStringList, expectedMessages);
    QFETCH(QStringList, expectedRequests);

    QVERIFY2(m_peer->startScripted(script), qPrintable(m_peer->errorString()));
    m_parser->listCommands(category);
    QCOMPARE(MessageLog::messages(), expectedMessages);
    QCOMPARE(m_peer->requests(), expectedRequests);
}

void TestCommandParser::executeCommand_data()
{
    QTest::addColumn<int>("commandId");
    QTest::addColumn<QVariantList>("args");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QStringList>("expectedMessages");
    QTest::addColumn<QStringList>("expectedRequests");

    auto details = [](const QByteArray &map) {
        return answer("{" + success + R"(, "details": )" + map + "}");
    };
    auto handled = [](int commandId, const QByteArray &args) {
        return QStringList{ScriptedSimulator::normalised(R"({"args": )" + args
                                                         + R"(, "commandId": {"s": "HandleCommand"},
                   "senderId": {"s": "CommandHandler"}, "subCommandId": {"i": )"
                                                         + QByteArray::number(commandId) + "}}")};
    };
    const QStringList pinged = handled(601, R"({"av": []})");

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
            << handled(603, R"({"av": [{"s": "1"}, {"s": ""}, {"s": "2"}]})");
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

void TestCommandParser::executeCommand()
{
    if (simulator.isEmpty())
        QSKIP("built without command-handler-sim");
    QFETCH(int, commandId);
    QFETCH(QVariantList, args);
    QFETCH(QByteArray, script);
    QFETCH(QStringList, expectedMessages);
    QFETCH(QStringList, expectedRequests);

    QVERIFY2(m_peer->startScripted(script), qPrintable(m_peer->errorString()));
    m_parser->executeCommand(commandId, args);
    QCOMPARE(MessageLog::messages(), expectedMessages);
    QCOMPARE(m_peer->requests(), expectedRequests);
}

QTEST_GUILESS_MAIN(TestCommandParser)

#include "tst_commandparser.moc"
