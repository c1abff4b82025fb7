#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <testbus.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <limits>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QString peerProgram = QStringLiteral(TESTPEER_BIN);
const QString clientProgram = QStringLiteral(PROCESSCLIENT_BIN);
// Registered with the store, but no peer ever owns its bus name.
const QString nobodyId = QStringLiteral("Nobody");

struct Message
{
    QtMsgType type;
    QString category;
    QString text;
};
QList<Message> messages;

void recordMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    messages.append({type, QString::fromLatin1(context.category), text});
}

ls::DBusService *commandHandler()
{
    return ls::DBusServiceStore::instance()->getService(ls::ServiceId::CommandHandler);
}

QVariantMap withCommand(const QString &commandId, QVariantMap map = {})
{
    map.insert(ls::commandIdKey, commandId);
    return map;
}

QVariantMap failure(const QString &errorId, const QString &errorMessage)
{
    return {{ls::resultIdKey, ls::ResultId::Failure},
            {ls::errorIdKey, errorId},
            {ls::errorMessageKey, errorMessage}};
}

// Types and values, recursively: QVariant's own == would call 2 and 2.0 equal.
QString describe(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QVariantMap: {
        QStringList entries;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            entries.append(it.key() + QLatin1String(": ") + describe(it.value()));
        return QLatin1Char('{') + entries.join(QLatin1String(", ")) + QLatin1Char('}');
    }
    case QMetaType::QVariantList: {
        QStringList elements;
        for (const QVariant &element : value.toList())
            elements.append(describe(element));
        return QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    case QMetaType::QString:
        return QLatin1String("QString ")
               + QString::fromUtf8(QJsonDocument::fromVariant(QVariantList{value})
                                           .toJson(QJsonDocument::Compact));
    default:
        return QString::fromLatin1(value.typeName()) + QLatin1Char(' ') + value.toString();
    }
}

// Where a QDBusArgument hides in a value, as a path of keys and indexes; empty when none does.
QString dbusArgumentPath(const QVariant &value, const QString &path = QStringLiteral("/"))
{
    if (value.userType() == qMetaTypeId<QDBusArgument>())
        return path;
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            const QString found = dbusArgumentPath(it.value(), path + it.key() + QLatin1Char('/'));
            if (!found.isEmpty())
                return found;
        }
    }
    if (value.userType() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        for (int i = 0; i < list.size(); ++i) {
            const QString found
                    = dbusArgumentPath(list.at(i), path + QString::number(i) + QLatin1Char('/'));
            if (!found.isEmpty())
                return found;
        }
    }
    return QString();
}

enum class Shape { Map, List };

// levels containers of one shape around the bottom value; a map holds its content under "inner".
QVariant nested(Shape shape, int levels, const QVariant &bottom)
{
    QVariant value = bottom;
    for (int i = 0; i < levels; ++i) {
        if (shape == Shape::List)
            value = QVariantList{value};
        else
            value = QVariantMap{{QStringLiteral("inner"), value}};
    }
    return value;
}

// One map holding 29 lists holding the bottom value: under the request's map, the bottom value
// sits at level 3 + 3 + 2 * 29 = 64, the deepest allowed.
QVariant atLevel64(const QVariant &bottom)
{
    return QVariantMap{{QStringLiteral("inner"), nested(Shape::List, 29, bottom)}};
}

} // namespace

class TestDBusService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void roundTrip_data();
    void roundTrip();
    void stringListAnswerComesBackAsList();
    void otherTypesComeBackPlain();
    void dictionaryKeysComeBackAsText_data();
    void dictionaryKeysComeBackAsText();
    void requestNesting_data();
    void requestNesting();
    void replyNesting_data();
    void replyNesting();
    void failedExchange_data();
    void failedExchange();
    void unregisteredServiceSendsNothing();
    void oneMethodCallPerExchange();
    void logging_data();
    void logging();
    void noBus_data();
    void noBus();
    void busDiesMidCall();
    void connectsOnlyForTheCall();

private:
    void startPeer();
    int receivedByPeer();

    TestBus m_bus;
    TiedProcess m_peer;
    QtMessageHandler m_previousHandler = nullptr;
};

void TestDBusService::startPeer()
{
    if (m_peer.state() != QProcess::NotRunning) {
        m_peer.kill();
        m_peer.waitForFinished(5000);
    }
    m_peer.setProcessEnvironment(m_bus.environment());
    m_peer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_peer.start(peerProgram, {ls::ServiceId::CommandHandler});
    QVERIFY2(m_peer.waitForStarted(10000), qPrintable(m_peer.errorString()));
    QVERIFY(m_bus.waitForService(ls::busName(ls::ServiceId::CommandHandler)));
}

int TestDBusService::receivedByPeer()
{
    const QVariantMap response = commandHandler()->process(withCommand(QStringLiteral("Count")));
    const QVariant received = response.value(QStringLiteral("received"));
    return received.userType() == QMetaType::Int ? received.toInt() : -1;
}

void TestDBusService::initTestCase()
{
    qunsetenv("QT_LOGGING_RULES");
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
    startPeer();
    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    QVERIFY(store->registerService(ls::ServiceId::CommandHandler));
    QVERIFY(!store->registerService(ls::ServiceId::CommandHandler));
    QVERIFY(store->registerService(nobodyId));
}

void TestDBusService::cleanupTestCase()
{
    m_peer.kill();
    m_peer.waitForFinished(5000);
    m_bus.stop();
}

void TestDBusService::init()
{
    // Rows that make the peer exit or get it dropped by the bus leave the next row a new one.
    if (m_peer.state() != QProcess::Running
        || !QDBusConnection::systemBus().interface()->isServiceRegistered(
                ls::busName(ls::ServiceId::CommandHandler)))
        startPeer();
    messages.clear();
    m_previousHandler = qInstallMessageHandler(recordMessage);
}

void TestDBusService::cleanup()
{
    qInstallMessageHandler(m_previousHandler);
    QLoggingCategory::setFilterRules(QString());
    // The library logs nothing unless asked to, whatever went wrong.
    for (const Message &message : qAsConst(messages))
        qWarning() << "unexpected message:" << message.category << message.text;
    QCOMPARE(messages.size(), 0);
}

void TestDBusService::roundTrip_data()
{
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QVariantMap>("expected");

    auto same = [](const char *name, const QVariantMap &request) {
        QTest::newRow(name) << request << request;
    };
    same("just the command id", QVariantMap());
    same("int", {{QStringLiteral("n"), 601}});
    same("smallest, largest and negative int",
         {{QStringLiteral("min"), std::numeric_limits<int>::min()},
          {QStringLiteral("max"), std::numeric_limits<int>::max()},
          {QStringLiteral("minusOne"), -1}});
    same("bools", {{QStringLiteral("yes"), true}, {QStringLiteral("no"), false}});
    same("doubles, a whole one stays double", {{QStringLiteral("half"), 0.5},
                                               {QStringLiteral("huge"), -1e300},
                                               {QStringLiteral("whole"), 2.0}});
    same("string with tab, newline, quotes and non-ASCII",
         {{QStringLiteral("text"),
           QStringLiteral("a\tb\nc \"quoted\" 'single' åäö € 漢字 🙂")}});
    same("empty string", {{QStringLiteral("text"), QString()}});
    same("non-ASCII key with blanks", {{QStringLiteral("nyckel åäö\t1"), 1}});
    same("empty key", {{QString(), 1}});
    same("empty list", {{ls::argsKey, QVariantList()}});
    same("empty map", {{ls::detailsMapKey, QVariantMap()}});
    same("list of every value kind", {{ls::argsKey, QVariantList{QStringLiteral("a"), 1, true, 1.5,
                                                                 QVariantList(), QVariantMap()}}});
    same("maps inside lists inside maps",
         {{ls::detailsMapKey,
           QVariantMap{{QStringLiteral("list"),
                        QVariantList{QVariantMap{{QStringLiteral("a"), 1}},
                                     QVariantMap{{QStringLiteral("b"),
                                                  QVariantList{QVariantMap(), QVariantList()}}}}},
                       {QStringLiteral("empty"), QVariantMap()}}}});
    same("other basic types keep their type",
         {{QStringLiteral("u"), 4000000000u},
          {QStringLiteral("x"), -(qlonglong(1) << 40)},
          {QStringLiteral("t"), qulonglong(1) << 63},
          {QStringLiteral("n"), QVariant::fromValue(short(-2))},
          {QStringLiteral("q"), QVariant::fromValue(ushort(65535))},
          {QStringLiteral("y"), QVariant::fromValue(uchar(255))}});
    QTest::newRow("bytes come back as list of bytes")
            << QVariantMap{{ls::argsKey, QByteArray("\x00\xff", 2)}}
            << QVariantMap{{ls::argsKey, QVariantList{QVariant::fromValue(uchar(0)),
                                                      QVariant::fromValue(uchar(255))}}};
    QTest::newRow("string list goes as as, comes back as list")
            << QVariantMap{{ls::argsKey, QStringList{QStringLiteral("a"), QString()}}}
            << QVariantMap{{ls::argsKey, QVariantList{QStringLiteral("a"), QString()}}};
    QTest::newRow("empty string list comes back as empty list")
            << QVariantMap{{ls::argsKey, QStringList()}}
            << QVariantMap{{ls::argsKey, QVariantList()}};
}

void TestDBusService::roundTrip()
{
    QFETCH(QVariantMap, request);
    QFETCH(QVariantMap, expected);
    request = withCommand(QStringLiteral("Echo"), request);
    expected = withCommand(QStringLiteral("Echo"), expected);

    const QVariantMap response = commandHandler()->process(request);

    QCOMPARE(dbusArgumentPath(response), QString());
    QCOMPARE(describe(response), describe(expected));
}

void TestDBusService::stringListAnswerComesBackAsList()
{
    const QVariantMap response
            = commandHandler()->process(withCommand(QStringLiteral("StringList")));

    QCOMPARE(dbusArgumentPath(response), QString());
    const QVariantMap expected{
            {ls::resultIdKey, ls::ResultId::Success},
            {QStringLiteral("strings"),
             QVariantList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")}}};
    QCOMPARE(describe(response), describe(expected));
}

void TestDBusService::otherTypesComeBackPlain()
{
    const QVariantMap response = commandHandler()->process(withCommand(QStringLiteral("Exotic")));

    QCOMPARE(dbusArgumentPath(response), QString());
    const QVariantMap expected{
            {QStringLiteral("struct"), QVariantList{7, QStringLiteral("seven")}},
            {QStringLiteral("intDict"), QVariantMap{{QStringLiteral("1"), QStringLiteral("one")}}},
            {QStringLiteral("ints"), QVariantList{1, -2}},
            {QStringLiteral("path"), QStringLiteral("/a/b")},
            {QStringLiteral("signature"), QStringLiteral("a{sv}")},
            {QStringLiteral("variantInVariant"), 5}};
    QCOMPARE(describe(response), describe(expected));
}

void TestDBusService::dictionaryKeysComeBackAsText_data()
{
    QTest::addColumn<QString>("keyType");
    QTest::addColumn<QVariantMap>("expected");

    QTest::newRow("byte keys are numbers, not characters")
            << QStringLiteral("y")
            << QVariantMap{{QStringLiteral("65"), 1}, {QStringLiteral("10"), 2}};
    QTest::newRow("negative int16 key")
            << QStringLiteral("n") << QVariantMap{{QStringLiteral("-3"), 1}};
    QTest::newRow("largest uint16 key")
            << QStringLiteral("q") << QVariantMap{{QStringLiteral("65535"), 1}};
    QTest::newRow("smallest int32 key")
            << QStringLiteral("i") << QVariantMap{{QStringLiteral("-2147483648"), 1}};
    QTest::newRow("largest uint32 key")
            << QStringLiteral("u") << QVariantMap{{QStringLiteral("4294967295"), 1}};
    QTest::newRow("int64 key beyond 32 bits")
            << QStringLiteral("x") << QVariantMap{{QStringLiteral("-5000000000"), 1}};
    QTest::newRow("largest uint64 key")
            << QStringLiteral("t") << QVariantMap{{QStringLiteral("18446744073709551615"), 1}};
    QTest::newRow("boolean keys as true and false")
            << QStringLiteral("b")
            << QVariantMap{{QStringLiteral("true"), 1}, {QStringLiteral("false"), 2}};
    QTest::newRow("string key of digits unchanged")
            << QStringLiteral("s") << QVariantMap{{QStringLiteral("65"), 1}};
    QTest::newRow("object path key as its path")
            << QStringLiteral("o") << QVariantMap{{QStringLiteral("/a/b"), 1}};
    QTest::newRow("signature key as its text")
            << QStringLiteral("g") << QVariantMap{{QStringLiteral("a{yv}"), 1}};
}

void TestDBusService::dictionaryKeysComeBackAsText()
{
    QFETCH(QString, keyType);
    QFETCH(QVariantMap, expected);

    const QVariantMap response
            = commandHandler()->process(withCommand(QStringLiteral("KeyedDictionaries")));

    QCOMPARE(dbusArgumentPath(response), QString());
    QCOMPARE(describe(response.value(keyType)), describe(expected));
}

void TestDBusService::requestNesting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("expected");
    QTest::addColumn<bool>("fits");

    const QVariant text = QStringLiteral("bottom");
    const QVariant strings = QStringList{QStringLiteral("x")};
    const QVariant stringsBack = QVariantList{QStringLiteral("x")};
    const QVariant bytes = QByteArray("xy");
    const QVariant bytesBack
            = QVariantList{QVariant::fromValue(uchar('x')), QVariant::fromValue(uchar('y'))};

    QTest::newRow("20 maps, string at level 63")
            << nested(Shape::Map, 20, text) << nested(Shape::Map, 20, text) << true;
    QTest::newRow("21 maps, string at level 66")
            << nested(Shape::Map, 21, text) << QVariant() << false;
    QTest::newRow("21 maps, the innermost empty at level 63")
            << nested(Shape::Map, 20, QVariantMap()) << nested(Shape::Map, 20, QVariantMap())
            << true;
    QTest::newRow("30 lists, string at level 63")
            << nested(Shape::List, 30, text) << nested(Shape::List, 30, text) << true;
    QTest::newRow("31 lists, string at level 65")
            << nested(Shape::List, 31, text) << QVariant() << false;
    QTest::newRow("string right at level 64") << atLevel64(text) << atLevel64(text) << true;
    QTest::newRow("empty list at level 64")
            << atLevel64(QVariantList()) << atLevel64(QVariantList()) << true;
    QTest::newRow("empty map at level 64")
            << atLevel64(QVariantMap()) << atLevel64(QVariantMap()) << true;
    QTest::newRow("empty string list at level 64")
            << atLevel64(QStringList()) << atLevel64(QVariantList()) << true;
    QTest::newRow("bytes at level 64, fixed-size elements add no level")
            << atLevel64(bytes) << atLevel64(bytesBack) << true;
    QTest::newRow("string list at level 64, its strings at 65")
            << atLevel64(strings) << QVariant() << false;
    QTest::newRow("list at level 64, its string at 66")
            << atLevel64(QVariantList{text}) << QVariant() << false;
    QTest::newRow("map at level 64, its string at 67")
            << atLevel64(QVariantMap{{QStringLiteral("k"), text}}) << QVariant() << false;
    QTest::newRow("too deep in the second of two entries") << QVariant(QVariantMap{
            {QStringLiteral("a"), 1}, {QStringLiteral("b"), nested(Shape::List, 31, text)}})
                                                           << QVariant() << false;
    Q_UNUSED(stringsBack);
}

void TestDBusService::requestNesting()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, expected);
    QFETCH(bool, fits);
    const QVariantMap request = withCommand(QStringLiteral("Echo"), {{QStringLiteral("v"), value}});
    const int receivedBefore = receivedByPeer();
    QVERIFY(receivedBefore >= 0);

    const QVariantMap response = commandHandler()->process(request);

    if (fits) {
        QCOMPARE(dbusArgumentPath(response), QString());
        QCOMPARE(describe(response),
                 describe(withCommand(QStringLiteral("Echo"), {{QStringLiteral("v"), expected}})));
        QCOMPARE(receivedByPeer(), receivedBefore + 2);
    } else {
        QCOMPARE(response, failure(QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                                   QStringLiteral("Request nested deeper than 64 levels")));
        // Refused before sending: the peer saw nothing, and the bus kept our connection.
        QCOMPARE(receivedByPeer(), receivedBefore + 1);
    }
}

void TestDBusService::replyNesting_data()
{
    QTest::addColumn<QString>("shape");
    QTest::addColumn<int>("depth");
    QTest::addColumn<bool>("fits");

    QTest::newRow("20 maps, string at level 63") << QStringLiteral("map") << 20 << true;
    QTest::newRow("21 maps, string at level 66") << QStringLiteral("map") << 21 << false;
    QTest::newRow("30 lists, string at level 63") << QStringLiteral("list") << 30 << true;
    QTest::newRow("31 lists, string at level 65") << QStringLiteral("list") << 31 << false;
}

void TestDBusService::replyNesting()
{
    QFETCH(QString, shape);
    QFETCH(int, depth);
    QFETCH(bool, fits);

    const QVariantMap response = commandHandler()->process(
            withCommand(QStringLiteral("Nested"),
                        {{QStringLiteral("shape"), shape}, {QStringLiteral("depth"), depth}}));

    if (fits) {
        const QVariant value = nested(shape == QLatin1String("map") ? Shape::Map : Shape::List,
                                      depth, QStringLiteral("bottom"));
        QCOMPARE(dbusArgumentPath(response), QString());
        QCOMPARE(describe(response), describe(QVariantMap{{QStringLiteral("value"), value}}));
    } else {
        // The bus drops the peer that sends it; the call fails like any unanswered one, and this
        // process keeps its connection.
        QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
        QCOMPARE(response.value(ls::errorIdKey),
                 QVariant(QStringLiteral("org.freedesktop.DBus.Error.NoReply")));
        QCOMPARE(response.size(), 3);
        QVERIFY(QDBusConnection::systemBus().isConnected());
    }
}

void TestDBusService::failedExchange_data()
{
    QTest::addColumn<QString>("serviceId");
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QString>("errorId");
    // Empty where the text is the bus daemon's own; then it must merely be there.
    QTest::addColumn<QString>("errorMessage");

    const QString noReply = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
    const QString invalidSignature = QStringLiteral("org.freedesktop.DBus.Error.InvalidSignature");
    QTest::newRow("nobody owns the name")
            << nobodyId << withCommand(QStringLiteral("Echo"))
            << QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown") << QString();
    QTest::newRow("error reply") << ls::ServiceId::CommandHandler
                                 << withCommand(QStringLiteral("Error"))
                                 << QStringLiteral("se.tarnvik.Error.Test")
                                 << QStringLiteral("Refused\tby \"the\" peer: åäö");
    QTest::newRow("reply of a string")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("WrongSignature"))
            << invalidSignature
            << QStringLiteral("Reply of signature \"s\" where a{sv} was expected");
    QTest::newRow("reply of two maps")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("TwoMaps"))
            << invalidSignature
            << QStringLiteral("Reply of signature \"a{sv}a{sv}\" where a{sv} was expected");
    QTest::newRow("reply without arguments")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Empty"))
            << invalidSignature
            << QStringLiteral("Reply of signature \"\" where a{sv} was expected");
    QTest::newRow("peer never answers, the bus times the call out")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("NoReply")) << noReply
            << QString();
    QTest::newRow("peer dies mid-call")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Exit")) << noReply
            << QString();
    QTest::newRow("unregistered service name")
            << QStringLiteral("NeverRegistered") << withCommand(QStringLiteral("Echo"))
            << QStringLiteral("se.tarnvik.Error.ServiceNotRegistered")
            << QStringLiteral("The service was never registered with the store");
    QTest::newRow("empty service name")
            << QString() << withCommand(QStringLiteral("Echo"))
            << QStringLiteral("se.tarnvik.Error.ServiceNotRegistered")
            << QStringLiteral("The service was never registered with the store");
    QTest::newRow("value without a D-Bus form")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"),
                           {{QStringLiteral("when"), QDateTime::fromSecsSinceEpoch(0)}})
            << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
            << QStringLiteral("Request holds a value of type QDateTime, which has no D-Bus form");
    const QString badText = QStringLiteral("Request holds text with a NUL character, a lone "
                                           "surrogate or a noncharacter, which D-Bus cannot carry");
    const QString invalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
    const QString nul = QStringLiteral("a") + QChar(0) + QStringLiteral("b");
    QTest::newRow("NUL in a string, which would cut it short")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"), {{QStringLiteral("t"), nul}}) << invalidArgs
            << badText;
    QTest::newRow("NUL in a key") << ls::ServiceId::CommandHandler
                                  << withCommand(QStringLiteral("Echo"), {{nul, 1}}) << invalidArgs
                                  << badText;
    QTest::newRow("NUL in a string list")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"), {{ls::argsKey, QStringList{nul}}}) << invalidArgs
            << badText;
    QTest::newRow("lone high surrogate at the end, which would arrive as ?")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"),
                           {{ls::argsKey, QVariantList{QStringLiteral("x") + QChar(0xd83d)}}})
            << invalidArgs << badText;
    QTest::newRow("lone low surrogate")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"),
                           {{QStringLiteral("t"), QString(QChar(0xde42)) + QStringLiteral("x")}})
            << invalidArgs << badText;
    QTest::newRow("noncharacter U+FFFF, which sd-bus refuses")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"),
                           {{QStringLiteral("t"), QStringLiteral("x") + QChar(0xffff)}})
            << invalidArgs << badText;
    QTest::newRow("noncharacter U+FDD0 in a key")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"), {{QString(QChar(0xfdd0)), 1}}) << invalidArgs
            << badText;
    QTest::newRow("noncharacter U+10FFFF as a surrogate pair")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"),
                           {{ls::argsKey, QVariantList{QString(QChar(0xdbff)) + QChar(0xdfff)}}})
            << invalidArgs << badText;
    QTest::newRow("reply holding a file descriptor")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("FileDescriptor"))
            << invalidArgs << QStringLiteral("Reply holds a value that has no plain form");
    QTest::newRow("reply holding a noncharacter, which sd-bus does not read")
            << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Noncharacter"))
            << invalidArgs << QStringLiteral("Reply holds a value that has no plain form");
    QTest::newRow("invalid value deep in a list")
            << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Echo"), {{ls::argsKey, QVariantList{1, QVariant()}}})
            << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
            << QStringLiteral("Request holds a value of type invalid, which has no D-Bus form");
}

void TestDBusService::failedExchange()
{
    QFETCH(QString, serviceId);
    QFETCH(QVariantMap, request);
    QFETCH(QString, errorId);
    QFETCH(QString, errorMessage);

    ls::DBusService *service = ls::DBusServiceStore::instance()->getService(serviceId);
    QVERIFY(service);
    const QVariantMap response = service->process(request);

    QCOMPARE(response.keys(), (QStringList{ls::errorIdKey, ls::errorMessageKey, ls::resultIdKey}));
    QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
    QCOMPARE(response.value(ls::errorIdKey), QVariant(errorId));
    if (errorMessage.isEmpty())
        QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
    else
        QCOMPARE(response.value(ls::errorMessageKey), QVariant(errorMessage));
    // The connection outlives every failure.
    QVERIFY(QDBusConnection::systemBus().interface()->isServiceRegistered(
            QStringLiteral("org.freedesktop.DBus")));
}

void TestDBusService::unregisteredServiceSendsNothing()
{
    const int receivedBefore = receivedByPeer();
    QVERIFY(receivedBefore >= 0);

    ls::DBusService *service
            = ls::DBusServiceStore::instance()->getService(QStringLiteral("NeverRegistered"));
    QVERIFY(service);
    QCOMPARE(service->process(withCommand(QStringLiteral("Echo"))).value(ls::errorIdKey),
             QVariant(QStringLiteral("se.tarnvik.Error.ServiceNotRegistered")));
    QCOMPARE(ls::DBusServiceStore::instance()->getService(QStringLiteral("AlsoNeverRegistered")),
             service);

    QCOMPARE(receivedByPeer(), receivedBefore + 1);
}

void TestDBusService::oneMethodCallPerExchange()
{
    const int receivedBefore = receivedByPeer();
    QVERIFY(receivedBefore >= 0);

    for (int i = 0; i < 3; ++i)
        QCOMPARE(commandHandler()->process(withCommand(QStringLiteral("Echo"))).size(), 1);

    // Three exchanges and the first count: no introspection, no second call.
    QCOMPARE(receivedByPeer(), receivedBefore + 4);
}

void TestDBusService::logging_data()
{
    QTest::addColumn<QString>("rules");
    QTest::addColumn<QString>("serviceId");
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<int>("expectedMessages");

    const QVariantMap tooDeep = withCommand(
            QStringLiteral("Echo"),
            {{QStringLiteral("v"), nested(Shape::List, 31, QStringLiteral("bottom"))}});
    const QString on = QStringLiteral("ls.dbus.debug=true");
    QTest::newRow("error reply, silent by default") << QString() << ls::ServiceId::CommandHandler
                                                    << withCommand(QStringLiteral("Error")) << 0;
    QTest::newRow("too deep, silent by default")
            << QString() << ls::ServiceId::CommandHandler << tooDeep << 0;
    QTest::newRow("unregistered, silent by default")
            << QString() << QStringLiteral("NeverRegistered") << withCommand(QStringLiteral("Echo"))
            << 0;
    QTest::newRow("other categories' debug on, still silent")
            << QStringLiteral("*.debug=false\ndefault.debug=true") << ls::ServiceId::CommandHandler
            << withCommand(QStringLiteral("Error")) << 0;
    QTest::newRow("error reply, switched on")
            << on << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Error")) << 1;
    QTest::newRow("too deep, switched on") << on << ls::ServiceId::CommandHandler << tooDeep << 1;
    // The look-up and the exchange each say what went wrong.
    QTest::newRow("unregistered, switched on")
            << on << QStringLiteral("NeverRegistered") << withCommand(QStringLiteral("Echo")) << 2;
    QTest::newRow("success, switched on, nothing to say")
            << on << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Echo")) << 0;
}

void TestDBusService::logging()
{
    QFETCH(QString, rules);
    QFETCH(QString, serviceId);
    QFETCH(QVariantMap, request);
    QFETCH(int, expectedMessages);
    QLoggingCategory::setFilterRules(rules);

    ls::DBusServiceStore::instance()->getService(serviceId)->process(request);

    QCOMPARE(messages.size(), expectedMessages);
    for (const Message &message : qAsConst(messages)) {
        QCOMPARE(message.category, QStringLiteral("ls.dbus"));
        QCOMPARE(message.type, QtDebugMsg);
    }
    messages.clear();
}

void TestDBusService::noBus_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("errorId");
    QTest::addColumn<QString>("rules");
    QTest::addColumn<bool>("logged");

    const QString missing = QStringLiteral("unix:path=%1/no-socket-here");
    const QString fileNotFound = QStringLiteral("org.freedesktop.DBus.Error.FileNotFound");
    QTest::newRow("no socket, silent by default") << missing << fileNotFound << QString() << false;
    QTest::newRow("no socket, logged when switched on")
            << missing << fileNotFound << QStringLiteral("ls.dbus.debug=true") << true;
    QTest::newRow("socket nobody listens on")
            << QStringLiteral("unix:path=%1/dead-socket")
            << QStringLiteral("org.freedesktop.DBus.Error.NoServer") << QString() << false;
    QTest::newRow("malformed address")
            << QStringLiteral("no colon %1")
            << QStringLiteral("org.freedesktop.DBus.Error.BadAddress") << QString() << false;
}

void TestDBusService::noBus()
{
    QFETCH(QString, address);
    QFETCH(QString, errorId);
    QFETCH(QString, rules);
    QFETCH(bool, logged);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    // A socket file that no one listens on.
    const QByteArray deadSocket = QFile::encodeName(dir.filePath(QStringLiteral("dead-socket")));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    QVERIFY(fd >= 0);
    sockaddr_un socketAddress{};
    socketAddress.sun_family = AF_UNIX;
    QVERIFY(size_t(deadSocket.size()) < sizeof(socketAddress.sun_path));
    std::memcpy(socketAddress.sun_path, deadSocket.constData(), size_t(deadSocket.size()));
    const bool bound
            = ::bind(fd, reinterpret_cast<sockaddr *>(&socketAddress), sizeof(socketAddress)) == 0;
    ::close(fd);
    QVERIFY(bound);

    // A process of its own: this one is connected to the test bus for good.
    TiedProcess client;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address.arg(dir.path()));
    env.remove(QStringLiteral("QT_LOGGING_RULES"));
    if (!rules.isEmpty())
        env.insert(QStringLiteral("QT_LOGGING_RULES"), rules);
    env.insert(QStringLiteral("QT_MESSAGE_PATTERN"), QStringLiteral("%{category}: %{message}"));
    client.setProcessEnvironment(env);
    client.start(clientProgram, {ls::ServiceId::CommandHandler});
    QVERIFY(client.waitForFinished(30000));
    QCOMPARE(client.exitStatus(), QProcess::NormalExit);
    QCOMPARE(client.exitCode(), 0);

    const QVariantMap response
            = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();
    QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
    QCOMPARE(response.value(ls::errorIdKey), QVariant(errorId));
    QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
    QCOMPARE(response.size(), 3);

    const QList<QByteArray> lines = client.readAllStandardError().split('\n');
    if (logged) {
        QCOMPARE(lines.size(), 2);
        QVERIFY2(lines.at(0).startsWith("ls.dbus: No bus for \"se.tarnvik.CommandHandler\""),
                 lines.at(0).constData());
        QCOMPARE(lines.at(1), QByteArray());
    } else {
        QCOMPARE(lines, QList<QByteArray>{QByteArray()});
    }
}

void TestDBusService::busDiesMidCall()
{
    TestBus bus;
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
    TiedProcess peer;
    peer.setProcessEnvironment(bus.environment());
    peer.start(peerProgram, {ls::ServiceId::CommandHandler});
    QVERIFY(bus.waitForService(ls::busName(ls::ServiceId::CommandHandler)));

    TiedProcess client;
    client.setProcessEnvironment(bus.environment());
    client.start(clientProgram, {ls::ServiceId::CommandHandler, QStringLiteral("NoReply")});
    QVERIFY(peer.waitForReadyRead(10000));
    QCOMPARE(peer.readLine(), QByteArray("waiting\n"));
    bus.stop();

    // Well within the 25 s of the call's own time-out.
    QVERIFY(client.waitForFinished(20000));
    QCOMPARE(client.exitCode(), 0);
    const QVariantMap response
            = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();
    QCOMPARE(response,
             failure(QStringLiteral("org.freedesktop.DBus.Error.Disconnected"),
                     QStringLiteral("The connection to the bus was lost during the call")));
    QCOMPARE(client.readAllStandardError(), QByteArray());
    peer.kill();
    peer.waitForFinished(5000);
}

void TestDBusService::connectsOnlyForTheCall()
{
    TiedProcess client;
    client.setProcessEnvironment(m_bus.environment());
    client.start(clientProgram, {ls::ServiceId::CommandHandler, QStringLiteral("Echo"),
                                 QStringLiteral("--connections")});
    QVERIFY(client.waitForFinished(30000));
    QCOMPARE(client.exitCode(), 0);
    const QVariantMap response
            = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();

    // Loading the library, registering and looking up leave the bus alone; the call connects,
    // once.
    const int before = response.value(QStringLiteral("socketsBefore")).toInt();
    QCOMPARE(response.value(QStringLiteral("socketsAfterLookUp")).toInt(), before);
    QCOMPARE(response.value(QStringLiteral("socketsAfterCall")).toInt(), before + 1);
    QCOMPARE(response.value(ls::commandIdKey), QVariant(QStringLiteral("Echo")));
}

QTEST_GUILESS_MAIN(TestDBusService)

#include "tst_dbusservice.moc"
