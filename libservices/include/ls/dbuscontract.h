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

// Deepest container nesting a message may carry, as D-Bus itself limits it.
constexpr int maximumNestingDepth = 64;

// Converts a value received from the bus into plain Qt types: every a{sv} at any depth becomes a
// QVariantMap, every array a QVariantList, so no QDBusArgument escapes. Returns an invalid
// QVariant and sets *ok to false when the value is nested deeper than maximumNestingDepth or
// holds a type that has no plain form.
LIBSERVICES_EXPORT QVariant fromDBusValue(const QVariant &value, bool *ok = nullptr);

} // namespace ls

#endif // LS_DBUSCONTRACT_H
