// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_DBUSSERVICESTORE_H
#define LS_DBUSSERVICESTORE_H

#include <ls/libservices_export.h>

#include <QHash>
#include <QString>

namespace ls {

class DBusService;

// The process-wide store of service proxies.
class LIBSERVICES_EXPORT DBusServiceStore
{
public:
    static DBusServiceStore *instance();

    // Makes the service known; touches no bus. Returns false when it was registered already or
    // the id is empty.
    bool registerService(const QString &serviceId);
    // The proxy of a registered service. For a name never registered it returns a proxy too, one
    // whose process() fails at once with the error "se.tarnvik.Error.ServiceNotRegistered" and
    // sends nothing; it never returns null.
    DBusService *getService(const QString &serviceId) const;

    DBusServiceStore(const DBusServiceStore &) = delete;
    DBusServiceStore &operator=(const DBusServiceStore &) = delete;

private:
    DBusServiceStore();
    ~DBusServiceStore();

    // Owned; deleted with the store.
    QHash<QString, DBusService *> m_services;
};

} // namespace ls

#endif // LS_DBUSSERVICESTORE_H
