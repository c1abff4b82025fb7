// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMANDCONTEXT_H
#define COMMANDCONTEXT_H

#include "rules/deviceoptions.h"
#include "rules/deviceresult.h"

#include <QVariantList>

class EmbossJob;
class StateStore;

// A command's arguments, parsed against its schema (device/arguments.h): an int, a bool or a
// QString each, in schema order.
using Arguments = QVariantList;

// What a command's handler works on: the device's parts, lent to it for one request.
struct CommandContext
{
    // The kept state (configuration, paper, documents, pending fault, error log) and its file.
    StateStore &store;
    // The job that runs, or the last one that ran.
    EmbossJob &job;
    const DeviceOptions &options;
    // The clock's reading when the device started, and the requests it has handled, this one
    // included.
    qint64 startMs = 0;
    int requestsServed = 0;

    qint64 now() const { return options.clockMs(); }
};

// A command's handler: carries the command out on the device with its parsed arguments. The
// handlers live in this folder, one file per category; the command table (device/commandtable)
// names each in its row.
using CommandHandler = DeviceResult(CommandContext &device, const Arguments &arguments);

#endif // COMMANDCONTEXT_H
