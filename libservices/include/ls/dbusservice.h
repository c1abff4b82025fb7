// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_DBUSSERVICE_H
#define LS_DBUSSERVICE_H

#include <ls/libservices_export.h>

#include <QString>
#include <QVariantMap>

namespace ls {

// Proxy of one service on the device's bus. process() is one blocking method call on sd-bus, on
// the caller's thread: no introspection, one connection per process, and one deadline of 25 s
// (the D-Bus default call time-out) over connecting, authentication, Hello and the reply.
// LS_DBUS_TIMEOUT_MS in the environment shortens the deadline.
class LIBSERVICES_EXPORT DBusService
{
public:
    explicit DBusService(const QString &serviceId);

    QString serviceId() const { return m_serviceId; }

    // Sends the request and returns the response converted to plain Qt types. A failed exchange
    // gives {resultId: "Failure", errorId: <D-Bus error name>, errorMessage: <its text>}; it never
    // throws.
    QVariantMap process(const QVariantMap &request) const;

private:
    QString m_serviceId;
};

} // namespace ls

#endif // LS_DBUSSERVICE_H
