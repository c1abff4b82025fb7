// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "requests.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QVariantList>

namespace {

const QString undefined = QStringLiteral("Undefined");

QString canonical(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QJsonObject text(const QString &value)
{
    return {{QStringLiteral("s"), value}};
}

QJsonObject recordedCatalogue(const QString &commandId)
{
    return {{ls::commandIdKey, text(commandId)},
            {ls::senderIdKey, text(ls::ServiceId::CommandHandler)},
            {ls::subCommandIdKey, text(undefined)}};
}

} // namespace

namespace Requests {

QVariantMap request(const QString &commandId, const QVariantMap &more)
{
    QVariantMap map{{ls::commandIdKey, commandId},
                    {ls::senderIdKey, ls::ServiceId::CommandHandler}};
    for (auto it = more.cbegin(); it != more.cend(); ++it)
        map.insert(it.key(), it.value());
    return map;
}

QVariantMap catalogue(const QString &commandId)
{
    return request(commandId, {{ls::subCommandIdKey, undefined}});
}

QVariantMap command(int number, const QStringList &words)
{
    QVariantList args;
    for (const QString &word : words)
        args.append(word);
    return request(ls::CommandHandlerCmdId::HandleCommand,
                   {{ls::subCommandIdKey, number}, {ls::argsKey, args}});
}

QVariantMap commandLine(const QString &line)
{
    QStringList words = line.split(QLatin1Char(' '));
    const int number = words.takeFirst().toInt();
    return command(number, words);
}

QString recordedCategories()
{
    return canonical(recordedCatalogue(ls::CommandHandlerCmdId::GetCommandCategories));
}

QString recordedCommands(const QString &category)
{
    QJsonObject request = recordedCatalogue(ls::CommandHandlerCmdId::GetCommands);
    request.insert(ls::categoryKey, text(category));
    return canonical(request);
}

QString recordedCommand(int number, const QStringList &arguments)
{
    QJsonArray args;
    for (const QString &argument : arguments)
        args.append(text(argument));
    return canonical({{ls::argsKey, QJsonObject{{QStringLiteral("av"), args}}},
                      {ls::commandIdKey, text(ls::CommandHandlerCmdId::HandleCommand)},
                      {ls::senderIdKey, text(ls::ServiceId::CommandHandler)},
                      {ls::subCommandIdKey, QJsonObject{{QStringLiteral("i"), number}}}});
}

} // namespace Requests

namespace Scripts {

const QByteArray success = R"("resultId": "Success", "errorId": "NoError")";

QByteArray successful(const QByteArray &members)
{
    return "{" + success + ", " + members + "}";
}

QByteArray answer(const QByteArray &response)
{
    return R"({"responses": [)" + response + "]}";
}

QByteArray answering(const QString &commandId, const QByteArray &response)
{
    return R"({"byCommand": {")" + commandId.toUtf8() + R"(": )" + response + "}}";
}

QByteArray answeringDetails(const QByteArray &details)
{
    return answering(ls::CommandHandlerCmdId::HandleCommand,
                     successful(R"("details": )" + details));
}

QByteArray answeringCatalogue(const QString &query, const QByteArray &entries)
{
    const QString key = query == ls::CommandHandlerCmdId::GetCommandCategories
                                ? ls::commandCategoriesKey
                                : ls::commandsKey;
    return answering(query, successful('"' + key.toUtf8() + R"(": )" + entries));
}

} // namespace Scripts
