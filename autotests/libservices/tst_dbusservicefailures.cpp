// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"
#include "servicetest.h"

#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <messagelog.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDateTime>
#include <QLoggingCategory>
#include <QTest>

// Exchanges that fail, each answered with a failure response, and what reaches the peer.
class TestDBusServiceFailures : public ServiceTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void failedExchange_data()
    {
        addColumns<QString, QVariantMap, QString>("serviceId", "request", "errorId");
        // Empty where the text is the bus daemon's own; then it must merely be there.
        QTest::addColumn<QString>("errorMessage");

        const QString noReply = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
        const QString invalidSignature
                = QStringLiteral("org.freedesktop.DBus.Error.InvalidSignature");
        QTest::newRow("nobody owns the name")
                << nobodyId << withCommand(QStringLiteral("Echo"))
                << QStringLiteral("org.freedesktop.DBus.Error.ServiceUnknown") << QString();
        QTest::newRow("error reply")
                << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Error"))
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
                << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("NoReply"))
                << noReply << QString();
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
                << QStringLiteral(
                           "Request holds a value of type QDateTime, which has no D-Bus form");
        const QString badText
                = QStringLiteral("Request holds text with a NUL character, a lone "
                                 "surrogate or a noncharacter, which D-Bus cannot carry");
        const QString invalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
        const QString nul = withNul();
        QTest::newRow("NUL in a string, which would cut it short")
                << ls::ServiceId::CommandHandler
                << withCommand(QStringLiteral("Echo"), {{QStringLiteral("t"), nul}}) << invalidArgs
                << badText;
        QTest::newRow("NUL in a key")
                << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Echo"), {{nul, 1}})
                << invalidArgs << badText;
        QTest::newRow("NUL in a string list")
                << ls::ServiceId::CommandHandler
                << withCommand(QStringLiteral("Echo"), {{ls::argsKey, QStringList{nul}}})
                << invalidArgs << badText;
        QTest::newRow("lone high surrogate at the end, which would arrive as ?")
                << ls::ServiceId::CommandHandler
                << withCommand(QStringLiteral("Echo"),
                               {{ls::argsKey, QVariantList{QStringLiteral("x") + QChar(0xd83d)}}})
                << invalidArgs << badText;
        QTest::newRow("lone low surrogate")
                << ls::ServiceId::CommandHandler
                << withCommand(
                           QStringLiteral("Echo"),
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
                << withCommand(
                           QStringLiteral("Echo"),
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

    void failedExchange()
    {
        QFETCH(QString, serviceId);
        QFETCH(QVariantMap, request);
        QFETCH(QString, errorId);
        QFETCH(QString, errorMessage);

        ls::DBusService *service = ls::DBusServiceStore::instance()->getService(serviceId);
        QVERIFY(service);
        const QVariantMap response = service->process(request);

        QCOMPARE(response.keys(),
                 (QStringList{ls::errorIdKey, ls::errorMessageKey, ls::resultIdKey}));
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

    void unregisteredServiceSendsNothing()
    {
        const int receivedBefore = receivedByPeer();
        QVERIFY(receivedBefore >= 0);

        ls::DBusService *service
                = ls::DBusServiceStore::instance()->getService(QStringLiteral("NeverRegistered"));
        QVERIFY(service);
        QCOMPARE(service->process(withCommand(QStringLiteral("Echo"))).value(ls::errorIdKey),
                 QVariant(QStringLiteral("se.tarnvik.Error.ServiceNotRegistered")));
        QCOMPARE(
                ls::DBusServiceStore::instance()->getService(QStringLiteral("AlsoNeverRegistered")),
                service);

        QCOMPARE(receivedByPeer(), receivedBefore + 1);
    }

    void oneMethodCallPerExchange()
    {
        const int receivedBefore = receivedByPeer();
        QVERIFY(receivedBefore >= 0);

        for (int i = 0; i < 3; ++i)
            QCOMPARE(commandHandler()->process(withCommand(QStringLiteral("Echo"))).size(), 1);

        // Three exchanges and the first count: no introspection, no second call.
        QCOMPARE(receivedByPeer(), receivedBefore + 4);
    }

    void logging_data()
    {
        addColumns<QString, QString, QVariantMap, int>("rules", "serviceId", "request",
                                                       "expectedMessages");

        const QVariantMap tooDeep
                = withCommand(QStringLiteral("Echo"),
                              {{QStringLiteral("v"), nestedLists(31, QStringLiteral("bottom"))}});
        const QString on = QStringLiteral("ls.dbus.debug=true");
        QTest::newRow("error reply, silent by default")
                << QString() << ls::ServiceId::CommandHandler
                << withCommand(QStringLiteral("Error")) << 0;
        QTest::newRow("too deep, silent by default")
                << QString() << ls::ServiceId::CommandHandler << tooDeep << 0;
        QTest::newRow("unregistered, silent by default")
                << QString() << QStringLiteral("NeverRegistered")
                << withCommand(QStringLiteral("Echo")) << 0;
        QTest::newRow("other categories' debug on, still silent")
                << QStringLiteral("*.debug=false\ndefault.debug=true")
                << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Error")) << 0;
        QTest::newRow("error reply, switched on")
                << on << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Error")) << 1;
        QTest::newRow("too deep, switched on")
                << on << ls::ServiceId::CommandHandler << tooDeep << 1;
        // The look-up and the exchange each say what went wrong.
        QTest::newRow("unregistered, switched on") << on << QStringLiteral("NeverRegistered")
                                                   << withCommand(QStringLiteral("Echo")) << 2;
        QTest::newRow("success, switched on, nothing to say")
                << on << ls::ServiceId::CommandHandler << withCommand(QStringLiteral("Echo")) << 0;
    }

    void logging()
    {
        QFETCH(QString, rules);
        QFETCH(QString, serviceId);
        QFETCH(QVariantMap, request);
        QFETCH(int, expectedMessages);
        QLoggingCategory::setFilterRules(rules);

        ls::DBusServiceStore::instance()->getService(serviceId)->process(request);

        const QStringList logged = MessageLog::messages();
        QCOMPARE(logged.size(), expectedMessages);
        for (const QString &message : logged)
            QVERIFY2(message.startsWith(QStringLiteral("debug|ls.dbus|")), qPrintable(message));
        MessageLog::messages().clear();
    }
};

QTEST_GUILESS_MAIN(TestDBusServiceFailures)

#include "tst_dbusservicefailures.moc"
