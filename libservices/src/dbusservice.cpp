// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/dbusservice.h>

#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>
#include <ls/messagekeys.h>

#include "logging.h"

#include <QByteArray>

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>

#include <poll.h>

namespace ls {

namespace {

// The D-Bus default time-out of a method call, over the whole exchange.
constexpr int callTimeoutMs = 25000;
constexpr char defaultSystemBusAddress[] = "unix:path=/run/dbus/system_bus_socket";

const QString noReplyError = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
const QString disconnectedError = QStringLiteral("org.freedesktop.DBus.Error.Disconnected");

struct BusCloser
{
    // Closing never blocks; a flush could wait for a peer that reads nothing.
    void operator()(sd_bus *bus) const { sd_bus_close_unref(bus); }
};
struct MessageUnref
{
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
struct SlotUnref
{
    void operator()(sd_bus_slot *slot) const { sd_bus_slot_unref(slot); }
};
using Bus = std::unique_ptr<sd_bus, BusCloser>;
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;
using Slot = std::unique_ptr<sd_bus_slot, SlotUnref>;

// The process's one connection, made by its first exchange and replaced only when it is lost.
Bus &connection()
{
    static Bus bus;
    return bus;
}

quint64 monotonicUsec()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return quint64(ts.tv_sec) * 1000000u + quint64(ts.tv_nsec) / 1000u;
}

// LS_DBUS_TIMEOUT_MS shortens the deadline, so that tests of a silent bus or peer take seconds;
// it never lengthens it.
int deadlineMs()
{
    bool ok = false;
    const int ms = qEnvironmentVariableIntValue("LS_DBUS_TIMEOUT_MS", &ok);
    return ok && ms > 0 && ms < callTimeoutMs ? ms : callTimeoutMs;
}

QVariantMap failure(const QString &errorName, const QString &errorMessage)
{
    return {{resultIdKey, ResultId::Failure},
            {errorIdKey, errorName},
            {errorMessageKey, errorMessage}};
}

bool isDisconnect(int error)
{
    switch (error) {
    case ECONNRESET:
    case ECONNABORTED:
    case ENOTCONN:
    case EPIPE:
    case ESHUTDOWN:
    case ENETRESET:
    case ENETDOWN:
    case ENETUNREACH:
        return true;
    default:
        return false;
    }
}

// The D-Bus error names clients of the system bus have always seen for a bus that cannot be
// reached.
QString connectErrorName(int error)
{
    switch (error) {
    case ENOENT:
        return QStringLiteral("org.freedesktop.DBus.Error.FileNotFound");
    case ECONNREFUSED:
        return QStringLiteral("org.freedesktop.DBus.Error.NoServer");
    case EINVAL:
        return QStringLiteral("org.freedesktop.DBus.Error.BadAddress");
    case EACCES:
    case EPERM:
        return QStringLiteral("org.freedesktop.DBus.Error.AccessDenied");
    default: {
        sd_bus_error e = SD_BUS_ERROR_NULL;
        sd_bus_error_set_errno(&e, error);
        const QString name = QString::fromUtf8(e.name);
        sd_bus_error_free(&e);
        return name;
    }
    }
}

// A D-Bus server address: entries separated by ";", each "transport:key=value,...". sd-bus
// skips an entry it cannot read and then reports the bus as absent; a typing error in the
// address deserves its own name.
bool isWellFormedAddress(const QByteArray &address)
{
    bool anyEntry = false;
    for (const QByteArray &entry : address.split(';')) {
        if (entry.isEmpty())
            continue;
        anyEntry = true;
        const int colon = entry.indexOf(':');
        if (colon <= 0)
            return false;
        for (const QByteArray &pair : entry.mid(colon + 1).split(',')) {
            if (!pair.isEmpty() && pair.indexOf('=') <= 0)
                return false;
        }
    }
    return anyEntry;
}

QString errnoText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// Opens the connection without waiting for anything: a local socket connects at once or fails,
// and authentication and Hello run inside the exchange's own wait, under its deadline.
int openBus(const QByteArray &address, Bus *out)
{
    sd_bus *raw = nullptr;
    int r = sd_bus_new(&raw);
    if (r < 0)
        return r;
    Bus bus(raw);
    if ((r = sd_bus_set_address(bus.get(), address.constData())) < 0
        || (r = sd_bus_set_bus_client(bus.get(), 1)) < 0 || (r = sd_bus_start(bus.get())) < 0)
        return r;
    *out = std::move(bus);
    return 0;
}

// What the exchange was waiting for when its deadline passed.
QString stalledPhase(sd_bus *bus)
{
    if (sd_bus_is_ready(bus) > 0)
        return QStringLiteral("waiting for the service's reply");
    uint64_t queued = 0;
    sd_bus_get_n_queued_write(bus, &queued);
    // Hello and the call are written as soon as authentication ends.
    if (queued == 0)
        return QStringLiteral("waiting for the bus to answer Hello");
    if (sd_bus_get_events(bus) == POLLOUT)
        return QStringLiteral("connecting to the bus");
    return QStringLiteral("authenticating with the bus");
}

struct PendingCall
{
    Message reply;
};

int onReply(sd_bus_message *reply, void *userdata, sd_bus_error *)
{
    static_cast<PendingCall *>(userdata)->reply.reset(sd_bus_message_ref(reply));
    return 1;
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
    const quint64 deadline = monotonicUsec() + quint64(deadlineMs()) * 1000u;
    const QString service = busName(m_serviceId);

    Bus &bus = connection();
    if (bus && sd_bus_is_open(bus.get()) <= 0)
        bus.reset();
    if (!bus) {
        // DBUS_SYSTEM_BUS_ADDRESS moves the system bus, as for every D-Bus client.
        QByteArray address = qgetenv("DBUS_SYSTEM_BUS_ADDRESS");
        if (address.isEmpty())
            address = defaultSystemBusAddress;
        const int r = isWellFormedAddress(address) ? openBus(address, &bus) : -EINVAL;
        if (r < 0) {
            const QString name = connectErrorName(-r);
            const QString message
                    = -r == EINVAL ? QStringLiteral("The bus address \"%1\" cannot be used")
                                             .arg(QString::fromLocal8Bit(address))
                                   : QStringLiteral("Cannot connect to the bus at \"%1\": %2")
                                             .arg(QString::fromLocal8Bit(address), errnoText(-r));
            qCDebug(LS_DBUS) << "No bus for" << service << name << message;
            return failure(name, message);
        }
    }

    sd_bus_message *rawCall = nullptr;
    if (sd_bus_message_new_method_call(bus.get(), &rawCall, service.toUtf8().constData(),
                                       objectPath(m_serviceId).toUtf8().constData(),
                                       serviceInterface.toUtf8().constData(),
                                       processMethod.toUtf8().constData())
        < 0) {
        qCDebug(LS_DBUS) << "Request to" << service << "could not be built";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.NoMemory"),
                       QStringLiteral("The request could not be built"));
    }
    const Message call(rawCall);

    // The bus drops the connection of a sender whose message is nested too deeply, and sd-bus
    // would cut text at a NUL: both are refused here, and nothing is sent.
    QString typeName;
    switch (appendValue(call.get(), request, &typeName)) {
    case WireStatus::Ok:
        break;
    case WireStatus::TooDeep:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: nested deeper than"
                         << maximumNestingDepth << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Request nested deeper than %1 levels").arg(maximumNestingDepth));
    case WireStatus::NoDBusForm:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: it holds a value of type"
                         << typeName;
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Request holds a value of type %1, which has no D-Bus form")
                               .arg(typeName));
    case WireStatus::BadText:
        qCDebug(LS_DBUS) << "Request to" << service << "refused: it holds text D-Bus cannot carry";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Request holds text with a NUL character, a lone "
                                      "surrogate or a noncharacter, which D-Bus cannot carry"));
    case WireStatus::Malformed:
        qCDebug(LS_DBUS) << "Request to" << service << "could not be built";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("The request could not be built"));
    }

    // Queued behind Hello while the connection authenticates; no time-out of sd-bus's own, as the
    // deadline below covers the whole exchange.
    PendingCall pending;
    sd_bus_slot *rawSlot = nullptr;
    int r = sd_bus_call_async(bus.get(), &rawSlot, call.get(), onReply, &pending, UINT64_MAX);
    const Slot slot(rawSlot);
    bool timedOut = false;
    while (r >= 0 && !pending.reply) {
        r = sd_bus_process(bus.get(), nullptr);
        if (r != 0 || pending.reply)
            continue;
        const quint64 now = monotonicUsec();
        if (now >= deadline) {
            timedOut = true;
            break;
        }
        // Sleeps in poll() until the bus speaks or the deadline passes.
        r = sd_bus_wait(bus.get(), deadline - now);
        if (r == -EINTR)
            r = 0;
    }

    if (timedOut) {
        const QString message = QStringLiteral("No reply within %1 ms while %2")
                                        .arg(deadlineMs())
                                        .arg(stalledPhase(bus.get()));
        qCDebug(LS_DBUS) << "Process on" << service << "failed:" << noReplyError << message;
        // A connection that never got through its start would stall the next exchange as well.
        if (sd_bus_is_ready(bus.get()) <= 0)
            bus.reset();
        return failure(noReplyError, message);
    }
    if (!pending.reply) {
        const QString name = isDisconnect(-r) ? disconnectedError : connectErrorName(-r);
        const QString message
                = isDisconnect(-r)
                          ? QStringLiteral("The connection to the bus was lost during the call")
                          : errnoText(-r);
        qCDebug(LS_DBUS) << "Process on" << service << "failed:" << name << message;
        bus.reset();
        return failure(name, message);
    }

    sd_bus_message *reply = pending.reply.get();
    if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
        const sd_bus_error *error = sd_bus_message_get_error(reply);
        QString name = QString::fromUtf8(error->name);
        QString message = QString::fromUtf8(error->message);
        // sd-bus answers every call still pending with NoReply when the connection ends.
        if (name == noReplyError && sd_bus_is_open(bus.get()) <= 0) {
            name = disconnectedError;
            message = QStringLiteral("The connection to the bus was lost during the call");
        }
        qCDebug(LS_DBUS) << "Process on" << service << "failed:" << name << message;
        return failure(name, message);
    }

    const QString signature = QString::fromUtf8(sd_bus_message_get_signature(reply, 1));
    if (signature != QLatin1String("a{sv}")) {
        qCDebug(LS_DBUS) << "Process on" << service << "answered with signature" << signature;
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidSignature"),
                       QStringLiteral("Reply of signature \"%1\" where a{sv} was expected")
                               .arg(signature));
    }

    QVariant response;
    switch (readValue(reply, &response)) {
    case WireStatus::Ok:
        break;
    case WireStatus::TooDeep:
        qCDebug(LS_DBUS) << "Reply of" << service << "nested deeper than" << maximumNestingDepth
                         << "levels";
        return failure(
                QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                QStringLiteral("Reply nested deeper than %1 levels").arg(maximumNestingDepth));
    case WireStatus::NoDBusForm:
    case WireStatus::BadText:
    case WireStatus::Malformed:
        qCDebug(LS_DBUS) << "Reply of" << service << "holds a value without a plain form";
        return failure(QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs"),
                       QStringLiteral("Reply holds a value that has no plain form"));
    }
    return response.toMap();
}

} // namespace ls
