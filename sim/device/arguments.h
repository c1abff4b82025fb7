// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef ARGUMENTS_H
#define ARGUMENTS_H

#include "commands/commandcontext.h"
#include "rules/deviceresult.h"
#include "rules/rules.h"

#include <QString>
#include <QStringList>
#include <QVariantList>
#include <QVector>

// A command's arguments: the schema that the command table gives each argument, and the parsing
// and checking of the words a request carries against it.

enum class ArgumentType { Int, Bool, String };

// One argument of a command: its name and type as the catalogue serves them, and what values it
// takes.
struct ArgumentRule
{
    QString name;
    ArgumentType type = ArgumentType::String;
    // The texts a string argument takes; any text when empty.
    QStringList choices;
    // The numbers an int argument takes.
    Rules::Range range;

    static ArgumentRule integer(const QString &name, Rules::Range range = {});
    static ArgumentRule boolean(const QString &name);
    static ArgumentRule text(const QString &name, const QStringList &choices = {});

    // What the argument takes beyond its type, as the descriptions and docs/simulator.md write it:
    // "10 to 48", "at least 1", "A4, Letter, Braille-11x11.5"; empty when any value of the type
    // goes.
    QString valuesText() const;
};

// The type's text as it travels in the argument records: "int", "bool" or "string".
QString typeName(ArgumentType type);

// Whether a value is a whole number of one of Qt's integer types of 16 bits or more: how peers
// send numbers. A byte is not counted, as it reads as a character.
bool isWideInteger(const QVariant &value);

// Parses the words of a request for the command named commandName. Words are checked as int
// (decimal), bool (true, false, 1, 0) or string (anything); a last argument of type string takes
// the rest of the words joined by single blanks. A failure is InvalidRequest (a word that is no
// word), InvalidArgumentCount or InvalidArgument.
DeviceResult parseArguments(const QString &commandName, const QVector<ArgumentRule> &schema,
                            const QVariantList &words, Arguments *arguments);

#endif // ARGUMENTS_H
