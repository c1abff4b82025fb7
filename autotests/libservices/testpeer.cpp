// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// A stand-in for a service on the private test bus. It owns the bus name of the service id given
// as its first argument and answers "Process" according to the request's command id: it echoes
// the request back, or misbehaves in the way the command id names ("Slow" answers after
// "delayMs"). "Count" answers how many messages reached the object before it. With "--silent"
// it answers nothing but "Count".
#include <qtdbusvalue.h>

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QStringList>
#include <QTimer>
#include <QVariantList>
#include <QVariantMap>

#include <cstdio>
#include <unistd.h>

// A struct, for an answer with types that have no plain Qt form of their own.
struct Pair
{
    int number = 0;
    QString text;
};
Q_DECLARE_METATYPE(Pair)

QDBusArgument &operator<<(QDBusArgument &argument, const Pair &pair)
{
    argument.beginStructure();
    argument << pair.number << pair.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, Pair &pair)
{
    argument.beginStructure();
    argument >> pair.number >> pair.text;
    argument.endStructure();
    return argument;
}

namespace {

// One dictionary for each D-Bus type a key can have, under that type's code.
QVariantMap keyedDictionaries()
{
    const QDBusVariant one(1);
    const QDBusVariant two(2);
    return {
            {QStringLiteral("y"),
             QVariant::fromValue(QMap<uchar, QDBusVariant>{{uchar(65), one}, {uchar(10), two}})},
            {QStringLiteral("n"), QVariant::fromValue(QMap<short, QDBusVariant>{{-3, one}})},
            {QStringLiteral("q"),
             QVariant::fromValue(QMap<ushort, QDBusVariant>{{ushort(65535), one}})},
            {QStringLiteral("i"),
             QVariant::fromValue(QMap<int, QDBusVariant>{{-2147483647 - 1, one}})},
            {QStringLiteral("u"),
             QVariant::fromValue(QMap<uint, QDBusVariant>{{4294967295u, one}})},
            {QStringLiteral("x"),
             QVariant::fromValue(QMap<qlonglong, QDBusVariant>{{-5000000000LL, one}})},
            {QStringLiteral("t"),
             QVariant::fromValue(QMap<qulonglong, QDBusVariant>{{18446744073709551615ULL, one}})},
            {QStringLiteral("b"),
             QVariant::fromValue(QMap<bool, QDBusVariant>{{true, one}, {false, two}})},
            {QStringLiteral("s"),
             QVariant::fromValue(QMap<QString, QDBusVariant>{{QStringLiteral("65"), one}})},
            {QStringLiteral("o"), QVariant::fromValue(QMap<QDBusObjectPath, QDBusVariant>{
                                          {QDBusObjectPath(QStringLiteral("/a/b")), one}})},
            {QStringLiteral("g"), QVariant::fromValue(QMap<QDBusSignature, QDBusVariant>{
                                          {QDBusSignature(QStringLiteral("a{yv}")), one}})},
    };
}

// The request value under "depth" and "shape" ("map" or "list") say how deep and of what kind.
QVariant nested(const QString &shape, int levels)
{
    QVariant value = QStringLiteral("bottom");
    for (int i = 0; i < levels; ++i) {
        if (shape == QLatin1String("list"))
            value = QVariantList{value};
        else
            value = QVariantMap{{QStringLiteral("inner"), value}};
    }
    return value;
}

class Peer : public QDBusVirtualObject
{
public:
    // Counted too: a client that introspected before its call would show here.
    QString introspect(const QString &) const override
    {
        ++m_received;
        return QString();
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const int receivedBefore = m_received++;
        if (message.interface() != ls::serviceInterface || message.member() != ls::processMethod)
            return false;
        const QVariantMap request = plainFromQtDBus(message.arguments().value(0)).toMap();
        const QString command = request.value(ls::commandIdKey).toString();

        if (command == QLatin1String("NoReply")
            || (m_silent && command != QLatin1String("Count"))) {
            // Tells a test that the call is now pending.
            std::fputs("waiting\n", stdout);
            std::fflush(stdout);
            return true;
        }
        if (command == QLatin1String("Exit"))
            ::_exit(0);
        if (command == QLatin1String("Slow")) {
            // Answers after "delayMs", with the event loop free meanwhile.
            const QDBusMessage late
                    = message.createReply(QVariantMap{{ls::resultIdKey, ls::ResultId::Success}});
            QTimer::singleShot(request.value(QStringLiteral("delayMs")).toInt(),
                               [connection, late] { QDBusConnection(connection).send(late); });
            return true;
        }

        QDBusMessage reply;
        if (command == QLatin1String("Error")) {
            reply = message.createErrorReply(QStringLiteral("se.tarnvik.Error.Test"),
                                             QStringLiteral("Refused\tby \"the\" peer: åäö"));
        } else if (command == QLatin1String("WrongSignature")) {
            reply = message.createReply(QVariant(QStringLiteral("not a map")));
        } else if (command == QLatin1String("TwoMaps")) {
            reply = message.createReply(QVariantList{QVariantMap(), QVariantMap()});
        } else if (command == QLatin1String("Empty")) {
            reply = message.createReply();
        } else if (command == QLatin1String("StringList")) {
            reply = message.createReply(QVariantMap{
                    {ls::resultIdKey, ls::ResultId::Success},
                    {QStringLiteral("strings"),
                     QStringList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")}}});
        } else if (command == QLatin1String("Exotic")) {
            reply = message.createReply(QVariantMap{
                    {QStringLiteral("struct"),
                     QVariant::fromValue(Pair{7, QStringLiteral("seven")})},
                    {QStringLiteral("intDict"),
                     QVariant::fromValue(QMap<int, QString>{{1, QStringLiteral("one")}})},
                    {QStringLiteral("ints"), QVariant::fromValue(QList<int>{1, -2})},
                    {QStringLiteral("path"),
                     QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a/b")))},
                    {QStringLiteral("signature"),
                     QVariant::fromValue(QDBusSignature(QStringLiteral("a{sv}")))},
                    {QStringLiteral("variantInVariant"), QVariant::fromValue(QDBusVariant(5))}});
        } else if (command == QLatin1String("KeyedDictionaries")) {
            reply = message.createReply(keyedDictionaries());
        } else if (command == QLatin1String("FileDescriptor")) {
            reply = message.createReply(QVariantMap{
                    {QStringLiteral("fd"), QVariant::fromValue(QDBusUnixFileDescriptor(0))}});
        } else if (command == QLatin1String("Noncharacter")) {
            reply = message.createReply(
                    QVariantMap{{QStringLiteral("text"), QString(QChar(0xffff))}});
        } else if (command == QLatin1String("Count")) {
            reply = message.createReply(QVariantMap{{ls::resultIdKey, ls::ResultId::Success},
                                                    {QStringLiteral("received"), receivedBefore}});
        } else if (command == QLatin1String("Nested")) {
            // The whole answer is the nested value's map form: one top-level map holding it.
            const QVariant value = nested(request.value(QStringLiteral("shape")).toString(),
                                          request.value(QStringLiteral("depth")).toInt());
            reply = message.createReply(QVariantMap{{QStringLiteral("value"), value}});
        } else {
            // Echo: the arguments as received, so the answer is byte for byte what was sent.
            reply = message.createReply(message.arguments());
        }
        connection.send(reply);
        return true;
    }

    // Answers nothing but "Count": every other call stays pending, whatever its command.
    void setSilent(bool silent) { m_silent = silent; }

private:
    mutable int m_received = 0;
    bool m_silent = false;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qDBusRegisterMetaType<Pair>();
    qDBusRegisterMetaType<QMap<int, QString>>();
    qDBusRegisterMetaType<QList<int>>();
    qDBusRegisterMetaType<QMap<uchar, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<short, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<ushort, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<int, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<uint, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<qlonglong, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<qulonglong, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<bool, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<QString, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<QDBusObjectPath, QDBusVariant>>();
    qDBusRegisterMetaType<QMap<QDBusSignature, QDBusVariant>>();
    const QStringList arguments = app.arguments();
    const QString serviceId
            = arguments.size() > 1 ? arguments.at(1) : ls::ServiceId::CommandHandler;

    QDBusConnection bus = QDBusConnection::systemBus();
    Peer peer;
    peer.setSilent(arguments.contains(QStringLiteral("--silent")));
    if (!bus.registerVirtualObject(ls::objectPath(serviceId), &peer)
        || !bus.registerService(ls::busName(serviceId))) {
        std::fprintf(stderr, "testpeer: cannot serve %s: %s\n", qPrintable(ls::busName(serviceId)),
                     qPrintable(bus.lastError().message()));
        return 1;
    }
    return app.exec();
}
