// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_DBUSCONTRACT_H
#define LS_DBUSCONTRACT_H

#include <ls/libservices_export.h>

#include <QString>

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
// ls/dbusvalue.h converts values under this rule.
constexpr int maximumNestingDepth = 64;

} // namespace ls

#endif // LS_DBUSCONTRACT_H
