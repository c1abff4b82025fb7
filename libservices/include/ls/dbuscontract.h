#ifndef LS_DBUSCONTRACT_H
#define LS_DBUSCONTRACT_H

#include <ls/libservices_export.h>

#include <QString>
#include <QVariant>

// Where a service lives on the bus and how values cross it; docs/wire-contract.md is the reference
// for peers.
namespace ls {

// "se.tarnvik." + service id, e.g. "se.tarnvik.CommandHandler".
LIBSERVICES_EXPORT QString busName(const QString &serviceId);
// "/se/tarnvik/" + service id, e.g. "/se/tarnvik/CommandHandler".
LIBSERVICES_EXPORT QString objectPath(const QString &serviceId);
// "se.tarnvik.Service1"
LIBSERVICES_EXPORT extern const QString serviceInterface;
// "Process": one a{sv} in, one a{sv} out.
LIBSERVICES_EXPORT extern const QString processMethod;

// Deepest level a value may sit at in a message, counted as D-Bus counts it: a message argument
// is at level 0, and every array element, struct or dict entry field and variant content one
// level below its container. Empty containers and the elements of arrays of fixed-size values
// add nothing. Under the a{sv} of a request or response a value is at level 3; each map around
// it adds 3 levels, each list 2. The bus drops the connection of a sender that goes deeper.
constexpr int maximumNestingDepth = 64;

// Converts a value received from the bus into plain Qt types: every a{sv} at any depth becomes a
// QVariantMap, every array a QVariantList (an array of strings too), so no QDBusArgument escapes;
// integers stay integers. The value counts as a message argument, at level 0. Returns an invalid
// QVariant and sets *ok to false when it is nested deeper than maximumNestingDepth or holds a
// file descriptor or another type without a plain form.
LIBSERVICES_EXPORT QVariant fromDBusValue(const QVariant &value, bool *ok = nullptr);

} // namespace ls

#endif // LS_DBUSCONTRACT_H
