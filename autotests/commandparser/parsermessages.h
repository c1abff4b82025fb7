// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef PARSERMESSAGES_H
#define PARSERMESSAGES_H

#include "messagelog.h"

#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <QString>
#include <QStringList>
#include <QVariant>

#include <initializer_list>

// What CommandParser logs, as MessageLog records it, and the catalogue entries it reads: shared
// by the tests that call the parser in the test's own process.
namespace ParserMessages {

inline const QString &sourceFile()
{
    static const QString file = QStringLiteral("CommandParser.cpp");
    return file;
}

inline QString descriptionError(const QString &quotedKey)
{
    return MessageLog::critical(
            sourceFile(),
            QStringLiteral("const QString CommandParser::getDescription(const EnumKey&, const "
                           "QVariantMap&) const"),
            QStringLiteral("CommandParser::getDescription ERROR: Parameter %1 not found!")
                    .arg(quotedKey));
}

inline QString argumentsError(const QString &quotedKey)
{
    return MessageLog::critical(
            sourceFile(),
            QStringLiteral("const QString CommandParser::getArgumentsList(const EnumKey&, const "
                           "QVariantMap&) const"),
            QStringLiteral("CommandParser::getArgumentsList ERROR: Parameter %1 not found!")
                    .arg(quotedKey));
}

// One line of a listing.
inline QString line(const QString &text)
{
    return MessageLog::debug(
            sourceFile(),
            QStringLiteral("void CommandParser::display(const ls::MetaEnum&, const QVariantMap&) "
                           "const"),
            text);
}

// What the listing of an enum writes when the catalogue has none of its entries.
inline QStringList listingWithoutEntries(const ls::MetaEnum &metaEnum)
{
    QStringList messages;
    for (const QString *name : metaEnum.names()) {
        const QString quoted = QLatin1Char('"') + *name + QLatin1Char('"');
        messages << descriptionError(quoted) << argumentsError(quoted)
                 << line(QString::number(metaEnum.value(name)) + QStringLiteral(" \t  "));
    }
    return messages;
}

// An argument record; an invalid QVariant leaves that member out.
inline QVariantMap record(const QVariant &name, const QVariant &type)
{
    QVariantMap argument;
    if (name.isValid())
        argument.insert(ls::argumentNameKey, name);
    if (type.isValid())
        argument.insert(ls::argumentTypeKey, type);
    return argument;
}

// A command entry; an invalid QVariant leaves that member out.
inline QVariantMap command(const QVariant &description, const QVariant &count = QVariant(),
                           const QVariant &types = QVariant())
{
    QVariantMap entry;
    if (description.isValid())
        entry.insert(ls::descriptionKey, description);
    if (count.isValid())
        entry.insert(ls::argumentCountKey, count);
    if (types.isValid())
        entry.insert(ls::argumentTypesKey, types);
    return entry;
}

inline QVariantList records(std::initializer_list<QVariantMap> items)
{
    QVariantList list;
    for (const QVariantMap &item : items)
        list.append(item);
    return list;
}

} // namespace ParserMessages

#endif // PARSERMESSAGES_H
