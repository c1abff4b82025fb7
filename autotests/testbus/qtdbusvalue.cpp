// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "qtdbusvalue.h"

#include <ls/dbuscontract.h>

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <cstring>

enum class Conversion { Ok, TooDeep, NoDBusForm };

namespace {

bool isFixedType(char code)
{
    return code != '\0' && std::strchr("ybnqiuxtdh", code) != nullptr;
}

Conversion convert(const QVariant &in, int depth, QVariant *out);

// A dictionary key of a received map, already converted, as the text the map is keyed by. A byte
// is a number here, not a character.
QString keyText(const QVariant &key)
{
    switch (key.userType()) {
    case QMetaType::UChar:
        return QString::number(key.value<uchar>());
    case QMetaType::Short:
        return QString::number(key.value<short>());
    case QMetaType::UShort:
        return QString::number(key.value<ushort>());
    case QMetaType::Int:
        return QString::number(key.toInt());
    case QMetaType::UInt:
        return QString::number(key.toUInt());
    case QMetaType::LongLong:
        return QString::number(key.toLongLong());
    case QMetaType::ULongLong:
        return QString::number(key.toULongLong());
    case QMetaType::Bool:
        return key.toBool() ? QStringLiteral("true") : QStringLiteral("false");
    default:
        return key.toString();
    }
}

Conversion convertArgument(const QDBusArgument &arg, int depth, QVariant *out)
{
    if (depth > ls::maximumNestingDepth)
        return Conversion::TooDeep;
    switch (arg.currentType()) {
    case QDBusArgument::BasicType:
    case QDBusArgument::VariantType:
        return convert(arg.asVariant(), depth, out);
    case QDBusArgument::ArrayType: {
        const QString signature = arg.currentSignature();
        const bool fixed = signature.size() == 2 && isFixedType(signature.at(1).toLatin1());
        QVariantList list;
        arg.beginArray();
        while (!arg.atEnd()) {
            QVariant element;
            const Conversion result = convert(arg.asVariant(), fixed ? depth : depth + 1, &element);
            if (result != Conversion::Ok)
                return result;
            list.append(element);
        }
        arg.endArray();
        *out = list;
        return Conversion::Ok;
    }
    case QDBusArgument::StructureType: {
        QVariantList fields;
        arg.beginStructure();
        while (!arg.atEnd()) {
            QVariant field;
            const Conversion result = convert(arg.asVariant(), depth + 1, &field);
            if (result != Conversion::Ok)
                return result;
            fields.append(field);
        }
        arg.endStructure();
        *out = fields;
        return Conversion::Ok;
    }
    case QDBusArgument::MapType: {
        QVariantMap map;
        arg.beginMap();
        while (!arg.atEnd()) {
            // Entry at depth + 1, its key and value at depth + 2.
            arg.beginMapEntry();
            QVariant key;
            QVariant value;
            Conversion result = convert(arg.asVariant(), depth + 2, &key);
            if (result == Conversion::Ok)
                result = convert(arg.asVariant(), depth + 2, &value);
            arg.endMapEntry();
            if (result != Conversion::Ok)
                return result;
            map.insert(keyText(key), value);
        }
        arg.endMap();
        *out = map;
        return Conversion::Ok;
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    return Conversion::NoDBusForm;
}

Conversion convert(const QVariant &in, int depth, QVariant *out)
{
    if (depth > ls::maximumNestingDepth)
        return Conversion::TooDeep;
    const int type = in.userType();
    if (type == qMetaTypeId<QDBusArgument>())
        return convertArgument(in.value<QDBusArgument>(), depth, out);
    if (type == qMetaTypeId<QDBusVariant>())
        return convert(in.value<QDBusVariant>().variant(), depth + 1, out);
    if (type == qMetaTypeId<QDBusObjectPath>()) {
        *out = in.value<QDBusObjectPath>().path();
        return Conversion::Ok;
    }
    if (type == qMetaTypeId<QDBusSignature>()) {
        *out = in.value<QDBusSignature>().signature();
        return Conversion::Ok;
    }
    // A file descriptor has no plain form that could outlive the message.
    if (type == qMetaTypeId<QDBusUnixFileDescriptor>())
        return Conversion::NoDBusForm;
    switch (type) {
    case QMetaType::QStringList: {
        const QStringList strings = in.toStringList();
        if (!strings.isEmpty() && depth + 1 > ls::maximumNestingDepth)
            return Conversion::TooDeep;
        QVariantList list;
        list.reserve(strings.size());
        for (const QString &s : strings)
            list.append(s);
        *out = list;
        return Conversion::Ok;
    }
    case QMetaType::QByteArray: {
        QVariantList list;
        const QByteArray bytes = in.toByteArray();
        list.reserve(bytes.size());
        for (char c : bytes)
            list.append(QVariant::fromValue(static_cast<uchar>(c)));
        *out = list;
        return Conversion::Ok;
    }
    case QMetaType::QVariantList: {
        // Element variant at depth + 1, its content at depth + 2.
        QVariantList list;
        for (const QVariant &element : in.toList()) {
            QVariant converted;
            const Conversion result = convert(element, depth + 2, &converted);
            if (result != Conversion::Ok)
                return result;
            list.append(converted);
        }
        *out = list;
        return Conversion::Ok;
    }
    case QMetaType::QVariantMap: {
        // Entry at depth + 1, key and value variant at depth + 2, the value's content at + 3.
        QVariantMap map;
        const QVariantMap source = in.toMap();
        for (auto it = source.cbegin(); it != source.cend(); ++it) {
            QVariant converted;
            const Conversion result = convert(it.value(), depth + 3, &converted);
            if (result != Conversion::Ok)
                return result;
            map.insert(it.key(), converted);
        }
        *out = map;
        return Conversion::Ok;
    }
    default:
        *out = in;
        return Conversion::Ok;
    }
}

} // namespace

QVariant plainFromQtDBus(const QVariant &value, bool *ok)
{
    QVariant result;
    const Conversion converted = convert(value, 0, &result);
    if (ok)
        *ok = converted == Conversion::Ok;
    return converted == Conversion::Ok ? result : QVariant();
}
