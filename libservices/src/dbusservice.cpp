#include <ls/dbusservice.h>

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include "logging.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>

namespace ls {

namespace {

QVariantMap failure(const QString &errorName, const QString &errorMessage)
{
    return {{resultIdKey, ResultId::Failure},
            {errorIdKey, errorName},
            {errorMessageKey, errorMessage}};
}

} // namespace

DBusService::DBusService(const QString &serviceId) : m_serviceId(serviceId) { }

QVariantMap DBusService::process(const QVariantMap &request) const
{
    if (m_serviceId.isEmpty()) {
        qCDebug(LS_DBUS) << "Request to a service that was never registered";
        return failure(QStringLiteral("se.tarnvik.Error.ServiceNotRegistered"),
                       QStringLiteral("The service was never registered with the store"));
    }
    const QString service = busName(m_serviceId);

    // A request nested deeper than the bus allows would make the bus drop our connection, so it
    // is refused before it is sent.
    bool ok = false;
    fromDBusValue(request, &ok);
    if (!ok) {
        qCDebug(LS_DBUS) << "Request to" << service << "refused: nested deeper than"
                         << maximumNestingDepth << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Request nested deeper than %1 levels").arg(maximumNestingDepth));
    }

    // Built by hand rather than through QDBusInterface, which would introspect the peer first and
    // double the traffic of every exchange.
    QDBusMessage call = QDBusMessage::createMethodCall(service, objectPath(m_serviceId),
                                                       serviceInterface, processMethod);
    call << request;

    // systemBus() is the one shared connection of the process; DBUS_SYSTEM_BUS_ADDRESS moves it.
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        const QDBusError error = bus.lastError();
        qCDebug(LS_DBUS) << "No bus for" << service << error.name() << error.message();
        return failure(error.isValid() ? error.name()
                                       : QStringLiteral("org.freedesktop.DBus.Error.NoServer"),
                       error.isValid() ? error.message()
                                       : QStringLiteral("Not connected to the system bus"));
    }

    const QDBusMessage reply = bus.call(call, QDBus::Block);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qCDebug(LS_DBUS) << "Process on" << service << "failed:" << reply.errorName()
                         << reply.errorMessage();
        return failure(reply.errorName(), reply.errorMessage());
    }

    const QVariantList arguments = reply.arguments();
    if (reply.signature() != QLatin1String("a{sv}") || arguments.size() != 1) {
        qCDebug(LS_DBUS) << "Process on" << service << "answered with signature"
                         << reply.signature();
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidSignature"),
                       QStringLiteral("Reply of signature \"%1\" where a{sv} was expected")
                               .arg(reply.signature()));
    }

    const QVariant response = fromDBusValue(arguments.constFirst(), &ok);
    if (!ok) {
        qCDebug(LS_DBUS) << "Reply of" << service << "nested deeper than" << maximumNestingDepth
                         << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Reply nested deeper than %1 levels").arg(maximumNestingDepth));
    }
    return response.toMap();
}

} // namespace ls
