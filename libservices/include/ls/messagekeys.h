// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_MESSAGEKEYS_H
#define LS_MESSAGEKEYS_H

#include <ls/libservices_export.h>

#include <QString>

// Keys and ids of the request and response maps that services exchange on the device's bus.
// Their texts are part of the wire contract (docs/wire-contract.md): every peer spells them alike.
namespace ls {

LIBSERVICES_EXPORT extern const QString senderIdKey;
LIBSERVICES_EXPORT extern const QString commandIdKey;
LIBSERVICES_EXPORT extern const QString subCommandIdKey;
LIBSERVICES_EXPORT extern const QString argsKey;
LIBSERVICES_EXPORT extern const QString categoryKey;
LIBSERVICES_EXPORT extern const QString resultIdKey;
LIBSERVICES_EXPORT extern const QString errorIdKey;
LIBSERVICES_EXPORT extern const QString errorMessageKey;
LIBSERVICES_EXPORT extern const QString detailsMapKey;
LIBSERVICES_EXPORT extern const QString commandCategoriesKey;
LIBSERVICES_EXPORT extern const QString commandsKey;
LIBSERVICES_EXPORT extern const QString idKey;
LIBSERVICES_EXPORT extern const QString descriptionKey;
LIBSERVICES_EXPORT extern const QString argumentCountKey;
LIBSERVICES_EXPORT extern const QString argumentTypesKey;
LIBSERVICES_EXPORT extern const QString argumentNameKey;
LIBSERVICES_EXPORT extern const QString argumentTypeKey;

namespace ServiceId {
LIBSERVICES_EXPORT extern const QString CommandHandler;
} // namespace ServiceId

namespace ResultId {
LIBSERVICES_EXPORT extern const QString Success;
LIBSERVICES_EXPORT extern const QString Failure;
} // namespace ResultId

namespace ErrorId {
// A successful response carries an error id too: this one.
LIBSERVICES_EXPORT extern const QString NoError;
} // namespace ErrorId

namespace CommandHandlerCmdId {
LIBSERVICES_EXPORT extern const QString GetCommandCategories;
LIBSERVICES_EXPORT extern const QString GetCommands;
LIBSERVICES_EXPORT extern const QString HandleCommand;
} // namespace CommandHandlerCmdId

} // namespace ls

#endif // LS_MESSAGEKEYS_H
