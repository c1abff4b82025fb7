// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "CommandParser.h"

#include "Common.h"
#include "dbus/CommandHandler.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <QDebug>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcCommandHandler, "CommandHandler", QtCriticalMsg)

namespace {

// Entries by the text of their id; a later entry with the same id replaces an earlier one, and
// entries without an id end up under the empty key, which no enumerator has.
QVariantMap catalogueMap(const QVariantList &entries)
{
    QVariantMap catalogue;
    for (const QVariant &element : entries) {
        const QVariantMap entry = element.toMap();
        catalogue.insert(entry.value(ls::idKey).toString(), entry);
    }
    return catalogue;
}

} // namespace

CommandParser::CommandParser(QObject *parent)
    : QObject(parent), commandHandler(new CommandHandler(nullptr))
{ }

void CommandParser::executeCommand(int commandId, const QList<QVariant> &args) const
{
    const QVariantMap result = commandHandler->executeCommand(commandId, args);
    const QStringList keys = result.keys();
    for (const QString &key : keys) {
        if (!result.value(key).canConvert<QString>())
            continue;
        qDebug().noquote() << key << "\t" << result.value(key).toString();
    }
}

void CommandParser::listCategories() const
{
    display(ls::CommandCategories::meta, catalogueMap(commandHandler->getCommandCategories()));
}

void CommandParser::listCommands(int category) const
{
    if (ls::CommandCategories::meta.name(category) == undefinedId) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str() << "Category"
                    << category << "not found!";
        return;
    }

    const QVariantMap commands
            = catalogueMap(commandHandler->getCommands(ls::CommandCategories::meta.name(category)));

    const ls::MetaEnum &categories = ls::CommandCategories::meta;
    const ls::MetaEnum *commandEnum = nullptr;
    if (category == categories.valueOf(ls::CommandCategories::ConfigurationCommandId))
        commandEnum = &ls::ConfigurationCommandId::meta;
    else if (category == categories.valueOf(ls::CommandCategories::PaperFeedCommandId))
        commandEnum = &ls::PaperFeedCommandId::meta;
    else if (category == categories.valueOf(ls::CommandCategories::DocumentCommandId))
        commandEnum = &ls::DocumentCommandId::meta;
    else if (category == categories.valueOf(ls::CommandCategories::EmbossCommandId))
        commandEnum = &ls::EmbossCommandId::meta;
    else if (category == categories.valueOf(ls::CommandCategories::TestingCommandId))
        commandEnum = &ls::TestingCommandId::meta;
    else if (category == categories.valueOf(ls::CommandCategories::IpcCommandId))
        commandEnum = &ls::IpcCommandId::meta;
    if (!commandEnum)
        return;

    display(*commandEnum, commands);
}

void CommandParser::display(const ls::MetaEnum &metaEnum, const QVariantMap &commands) const
{
    const ls::MetaEnum meta = metaEnum;
    const QList<const QString *> names = meta.names();
    for (const QString *name : names) {
        const int value = meta.value(name);
        // By value, so enumerators that share a value both show the first one's entry.
        const EnumKey key = meta.name(value);
        // One statement, evaluated left to right: the description's error lines come out before
        // the signature's, and both before this line.
        qDebug().noquote() << value << "\t" << getDescription(key, commands)
                           << getArgumentsList(key, commands);
    }
}

const QString CommandParser::getDescription(const EnumKey &key, const QVariantMap &commands) const
{
    if (!commands.contains(key)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str() << "Parameter" << key
                    << "not found!";
        return QString();
    }
    const QVariantMap entry = commands.value(key).toMap();
    if (entry.contains(ls::descriptionKey))
        return entry.value(ls::descriptionKey).toString();
    qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str() << "Parameter"
                << ls::descriptionKey << "not found!";
    return QString();
}

const QString CommandParser::getArgumentsList(const EnumKey &key, const QVariantMap &commands) const
{
    QString arguments = QStringLiteral("");
    if (!commands.contains(key)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str() << "Parameter" << key
                    << "not found!";
        return arguments;
    }
    const QVariantMap entry = commands.value(key).toMap();
    // A command without a description gets no signature either.
    if (!entry.contains(ls::descriptionKey)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str() << "Parameter"
                    << ls::descriptionKey << "not found!";
        return arguments;
    }
    if (!entry.contains(ls::argumentCountKey))
        return arguments;
    // Only zero means "no arguments"; the records alone decide how many are written.
    if (entry.value(ls::argumentCountKey).toInt() == 0)
        return arguments;

    arguments += QStringLiteral("( ");
    const int count = entry.value(ls::argumentTypesKey).toList().size();
    for (int i = 0; i < count; ++i) {
        const QVariantMap record = entry.value(ls::argumentTypesKey).toList().at(i).toMap();
        arguments += QStringLiteral("%1: %2")
                             .arg(record.value(ls::argumentNameKey).toString())
                             .arg(record.value(ls::argumentTypeKey).toString());
        arguments += i + 1 < count ? QStringLiteral(", ") : QStringLiteral(" ");
    }
    arguments += QStringLiteral(")");
    return arguments;
}
