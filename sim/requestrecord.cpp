#include "requestrecord.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

QString typedValue(const QVariant &value, bool inVariantSlot);
QString typedArgument(const QDBusArgument &arg, bool inVariantSlot);

QString jsonString(const QString &text)
{
    QString out;
    out.reserve(text.size() + 2);
    out += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"':
            out += QLatin1String("\\\"");
            break;
        case '\\':
            out += QLatin1String("\\\\");
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        case '\t':
            out += QLatin1String("\\t");
            break;
        case '\b':
            out += QLatin1String("\\b");
            break;
        case '\f':
            out += QLatin1String("\\f");
            break;
        default:
            if (c.unicode() < 0x20)
                out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
            else
                out += c;
        }
    }
    out += QLatin1Char('"');
    return out;
}

// The shortest text that reads back as the same double, with ".0" on whole numbers so that a
// double never looks like an integer.
QString jsonDouble(double d)
{
    if (std::isnan(d))
        return QStringLiteral("\"NaN\"");
    if (std::isinf(d))
        return d > 0 ? QStringLiteral("\"Infinity\"") : QStringLiteral("\"-Infinity\"");
    QString text = QString::number(d, 'g', QLocale::FloatingPointShortest);
    if (!text.contains(QLatin1Char('.')) && !text.contains(QLatin1Char('e')))
        text += QLatin1String(".0");
    return text;
}

QString tagged(const QString &signature, const QString &json)
{
    return QStringLiteral("{%1: %2}").arg(jsonString(signature), json);
}

QString mapKey(const QVariant &key)
{
    if (key.userType() == qMetaTypeId<QDBusObjectPath>())
        return key.value<QDBusObjectPath>().path();
    if (key.userType() == qMetaTypeId<QDBusSignature>())
        return key.value<QDBusSignature>().signature();
    if (key.userType() == QMetaType::Double)
        return jsonDouble(key.toDouble());
    // A byte key is a number; toString() would make it a character.
    if (key.userType() == QMetaType::UChar)
        return QString::number(key.value<uchar>());
    return key.toString();
}

// Reads the map at the argument's position as a JSON object with sorted keys.
QString mapObject(const QDBusArgument &arg)
{
    const bool variants = arg.currentSignature().endsWith(QLatin1String("v}"));
    QList<std::pair<QString, QString>> members;
    arg.beginMap();
    while (!arg.atEnd()) {
        arg.beginMapEntry();
        const QString key = mapKey(arg.asVariant());
        members.append({key, typedArgument(arg, variants)});
        arg.endMapEntry();
    }
    arg.endMap();
    std::stable_sort(members.begin(), members.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    QStringList parts;
    for (const auto &member : members)
        parts.append(jsonString(member.first) + QStringLiteral(": ") + member.second);
    return QLatin1Char('{') + parts.join(QLatin1String(", ")) + QLatin1Char('}');
}

// Reads one complete value at the argument's position; values in a slot of type "v" (the
// elements of "av", the values of "a{sv}") show their content's type rather than "v".
QString typedArgument(const QDBusArgument &arg, bool inVariantSlot)
{
    const QString signature = arg.currentSignature();
    switch (arg.currentType()) {
    case QDBusArgument::BasicType:
    case QDBusArgument::VariantType:
        return typedValue(arg.asVariant(), inVariantSlot);
    case QDBusArgument::ArrayType: {
        const bool variants = signature == QLatin1String("av");
        QStringList elements;
        arg.beginArray();
        while (!arg.atEnd())
            elements.append(typedArgument(arg, variants));
        arg.endArray();
        return tagged(signature,
                      QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']'));
    }
    case QDBusArgument::MapType:
        return tagged(signature, mapObject(arg));
    case QDBusArgument::StructureType: {
        QStringList fields;
        arg.beginStructure();
        while (!arg.atEnd())
            fields.append(typedArgument(arg, false));
        arg.endStructure();
        return tagged(signature,
                      QLatin1Char('[') + fields.join(QLatin1String(", ")) + QLatin1Char(']'));
    }
    case QDBusArgument::MapEntryType:
    case QDBusArgument::UnknownType:
        break;
    }
    return QStringLiteral("null");
}

template<typename List>
QString typedList(const QString &signature, const List &list)
{
    QStringList elements;
    for (const auto &element : list)
        elements.append(typedValue(QVariant::fromValue(element), false));
    return tagged(signature,
                  QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']'));
}

QString typedValue(const QVariant &value, bool inVariantSlot)
{
    const int type = value.userType();
    if (type == qMetaTypeId<QDBusArgument>())
        return typedArgument(value.value<QDBusArgument>(), inVariantSlot);
    if (type == qMetaTypeId<QDBusVariant>()) {
        const QString content = typedValue(value.value<QDBusVariant>().variant(), false);
        return inVariantSlot ? content : tagged(QStringLiteral("v"), content);
    }
    if (type == qMetaTypeId<QDBusObjectPath>())
        return tagged(QStringLiteral("o"), jsonString(value.value<QDBusObjectPath>().path()));
    if (type == qMetaTypeId<QDBusSignature>())
        return tagged(QStringLiteral("g"), jsonString(value.value<QDBusSignature>().signature()));
    if (type == qMetaTypeId<QDBusUnixFileDescriptor>())
        return tagged(QStringLiteral("h"), QStringLiteral("null"));
    switch (type) {
    case QMetaType::Bool:
        return tagged(QStringLiteral("b"),
                      value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
    case QMetaType::UChar:
        return tagged(QStringLiteral("y"), QString::number(value.value<uchar>()));
    case QMetaType::Short:
        return tagged(QStringLiteral("n"), QString::number(value.value<short>()));
    case QMetaType::UShort:
        return tagged(QStringLiteral("q"), QString::number(value.value<ushort>()));
    case QMetaType::Int:
        return tagged(QStringLiteral("i"), QString::number(value.toInt()));
    case QMetaType::UInt:
        return tagged(QStringLiteral("u"), QString::number(value.toUInt()));
    case QMetaType::LongLong:
        return tagged(QStringLiteral("x"), QString::number(value.toLongLong()));
    case QMetaType::ULongLong:
        return tagged(QStringLiteral("t"), QString::number(value.toULongLong()));
    case QMetaType::Double:
        return tagged(QStringLiteral("d"), jsonDouble(value.toDouble()));
    case QMetaType::QString:
        return tagged(QStringLiteral("s"), jsonString(value.toString()));
    case QMetaType::QStringList:
        return typedList(QStringLiteral("as"), value.toStringList());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return typedList(QStringLiteral("ay"), QList<uchar>(bytes.cbegin(), bytes.cend()));
    }
    default:
        break;
    }
    return QStringLiteral("null");
}

} // namespace

bool RequestRecord::open(const QString &fileName)
{
    m_file.setFileName(fileName);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Append);
}

bool RequestRecord::append(const QDBusMessage &request)
{
    const QByteArray text = line(request).toUtf8() + '\n';
    return m_file.write(text) == text.size() && m_file.flush();
}

QString RequestRecord::line(const QDBusMessage &request)
{
    const QVariantList arguments = request.arguments();
    if (request.signature() == QLatin1String("a{sv}"))
        return mapObject(arguments.constFirst().value<QDBusArgument>());
    QStringList typed;
    for (const QVariant &argument : arguments)
        typed.append(typedValue(argument, false));
    return QStringLiteral("{\"$arguments\": [") + typed.join(QLatin1String(", "))
           + QStringLiteral("]}");
}
