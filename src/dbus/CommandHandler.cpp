// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "CommandHandler.h"

#include "Common.h"

#include <ls/commandids.h>
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QDebug>

namespace {

// A successful response carries an error id as well as the success result id.
bool succeeded(const QVariantMap &response)
{
    return response.contains(ls::resultIdKey) && response.contains(ls::errorIdKey)
           && response.value(ls::resultIdKey).toString() == ls::ResultId::Success;
}

} // namespace

CommandHandler::CommandHandler(QObject *parent)
    : QObject(parent), serviceStore(ls::DBusServiceStore::instance())
{
    serviceStore->registerService(ls::ServiceId::CommandHandler);
}

const QVariantList CommandHandler::getCommandCategories() const
{
    QVariantMap request;
    request.insert(ls::commandIdKey, ls::CommandHandlerCmdId::GetCommandCategories);
    request.insert(ls::subCommandIdKey, undefinedId);

    const QVariantMap response = sendRequest(request);
    if (!succeeded(response)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str()
                    << "Processing GetCommandCategories failed!";
        return QVariantList();
    }
    if (!response.contains(ls::commandCategoriesKey)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str()
                    << "Command categories not found!";
        return QVariantList();
    }
    return response.value(ls::commandCategoriesKey).toList();
}

const QVariantList CommandHandler::getCommands(const QString &category) const
{
    QVariantMap request;
    request.insert(ls::commandIdKey, ls::CommandHandlerCmdId::GetCommands);
    request.insert(ls::subCommandIdKey, undefinedId);
    request.insert(ls::categoryKey, category);

    const QVariantMap response = sendRequest(request);
    if (!succeeded(response)) {
        // The category query's text: scripts on the device match this line as it is.
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str()
                    << "Processing GetCommandCategories failed!";
        return QVariantList();
    }
    if (!response.contains(ls::commandsKey)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:").c_str()
                    << "Commands not found!";
        return QVariantList();
    }
    return response.value(ls::commandsKey).toList();
}

const QVariantMap CommandHandler::executeCommand(int commandId, const QList<QVariant> &args) const
{
    // A number no category knows never reaches the device.
    const ls::MetaEnum *const commandEnums[] = {
            &ls::ConfigurationCommandId::meta, &ls::PaperFeedCommandId::meta,
            &ls::DocumentCommandId::meta,      &ls::EmbossCommandId::meta,
            &ls::TestingCommandId::meta,       &ls::IpcCommandId::meta,
    };
    bool known = false;
    for (const ls::MetaEnum *commandEnum : commandEnums) {
        if (commandEnum->name(commandId) != undefinedId) {
            known = true;
            break;
        }
    }
    if (!known) {
        qDebug() << "\nCommand" << commandId << "not found!";
        return QVariantMap();
    }

    QVariantMap request;
    request.insert(ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand);
    request.insert(ls::subCommandIdKey, commandId);
    request.insert(ls::argsKey, QVariant(args));

    const QVariantMap response = sendRequest(request);
    if (!succeeded(response)) {
        qCritical() << logPrefix(__FUNCTION__, Q_FUNC_INFO, "FAILED!").c_str()
                    << "Processing HandleCommand failed.";
        return QVariantMap();
    }
    if (response.contains(ls::detailsMapKey))
        return response.value(ls::detailsMapKey).toMap();
    // Without details the caller sees the whole answer, result and error ids included.
    return response;
}

QVariantMap CommandHandler::sendRequest(QVariantMap &request) const
{
    ls::DBusService *service = serviceStore->getService(ls::ServiceId::CommandHandler);
    // The service's own id as sender is what the service expects from this tool.
    request.insert(ls::senderIdKey, ls::ServiceId::CommandHandler);
    return service->process(request);
}
