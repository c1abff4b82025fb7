// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/messagekeys.h>

namespace ls {

const QString senderIdKey = QStringLiteral("senderId");
const QString commandIdKey = QStringLiteral("commandId");
const QString subCommandIdKey = QStringLiteral("subCommandId");
const QString argsKey = QStringLiteral("args");
const QString categoryKey = QStringLiteral("category");
const QString resultIdKey = QStringLiteral("resultId");
const QString errorIdKey = QStringLiteral("errorId");
const QString errorMessageKey = QStringLiteral("errorMessage");
const QString detailsMapKey = QStringLiteral("details");
const QString commandCategoriesKey = QStringLiteral("commandCategories");
const QString commandsKey = QStringLiteral("commands");
const QString idKey = QStringLiteral("id");
const QString descriptionKey = QStringLiteral("description");
const QString argumentCountKey = QStringLiteral("argumentCount");
const QString argumentTypesKey = QStringLiteral("argumentTypes");
const QString argumentNameKey = QStringLiteral("name");
const QString argumentTypeKey = QStringLiteral("type");

const QString ServiceId::CommandHandler = QStringLiteral("CommandHandler");

const QString ResultId::Success = QStringLiteral("Success");
const QString ResultId::Failure = QStringLiteral("Failure");

const QString ErrorId::NoError = QStringLiteral("NoError");

const QString CommandHandlerCmdId::GetCommandCategories = QStringLiteral("GetCommandCategories");
const QString CommandHandlerCmdId::GetCommands = QStringLiteral("GetCommands");
const QString CommandHandlerCmdId::HandleCommand = QStringLiteral("HandleCommand");

} // namespace ls
