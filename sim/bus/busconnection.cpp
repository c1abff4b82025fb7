// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "busconnection.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QStringList>
#include <QUrl>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <poll.h>

namespace {

// Replies to RequestName that leave the name with us.
constexpr uint32_t primaryOwner = 1;
constexpr uint32_t alreadyOwner = 4;

// What is still queued when the simulator ends gets this long to leave.
constexpr uint64_t closingFlushUsec = 100 * 1000;

uint64_t monotonicUsec()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return uint64_t(now.tv_sec) * 1000000 + uint64_t(now.tv_nsec) / 1000;
}

QString errorText(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

// The socket a unix address names, as the operator wrote it; empty for other transports.
QString socketOf(const QString &address)
{
    for (const QString &entry : address.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        if (!entry.startsWith(QLatin1String("unix:")))
            continue;
        for (const QString &pair : entry.mid(5).split(QLatin1Char(','))) {
            for (const QLatin1String key : {QLatin1String("path="), QLatin1String("abstract=")}) {
                if (pair.startsWith(key))
                    return QUrl::fromPercentEncoding(pair.mid(key.size()).toUtf8());
            }
        }
    }
    return QString();
}

// Names the socket that could not be reached, as the simulator always has.
QString connectFailure(const QString &address, int error)
{
    const QString socket = socketOf(address);
    if (socket.isEmpty())
        return errorText(error);
    return QStringLiteral("Failed to connect to socket %1: %2").arg(socket, errorText(error));
}

} // namespace

BusConnection::BusConnection(QObject *parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &BusConnection::dispatch);
    m_startupTimer.setSingleShot(true);
    m_startupTimer.setInterval(startupTimeoutMs);
    connect(&m_startupTimer, &QTimer::timeout, this, [this] {
        if (!m_active || m_nameOwned)
            return;
        stop();
        Q_EMIT nameRefused(
                QStringLiteral("the bus did not answer within %1 ms").arg(startupTimeoutMs));
    });
}

BusConnection::~BusConnection()
{
    close();
}

bool BusConnection::open(const QString &address, QString *error)
{
    int r = sd_bus_new(&m_bus);
    if (r >= 0)
        r = sd_bus_set_address(m_bus, address.toUtf8().constData());
    if (r >= 0)
        r = sd_bus_set_bus_client(m_bus, 1);
    if (r >= 0)
        r = sd_bus_start(m_bus);
    const int fd = r >= 0 ? sd_bus_get_fd(m_bus) : r;
    if (fd < 0) {
        *error = connectFailure(address, -fd);
        m_bus = sd_bus_unref(m_bus);
        return false;
    }

    m_readNotifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    m_writeNotifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    m_writeNotifier->setEnabled(false);
    connect(m_readNotifier.get(), &QSocketNotifier::activated, this, &BusConnection::dispatch);
    connect(m_writeNotifier.get(), &QSocketNotifier::activated, this, &BusConnection::dispatch);
    m_active = true;
    m_startupTimer.start();
    rearm();
    return true;
}

bool BusConnection::requestName(const QString &name, QString *error)
{
    const int r = sd_bus_request_name_async(m_bus, &m_nameSlot, name.toUtf8().constData(), 0,
                                            &BusConnection::onNameReply, this);
    if (r < 0) {
        *error = errorText(-r);
        return false;
    }
    rearm();
    return true;
}

int BusConnection::onNameReply(sd_bus_message *reply, void *userdata, sd_bus_error *)
{
    auto *self = static_cast<BusConnection *>(userdata);
    if (sd_bus_message_is_method_error(reply, nullptr)) {
        // A connection that ended before the reply reports itself when its end is processed.
        if (sd_bus_is_open(self->m_bus) <= 0)
            return 0;
        const sd_bus_error *error = sd_bus_message_get_error(reply);
        Q_EMIT self->nameRefused(QString::fromUtf8(error->message ? error->message : error->name));
        return 0;
    }
    uint32_t result = 0;
    const int r = sd_bus_message_read(reply, "u", &result);
    if (r < 0) {
        Q_EMIT self->nameRefused(errorText(-r));
    } else if (result == primaryOwner || result == alreadyOwner) {
        self->m_nameOwned = true;
        self->m_startupTimer.stop();
    } else {
        Q_EMIT self->nameTaken();
    }
    return 0;
}

// Everything that is due, then wait for the next wake-up. Handlers may stop() the connection
// in between.
void BusConnection::dispatch()
{
    while (m_active) {
        const int r = sd_bus_process(m_bus, nullptr);
        if (r < 0) {
            end(-r);
            return;
        }
        if (r == 0)
            break;
    }
    if (!m_active)
        return;
    if (sd_bus_is_open(m_bus) <= 0) {
        end(ENOTCONN);
        return;
    }
    rearm();
}

void BusConnection::rearm()
{
    const int events = sd_bus_get_events(m_bus);
    m_writeNotifier->setEnabled(events > 0 && (events & POLLOUT));
    uint64_t deadline = std::numeric_limits<uint64_t>::max();
    if (sd_bus_get_timeout(m_bus, &deadline) <= 0
        || deadline == std::numeric_limits<uint64_t>::max()) {
        m_timer.stop();
        return;
    }
    const uint64_t now = monotonicUsec();
    const uint64_t waitMs = deadline > now ? (deadline - now + 999) / 1000 : 0;
    m_timer.start(int(std::min<uint64_t>(waitMs, std::numeric_limits<int>::max())));
}

void BusConnection::end(int error)
{
    stop();
    if (m_nameOwned)
        Q_EMIT lost();
    else
        Q_EMIT connectFailed(errorText(error));
}

void BusConnection::stop()
{
    m_active = false;
    m_timer.stop();
    m_startupTimer.stop();
    if (m_readNotifier)
        m_readNotifier->setEnabled(false);
    if (m_writeNotifier)
        m_writeNotifier->setEnabled(false);
}

void BusConnection::close()
{
    stop();
    m_readNotifier.reset();
    m_writeNotifier.reset();
    m_nameSlot = sd_bus_slot_unref(m_nameSlot);
    if (!m_bus)
        return;
    // A reply the socket could not take at once is still queued: give it a moment to leave.
    const uint64_t deadline = monotonicUsec() + closingFlushUsec;
    while (sd_bus_is_open(m_bus) > 0) {
        const int events = sd_bus_get_events(m_bus);
        const uint64_t now = monotonicUsec();
        if (events <= 0 || !(events & POLLOUT) || now >= deadline)
            break;
        const int r = sd_bus_process(m_bus, nullptr);
        if (r < 0 || (r == 0 && sd_bus_wait(m_bus, deadline - now) < 0))
            break;
    }
    m_bus = sd_bus_close_unref(m_bus);
}
