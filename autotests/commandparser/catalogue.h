// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef CATALOGUE_H
#define CATALOGUE_H

#include "toolrunner.h"

#include <QList>
#include <QString>

// The device's catalogue as the platform library declares it, and the messages the tool writes
// for it, for building the expected log of a listing.
struct Enumerator
{
    int value;
    QString name;
};

// In the order the library's metas iterate, which is declaration order.
QList<Enumerator> categoryEnumerators();
QList<Enumerator> commandEnumerators(int category);
QString categoryName(int category);

// The line display writes for one enumerator.
LogMessage listedLine(int value, const QString &description, const QString &signature = QString());
// What display writes for an enumerator without an entry in the catalogue: the errors of the
// description and of the signature, then the line with empty texts.
LogMessages unlistedEntry(const Enumerator &enumerator);
LogMessages unlistedEntries(const QList<Enumerator> &enumerators);

// The help screen of printHelp, and the run that ends in it for lack of options.
LogMessages helpScreen();
LogMessages noOptions();

LogMessage resultLine(const QString &key, const QString &value);
LogMessage unknownCommand(int command);
LogMessage unknownCategory(int category);

#endif // CATALOGUE_H
