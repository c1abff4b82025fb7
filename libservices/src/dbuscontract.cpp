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

namespace {

bool convert(const QVariant &in, int depth, QVariant *out);

bool convertArgument(const QDBusArgument &arg, int depth, QVariant *out)
{
    if (depth > maximumNestingDepth)
        return false;
    switch (arg.currentType()) {
    case QDBusArgument::BasicType:
    case QDBusArgument::VariantType:
        return convert(arg.asVariant(), depth, out);
    case QDBusArgument::ArrayType: {
        QVariantList list;
        arg.beginArray();
        while (!arg.atEnd()) {
            QVariant element;
            if (!convert(arg.asVariant(), depth + 1, &element))
                return false;
            list.append(element);
        }
        arg.endArray();
        *out = list;
        return true;
    }
    case QDBusArgument::StructureType: {
        QVariantList fields;
        arg.beginStructure();
        while (!arg.atEnd()) {
            QVariant field;
            if (!convert(arg.asVariant(), depth + 1, &field))
                return false;
            fields.append(field);
        }
        arg.endStructure();
        *out = fields;
        return true;
    }
    case QDBusArgument::MapType: {
        QVariantMap map;
        arg.beginMap();
        while (!arg.atEnd()) {
            arg.beginMapEntry();
            QVariant key;
            QVariant value;
            const bool converted = convert(arg.asVariant(), depth + 1, &key)
                                   && convert(arg.asVariant(), depth + 1, &value);
            arg.endMapEntry();
            if (!converted)
                return false;
            map.insert(key.toString(), value);
        }
        arg.endMap();
        *out = map;
        return true;
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    return false;
}

bool convert(const QVariant &in, int depth, QVariant *out)
{
    if (depth > maximumNestingDepth)
        return false;
    const int type = in.userType();
    if (type == qMetaTypeId<QDBusArgument>())
        return convertArgument(in.value<QDBusArgument>(), depth, out);
    if (type == qMetaTypeId<QDBusVariant>())
        return convert(in.value<QDBusVariant>().variant(), depth, out);
    if (type == qMetaTypeId<QDBusObjectPath>()) {
        *out = in.value<QDBusObjectPath>().path();
        return true;
    }
    if (type == qMetaTypeId<QDBusSignature>()) {
        *out = in.value<QDBusSignature>().signature();
        return true;
    }
    if (type == qMetaTypeId<QDBusUnixFileDescriptor>())
        return false;
    switch (type) {
    case QMetaType::QStringList: {
        QVariantList list;
        const QStringList strings = in.toStringList();
        list.reserve(strings.size());
        for (const QString &s : strings)
            list.append(s);
        *out = list;
        return true;
    }
    case QMetaType::QByteArray: {
        QVariantList list;
        const QByteArray bytes = in.toByteArray();
        list.reserve(bytes.size());
        for (char c : bytes)
            list.append(QVariant::fromValue(static_cast<uchar>(c)));
        *out = list;
        return true;
    }
    case QMetaType::QVariantList: {
        QVariantList list;
        for (const QVariant &element : in.toList()) {
            QVariant converted;
            if (!convert(element, depth + 1, &converted))
                return false;
            list.append(converted);
        }
        *out = list;
        return true;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map;
        const QVariantMap source = in.toMap();
        for (auto it = source.cbegin(); it != source.cend(); ++it) {
            QVariant converted;
            if (!convert(it.value(), depth + 1, &converted))
                return false;
            map.insert(it.key(), converted);
        }
        *out = map;
        return true;
    }
    default:
        *out = in;
        return true;
    }
}

} // namespace

QVariant fromDBusValue(const QVariant &value, bool *ok)
{
    QVariant result;
    const bool converted = convert(value, 0, &result);
    if (ok)
        *ok = converted;
    return converted ? result : QVariant();
}

} // namespace ls
