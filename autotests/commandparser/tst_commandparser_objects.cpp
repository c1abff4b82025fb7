#include "CommandParser.h"
#include "dbus/CommandHandler.h"
#include "messagelog.h"

#include <QLoggingCategory>
#include <QMetaObject>
#include <QPointer>
#include <QTest>

Q_DECLARE_LOGGING_CATEGORY(lcCommandHandler)
Q_DECLARE_METATYPE(const QMetaObject *)

// The tool's two classes as objects: what their meta-objects hold, who owns the handler, and the
// handler's logging category.
// TestCommandParser is the friend CommandParser names.
class TestCommandParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void metaObjectHoldsOnlyTheClassName_data();
    void metaObjectHoldsOnlyTheClassName();
    void handlerOutlivesTheParser();
    void commandHandlerLoggingCategory();
};

void TestCommandParser::initTestCase()
{
    // Nothing may reach a bus: a request would show as an unexpected message.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/tst_commandparser_objects");
}

void TestCommandParser::init()
{
    MessageLog::install();
}

void TestCommandParser::cleanup()
{
    MessageLog::reset();
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

QTEST_GUILESS_MAIN(TestCommandParser)

#include "tst_commandparser_objects.moc"
