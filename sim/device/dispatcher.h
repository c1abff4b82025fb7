// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DISPATCHER_H
#define DISPATCHER_H

#include <QVariantMap>

struct CommandContext;

// Routes one request to what answers it and turns the outcome into the response map: a catalogue
// query to the catalogue, HandleCommand through the command table to the command's handler.
// Requests are checked in this order: the request's shape, the command number, the number of
// arguments, each argument's type and range, then (in the handler) the device's state.
namespace Dispatcher {

// The response map to one request map (already converted to plain Qt types): resultId and
// errorId always, errorMessage on failure, the catalogue's entries or a command's details on
// success.
QVariantMap respond(CommandContext &device, const QVariantMap &request);

} // namespace Dispatcher

#endif // DISPATCHER_H
