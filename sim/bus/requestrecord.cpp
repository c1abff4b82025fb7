// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "requestrecord.h"

#include <ls/dbusvalue.h>

#include <QList>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

QString typedValue(const ls::DBusTyped &value, bool inVariantSlot);

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

QString list(const QStringList &elements)
{
    return QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
}

QString mapKey(const ls::DBusTyped &key)
{
    if (key.signature == QLatin1String("d"))
        return jsonDouble(key.value.toDouble());
    // A byte key is a number; toString() would make it a character.
    if (key.signature == QLatin1String("y"))
        return QString::number(key.value.value<uchar>());
    return key.value.toString();
}

// The entries of a dictionary, each a key and a value, as a JSON object with sorted keys.
QString mapObject(const QVariantList &entries, bool variants)
{
    QList<std::pair<QString, QString>> members;
    for (const QVariant &entry : entries) {
        const QVariantList keyAndValue = entry.toList();
        members.append({mapKey(keyAndValue.value(0).value<ls::DBusTyped>()),
                        typedValue(keyAndValue.value(1).value<ls::DBusTyped>(), variants)});
    }
    std::stable_sort(members.begin(), members.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    QStringList parts;
    for (const auto &member : members)
        parts.append(jsonString(member.first) + QStringLiteral(": ") + member.second);
    return QLatin1Char('{') + parts.join(QLatin1String(", ")) + QLatin1Char('}');
}

// One complete value; values in a slot of type "v" (the elements of "av", the values of
// "a{sv}") show their content's type rather than "v".
QString typedValue(const ls::DBusTyped &value, bool inVariantSlot)
{
    const QString &signature = value.signature;
    if (signature == QLatin1String("v")) {
        const QString content = typedValue(value.value.value<ls::DBusTyped>(), false);
        return inVariantSlot ? content : tagged(signature, content);
    }
    if (signature.startsWith(QLatin1String("a{")))
        return tagged(signature,
                      mapObject(value.value.toList(), signature.endsWith(QLatin1String("v}"))));
    if (signature.startsWith(QLatin1Char('a')) || signature.startsWith(QLatin1Char('('))) {
        const bool variants = signature == QLatin1String("av");
        QStringList elements;
        for (const QVariant &element : value.value.toList())
            elements.append(typedValue(element.value<ls::DBusTyped>(), variants));
        return tagged(signature, list(elements));
    }
    if (signature.size() != 1)
        return QStringLiteral("null");
    switch (signature.at(0).unicode()) {
    case 'b':
        return tagged(signature,
                      value.value.toBool() ? QStringLiteral("true") : QStringLiteral("false"));
    case 'y':
        return tagged(signature, QString::number(value.value.value<uchar>()));
    case 'n':
        return tagged(signature, QString::number(value.value.value<short>()));
    case 'q':
        return tagged(signature, QString::number(value.value.value<ushort>()));
    case 'i':
        return tagged(signature, QString::number(value.value.toInt()));
    case 'u':
        return tagged(signature, QString::number(value.value.toUInt()));
    case 'x':
        return tagged(signature, QString::number(value.value.toLongLong()));
    case 't':
        return tagged(signature, QString::number(value.value.toULongLong()));
    case 'd':
        return tagged(signature, jsonDouble(value.value.toDouble()));
    case 's':
    case 'o':
    case 'g':
        return tagged(signature, jsonString(value.value.toString()));
    case 'h':
        return tagged(signature, QStringLiteral("null"));
    default:
        break;
    }
    return QStringLiteral("null");
}

// Every argument of the message from its start; one that cannot be read ends the list with a
// value of no type.
QList<ls::DBusTyped> arguments(sd_bus_message *message)
{
    QList<ls::DBusTyped> values;
    sd_bus_message_rewind(message, 1);
    while (sd_bus_message_at_end(message, 1) == 0) {
        ls::DBusTyped value;
        const bool ok = ls::readTypedValue(message, &value) == ls::WireStatus::Ok;
        values.append(ok ? value : ls::DBusTyped());
        if (!ok)
            break;
    }
    // The reply side reads the request again from its start.
    sd_bus_message_rewind(message, 1);
    return values;
}

} // namespace

bool RequestRecord::open(const QString &fileName)
{
    m_file.setFileName(fileName);
    return m_file.open(QIODevice::WriteOnly | QIODevice::Append);
}

bool RequestRecord::append(sd_bus_message *request)
{
    const QByteArray text = line(request).toUtf8() + '\n';
    return m_file.write(text) == text.size() && m_file.flush();
}

QString RequestRecord::line(sd_bus_message *request)
{
    const QList<ls::DBusTyped> values = arguments(request);
    if (values.size() == 1 && values.constFirst().signature == QLatin1String("a{sv}"))
        return mapObject(values.constFirst().value.toList(), true);
    QStringList typed;
    for (const ls::DBusTyped &value : values)
        typed.append(typedValue(value, false));
    return QStringLiteral("{\"$arguments\": ") + list(typed) + QLatin1Char('}');
}
