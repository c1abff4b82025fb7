// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "CommandParser.h"
#include "datatable.h"
#include "dbus/CommandHandler.h"
#include "parsermessages.h"

#include <ls/metaenum.h>

#include <QLoggingCategory>
#include <QMetaObject>
#include <QPointer>
#include <QTest>

#include <memory>

Q_DECLARE_LOGGING_CATEGORY(lcCommandHandler)
Q_DECLARE_METATYPE(ls::MetaEnum)
Q_DECLARE_METATYPE(const QMetaObject *)

using namespace ParserMessages;

namespace {

// Names laid out in one array ascend in address, so a meta built from them iterates in array
// order whatever the values.
const QString letterNames[]
        = {QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma")};
const QString oddNames[] = {QStringLiteral("Quote\"d"), QStringLiteral("Plain")};

} // namespace

// CommandParser in the test's own process, with no bus: how it reads one catalogue entry
// (description, argument signature) and lists an enum's entries, every message it logs compared;
// and the tool's two classes as objects: their meta-objects, who owns the handler, and the
// handler's logging category.
// TestCommandParser is the friend CommandParser names.
class TestCommandParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // Nothing may reach a bus: a request would show as an unexpected message.
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/tst_commandparser");
        m_owner = std::make_unique<QObject>();
        m_parser = new CommandParser(m_owner.get());
        QCOMPARE(m_parser->parent(), m_owner.get());
    }

    void init() { MessageLog::install(); }

    void cleanup() { MessageLog::reset(); }

    void getDescription_data()
    {
        addColumns<QVariantMap, QString, QString, bool, QStringList>(
                "commands", "key", "expected", "expectNull", "expectedMessages");

        const QVariantMap catalogue{{QStringLiteral("Ping"), command(QStringLiteral("Check"))}};

        QTest::newRow("description present") << catalogue << QStringLiteral("Ping")
                                             << QStringLiteral("Check") << false << QStringList();
        QTest::newRow("key missing: null and the key quoted")
                << catalogue << QStringLiteral("Echo") << QString() << true
                << QStringList{descriptionError(QStringLiteral("\"Echo\""))};
        QTest::newRow("key differs in case only")
                << catalogue << QStringLiteral("ping") << QString() << true
                << QStringList{descriptionError(QStringLiteral("\"ping\""))};
        QTest::newRow("empty catalogue")
                << QVariantMap() << QStringLiteral("Ping") << QString() << true
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

    void getDescription()
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

    void getArgumentsList_data()
    {
        addColumns<QVariantMap, QString, QString, QStringList>("commands", "key", "expected",
                                                               "expectedMessages");

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
        QTest::newRow("count 0 with records")
                << only(command(QStringLiteral("d"), 0, records({ab}))) << key << QString()
                << QStringList();
        QTest::newRow("count not a number reads as 0")
                << only(command(QStringLiteral("d"), QStringLiteral("many"), records({ab}))) << key
                << QString() << QStringList();
        QTest::newRow("count as decimal text")
                << only(command(QStringLiteral("d"), QStringLiteral("1"), records({ab}))) << key
                << QStringLiteral("( a: b )") << QStringList();
        QTest::newRow("one record") << only(command(QStringLiteral("d"), 1, records({ab}))) << key
                                    << QStringLiteral("( a: b )") << QStringList();
        QTest::newRow("two records") << only(command(QStringLiteral("d"), 2, records({ab, xy})))
                                     << key << QStringLiteral("( a: b, x: y )") << QStringList();
        QTest::newRow("count 3 but one record")
                << only(command(QStringLiteral("d"), 3, records({ab}))) << key
                << QStringLiteral("( a: b )") << QStringList();
        QTest::newRow("count -1 with two records")
                << only(command(QStringLiteral("d"), -1, records({ab, xy}))) << key
                << QStringLiteral("( a: b, x: y )") << QStringList();
        QTest::newRow("count 1, argument list missing")
                << only(command(QStringLiteral("d"), 1)) << key << QStringLiteral("( )")
                << QStringList();
        QTest::newRow("count 1, argument list empty")
                << only(command(QStringLiteral("d"), 1, records({}))) << key
                << QStringLiteral("( )") << QStringList();
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

    void getArgumentsList()
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

    void sameAnswerTwice_data()
    {
        addColumns<QVariantMap, QString>("commands", "key");

        QTest::newRow("complete entry")
                << QVariantMap{{QStringLiteral("Echo"),
                                command(QStringLiteral("d"), 1,
                                        records({record(QStringLiteral("a"),
                                                        QStringLiteral("b"))}))}}
                << QStringLiteral("Echo");
        QTest::newRow("missing entry") << QVariantMap() << QStringLiteral("Echo");
    }

    void sameAnswerTwice()
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

    void display_data()
    {
        addColumns<ls::MetaEnum, QVariantMap, QStringList>("metaEnum", "commands",
                                                           "expectedMessages");

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
        QTest::newRow("every entry present")
                << ls::MetaEnum(letterNames, {1, 2, 3}) << full
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

    void display()
    {
        QFETCH(ls::MetaEnum, metaEnum);
        QFETCH(QVariantMap, commands);
        QFETCH(QStringList, expectedMessages);

        m_parser->display(metaEnum, commands);
        QCOMPARE(MessageLog::messages(), expectedMessages);
    }

    void metaObjectHoldsOnlyTheClassName_data()
    {
        addColumns<const QMetaObject *, QByteArray>("metaObject", "className");

        QTest::newRow("CommandParser")
                << &CommandParser::staticMetaObject << QByteArrayLiteral("CommandParser");
        QTest::newRow("CommandHandler")
                << &CommandHandler::staticMetaObject << QByteArrayLiteral("CommandHandler");
    }

    void metaObjectHoldsOnlyTheClassName()
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

    void handlerOutlivesTheParser()
    {
        auto *parser = new CommandParser(nullptr);
        QPointer<CommandHandler> handler = parser->commandHandler;
        QVERIFY(handler);
        QCOMPARE(handler->parent(), nullptr);
        delete parser;
        QVERIFY(handler);
        QCOMPARE(MessageLog::messages(), QStringList());
    }

    void commandHandlerLoggingCategory()
    {
        const QLoggingCategory &category = lcCommandHandler();
        QCOMPARE(QByteArray(category.categoryName()), QByteArrayLiteral("CommandHandler"));
        QVERIFY(!category.isDebugEnabled());
        QVERIFY(!category.isInfoEnabled());
        QVERIFY(!category.isWarningEnabled());
        QVERIFY(category.isCriticalEnabled());
    }

private:
    std::unique_ptr<QObject> m_owner;
    CommandParser *m_parser = nullptr;
};

QTEST_GUILESS_MAIN(TestCommandParser)

#include "tst_commandparser.moc"
