// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "servicetest.h"

#include <messagelog.h>

#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QLoggingCategory>
#include <QTest>

QString peerProgram()
{
    return QStringLiteral(TESTPEER_BIN);
}

QString clientProgram()
{
    return QStringLiteral(PROCESSCLIENT_BIN);
}

ls::DBusService *commandHandler()
{
    return ls::DBusServiceStore::instance()->getService(ls::ServiceId::CommandHandler);
}

QVariantMap withCommand(const QString &commandId, QVariantMap map)
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

QString dbusArgumentPath(const QVariant &value, const QString &path)
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

void ServiceTestCase::startPeer()
{
    if (m_peer.state() != QProcess::NotRunning) {
        m_peer.kill();
        m_peer.waitForFinished(5000);
    }
    m_peer.setProcessEnvironment(m_bus.environment());
    m_peer.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_peer.start(peerProgram(), {ls::ServiceId::CommandHandler});
    QVERIFY2(m_peer.waitForStarted(10000), qPrintable(m_peer.errorString()));
    QVERIFY(m_bus.waitForService(ls::busName(ls::ServiceId::CommandHandler)));
}

int ServiceTestCase::receivedByPeer()
{
    const QVariantMap response = commandHandler()->process(withCommand(QStringLiteral("Count")));
    const QVariant received = response.value(QStringLiteral("received"));
    return received.userType() == QMetaType::Int ? received.toInt() : -1;
}

void ServiceTestCase::initTestCase()
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

void ServiceTestCase::cleanupTestCase()
{
    m_peer.kill();
    m_peer.waitForFinished(5000);
    m_bus.stop();
}

void ServiceTestCase::init()
{
    // Rows that make the peer exit or get it dropped by the bus leave the next row a new one.
    if (m_peer.state() != QProcess::Running
        || !QDBusConnection::systemBus().interface()->isServiceRegistered(
                ls::busName(ls::ServiceId::CommandHandler)))
        startPeer();
    MessageLog::install();
}

void ServiceTestCase::cleanup()
{
    const QStringList logged = MessageLog::messages();
    MessageLog::reset();
    QLoggingCategory::setFilterRules(QString());
    for (const QString &message : logged)
        qWarning().noquote() << "unexpected message:" << message;
    QCOMPARE(logged, QStringList());
}
