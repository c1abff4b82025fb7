#include <ls/dbuscontract.h>

#include "wirecheck.h"

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <cstring>

namespace ls {

const QString serviceInterface = QStringLiteral("se.tarnvik.Service1");
const QString processMethod = QStringLiteral("Process");

QString busName(const QString &serviceId)
{
    return QLatin1String("se.tarnvik.") + serviceId;
}

QString objectPath(const QString &serviceId)
{
    return QLatin1String("/se/tarnvik/") + serviceId;
}

// Depths below are counted as libdbus counts them when it validates a message, and as the bus
// daemon refuses what fails: a message argument is at level 0; the elements of an array, the
// fields of a struct or dict entry and the content of a variant are one level below their
// container. A value deeper than maximumNestingDepth makes the message invalid. Only values that
// are present count: an empty container opens no level below itself, and neither does an array
// of fixed-size values (bytes, numbers, booleans, file descriptors), which is validated as one
// block. So under a request or response a{sv} a value is at level 3, a map nested in it puts its
// values 3 levels further down (array, dict entry, variant), a list its elements 2 (array,
// variant), a string list its strings 1.

namespace {

bool isFixedType(char code)
{
    return code != '\0' && std::strchr("ybnqiuxtdh", code) != nullptr;
}

WireCheck convert(const QVariant &in, int depth, QVariant *out);

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

WireCheck convertArgument(const QDBusArgument &arg, int depth, QVariant *out)
{
    if (depth > maximumNestingDepth)
        return WireCheck::TooDeep;
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
            const WireCheck result = convert(arg.asVariant(), fixed ? depth : depth + 1, &element);
            if (result != WireCheck::Ok)
                return result;
            list.append(element);
        }
        arg.endArray();
        *out = list;
        return WireCheck::Ok;
    }
    case QDBusArgument::StructureType: {
        QVariantList fields;
        arg.beginStructure();
        while (!arg.atEnd()) {
            QVariant field;
            const WireCheck result = convert(arg.asVariant(), depth + 1, &field);
            if (result != WireCheck::Ok)
                return result;
            fields.append(field);
        }
        arg.endStructure();
        *out = fields;
        return WireCheck::Ok;
    }
    case QDBusArgument::MapType: {
        QVariantMap map;
        arg.beginMap();
        while (!arg.atEnd()) {
            // Entry at depth + 1, its key and value at depth + 2.
            arg.beginMapEntry();
            QVariant key;
            QVariant value;
            WireCheck result = convert(arg.asVariant(), depth + 2, &key);
            if (result == WireCheck::Ok)
                result = convert(arg.asVariant(), depth + 2, &value);
            arg.endMapEntry();
            if (result != WireCheck::Ok)
                return result;
            map.insert(keyText(key), value);
        }
        arg.endMap();
        *out = map;
        return WireCheck::Ok;
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    return WireCheck::NoDBusForm;
}

WireCheck convert(const QVariant &in, int depth, QVariant *out)
{
    if (depth > maximumNestingDepth)
        return WireCheck::TooDeep;
    const int type = in.userType();
    if (type == qMetaTypeId<QDBusArgument>())
        return convertArgument(in.value<QDBusArgument>(), depth, out);
    if (type == qMetaTypeId<QDBusVariant>())
        return convert(in.value<QDBusVariant>().variant(), depth + 1, out);
    if (type == qMetaTypeId<QDBusObjectPath>()) {
        *out = in.value<QDBusObjectPath>().path();
        return WireCheck::Ok;
    }
    if (type == qMetaTypeId<QDBusSignature>()) {
        *out = in.value<QDBusSignature>().signature();
        return WireCheck::Ok;
    }
    // A file descriptor has no plain form that could outlive the message.
    if (type == qMetaTypeId<QDBusUnixFileDescriptor>())
        return WireCheck::NoDBusForm;
    switch (type) {
    case QMetaType::QStringList: {
        const QStringList strings = in.toStringList();
        if (!strings.isEmpty() && depth + 1 > maximumNestingDepth)
            return WireCheck::TooDeep;
        QVariantList list;
        list.reserve(strings.size());
        for (const QString &s : strings)
            list.append(s);
        *out = list;
        return WireCheck::Ok;
    }
    case QMetaType::QByteArray: {
        QVariantList list;
        const QByteArray bytes = in.toByteArray();
        list.reserve(bytes.size());
        for (char c : bytes)
            list.append(QVariant::fromValue(static_cast<uchar>(c)));
        *out = list;
        return WireCheck::Ok;
    }
    case QMetaType::QVariantList: {
        // Element variant at depth + 1, its content at depth + 2.
        QVariantList list;
        for (const QVariant &element : in.toList()) {
            QVariant converted;
            const WireCheck result = convert(element, depth + 2, &converted);
            if (result != WireCheck::Ok)
                return result;
            list.append(converted);
        }
        *out = list;
        return WireCheck::Ok;
    }
    case QMetaType::QVariantMap: {
        // Entry at depth + 1, key and value variant at depth + 2, the value's content at + 3.
        QVariantMap map;
        const QVariantMap source = in.toMap();
        for (auto it = source.cbegin(); it != source.cend(); ++it) {
            QVariant converted;
            const WireCheck result = convert(it.value(), depth + 3, &converted);
            if (result != WireCheck::Ok)
                return result;
            map.insert(it.key(), converted);
        }
        *out = map;
        return WireCheck::Ok;
    }
    default:
        *out = in;
        return WireCheck::Ok;
    }
}

// D-Bus carries strings as UTF-8 without NUL: a NUL would cut the text short and a lone surrogate
// would arrive as "?", so neither is sent.
bool isCarriable(const QString &text)
{
    const int size = text.size();
    for (int i = 0; i < size; ++i) {
        const QChar c = text.at(i);
        if (c.isNull() || c.isLowSurrogate())
            return false;
        if (c.isHighSurrogate()) {
            if (i + 1 == size || !text.at(i + 1).isLowSurrogate())
                return false;
            ++i;
        }
    }
    return true;
}

// The same walk over a value about to be sent, without building a copy of it.
WireCheck check(const QVariant &value, int depth, QString *typeName)
{
    if (depth > maximumNestingDepth)
        return WireCheck::TooDeep;
    const int type = value.userType();
    switch (type) {
    case QMetaType::QString:
        return isCarriable(value.toString()) ? WireCheck::Ok : WireCheck::BadText;
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            if (!isCarriable(it.key()))
                return WireCheck::BadText;
            const WireCheck result = check(it.value(), depth + 3, typeName);
            if (result != WireCheck::Ok)
                return result;
        }
        return WireCheck::Ok;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        for (const QVariant &element : list) {
            const WireCheck result = check(element, depth + 2, typeName);
            if (result != WireCheck::Ok)
                return result;
        }
        return WireCheck::Ok;
    }
    case QMetaType::QStringList: {
        const QStringList strings = value.toStringList();
        if (!strings.isEmpty() && depth + 1 > maximumNestingDepth)
            return WireCheck::TooDeep;
        for (const QString &text : strings) {
            if (!isCarriable(text))
                return WireCheck::BadText;
        }
        return WireCheck::Ok;
    }
    case QMetaType::QByteArray:
        return WireCheck::Ok;
    default:
        break;
    }
    if (type == qMetaTypeId<QDBusVariant>())
        return check(value.value<QDBusVariant>().variant(), depth + 1, typeName);
    // Anything else must be one of D-Bus's basic types; what QtDBus cannot marshal would fail
    // the call with a warning of its own on the default category.
    const char *signature
            = type == QMetaType::UnknownType ? nullptr : QDBusMetaType::typeToSignature(type);
    if (signature && std::strlen(signature) == 1
        && std::strchr("ybnqiuxtdsogh", signature[0]) != nullptr)
        return WireCheck::Ok;
    if (typeName)
        *typeName = type == QMetaType::UnknownType ? QStringLiteral("invalid")
                                                   : QString::fromLatin1(value.typeName());
    return WireCheck::NoDBusForm;
}

} // namespace

QVariant fromDBusValue(const QVariant &value, bool *ok)
{
    QVariant result;
    const WireCheck converted = convertIncoming(value, &result);
    if (ok)
        *ok = converted == WireCheck::Ok;
    return result;
}

WireCheck convertIncoming(const QVariant &value, QVariant *out)
{
    QVariant result;
    const WireCheck converted = convert(value, 0, &result);
    *out = converted == WireCheck::Ok ? result : QVariant();
    return converted;
}

WireCheck checkOutgoing(const QVariant &value, QString *typeName)
{
    return check(value, 0, typeName);
}

} // namespace ls
