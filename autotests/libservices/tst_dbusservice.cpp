#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <testbus.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTest>

namespace {

const QString peerProgram = QStringLiteral(TESTPEER_BIN);

QVariantMap echoRequest(const QVariantMap &extra)
{
    QVariantMap request = extra;
    request.insert(ls::commandIdKey, QStringLiteral("Echo"));
    return request;
}

// Where in a value a QDBusArgument hides, as a path of keys and indexes; empty when none does.
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

} // namespace

class TestDBusService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void roundTrip_data();
    void roundTrip();

private:
    void startPeer();

    TestBus m_bus;
    QProcess m_peer;
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

void TestDBusService::initTestCase()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
    startPeer();
    ls::DBusServiceStore::instance()->registerService(ls::ServiceId::CommandHandler);
}

void TestDBusService::cleanupTestCase()
{
    m_peer.kill();
    m_peer.waitForFinished(5000);
    m_bus.stop();
}

void TestDBusService::init()
{
    if (m_peer.state() != QProcess::Running
        || !QDBusConnection::systemBus().interface()->isServiceRegistered(
                ls::busName(ls::ServiceId::CommandHandler)))
        startPeer();
}

void TestDBusService::roundTrip_data()
{
    QTest::addColumn<QVariantMap>("request");

    QTest::newRow("just the command id") << QVariantMap();
    QTest::newRow("int") << QVariantMap{{QStringLiteral("n"), 601}};
    QTest::newRow("negative and extreme ints")
            << QVariantMap{{QStringLiteral("min"), std::numeric_limits<int>::min()},
                           {QStringLiteral("max"), std::numeric_limits<int>::max()},
                           {QStringLiteral("minusOne"), -1}};
    QTest::newRow("bools") << QVariantMap{{QStringLiteral("yes"), true},
                                          {QStringLiteral("no"), false}};
    QTest::newRow("doubles") << QVariantMap{{QStringLiteral("half"), 0.5},
                                            {QStringLiteral("negative"), -1e300},
                                            {QStringLiteral("whole"), 2.0}};
    QTest::newRow("string with tab, newline, quotes and non-ASCII")
            << QVariantMap{{QStringLiteral("text"),
                            QStringLiteral("a\tb\nc \"quoted\" 'single' åäö € 漢字 🙂")}};
    QTest::newRow("empty string") << QVariantMap{{QStringLiteral("text"), QString()}};
    QTest::newRow("non-ASCII key") << QVariantMap{{QStringLiteral("nyckel åäö"), 1}};
    QTest::newRow("empty list") << QVariantMap{{ls::argsKey, QVariantList()}};
    QTest::newRow("empty map") << QVariantMap{{ls::detailsMapKey, QVariantMap()}};
    QTest::newRow("list of mixed values")
            << QVariantMap{{ls::argsKey, QVariantList{QStringLiteral("a"), 1, true, 1.5,
                                                      QVariantList(), QVariantMap()}}};
    QTest::newRow("maps inside lists inside maps")
            << QVariantMap{{ls::detailsMapKey,
                            QVariantMap{{QStringLiteral("list"),
                                         QVariantList{QVariantMap{{QStringLiteral("a"), 1}},
                                                      QVariantMap{{QStringLiteral("b"),
                                                                   QVariantList{QVariantMap()}}}}},
                                        {QStringLiteral("empty"), QVariantMap()}}}};
}

void TestDBusService::roundTrip()
{
    QFETCH(QVariantMap, request);
    request = echoRequest(request);

    const QVariantMap response = ls::DBusServiceStore::instance()
                                         ->getService(ls::ServiceId::CommandHandler)
                                         ->process(request);

    QCOMPARE(dbusArgumentPath(response), QString());
    QCOMPARE(response, request);
}

QTEST_GUILESS_MAIN(TestDBusService)

#include "tst_dbusservice.moc"
