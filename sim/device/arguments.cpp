// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "arguments.h"

#include <QRegularExpression>

bool isWideInteger(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

namespace {

// Arguments arrive as words; numbers and truth values sent by other peers are taken as their
// text.
bool wordValue(const QVariant &value, QString *word)
{
    const int type = value.userType();
    if (type != QMetaType::QString && type != QMetaType::Double && type != QMetaType::Bool
        && !isWideInteger(value))
        return false;
    *word = value.toString();
    return true;
}

DeviceResult parseInt(const ArgumentRule &rule, const QString &text, Arguments *arguments)
{
    static const QRegularExpression decimal(QStringLiteral("^[+-]?[0-9]+$"));
    bool ok = decimal.match(text).hasMatch();
    const int value = ok ? text.toInt(&ok, 10) : 0;
    if (!ok) {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("%1 must be a whole number, not \"%2\"").arg(rule.name, text));
    }
    if (!rule.range.contains(value)) {
        const QString range = rule.range.maximum == INT_MAX
                                      ? QStringLiteral("at least %1").arg(rule.range.minimum)
                                      : QStringLiteral("from %1 to %2")
                                                .arg(rule.range.minimum)
                                                .arg(rule.range.maximum);
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("%1 must be %2, not %3").arg(rule.name, range).arg(value));
    }
    arguments->append(value);
    return DeviceResult::success();
}

DeviceResult parseBool(const ArgumentRule &rule, const QString &text, Arguments *arguments)
{
    if (text == QLatin1String("true") || text == QLatin1String("1")) {
        arguments->append(true);
    } else if (text == QLatin1String("false") || text == QLatin1String("0")) {
        arguments->append(false);
    } else {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("%1 must be true, false, 1 or 0, not \"%2\"").arg(rule.name, text));
    }
    return DeviceResult::success();
}

DeviceResult parseString(const ArgumentRule &rule, const QString &text, Arguments *arguments)
{
    if (!rule.choices.isEmpty() && !rule.choices.contains(text)) {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("%1 must be one of %2, not \"%3\"")
                        .arg(rule.name, rule.choices.join(QStringLiteral(", ")), text));
    }
    arguments->append(text);
    return DeviceResult::success();
}

} // namespace

ArgumentRule ArgumentRule::integer(const QString &name, Rules::Range range)
{
    return {name, ArgumentType::Int, {}, range};
}

ArgumentRule ArgumentRule::boolean(const QString &name)
{
    return {name, ArgumentType::Bool, {}, {}};
}

ArgumentRule ArgumentRule::text(const QString &name, const QStringList &choices)
{
    return {name, ArgumentType::String, choices, {}};
}

QString ArgumentRule::valuesText() const
{
    switch (type) {
    case ArgumentType::Int:
        if (range.minimum == INT_MIN && range.maximum == INT_MAX)
            return QString();
        if (range.maximum == INT_MAX)
            return QStringLiteral("at least %1").arg(range.minimum);
        return QStringLiteral("%1 to %2").arg(range.minimum).arg(range.maximum);
    case ArgumentType::Bool:
        return QString();
    case ArgumentType::String:
        break;
    }
    return choices.join(QStringLiteral(", "));
}

QString typeName(ArgumentType type)
{
    switch (type) {
    case ArgumentType::Int:
        return QStringLiteral("int");
    case ArgumentType::Bool:
        return QStringLiteral("bool");
    case ArgumentType::String:
        break;
    }
    return QStringLiteral("string");
}

DeviceResult parseArguments(const QString &commandName, const QVector<ArgumentRule> &schema,
                            const QVariantList &words, Arguments *arguments)
{
    QStringList texts;
    for (int i = 0; i < words.size(); ++i) {
        QString word;
        if (!wordValue(words.at(i), &word)) {
            return DeviceResult::failure(DeviceError::invalidRequest,
                                         QStringLiteral("Argument %1 is not a word").arg(i + 1));
        }
        texts.append(word);
    }

    const int expected = schema.size();
    const bool restIsText = expected > 0 && schema.last().type == ArgumentType::String;
    if (texts.size() < expected || (texts.size() > expected && !restIsText)) {
        return DeviceResult::failure(DeviceError::invalidArgumentCount,
                                     QStringLiteral("%1 takes %2 argument(s), %3 given")
                                             .arg(commandName)
                                             .arg(expected)
                                             .arg(texts.size()));
    }
    if (restIsText) {
        // The text is the rest of the words as the operator typed them, blanks included.
        const QString rest = texts.mid(expected - 1).join(QLatin1Char(' '));
        texts = texts.mid(0, expected - 1);
        texts.append(rest);
    }

    for (int i = 0; i < expected; ++i) {
        const ArgumentRule &rule = schema.at(i);
        DeviceResult parsed;
        switch (rule.type) {
        case ArgumentType::Int:
            parsed = parseInt(rule, texts.at(i), arguments);
            break;
        case ArgumentType::Bool:
            parsed = parseBool(rule, texts.at(i), arguments);
            break;
        case ArgumentType::String:
            parsed = parseString(rule, texts.at(i), arguments);
            break;
        }
        if (parsed.failed())
            return parsed;
    }
    return DeviceResult::success();
}
