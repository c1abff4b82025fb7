// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "dispatcher.h"

#include "arguments.h"
#include "catalogue.h"
#include "commandtable.h"

#include "commands/commandcontext.h"
#include "state/statestore.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

namespace {

// A sub-command id is a number; a text or a fraction that happens to convert is a caller's
// mistake worth reporting.
bool integerValue(const QVariant &value, int *result)
{
    const int type = value.userType();
    if (!isWideInteger(value) && type != QMetaType::UChar && type != QMetaType::SChar)
        return false;
    bool ok = false;
    const qlonglong v = value.toLongLong(&ok);
    if (!ok || v < INT_MIN || v > INT_MAX
        || (type == QMetaType::ULongLong && value.toULongLong() > INT_MAX))
        return false;
    *result = int(v);
    return true;
}

// The response map of a result: payload and the success ids, or the failure's ids and message.
QVariantMap responseMap(const DeviceResult &result, const QVariantMap &payload = {})
{
    QVariantMap response;
    if (!result.failed()) {
        response = payload;
        response.insert(ls::resultIdKey, ls::ResultId::Success);
        response.insert(ls::errorIdKey, ls::ErrorId::NoError);
    } else {
        response.insert(ls::resultIdKey, ls::ResultId::Failure);
        response.insert(ls::errorIdKey, result.errorId);
        response.insert(ls::errorMessageKey, result.message);
    }
    return response;
}

QVariantMap invalidRequest(const QString &message)
{
    return responseMap(DeviceResult::failure(DeviceError::invalidRequest, message));
}

QVariantMap commandList(const QVariantMap &request)
{
    const QVariant category = request.value(ls::categoryKey);
    if (category.userType() != QMetaType::QString) {
        return invalidRequest(QStringLiteral("The request has no category name under \"%1\"")
                                      .arg(ls::categoryKey));
    }
    bool known = false;
    const QVariantList entries = Catalogue::commandEntries(category.toString(), &known);
    if (!known) {
        return responseMap(DeviceResult::failure(
                DeviceError::unknownCategory,
                QStringLiteral("There is no command category \"%1\"").arg(category.toString())));
    }
    return responseMap(DeviceResult::success(), {{ls::commandsKey, entries}});
}

QVariantMap handleCommand(CommandContext &device, const QVariantMap &request)
{
    int number = 0;
    if (!integerValue(request.value(ls::subCommandIdKey), &number)) {
        return invalidRequest(QStringLiteral("The request has no command number under \"%1\"")
                                      .arg(ls::subCommandIdKey));
    }
    const QVariant words = request.value(ls::argsKey);
    if (words.userType() != QMetaType::QVariantList && words.userType() != QMetaType::QStringList) {
        return invalidRequest(
                QStringLiteral("The request has no argument list under \"%1\"").arg(ls::argsKey));
    }
    const CommandRow *row = CommandTable::row(number);
    if (!row) {
        return responseMap(DeviceResult::failure(
                DeviceError::unknownCommand, QStringLiteral("There is no command %1").arg(number)));
    }

    Arguments arguments;
    DeviceResult result = parseArguments(row->name, row->arguments, words.toList(), &arguments);
    if (!result.failed()) {
        if (row->effect == Effect::ChangesState)
            device.store.markChanged();
        result = row->handler(device, arguments);
    }
    if (result.failed())
        return responseMap(result);
    return responseMap(result, {{ls::detailsMapKey, result.details}});
}

} // namespace

namespace Dispatcher {

QVariantMap respond(CommandContext &device, const QVariantMap &request)
{
    const QVariant commandId = request.value(ls::commandIdKey);
    if (commandId.userType() != QMetaType::QString) {
        return invalidRequest(QStringLiteral("The request has no command id text under \"%1\"")
                                      .arg(ls::commandIdKey));
    }
    const QString id = commandId.toString();
    if (id == ls::CommandHandlerCmdId::GetCommandCategories) {
        return responseMap(DeviceResult::success(),
                           {{ls::commandCategoriesKey, Catalogue::categoryEntries()}});
    }
    if (id == ls::CommandHandlerCmdId::GetCommands)
        return commandList(request);
    if (id == ls::CommandHandlerCmdId::HandleCommand)
        return handleCommand(device, request);
    return invalidRequest(QStringLiteral("Unknown request \"%1\"").arg(id));
}

} // namespace Dispatcher
