// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"

#include "commandtable.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QVariantMap>

namespace Catalogue {

namespace {

const CategoryRow *categoryRow(const QString &name)
{
    for (const CategoryRow &category : CommandTable::categories()) {
        if (category.name == name)
            return &category;
    }
    return nullptr;
}

// A number of the platform's catalogue that the device has no row for is listed all the same,
// without description and arguments.
QVariantMap commandEntry(const QString &name, const CommandRow *row)
{
    QVariantList records;
    if (row) {
        for (const ArgumentRule &a : row->arguments) {
            records.append(QVariantMap{{ls::argumentNameKey, a.name},
                                       {ls::argumentTypeKey, typeName(a.type)}});
        }
    }
    return {{ls::idKey, name},
            {ls::descriptionKey, row ? row->description : QString()},
            {ls::argumentCountKey, int(records.size())},
            {ls::argumentTypesKey, records}};
}

} // namespace

QVariantList categoryEntries()
{
    QVariantList entries;
    for (const QString *name : ls::CommandCategories::meta.names()) {
        const CategoryRow *category = categoryRow(*name);
        entries.append(
                QVariantMap{{ls::idKey, *name},
                            {ls::descriptionKey, category ? category->description : QString()}});
    }
    return entries;
}

QVariantList commandEntries(const QString &name, bool *known)
{
    const CategoryRow *category = categoryRow(name);
    *known = category != nullptr;
    QVariantList entries;
    if (!category)
        return entries;
    for (const QString *command : category->commands->names()) {
        entries.append(
                commandEntry(*command, CommandTable::row(category->commands->value(command))));
    }
    return entries;
}

} // namespace Catalogue
