// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMANDTABLE_H
#define COMMANDTABLE_H

#include "arguments.h"

#include "rules/deviceresult.h"

#include <QString>
#include <QVector>

namespace ls {
class MetaEnum;
}

// Whether a request of the command may change the state that the state file keeps: the state is
// written after such a request (when it differs from the file), and left alone after a request
// that only looks.
enum class Effect { LooksOnly, ChangesState };

// One command of the device: one row of the command table.
struct CommandRow
{
    int number = 0;
    CommandHandler *handler = nullptr;
    Effect effect = Effect::LooksOnly;
    // As the catalogue serves it.
    QString description;
    QVector<ArgumentRule> arguments;
    // The command's and its category's names, which the platform library's catalogue
    // (ls/commandids.h) gives every number: filled in when the table is built.
    QString name;
    QString category;
};

// One category of commands, as the catalogue lists it.
struct CategoryRow
{
    // The category's name in the platform library's catalogue.
    QString name;
    // Its commands, in catalogue order.
    const ls::MetaEnum *commands = nullptr;
    QString description;
};

// The command table: every command the device carries out, with its handler, its effect on the
// kept state, its description and its argument schema. The dispatcher, the argument parsing and
// the served catalogue all read it; docs/simulator.md's command table is held against it.
namespace CommandTable {

// The row of the command with that number, or null when the device has none.
const CommandRow *row(int number);

// Every row, in the order the catalogue lists the commands.
const QVector<CommandRow> &rows();

// The categories, in catalogue order.
const QVector<CategoryRow> &categories();

} // namespace CommandTable

#endif // COMMANDTABLE_H
