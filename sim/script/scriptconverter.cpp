// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "scriptconverter.h"

#include "scriptnumbers.h"

#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>

#include <QJsonArray>

#include <cmath>
#include <limits>

bool isDirective(const QJsonObject &object)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.key().startsWith(QLatin1Char('$')))
            return true;
    }
    return false;
}

bool ScriptConverter::expectKeys(const QJsonObject &object, const QStringList &allowed,
                                 const QString &path)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (!allowed.contains(it.key())) {
            return fail(path, QStringLiteral("\"%1\" does not go with \"%2\"")
                                      .arg(it.key(), allowed.constFirst()));
        }
    }
    return true;
}

QJsonValue ScriptConverter::plain(const QJsonValue &value, bool *inexact) const
{
    const QJsonObject object = value.toObject();
    const bool marked = object.size() == 1 && object.contains(m_inexactMarker);
    if (inexact)
        *inexact = marked;
    return marked ? object.value(m_inexactMarker) : value;
}

template<typename T>
bool ScriptConverter::integer(const QJsonValue &written, const QString &signature,
                              const QString &path, QVariant *out)
{
    // JSON numbers are doubles: 64-bit types take only the whole numbers a double holds exactly.
    const double min
            = std::max<double>(std::numeric_limits<T>::min(), -ScriptNumbers::maximumExactInteger);
    const double max
            = std::min<double>(std::numeric_limits<T>::max(), ScriptNumbers::maximumExactInteger);
    bool inexact = false;
    const QJsonValue value = plain(written, &inexact);
    const double d = value.toDouble();
    if (!value.isDouble() || inexact || !ScriptNumbers::isWhole(d) || d < min || d > max) {
        return fail(path, QStringLiteral("D-Bus type \"%1\" needs a whole number from %2 to %3")
                                  .arg(signature)
                                  .arg(min, 0, 'f', 0)
                                  .arg(max, 0, 'f', 0));
    }
    *out = QVariant::fromValue(static_cast<T>(d));
    return true;
}

bool ScriptConverter::tooDeep(int depth, const QString &path)
{
    if (depth <= ls::maximumNestingDepth)
        return false;
    fail(path, QStringLiteral("nested deeper than %1 levels").arg(ls::maximumNestingDepth));
    return true;
}

bool ScriptConverter::array(const QJsonValue &value, const QString &signature, const QString &path,
                            int depth, QVariant *out)
{
    if (!value.isArray())
        return fail(path, QStringLiteral("D-Bus type \"%1\" needs an array").arg(signature));
    // An array of fixed-size values is checked by the bus as a whole; paths and signatures
    // are one level below it.
    const QString element = signature.mid(1);
    const bool fixed = element != QLatin1String("o") && element != QLatin1String("g");
    QVariantList list;
    const QJsonArray array = value.toArray();
    for (int i = 0; i < array.size(); ++i) {
        QVariant converted;
        if (!typed(element, array.at(i), path + QStringLiteral("[%1]").arg(i),
                   fixed ? depth : depth + 1, &converted))
            return false;
        // The array's signature types its elements: a path or signature goes in as its text.
        list.append(converted.userType() == qMetaTypeId<ls::DBusTyped>()
                            ? converted.value<ls::DBusTyped>().value
                            : converted);
    }
    *out = QVariant::fromValue(ls::DBusTyped{signature, list});
    return true;
}

bool ScriptConverter::data(const QJsonValue &written, const QString &path, int depth, QVariant *out)
{
    if (tooDeep(depth, path))
        return false;
    bool inexact = false;
    const QJsonValue value = plain(written, &inexact);
    switch (value.type()) {
    case QJsonValue::Bool:
        *out = value.toBool();
        return true;
    case QJsonValue::Double: {
        const double d = value.toDouble();
        if (inexact)
            *out = d;
        else if (ScriptNumbers::isWhole(d) && d >= std::numeric_limits<int>::min()
                 && d <= std::numeric_limits<int>::max())
            *out = static_cast<int>(d);
        else if (ScriptNumbers::isWhole(d) && std::fabs(d) <= ScriptNumbers::maximumExactInteger)
            *out = static_cast<qlonglong>(d);
        else
            *out = d;
        return true;
    }
    case QJsonValue::String:
        *out = value.toString();
        return true;
    case QJsonValue::Array: {
        QVariantList list;
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size(); ++i) {
            QVariant element;
            // Element variant one level down, its content two.
            if (!data(array.at(i), path + QStringLiteral("[%1]").arg(i), depth + 2, &element))
                return false;
            list.append(element);
        }
        *out = list;
        return true;
    }
    case QJsonValue::Object: {
        const QJsonObject object = value.toObject();
        if (!isDirective(object)) {
            QVariantMap map;
            if (!dataMap(object, path, depth, &map))
                return false;
            *out = map;
            return true;
        }
        if (!object.contains(QLatin1String("$typed")))
            return fail(path, QStringLiteral("only \"$typed\" may stand inside data"));
        if (!expectKeys(object, {QStringLiteral("$typed"), QStringLiteral("value")}, path))
            return false;
        if (!object.value(QLatin1String("$typed")).isString())
            return fail(path, QStringLiteral("\"$typed\" needs a D-Bus type signature"));
        return typed(object.value(QLatin1String("$typed")).toString(),
                     object.value(QLatin1String("value")), path + QStringLiteral(".value"), depth,
                     out);
    }
    case QJsonValue::Null:
    case QJsonValue::Undefined:
        break;
    }
    return fail(path, QStringLiteral("null has no D-Bus form; give a value or use \"$typed\""));
}

bool ScriptConverter::dataMap(const QJsonObject &object, const QString &path, int depth,
                              QVariantMap *out)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        QVariant value;
        // Dict entry one level down, its value variant two, the variant's content three.
        if (!data(it.value(), path + QLatin1Char('.') + it.key(), depth + 3, &value))
            return false;
        out->insert(it.key(), value);
    }
    return true;
}

bool ScriptConverter::typed(const QString &signature, const QJsonValue &written,
                            const QString &path, int depth, QVariant *out)
{
    if (tooDeep(depth, path))
        return false;
    // Integers and variants take the number as written, to tell one the double does not hold.
    const QJsonValue value = plain(written);
    if (signature == QLatin1String("y")) {
        return integer<uchar>(written, signature, path, out);
    } else if (signature == QLatin1String("n")) {
        return integer<short>(written, signature, path, out);
    } else if (signature == QLatin1String("q")) {
        return integer<ushort>(written, signature, path, out);
    } else if (signature == QLatin1String("i")) {
        return integer<int>(written, signature, path, out);
    } else if (signature == QLatin1String("u")) {
        return integer<uint>(written, signature, path, out);
    } else if (signature == QLatin1String("x")) {
        return integer<qlonglong>(written, signature, path, out);
    } else if (signature == QLatin1String("t")) {
        return integer<qulonglong>(written, signature, path, out);
    } else if (signature == QLatin1String("d")) {
        if (!value.isDouble())
            return fail(path, QStringLiteral("D-Bus type \"d\" needs a number"));
        *out = value.toDouble();
    } else if (signature == QLatin1String("b")) {
        if (!value.isBool())
            return fail(path, QStringLiteral("D-Bus type \"b\" needs true or false"));
        *out = value.toBool();
    } else if (signature == QLatin1String("s")) {
        if (!value.isString())
            return fail(path, QStringLiteral("D-Bus type \"s\" needs a string"));
        *out = value.toString();
    } else if (signature == QLatin1String("o")) {
        if (!value.isString() || !ls::isValidObjectPath(value.toString()))
            return fail(path, QStringLiteral("D-Bus type \"o\" needs an object path"));
        *out = QVariant::fromValue(ls::DBusTyped{signature, value.toString()});
    } else if (signature == QLatin1String("g")) {
        // Any sequence of complete types, none at all included.
        if (!value.isString() || !ls::isValidSignature(value.toString(), true))
            return fail(path, QStringLiteral("D-Bus type \"g\" needs a type signature"));
        *out = QVariant::fromValue(ls::DBusTyped{signature, value.toString()});
    } else if (signature == QLatin1String("v")) {
        QVariant inner;
        if (!data(written, path, depth + 1, &inner))
            return false;
        *out = QVariant::fromValue(ls::DBusTyped{signature, inner});
    } else if (signature == QLatin1String("av")) {
        if (!value.isArray())
            return fail(path, QStringLiteral("D-Bus type \"av\" needs an array"));
        return data(value, path, depth, out);
    } else if (signature == QLatin1String("a{sv}")) {
        if (!value.isObject() || isDirective(value.toObject()))
            return fail(path, QStringLiteral("D-Bus type \"a{sv}\" needs an object"));
        return data(value, path, depth, out);
    } else if (signature == QLatin1String("as")) {
        if (!value.isArray())
            return fail(path, QStringLiteral("D-Bus type \"as\" needs an array"));
        QStringList strings;
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size(); ++i) {
            if (tooDeep(depth + 1, path + QStringLiteral("[%1]").arg(i)))
                return false;
            if (!array.at(i).isString())
                return fail(path + QStringLiteral("[%1]").arg(i),
                            QStringLiteral("D-Bus type \"s\" needs a string"));
            strings.append(array.at(i).toString());
        }
        *out = strings;
    } else if (signature == QLatin1String("ay")) {
        if (!value.isArray())
            return fail(path, QStringLiteral("D-Bus type \"ay\" needs an array"));
        QByteArray bytes;
        const QJsonArray array = value.toArray();
        for (int i = 0; i < array.size(); ++i) {
            QVariant byte;
            if (!integer<uchar>(array.at(i), QStringLiteral("y"),
                                path + QStringLiteral("[%1]").arg(i), &byte))
                return false;
            bytes.append(static_cast<char>(byte.value<uchar>()));
        }
        *out = bytes;
    } else if (signature.size() == 2 && signature.at(0) == QLatin1Char('a')
               && QStringLiteral("bnqiuxtdog").contains(signature.at(1))) {
        return array(value, signature, path, depth, out);
    } else {
        return fail(path, QStringLiteral("D-Bus type \"%1\" is not supported here").arg(signature));
    }
    return true;
}
