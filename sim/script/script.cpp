// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "script.h"

#include "scriptconverter.h"
#include "scriptnumbers.h"

#include <ls/messagekeys.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUuid>

namespace {

const QString scriptExhaustedId = QStringLiteral("ScriptExhausted");

bool isErrorName(const QString &name)
{
    static const QRegularExpression pattern(
            QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)+$"));
    return name.size() <= 255 && pattern.match(name).hasMatch();
}

// A directive that takes nothing but true and stands alone: the bus reply of its kind.
bool flagReply(ScriptConverter &converter, const QJsonObject &object, const QString &key,
               BusReply::Kind kind, const QString &path, BusReply *out)
{
    if (!converter.expectKeys(object, {key}, path))
        return false;
    if (object.value(key) != QJsonValue(true))
        return converter.fail(path, QStringLiteral("\"%1\" takes true").arg(key));
    *out = BusReply{kind, {}, {}, {}};
    return true;
}

// One response of the script as the bus reply it gives: a map is the response map, a directive
// an error, no reply, an exit or a reply of any signature.
bool scriptedReply(ScriptConverter &converter, const QJsonValue &written, const QString &path,
                   BusReply *out)
{
    const QJsonValue value = converter.plain(written);
    if (!value.isObject())
        return converter.fail(path, QStringLiteral("a response must be a JSON object"));
    const QJsonObject object = value.toObject();
    if (!isDirective(object)) {
        // The reply's map is the message's argument, at level 0.
        QVariantMap map;
        if (!converter.dataMap(object, path, 0, &map))
            return false;
        *out = BusReply::response(map);
        return true;
    }

    if (object.contains(QLatin1String("$error"))) {
        if (!converter.expectKeys(object, {QStringLiteral("$error")}, path))
            return false;
        const QJsonObject error = object.value(QLatin1String("$error")).toObject();
        const QString name = error.value(QLatin1String("name")).toString();
        if (!isErrorName(name))
            return converter.fail(path + QStringLiteral(".$error.name"),
                                  QStringLiteral("needs a D-Bus error name such as "
                                                 "\"org.freedesktop.DBus.Error.Failed\""));
        if (!converter.expectKeys(error, {QStringLiteral("name"), QStringLiteral("message")},
                                  path + QStringLiteral(".$error")))
            return false;
        if (!error.value(QLatin1String("message")).isString()
            && !error.value(QLatin1String("message")).isUndefined())
            return converter.fail(path + QStringLiteral(".$error.message"),
                                  QStringLiteral("needs a string"));
        *out = BusReply{
                BusReply::Kind::Error, {}, name, error.value(QLatin1String("message")).toString()};
        return true;
    }
    if (object.contains(QLatin1String("$noReply")))
        return flagReply(converter, object, QStringLiteral("$noReply"), BusReply::Kind::NoReply,
                         path, out);
    if (object.contains(QLatin1String("$exit")))
        return flagReply(converter, object, QStringLiteral("$exit"), BusReply::Kind::Exit, path,
                         out);
    if (object.contains(QLatin1String("$reply"))) {
        if (!converter.expectKeys(object, {QStringLiteral("$reply"), QStringLiteral("value")},
                                  path))
            return false;
        const QJsonValue signature = object.value(QLatin1String("$reply"));
        if (!signature.isString())
            return converter.fail(path, QStringLiteral("\"$reply\" needs a D-Bus type signature"));
        *out = BusReply{BusReply::Kind::Arguments, {}, {}, {}};
        // An empty signature is a reply without arguments.
        if (signature.toString().isEmpty()) {
            if (object.contains(QLatin1String("value")))
                return converter.fail(path,
                                      QStringLiteral("a reply of signature \"\" takes no value"));
            return true;
        }
        QVariant argument;
        if (!converter.typed(signature.toString(), object.value(QLatin1String("value")),
                             path + QStringLiteral(".value"), 0, &argument))
            return false;
        out->arguments.append(argument);
        return true;
    }
    if (object.contains(QLatin1String("$typed")))
        return converter.fail(
                path, QStringLiteral("\"$typed\" gives a value inside data, not a response"));
    return converter.fail(
            path,
            QStringLiteral("unknown directive; known are \"$error\", \"$noReply\", \"$exit\", "
                           "\"$reply\" and, inside data, \"$typed\""));
}

} // namespace

bool Script::load(const QString &fileName)
{
    m_replies.clear();
    m_byCommand.clear();
    m_next = 0;
    m_error.clear();

    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = fileName + QStringLiteral(": ") + file.errorString();
        return false;
    }
    const QByteArray text = file.readAll();
    QJsonParseError parseError;
    QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        m_error = QStringLiteral("%1: not JSON: %2 at offset %3")
                          .arg(fileName, parseError.errorString())
                          .arg(parseError.offset);
        return false;
    }
    // A key no script can mean by chance.
    const QString inexactMarker
            = QStringLiteral("$inexact-") + QUuid::createUuid().toString(QUuid::WithoutBraces);
    document = QJsonDocument::fromJson(ScriptNumbers::markInexactNumbers(text, inexactMarker));
    if (!document.isObject()) {
        m_error = fileName + QStringLiteral(": the script must be a JSON object");
        return false;
    }

    const QJsonObject script = document.object();
    for (auto it = script.begin(); it != script.end(); ++it) {
        if (it.key() != QLatin1String("responses") && it.key() != QLatin1String("byCommand")) {
            m_error = QStringLiteral("%1: unknown key \"%2\"; a script holds \"responses\" and "
                                     "\"byCommand\"")
                              .arg(fileName, it.key());
            return false;
        }
    }
    ScriptConverter converter(inexactMarker);
    const QJsonValue responses = converter.plain(script.value(QLatin1String("responses")));
    const QJsonValue byCommand = converter.plain(script.value(QLatin1String("byCommand")));
    if (!responses.isUndefined() && !responses.isArray()) {
        m_error = fileName + QStringLiteral(": \"responses\" must be an array");
        return false;
    }
    if (!byCommand.isUndefined() && !byCommand.isObject()) {
        m_error = fileName + QStringLiteral(": \"byCommand\" must be an object");
        return false;
    }

    const QJsonArray responseArray = responses.toArray();
    for (int i = 0; i < responseArray.size(); ++i) {
        BusReply reply;
        if (!scriptedReply(converter, responseArray.at(i), QStringLiteral("responses[%1]").arg(i),
                           &reply))
            break;
        m_replies.append(reply);
    }
    const QJsonObject commandObject = byCommand.toObject();
    for (auto it = commandObject.begin(); converter.error.isEmpty() && it != commandObject.end();
         ++it) {
        BusReply reply;
        if (scriptedReply(converter, it.value(), QStringLiteral("byCommand.") + it.key(), &reply))
            m_byCommand.insert(it.key(), reply);
    }
    if (!converter.error.isEmpty()) {
        m_error = fileName + QStringLiteral(": ") + converter.error;
        m_replies.clear();
        m_byCommand.clear();
        return false;
    }
    return true;
}

BusReply Script::replyTo(const QVariantMap &request)
{
    const QVariant commandId = request.value(ls::commandIdKey);
    if (commandId.userType() == QMetaType::QString) {
        const auto it = m_byCommand.constFind(commandId.toString());
        if (it != m_byCommand.constEnd())
            return it.value();
    }
    if (m_next < m_replies.size())
        return m_replies.at(m_next++);
    return BusReply::response(
            {{ls::resultIdKey, ls::ResultId::Failure},
             {ls::errorIdKey, scriptExhaustedId},
             {ls::errorMessageKey,
              QStringLiteral("The script has no response left for this request")}});
}
