#include <ls/dbusservice.h>

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include "logging.h"
#include "wirecheck.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDeadlineTimer>
#include <QThread>

namespace ls {

namespace {

// The D-Bus default time-out of a method call.
constexpr int callTimeoutMs = 25000;

// QDBusConnection::call() waits without end when the bus drops the connection mid-call: the
// pending call is then never completed. So the wait watches the connection and a deadline of its
// own as well.
QDBusMessage waitForReply(const QDBusConnection &bus, const QDBusPendingCall &pending)
{
    const QDeadlineTimer deadline(callTimeoutMs);
    // A typical answer takes a fraction of a millisecond: yield at first rather than sleep,
    // whose granularity would double that; then nap, more briefly while an answer is likely.
    int polls = 0;
    while (!pending.isFinished()) {
        if (!bus.isConnected()) {
            return QDBusMessage::createError(
                    QStringLiteral("org.freedesktop.DBus.Error.Disconnected"),
                    QStringLiteral("The connection to the bus was lost during the call"));
        }
        if (deadline.hasExpired()) {
            return QDBusMessage::createError(
                    QStringLiteral("org.freedesktop.DBus.Error.NoReply"),
                    QStringLiteral("No reply within %1 ms").arg(callTimeoutMs));
        }
        ++polls;
        if (polls < 200)
            QThread::yieldCurrentThread();
        else
            QThread::usleep(polls < 600 ? 50 : 2000);
    }
    return pending.reply();
}

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

    // The bus drops the connection of a sender whose message is nested too deeply, and QtDBus
    // warns on the default category about values it cannot marshal: both are refused here,
    // before anything is sent.
    QString typeName;
    switch (checkOutgoing(request, &typeName)) {
    case WireCheck::Ok:
        break;
    case WireCheck::TooDeep:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: nested deeper than"
                         << maximumNestingDepth << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Request nested deeper than %1 levels").arg(maximumNestingDepth));
    case WireCheck::NoDBusForm:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: it holds a value of type"
                         << typeName;
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Request holds a value of type %1, which has no D-Bus form")
                               .arg(typeName));
    case WireCheck::BadText:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: it holds text D-Bus cannot carry";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Request holds text with a NUL character or a lone "
                                      "surrogate, which D-Bus cannot carry"));
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

    const QDBusMessage reply = waitForReply(bus, bus.asyncCall(call, callTimeoutMs));
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

    QVariant response;
    switch (convertIncoming(arguments.constFirst(), &response)) {
    case WireCheck::Ok:
        break;
    case WireCheck::TooDeep:
        qCDebug(LS_DBUS) << "Reply of" << service << "nested deeper than" << maximumNestingDepth
                         << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Reply nested deeper than %1 levels").arg(maximumNestingDepth));
    case WireCheck::NoDBusForm:
    case WireCheck::BadText:
        qCDebug(LS_DBUS) << "Reply of" << service << "holds a value without a plain form";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Reply holds a value that has no plain form"));
    }
    return response.toMap();
}

} // namespace ls
