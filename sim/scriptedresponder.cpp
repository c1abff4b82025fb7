#include "scriptedresponder.h"

#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>
#include <ls/messagekeys.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <QUuid>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

const QString scriptExhaustedId = QStringLiteral("ScriptExhausted");
// 2^53: beyond it a JSON number no longer holds every whole number.
constexpr double maximumExactInteger = 9007199254740992.0;

// Turns the JSON of a script into values ready for the bus; remembers the first problem with the
// place in the script where it is.
class Converter
{
public:
    explicit Converter(const QString &inexactMarker) : m_inexactMarker(inexactMarker) { }

    QString error;

    bool answer(const QJsonValue &value, const QString &path, Answer *out);

    // The value as the script wrote it: a number marked by markInexactNumbers() is its double,
    // with *inexact set.
    QJsonValue plain(const QJsonValue &value, bool *inexact = nullptr) const;

private:
    bool fail(const QString &path, const QString &message)
    {
        if (error.isEmpty())
            error = path + QStringLiteral(": ") + message;
        return false;
    }

    // depth: the level the value will sit at in the reply, counted as the bus counts it
    // (docs/wire-contract.md, "Nesting"); a reply deeper than the bus allows would get the
    // simulator dropped from the bus on the first request.
    bool data(const QJsonValue &value, const QString &path, int depth, QVariant *out);
    bool dataMap(const QJsonObject &object, const QString &path, int depth, QVariantMap *out);
    bool typed(const QString &signature, const QJsonValue &value, const QString &path, int depth,
               QVariant *out);
    bool tooDeep(int depth, const QString &path);
    template<typename T>
    bool integer(const QJsonValue &value, const QString &signature, const QString &path,
                 QVariant *out);
    bool array(const QJsonValue &value, const QString &signature, const QString &path, int depth,
               QVariant *out);
    bool expectKeys(const QJsonObject &object, const QStringList &allowed, const QString &path);
    // A directive that takes nothing but true and stands alone: the answer of its kind.
    bool flag(const QJsonObject &object, const QString &key, Answer::Kind kind, const QString &path,
              Answer *out);

    QString m_inexactMarker;
};

bool isDirective(const QJsonObject &object)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        if (it.key().startsWith(QLatin1Char('$')))
            return true;
    }
    return false;
}

bool isWhole(double d)
{
    return std::isfinite(d) && std::floor(d) == d;
}

// Whether the number a JSON literal writes is exactly n: "1e3" and "1000.0" are 1000,
// "9007199254740993" is not 9007199254740992.
bool literalIs(const QByteArray &literal, qint64 n)
{
    const auto isDigit = [&literal](int i) {
        return i < literal.size() && literal.at(i) >= '0' && literal.at(i) <= '9';
    };
    int i = 0;
    const bool negative = literal.startsWith('-');
    if (negative)
        ++i;
    QByteArray digits;
    qint64 exponent = 0;
    for (; isDigit(i); ++i)
        digits += literal.at(i);
    if (i < literal.size() && literal.at(i) == '.') {
        for (++i; isDigit(i); ++i) {
            digits += literal.at(i);
            --exponent;
        }
    }
    if (i < literal.size() && (literal.at(i) == 'e' || literal.at(i) == 'E')) {
        ++i;
        const bool negativeExponent = i < literal.size() && literal.at(i) == '-';
        if (i < literal.size() && (literal.at(i) == '-' || literal.at(i) == '+'))
            ++i;
        qint64 written = 0;
        // Far beyond any digit count, so that the sum cannot overflow.
        for (; isDigit(i); ++i)
            written = std::min<qint64>(written * 10 + (literal.at(i) - '0'), 1000000);
        exponent += negativeExponent ? -written : written;
    }
    int first = 0;
    while (first < digits.size() && digits.at(first) == '0')
        ++first;
    digits = digits.mid(first);
    if (digits.isEmpty())
        return n == 0;
    while (digits.endsWith('0')) {
        digits.chop(1);
        ++exponent;
    }
    if (exponent < 0 || negative != (n < 0) || digits.size() + exponent > 19)
        return false;
    digits += QByteArray(int(exponent), '0');
    return digits == QByteArray::number(n < 0 ? -n : n);
}

// A literal whose double is a whole number that x and t could take but that is not the number
// written, such as 9007199254740993, which reads as 9007199254740992.
bool readsAsOtherWholeNumber(const QByteArray &literal)
{
    bool ok = false;
    const double d = literal.toDouble(&ok);
    return ok && isWhole(d) && std::fabs(d) <= maximumExactInteger
           && !literalIs(literal, static_cast<qint64>(d));
}

// The parsed document keeps only each number's double: the script's text is the one place that
// still shows which numbers a double does not hold. Every such number is wrapped as
// {"<marker>": number}. The text must be valid JSON.
QByteArray markInexactNumbers(const QByteArray &json, const QString &marker)
{
    const QByteArray wrapStart = "{\"" + marker.toUtf8() + "\": ";
    QByteArray out;
    out.reserve(json.size());
    int i = 0;
    while (i < json.size()) {
        const char c = json.at(i);
        int end = i + 1;
        if (c == '"') {
            while (end < json.size() && json.at(end) != '"')
                end += json.at(end) == '\\' ? 2 : 1;
            out += json.mid(i, end + 1 - i);
            i = end + 1;
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            while (end < json.size() && json.at(end) != '\0'
                   && std::strchr("0123456789+-.eE", json.at(end)))
                ++end;
            const QByteArray literal = json.mid(i, end - i);
            if (readsAsOtherWholeNumber(literal))
                out += wrapStart + literal + '}';
            else
                out += literal;
            i = end;
        } else {
            out += c;
            i = end;
        }
    }
    return out;
}

bool isErrorName(const QString &name)
{
    static const QRegularExpression pattern(
            QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)+$"));
    return name.size() <= 255 && pattern.match(name).hasMatch();
}

bool Converter::expectKeys(const QJsonObject &object, const QStringList &allowed,
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

QJsonValue Converter::plain(const QJsonValue &value, bool *inexact) const
{
    const QJsonObject object = value.toObject();
    const bool marked = object.size() == 1 && object.contains(m_inexactMarker);
    if (inexact)
        *inexact = marked;
    return marked ? object.value(m_inexactMarker) : value;
}

template<typename T>
bool Converter::integer(const QJsonValue &written, const QString &signature, const QString &path,
                        QVariant *out)
{
    // JSON numbers are doubles: 64-bit types take only the whole numbers a double holds exactly.
    const double min = std::max<double>(std::numeric_limits<T>::min(), -maximumExactInteger);
    const double max = std::min<double>(std::numeric_limits<T>::max(), maximumExactInteger);
    bool inexact = false;
    const QJsonValue value = plain(written, &inexact);
    const double d = value.toDouble();
    if (!value.isDouble() || inexact || !isWhole(d) || d < min || d > max) {
        return fail(path, QStringLiteral("D-Bus type \"%1\" needs a whole number from %2 to %3")
                                  .arg(signature)
                                  .arg(min, 0, 'f', 0)
                                  .arg(max, 0, 'f', 0));
    }
    *out = QVariant::fromValue(static_cast<T>(d));
    return true;
}

bool Converter::tooDeep(int depth, const QString &path)
{
    if (depth <= ls::maximumNestingDepth)
        return false;
    fail(path, QStringLiteral("nested deeper than %1 levels").arg(ls::maximumNestingDepth));
    return true;
}

bool Converter::array(const QJsonValue &value, const QString &signature, const QString &path,
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

bool Converter::data(const QJsonValue &written, const QString &path, int depth, QVariant *out)
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
        else if (isWhole(d) && d >= std::numeric_limits<int>::min()
                 && d <= std::numeric_limits<int>::max())
            *out = static_cast<int>(d);
        else if (isWhole(d) && std::fabs(d) <= maximumExactInteger)
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

bool Converter::dataMap(const QJsonObject &object, const QString &path, int depth, QVariantMap *out)
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

bool Converter::typed(const QString &signature, const QJsonValue &written, const QString &path,
                      int depth, QVariant *out)
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

bool Converter::flag(const QJsonObject &object, const QString &key, Answer::Kind kind,
                     const QString &path, Answer *out)
{
    if (!expectKeys(object, {key}, path))
        return false;
    if (object.value(key) != QJsonValue(true))
        return fail(path, QStringLiteral("\"%1\" takes true").arg(key));
    *out = Answer{kind, {}, {}, {}};
    return true;
}

bool Converter::answer(const QJsonValue &written, const QString &path, Answer *out)
{
    const QJsonValue value = plain(written);
    if (!value.isObject())
        return fail(path, QStringLiteral("a response must be a JSON object"));
    const QJsonObject object = value.toObject();
    if (!isDirective(object)) {
        // The reply's map is the message's argument, at level 0.
        QVariantMap map;
        if (!dataMap(object, path, 0, &map))
            return false;
        *out = Answer::reply(map);
        return true;
    }

    if (object.contains(QLatin1String("$error"))) {
        if (!expectKeys(object, {QStringLiteral("$error")}, path))
            return false;
        const QJsonObject error = object.value(QLatin1String("$error")).toObject();
        const QString name = error.value(QLatin1String("name")).toString();
        if (!isErrorName(name))
            return fail(path + QStringLiteral(".$error.name"),
                        QStringLiteral("needs a D-Bus error name such as "
                                       "\"org.freedesktop.DBus.Error.Failed\""));
        if (!expectKeys(error, {QStringLiteral("name"), QStringLiteral("message")},
                        path + QStringLiteral(".$error")))
            return false;
        if (!error.value(QLatin1String("message")).isString()
            && !error.value(QLatin1String("message")).isUndefined())
            return fail(path + QStringLiteral(".$error.message"), QStringLiteral("needs a string"));
        *out = Answer{
                Answer::Kind::Error, {}, name, error.value(QLatin1String("message")).toString()};
        return true;
    }
    if (object.contains(QLatin1String("$noReply")))
        return flag(object, QStringLiteral("$noReply"), Answer::Kind::NoReply, path, out);
    if (object.contains(QLatin1String("$exit")))
        return flag(object, QStringLiteral("$exit"), Answer::Kind::Exit, path, out);
    if (object.contains(QLatin1String("$reply"))) {
        if (!expectKeys(object, {QStringLiteral("$reply"), QStringLiteral("value")}, path))
            return false;
        const QJsonValue signature = object.value(QLatin1String("$reply"));
        if (!signature.isString())
            return fail(path, QStringLiteral("\"$reply\" needs a D-Bus type signature"));
        *out = Answer{Answer::Kind::Reply, {}, {}, {}};
        // An empty signature is a reply without arguments.
        if (signature.toString().isEmpty()) {
            if (object.contains(QLatin1String("value")))
                return fail(path, QStringLiteral("a reply of signature \"\" takes no value"));
            return true;
        }
        QVariant argument;
        if (!typed(signature.toString(), object.value(QLatin1String("value")),
                   path + QStringLiteral(".value"), 0, &argument))
            return false;
        out->arguments.append(argument);
        return true;
    }
    if (object.contains(QLatin1String("$typed")))
        return fail(path, QStringLiteral("\"$typed\" gives a value inside data, not a response"));
    return fail(path,
                QStringLiteral("unknown directive; known are \"$error\", \"$noReply\", \"$exit\", "
                               "\"$reply\" and, inside data, \"$typed\""));
}

} // namespace

bool ScriptedResponder::load(const QString &fileName)
{
    m_responses.clear();
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
    document = QJsonDocument::fromJson(markInexactNumbers(text, inexactMarker));
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
    Converter converter(inexactMarker);
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
        Answer answer;
        if (!converter.answer(responseArray.at(i), QStringLiteral("responses[%1]").arg(i), &answer))
            break;
        m_responses.append(answer);
    }
    const QJsonObject commandObject = byCommand.toObject();
    for (auto it = commandObject.begin(); converter.error.isEmpty() && it != commandObject.end();
         ++it) {
        Answer answer;
        if (converter.answer(it.value(), QStringLiteral("byCommand.") + it.key(), &answer))
            m_byCommand.insert(it.key(), answer);
    }
    if (!converter.error.isEmpty()) {
        m_error = fileName + QStringLiteral(": ") + converter.error;
        m_responses.clear();
        m_byCommand.clear();
        return false;
    }
    return true;
}

Answer ScriptedResponder::answer(const QVariantMap &request)
{
    const QVariant commandId = request.value(ls::commandIdKey);
    if (commandId.userType() == QMetaType::QString) {
        const auto it = m_byCommand.constFind(commandId.toString());
        if (it != m_byCommand.constEnd())
            return it.value();
    }
    if (m_next < m_responses.size())
        return m_responses.at(m_next++);
    return Answer::reply({{ls::resultIdKey, ls::ResultId::Failure},
                          {ls::errorIdKey, scriptExhaustedId},
                          {ls::errorMessageKey,
                           QStringLiteral("The script has no response left for this request")}});
}
