// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/dbusvalue.h>

#include <ls/dbuscontract.h>

#include <QByteArray>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <systemd/sd-bus.h>

#include <cstring>
#include <limits>

// Levels are counted as libdbus counts them when it validates a message, and as the bus daemon
// refuses what fails: a message argument is at level 0; the elements of an array, the fields of a
// struct or dict entry and the content of a variant are one level below their container. A value
// deeper than maximumNestingDepth makes the message invalid. Only values that are present count:
// an empty container opens no level below itself, and neither does an array of fixed-size values
// (bytes, numbers, booleans, file descriptors), which is validated as one block.

namespace ls {

namespace {

constexpr int maximumSignatureLength = 255;
constexpr int maximumContainerNesting = 32;

bool isBasicType(char code)
{
    return code != '\0' && std::strchr("ybnqiuxtdsogh", code) != nullptr;
}

bool isFixedType(char code)
{
    return code != '\0' && std::strchr("ybnqiuxtdh", code) != nullptr;
}

// One complete type of signature from position *i on; arrays and structs count open containers.
bool parseCompleteType(const QByteArray &signature, int *i, int arrays, int structs)
{
    if (*i >= signature.size())
        return false;
    const char code = signature.at(*i);
    ++*i;
    if (isBasicType(code) || code == 'v')
        return true;
    if (code == 'a') {
        if (arrays + 1 > maximumContainerNesting)
            return false;
        if (*i < signature.size() && signature.at(*i) == '{') {
            // A dict entry counts as a struct; its key is basic, and it stands only in an array.
            if (structs + 1 > maximumContainerNesting)
                return false;
            ++*i;
            if (*i >= signature.size() || !isBasicType(signature.at(*i)))
                return false;
            ++*i;
            if (!parseCompleteType(signature, i, arrays + 1, structs + 1))
                return false;
            if (*i >= signature.size() || signature.at(*i) != '}')
                return false;
            ++*i;
            return true;
        }
        return parseCompleteType(signature, i, arrays + 1, structs);
    }
    if (code == '(') {
        if (structs + 1 > maximumContainerNesting)
            return false;
        if (*i < signature.size() && signature.at(*i) == ')')
            return false;
        while (*i < signature.size() && signature.at(*i) != ')') {
            if (!parseCompleteType(signature, i, arrays, structs + 1))
                return false;
        }
        if (*i >= signature.size())
            return false;
        ++*i;
        return true;
    }
    return false;
}

// D-Bus carries strings as UTF-8 without NUL: a NUL would cut the text short, a lone surrogate
// has no UTF-8 form, and sd-bus refuses the noncharacters (U+FDD0 to U+FDEF and the last two
// code points of every plane) in a message it builds or reads; none of them is sent.
bool isCarriable(const QString &text)
{
    const int size = text.size();
    for (int i = 0; i < size; ++i) {
        const QChar c = text.at(i);
        uint codePoint = c.unicode();
        if (c.isNull() || c.isLowSurrogate())
            return false;
        if (c.isHighSurrogate()) {
            if (i + 1 == size || !text.at(i + 1).isLowSurrogate())
                return false;
            codePoint = QChar::surrogateToUcs4(c, text.at(i + 1));
            ++i;
        }
        if ((codePoint >= 0xfdd0 && codePoint <= 0xfdef) || (codePoint & 0xfffe) == 0xfffe)
            return false;
    }
    return true;
}

int typedId()
{
    static const int id = qMetaTypeId<DBusTyped>();
    return id;
}

// The D-Bus type a plain Qt value is sent as; empty when it has none.
QByteArray plainSignature(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QString:
        return QByteArrayLiteral("s");
    case QMetaType::Bool:
        return QByteArrayLiteral("b");
    case QMetaType::UChar:
        return QByteArrayLiteral("y");
    case QMetaType::Short:
        return QByteArrayLiteral("n");
    case QMetaType::UShort:
        return QByteArrayLiteral("q");
    case QMetaType::Int:
        return QByteArrayLiteral("i");
    case QMetaType::UInt:
        return QByteArrayLiteral("u");
    case QMetaType::LongLong:
        return QByteArrayLiteral("x");
    case QMetaType::ULongLong:
        return QByteArrayLiteral("t");
    case QMetaType::Double:
        return QByteArrayLiteral("d");
    case QMetaType::QStringList:
        return QByteArrayLiteral("as");
    case QMetaType::QByteArray:
        return QByteArrayLiteral("ay");
    case QMetaType::QVariantList:
        return QByteArrayLiteral("av");
    case QMetaType::QVariantMap:
        return QByteArrayLiteral("a{sv}");
    default:
        break;
    }
    if (value.userType() == typedId())
        return value.value<DBusTyped>().signature.toLatin1();
    return QByteArray();
}

class Writer
{
public:
    explicit Writer(sd_bus_message *message) : m_message(message) { }

    WireStatus plain(const QVariant &value, int depth);
    WireStatus typed(const QByteArray &signature, const QVariant &given, int depth);

    QString typeName;

private:
    WireStatus basic(char code, const QVariant &value);
    // An integer of the D-Bus type code, when it fits T.
    template<typename T>
    WireStatus integer(char code, qlonglong v)
    {
        if (v < qlonglong(std::numeric_limits<T>::min())
            || v > qlonglong(std::numeric_limits<T>::max()))
            return WireStatus::Malformed;
        const T x = T(v);
        return status(sd_bus_message_append_basic(m_message, code, &x));
    }
    WireStatus string(char code, const QString &text);
    WireStatus variant(const QVariant &value, int depth);
    WireStatus status(int r) const { return r < 0 ? WireStatus::Malformed : WireStatus::Ok; }
    WireStatus noForm(const QVariant &value)
    {
        typeName = value.userType() == QMetaType::UnknownType
                           ? QStringLiteral("invalid")
                           : QString::fromLatin1(value.typeName());
        return WireStatus::NoDBusForm;
    }

    sd_bus_message *m_message;
};

WireStatus Writer::string(char code, const QString &text)
{
    if (!isCarriable(text))
        return WireStatus::BadText;
    if (code == 'o' && !isValidObjectPath(text))
        return WireStatus::Malformed;
    // sd-bus reads no signature value of the longest length it writes.
    if (code == 'g' && (!isValidSignature(text, true) || text.size() >= maximumSignatureLength))
        return WireStatus::Malformed;
    return status(sd_bus_message_append_basic(m_message, code, text.toUtf8().constData()));
}

template<typename T>
bool inRange(qlonglong v)
{
    return v >= qlonglong(std::numeric_limits<T>::min())
           && v <= qlonglong(std::numeric_limits<T>::max());
}

// The Qt integer types a number on the wire may be given as; a boolean is not one of them.
bool isQtIntegerType(int type)
{
    switch (type) {
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    default:
        return false;
    }
}

WireStatus Writer::basic(char code, const QVariant &value)
{
    const int type = value.userType();
    if (code == 's' || code == 'o' || code == 'g') {
        if (type != QMetaType::QString)
            return WireStatus::Malformed;
        return string(code, value.toString());
    }
    if (code == 'd') {
        if (type != QMetaType::Double && type != QMetaType::Float && !isQtIntegerType(type))
            return WireStatus::Malformed;
        const double d = value.toDouble();
        return status(sd_bus_message_append_basic(m_message, 'd', &d));
    }
    if (code == 'b') {
        if (type != QMetaType::Bool)
            return WireStatus::Malformed;
        const int b = value.toBool() ? 1 : 0;
        return status(sd_bus_message_append_basic(m_message, 'b', &b));
    }
    if (code == 'h') {
        // Requests and answers never pass descriptors on.
        typeName = QStringLiteral("file descriptor");
        return WireStatus::NoDBusForm;
    }
    // Integers: any Qt integer type whose value fits, never text or a double.
    if (type != QMetaType::Bool && !isQtIntegerType(type))
        return WireStatus::Malformed;
    if (code == 't') {
        if (type != QMetaType::ULongLong && value.toLongLong() < 0)
            return WireStatus::Malformed;
        const quint64 v = value.toULongLong();
        return status(sd_bus_message_append_basic(m_message, 't', &v));
    }
    if (type == QMetaType::ULongLong
        && value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
        return WireStatus::Malformed;
    const qlonglong v = value.toLongLong();
    switch (code) {
    case 'y':
        return integer<quint8>(code, v);
    case 'n':
        return integer<qint16>(code, v);
    case 'q':
        return integer<quint16>(code, v);
    case 'i':
        return integer<qint32>(code, v);
    case 'u':
        return integer<quint32>(code, v);
    case 'x':
        return integer<qint64>(code, v);
    default:
        return WireStatus::Malformed;
    }
}

// A variant of the value's own type, its content one level down.
WireStatus Writer::variant(const QVariant &value, int depth)
{
    const QByteArray signature = plainSignature(value);
    if (value.userType() == typedId()) {
        int end = 0;
        // sd-bus writes a variant's signature of the longest length but reads none back.
        if (!parseCompleteType(signature, &end, 0, 0) || end != signature.size()
            || signature.size() >= maximumSignatureLength)
            return WireStatus::Malformed;
    }
    if (signature.isEmpty()) {
        // Checked in the order a walk of the value would meet the problems: depth first.
        if (depth + 1 > maximumNestingDepth)
            return WireStatus::TooDeep;
        return noForm(value);
    }
    if (sd_bus_message_open_container(m_message, 'v', signature.constData()) < 0)
        return WireStatus::Malformed;
    const WireStatus result = plain(value, depth + 1);
    if (result != WireStatus::Ok)
        return result;
    return status(sd_bus_message_close_container(m_message));
}

WireStatus Writer::plain(const QVariant &value, int depth)
{
    if (depth > maximumNestingDepth)
        return WireStatus::TooDeep;
    switch (value.userType()) {
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return status(sd_bus_message_append_array(m_message, 'y', bytes.constData(),
                                                  size_t(bytes.size())));
    }
    case QMetaType::QStringList: {
        const QStringList strings = value.toStringList();
        if (!strings.isEmpty() && depth + 1 > maximumNestingDepth)
            return WireStatus::TooDeep;
        if (sd_bus_message_open_container(m_message, 'a', "s") < 0)
            return WireStatus::Malformed;
        for (const QString &text : strings) {
            const WireStatus result = string('s', text);
            if (result != WireStatus::Ok)
                return result;
        }
        return status(sd_bus_message_close_container(m_message));
    }
    case QMetaType::QVariantList: {
        if (sd_bus_message_open_container(m_message, 'a', "v") < 0)
            return WireStatus::Malformed;
        const QVariantList list = value.toList();
        for (const QVariant &element : list) {
            // Element variant at depth + 1, its content at depth + 2.
            const WireStatus result = variant(element, depth + 1);
            if (result != WireStatus::Ok)
                return result;
        }
        return status(sd_bus_message_close_container(m_message));
    }
    case QMetaType::QVariantMap: {
        if (sd_bus_message_open_container(m_message, 'a', "{sv}") < 0)
            return WireStatus::Malformed;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            // Entry at depth + 1, key and value variant at depth + 2, the content at depth + 3.
            if (!isCarriable(it.key()))
                return WireStatus::BadText;
            if (sd_bus_message_open_container(m_message, 'e', "sv") < 0)
                return WireStatus::Malformed;
            WireStatus result = string('s', it.key());
            if (result == WireStatus::Ok)
                result = variant(it.value(), depth + 2);
            if (result != WireStatus::Ok)
                return result;
            if (sd_bus_message_close_container(m_message) < 0)
                return WireStatus::Malformed;
        }
        return status(sd_bus_message_close_container(m_message));
    }
    default:
        break;
    }
    if (value.userType() == typedId()) {
        const DBusTyped typedValue = value.value<DBusTyped>();
        // {"v", X} is a variant holding X, whatever X is, a variant included.
        if (typedValue.signature == QLatin1String("v"))
            return variant(typedValue.value, depth);
        return typed(typedValue.signature.toLatin1(), typedValue.value, depth);
    }
    // The basic types, by the one-letter type plainSignature() gives them.
    const QByteArray signature = plainSignature(value);
    if (signature.size() == 1)
        return basic(signature.at(0), value);
    return noForm(value);
}

WireStatus Writer::typed(const QByteArray &signature, const QVariant &given, int depth)
{
    // Inside typed containers an element may come as a DBusTyped of the element's own type, as
    // readTypedValue() gives them.
    const QVariant value
            = given.userType() == typedId()
                              && given.value<DBusTyped>().signature.toLatin1() == signature
                      ? given.value<DBusTyped>().value
                      : given;
    int end = 0;
    if (!parseCompleteType(signature, &end, 0, 0) || end != signature.size())
        return WireStatus::Malformed;
    if (depth > maximumNestingDepth)
        return WireStatus::TooDeep;
    const char code = signature.at(0);
    if (isBasicType(code))
        return basic(code, value);

    if (code == 'v') {
        // The content keeps its own explicit type when it has one.
        return variant(value, depth);
    }

    if (code == '(') {
        const QVariantList fields = value.toList();
        const QByteArray contents = signature.mid(1, signature.size() - 2);
        if (value.userType() != QMetaType::QVariantList)
            return WireStatus::Malformed;
        if (sd_bus_message_open_container(m_message, 'r', contents.constData()) < 0)
            return WireStatus::Malformed;
        int i = 0;
        for (const QVariant &field : fields) {
            const int start = i;
            if (!parseCompleteType(contents, &i, 0, 0))
                return WireStatus::Malformed;
            const WireStatus result = typed(contents.mid(start, i - start), field, depth + 1);
            if (result != WireStatus::Ok)
                return result;
        }
        if (i != contents.size())
            return WireStatus::Malformed;
        return status(sd_bus_message_close_container(m_message));
    }

    // An array: a dictionary, bytes, or elements of one type.
    const QByteArray element = signature.mid(1);
    if (element.startsWith('{')) {
        const QByteArray entry = element.mid(1, element.size() - 2);
        const char keyCode = entry.at(0);
        const QByteArray valueSignature = entry.mid(1);
        QList<QPair<QVariant, QVariant>> entries;
        if (value.userType() == QMetaType::QVariantMap) {
            const QVariantMap map = value.toMap();
            for (auto it = map.cbegin(); it != map.cend(); ++it) {
                QVariant key = it.key();
                // Text keys stand for keys of the dictionary's key type.
                if (keyCode != 's' && keyCode != 'o' && keyCode != 'g') {
                    bool ok = false;
                    // Only the text readValue() makes of a key, so that no two texts stand for
                    // one key.
                    if (keyCode == 'b') {
                        key = it.key() == QLatin1String("true")    ? QVariant(true)
                              : it.key() == QLatin1String("false") ? QVariant(false)
                                                                   : QVariant();
                        ok = key.isValid();
                    } else if (keyCode == 'd') {
                        key = it.key().toDouble(&ok);
                    } else if (keyCode == 't') {
                        key = it.key().toULongLong(&ok);
                        ok = ok && QString::number(key.toULongLong()) == it.key();
                    } else {
                        key = it.key().toLongLong(&ok);
                        ok = ok && QString::number(key.toLongLong()) == it.key();
                    }
                    if (!ok)
                        return WireStatus::Malformed;
                }
                entries.append({key, it.value()});
            }
        } else if (value.userType() == QMetaType::QVariantList) {
            for (const QVariant &pair : value.toList()) {
                const QVariantList keyAndValue = pair.toList();
                if (keyAndValue.size() != 2)
                    return WireStatus::Malformed;
                entries.append({keyAndValue.at(0), keyAndValue.at(1)});
            }
        } else {
            return WireStatus::Malformed;
        }
        if (sd_bus_message_open_container(m_message, 'a', element.constData()) < 0)
            return WireStatus::Malformed;
        for (const auto &pair : qAsConst(entries)) {
            if (sd_bus_message_open_container(m_message, 'e', entry.constData()) < 0)
                return WireStatus::Malformed;
            WireStatus result = typed(QByteArray(1, keyCode), pair.first, depth + 2);
            if (result == WireStatus::Ok)
                result = typed(valueSignature, pair.second, depth + 2);
            if (result != WireStatus::Ok)
                return result;
            if (sd_bus_message_close_container(m_message) < 0)
                return WireStatus::Malformed;
        }
        return status(sd_bus_message_close_container(m_message));
    }

    if (element == "y" && value.userType() == QMetaType::QByteArray) {
        const QByteArray bytes = value.toByteArray();
        return status(sd_bus_message_append_array(m_message, 'y', bytes.constData(),
                                                  size_t(bytes.size())));
    }
    QVariantList elements;
    if (value.userType() == QMetaType::QVariantList) {
        elements = value.toList();
    } else if (value.userType() == QMetaType::QStringList) {
        for (const QString &text : value.toStringList())
            elements.append(text);
    } else {
        return WireStatus::Malformed;
    }
    const bool fixed = element.size() == 1 && isFixedType(element.at(0));
    if (sd_bus_message_open_container(m_message, 'a', element.constData()) < 0)
        return WireStatus::Malformed;
    for (const QVariant &item : qAsConst(elements)) {
        const WireStatus result = typed(element, item, fixed ? depth : depth + 1);
        if (result != WireStatus::Ok)
            return result;
    }
    return status(sd_bus_message_close_container(m_message));
}

// A dictionary key of a received map, already read, as the text the map is keyed by. A byte is a
// number here, not a character.
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

class Reader
{
public:
    // keepTypes: every value as a DBusTyped, no limit applied.
    Reader(sd_bus_message *message, bool keepTypes) : m_message(message), m_keepTypes(keepTypes) { }

    WireStatus value(int depth, QVariant *out);

private:
    WireStatus valueOfType(const char *signature, int depth, QVariant *out);
    WireStatus basic(char code, QVariant *out);
    WireStatus container(char code, const char *contents, int depth, QVariant *out);
    QVariant typed(char code, const char *contents, const QVariant &value) const
    {
        if (!m_keepTypes)
            return value;
        QString signature;
        if (code == SD_BUS_TYPE_ARRAY)
            signature = QLatin1Char('a') + QLatin1String(contents);
        else if (code == SD_BUS_TYPE_STRUCT)
            signature = QLatin1Char('(') + QLatin1String(contents) + QLatin1Char(')');
        else
            signature = QLatin1Char(code);
        return QVariant::fromValue(DBusTyped{signature, value});
    }

    sd_bus_message *m_message;
    bool m_keepTypes;
};

WireStatus Reader::basic(char code, QVariant *out)
{
    union {
        quint8 y;
        int b;
        qint16 n;
        quint16 q;
        qint32 i;
        quint32 u;
        qint64 x;
        quint64 t;
        double d;
        const char *s;
        int h;
    } v{};
    if (sd_bus_message_read_basic(m_message, code, &v) <= 0)
        return WireStatus::Malformed;
    switch (code) {
    case 'y':
        *out = QVariant::fromValue(uchar(v.y));
        break;
    case 'b':
        *out = v.b != 0;
        break;
    case 'n':
        *out = QVariant::fromValue(short(v.n));
        break;
    case 'q':
        *out = QVariant::fromValue(ushort(v.q));
        break;
    case 'i':
        *out = int(v.i);
        break;
    case 'u':
        *out = uint(v.u);
        break;
    case 'x':
        *out = qlonglong(v.x);
        break;
    case 't':
        *out = qulonglong(v.t);
        break;
    case 'd':
        *out = v.d;
        break;
    case 's':
    case 'o':
    case 'g':
        *out = QString::fromUtf8(v.s);
        break;
    case 'h':
        // A file descriptor has no plain form that could outlive the message.
        if (!m_keepTypes)
            return WireStatus::NoDBusForm;
        *out = QVariant();
        break;
    default:
        return WireStatus::Malformed;
    }
    return WireStatus::Ok;
}

WireStatus Reader::value(int depth, QVariant *out)
{
    char code = 0;
    const char *contents = nullptr;
    const int r = sd_bus_message_peek_type(m_message, &code, &contents);
    if (r <= 0)
        return WireStatus::Malformed;
    if (!m_keepTypes && depth > maximumNestingDepth)
        return WireStatus::TooDeep;
    if (isBasicType(code)) {
        QVariant plainValue;
        const WireStatus result = basic(code, &plainValue);
        if (result == WireStatus::Ok)
            *out = typed(code, contents, plainValue);
        return result;
    }
    return container(code, contents, depth, out);
}

// The next value when the enclosing signature tells its type: every sd-bus call costs hundreds of
// instructions, and most values of a request or reply need no peek at all.
WireStatus Reader::valueOfType(const char *signature, int depth, QVariant *out)
{
    const char code = signature[0];
    // A variant's content and a struct's fields are found only by looking.
    if (code == SD_BUS_TYPE_VARIANT || code == SD_BUS_TYPE_STRUCT_BEGIN)
        return value(depth, out);
    if (!m_keepTypes && depth > maximumNestingDepth)
        return WireStatus::TooDeep;
    if (code == SD_BUS_TYPE_ARRAY)
        return container(code, signature + 1, depth, out);
    QVariant plainValue;
    const WireStatus result = basic(code, &plainValue);
    if (result == WireStatus::Ok)
        *out = typed(code, nullptr, plainValue);
    return result;
}

WireStatus Reader::container(char code, const char *contents, int depth, QVariant *out)
{
    // Copied, as entering the container moves the read position; on the stack, as this runs for
    // every container of every reply. A signature is at most 255 characters.
    char inner[maximumSignatureLength + 1] = {};
    const std::size_t innerLength = contents ? std::strlen(contents) : 0;
    if (innerLength > std::size_t(maximumSignatureLength))
        return WireStatus::Malformed;
    if (contents)
        std::memcpy(inner, contents, innerLength);
    if (code == SD_BUS_TYPE_ARRAY && !m_keepTypes && std::strcmp(inner, "y") == 0) {
        const void *data = nullptr;
        size_t size = 0;
        if (sd_bus_message_read_array(m_message, 'y', &data, &size) < 0)
            return WireStatus::Malformed;
        QVariantList bytes;
        bytes.reserve(int(size));
        const auto *begin = static_cast<const uchar *>(data);
        for (size_t i = 0; i < size; ++i)
            bytes.append(QVariant::fromValue(begin[i]));
        *out = bytes;
        return WireStatus::Ok;
    }
    if (sd_bus_message_enter_container(m_message, code, inner) <= 0)
        return WireStatus::Malformed;

    QVariant result;
    if (code == SD_BUS_TYPE_VARIANT) {
        QVariant content;
        const WireStatus status = valueOfType(inner, depth + 1, &content);
        if (status != WireStatus::Ok)
            return status;
        result = m_keepTypes ? typed(code, nullptr, content) : content;
    } else if (code == SD_BUS_TYPE_ARRAY && inner[0] == '{') {
        // The entry's contents: the signature without its braces.
        char entry[maximumSignatureLength + 1] = {};
        if (innerLength >= 2)
            std::memcpy(entry, inner + 1, innerLength - 2);
        QVariantMap map;
        QVariantList pairs;
        for (;;) {
            const int r = sd_bus_message_enter_container(m_message, SD_BUS_TYPE_DICT_ENTRY, entry);
            if (r < 0)
                return WireStatus::Malformed;
            if (r == 0)
                break;
            // Entry at depth + 1, its key and value at depth + 2.
            QVariant key;
            QVariant entryValue;
            WireStatus status = valueOfType(entry, depth + 2, &key);
            if (status == WireStatus::Ok)
                status = valueOfType(entry + 1, depth + 2, &entryValue);
            if (status != WireStatus::Ok)
                return status;
            if (sd_bus_message_exit_container(m_message) < 0)
                return WireStatus::Malformed;
            if (m_keepTypes)
                pairs.append(QVariant(QVariantList{key, entryValue}));
            else
                map.insert(keyText(key), entryValue);
        }
        result = m_keepTypes ? typed(code, inner, pairs) : QVariant(map);
    } else {
        // An array's elements one level down unless they are of a fixed size; a struct's fields
        // one level down.
        const bool fixed = code == SD_BUS_TYPE_ARRAY && innerLength == 1 && isFixedType(inner[0]);
        QVariantList list;
        for (;;) {
            const int r = sd_bus_message_at_end(m_message, false);
            if (r < 0)
                return WireStatus::Malformed;
            if (r > 0)
                break;
            QVariant element;
            const WireStatus status
                    = code == SD_BUS_TYPE_ARRAY
                              ? valueOfType(inner, fixed ? depth : depth + 1, &element)
                              : value(depth + 1, &element);
            if (status != WireStatus::Ok)
                return status;
            list.append(element);
        }
        result = m_keepTypes ? typed(code, inner, list) : QVariant(list);
    }
    if (sd_bus_message_exit_container(m_message) < 0)
        return WireStatus::Malformed;
    *out = result;
    return WireStatus::Ok;
}

} // namespace

WireStatus appendValue(sd_bus_message *message, const QVariant &value, QString *typeName)
{
    Writer writer(message);
    const WireStatus result = writer.plain(value, 0);
    if (typeName && result == WireStatus::NoDBusForm)
        *typeName = writer.typeName;
    return result;
}

WireStatus readValue(sd_bus_message *message, QVariant *out)
{
    QVariant value;
    const WireStatus result = Reader(message, false).value(0, &value);
    *out = result == WireStatus::Ok ? value : QVariant();
    return result;
}

WireStatus readTypedValue(sd_bus_message *message, DBusTyped *out)
{
    QVariant value;
    const WireStatus result = Reader(message, true).value(0, &value);
    *out = result == WireStatus::Ok ? value.value<DBusTyped>() : DBusTyped();
    return result;
}

bool isValidSignature(const QString &signature, bool sequence)
{
    if (signature.size() > maximumSignatureLength)
        return false;
    const QByteArray text = signature.toLatin1();
    if (QString::fromLatin1(text) != signature)
        return false;
    int i = 0;
    if (!sequence)
        return parseCompleteType(text, &i, 0, 0) && i == text.size();
    while (i < text.size()) {
        if (!parseCompleteType(text, &i, 0, 0))
            return false;
    }
    return true;
}

bool isValidObjectPath(const QString &path)
{
    if (!path.startsWith(QLatin1Char('/')))
        return false;
    if (path.size() == 1)
        return true;
    if (path.endsWith(QLatin1Char('/')))
        return false;
    bool previousSlash = true;
    for (int i = 1; i < path.size(); ++i) {
        const ushort c = path.at(i).unicode();
        if (c == '/') {
            if (previousSlash)
                return false;
            previousSlash = true;
            continue;
        }
        previousSlash = false;
        const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')
                             || (c >= '0' && c <= '9') || c == '_';
        if (!allowed)
            return false;
    }
    return true;
}

} // namespace ls
