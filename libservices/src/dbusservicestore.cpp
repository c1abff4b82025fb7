// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/dbusservicestore.h>

#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include "logging.h"

namespace ls {

DBusServiceStore::DBusServiceStore() = default;
DBusServiceStore::~DBusServiceStore()
{
    qDeleteAll(m_services);
}

DBusServiceStore *DBusServiceStore::instance()
{
    static DBusServiceStore store;
    return &store;
}

bool DBusServiceStore::registerService(const QString &serviceId)
{
    // An empty id would name no bus name; it stays with the unregistered proxy.
    if (serviceId.isEmpty() || m_services.contains(serviceId))
        return false;
    m_services.insert(serviceId, new DBusService(serviceId));
    return true;
}

DBusService *DBusServiceStore::getService(const QString &serviceId) const
{
    const auto it = m_services.constFind(serviceId);
    if (it != m_services.constEnd())
        return it.value();
    qCDebug(LS_DBUS) << "Service" << serviceId << "looked up but never registered";
    // A proxy without a service id stands in for every unregistered name: its exchanges fail
    // without touching the bus, and callers that trust the store never see a null pointer.
    static DBusService unregistered{QString()};
    return &unregistered;
}

} // namespace ls
