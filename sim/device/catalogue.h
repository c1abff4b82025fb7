// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef CATALOGUE_H
#define CATALOGUE_H

#include <QString>
#include <QVariantList>

// The catalogue the device serves to GetCommandCategories and GetCommands, read from the command
// table: the names and order of the platform library's catalogue (ls/commandids.h), the
// descriptions and argument records of the device's own rows.
namespace Catalogue {

// The category entries, in category order: id and description each.
QVariantList categoryEntries();

// The command entries of one category, in catalogue order; *known is false for a name that is no
// category.
QVariantList commandEntries(const QString &category, bool *known);

} // namespace Catalogue

#endif // CATALOGUE_H
