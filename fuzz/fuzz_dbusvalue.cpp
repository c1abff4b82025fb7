// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The input is a program that builds one D-Bus value in an sd-bus message: a type, read as its
// signature text (any byte stands for some type; a valid signature's ASCII stands for itself),
// then the bytes the value's parts take. The message is read with readValue() and
// readTypedValue(), both readings are checked against each other and against the depth rule of
// ls/dbuscontract.h, and each is written back with appendValue() and read again.
//
// Values, type by type: y one byte; b one byte, nonzero is true; n q two bytes; i u four; x t d
// eight, all little-endian; s a length byte and that many bytes, cut at a NUL; o a count byte
// (mod 4) of elements, each a length byte (mod 8, plus 1) and that many bytes picking characters
// of [A-Za-z0-9_]; g a count byte (mod 4) of types; h nothing (a descriptor of /dev/null); v a
// type, then its value; a(rray) before each element a byte, odd for one more element, even to
// close it; a dictionary the same, each element its key and then its value; a struct its fields.
//
// Types: y b n q i u x t d s o g h v stand for themselves, "a" then "{" a dictionary whose key is
// the next byte (a basic type code, or mapped onto one) and whose value type follows, with an
// optional closing "}"; "a" otherwise an array of the type that follows; "(" a struct of one type
// and then more until ")" or the end of the input. Any other byte picks one of these by its value
// modulo 17. Where a limit of D-Bus would be exceeded, the byte picks a basic type instead.

#include "fuzzinput.h"

#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using ls::WireStatus;

constexpr int maximumSignatureLength = 255;
constexpr int maximumArrayNesting = 32;
constexpr int maximumStructNesting = 32;
// sd-bus containers open at once; sd-bus's own limit is higher, and readValue() refuses values
// deeper than 64 levels long before.
constexpr int maximumContainers = 120;
// Arrays stop growing after this many values in all, so that no input runs for long.
constexpr int maximumValues = 4096;
constexpr int maximumDescriptors = 16;

const char basicCodes[] = "ybnqiuxtdsogh";
// 'D' stands for a dictionary.
const char typeChoices[] = "ybnqiuxtdsoghva(D";
const char pathCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";

bool isBasic(char code)
{
    return code != '\0' && std::strchr(basicCodes, code) != nullptr;
}

bool isFixed(char code)
{
    return code != '\0' && std::strchr("ybnqiuxtdh", code) != nullptr;
}

[[noreturn]] void fail(const char *what, const std::string &signature)
{
    std::fprintf(stderr, "fuzz_dbusvalue: %s (signature \"%s\")\n", what, signature.c_str());
    std::abort();
}

// Decodes one complete type from the input, appending it to out without letting out grow past
// maxLength; nesting counts the sd-bus containers the type opens when a value of it is built.
class TypeDecoder
{
public:
    TypeDecoder(ByteReader &in, int maxLength, int containerBudget)
        : m_in(in), m_maxLength(maxLength), m_budget(containerBudget)
    { }

    void decode(std::string &out) { complete(out, 0, 0, 0); }

private:
    // Callers leave room for at least one more character.
    void complete(std::string &out, int arrays, int structs, int nesting)
    {
        const uint8_t c = m_in.byte();
        char code = std::strchr("ybnqiuxtdsoghva(", char(c)) && c != 0
                            ? char(c)
                            : typeChoices[c % (sizeof(typeChoices) - 1)];
        if (c == 'a' && m_in.peek() == '{') {
            m_in.byte();
            code = 'D';
        }
        const int room = m_maxLength - int(out.size()) - m_pendingClosers;
        const char fallback = isBasic(char(c)) ? char(c) : basicCodes[c % (sizeof(basicCodes) - 1)];
        if (code == 'v' && nesting + 1 > m_budget)
            code = fallback;
        if (code == 'a' && (arrays + 1 > maximumArrayNesting || nesting + 1 > m_budget || room < 2))
            code = fallback;
        if (code == 'D'
            && (arrays + 1 > maximumArrayNesting || structs + 1 > maximumStructNesting
                || nesting + 2 > m_budget || room < 5))
            code = fallback;
        if (code == '('
            && (structs + 1 > maximumStructNesting || nesting + 1 > m_budget || room < 3))
            code = fallback;

        switch (code) {
        case 'a':
            out += 'a';
            complete(out, arrays + 1, structs, nesting + 1);
            return;
        case 'D': {
            const uint8_t k = m_in.byte();
            out += "a{";
            out += isBasic(char(k)) ? char(k) : basicCodes[k % (sizeof(basicCodes) - 1)];
            ++m_pendingClosers;
            complete(out, arrays + 1, structs + 1, nesting + 2);
            --m_pendingClosers;
            if (m_in.peek() == '}')
                m_in.byte();
            out += '}';
            return;
        }
        case '(':
            out += '(';
            ++m_pendingClosers;
            do {
                complete(out, arrays, structs + 1, nesting + 1);
            } while (!m_in.atEnd() && m_in.peek() != ')'
                     && int(out.size()) + m_pendingClosers < m_maxLength);
            --m_pendingClosers;
            if (m_in.peek() == ')')
                m_in.byte();
            out += ')';
            return;
        default:
            out += code;
            return;
        }
    }

    ByteReader &m_in;
    const int m_maxLength;
    const int m_budget;
    int m_pendingClosers = 0;
};

// Length of the complete type that starts at position in a valid signature.
size_t completeLength(const std::string &signature, size_t position)
{
    size_t i = position;
    while (signature.at(i) == 'a')
        ++i;
    if (signature.at(i) != '(' && signature.at(i) != '{')
        return i + 1 - position;
    int open = 0;
    do {
        const char c = signature.at(i++);
        if (c == '(' || c == '{')
            ++open;
        else if (c == ')' || c == '}')
            --open;
    } while (open > 0);
    return i - position;
}

class MessageBuilder
{
public:
    MessageBuilder(ByteReader &in, sd_bus_message *message, int descriptor)
        : m_in(in), m_message(message), m_descriptor(descriptor)
    { }

    // False when sd-bus refused a part (text that is no UTF-8, for one) or a limit was hit: the
    // message is then of no use.
    // A signature of 255 characters went in (a signature value, a variant's or the message's
    // own): sd-bus writes one but reads none back.
    bool longestSignature = false;

    bool build()
    {
        std::string type;
        TypeDecoder(m_in, maximumSignatureLength, maximumContainers).decode(type);
        noteLength(type);
        return value(type, 0);
    }

private:
    void noteLength(const std::string &signature)
    {
        if (int(signature.size()) == maximumSignatureLength)
            longestSignature = true;
    }

    bool more()
    {
        if (m_values >= maximumValues)
            return false;
        return (m_in.byte() & 1) != 0;
    }

    bool value(const std::string &type, int containers)
    {
        ++m_values;
        const char code = type.at(0);
        if (isBasic(code))
            return basic(code);
        if (code == 'v') {
            std::string inner;
            TypeDecoder(m_in, maximumSignatureLength, maximumContainers - containers - 1)
                    .decode(inner);
            noteLength(inner);
            return sd_bus_message_open_container(m_message, 'v', inner.c_str()) >= 0
                   && value(inner, containers + 1)
                   && sd_bus_message_close_container(m_message) >= 0;
        }
        if (code == '(') {
            const std::string contents = type.substr(1, type.size() - 2);
            if (sd_bus_message_open_container(m_message, 'r', contents.c_str()) < 0)
                return false;
            for (size_t i = 0; i < contents.size();) {
                const size_t length = completeLength(contents, i);
                if (!value(contents.substr(i, length), containers + 1))
                    return false;
                i += length;
            }
            return sd_bus_message_close_container(m_message) >= 0;
        }
        const std::string element = type.substr(1);
        if (sd_bus_message_open_container(m_message, 'a', element.c_str()) < 0)
            return false;
        if (element.at(0) == '{') {
            const std::string entry = element.substr(1, element.size() - 2);
            const std::string key = entry.substr(0, 1);
            const std::string entryValue = entry.substr(1);
            while (more()) {
                if (sd_bus_message_open_container(m_message, 'e', entry.c_str()) < 0
                    || !value(key, containers + 2) || !value(entryValue, containers + 2)
                    || sd_bus_message_close_container(m_message) < 0)
                    return false;
            }
        } else {
            while (more()) {
                if (!value(element, containers + 1))
                    return false;
            }
        }
        return sd_bus_message_close_container(m_message) >= 0;
    }

    template<typename T>
    bool append(char code, T v)
    {
        return sd_bus_message_append_basic(m_message, code, &v) >= 0;
    }

    bool basic(char code)
    {
        switch (code) {
        case 'y':
            return append(code, m_in.byte());
        case 'b':
            return append(code, int(m_in.byte()));
        case 'n':
            return append(code, m_in.number<int16_t>());
        case 'q':
            return append(code, m_in.number<uint16_t>());
        case 'i':
            return append(code, m_in.number<int32_t>());
        case 'u':
            return append(code, m_in.number<uint32_t>());
        case 'x':
            return append(code, m_in.number<int64_t>());
        case 't':
            return append(code, m_in.number<uint64_t>());
        case 'd':
            return append(code, m_in.number<double>());
        case 's': {
            const QByteArray text = m_in.bytes(m_in.byte());
            return sd_bus_message_append_basic(m_message, code, text.constData()) >= 0;
        }
        case 'o': {
            std::string path;
            const int elements = m_in.byte() % 4;
            for (int i = 0; i < elements; ++i) {
                path += '/';
                const int length = m_in.byte() % 8 + 1;
                for (int j = 0; j < length; ++j)
                    path += pathCharacters[m_in.byte() % (sizeof(pathCharacters) - 1)];
            }
            if (path.empty())
                path = "/";
            return sd_bus_message_append_basic(m_message, code, path.c_str()) >= 0;
        }
        case 'g': {
            std::string signature;
            const int types = m_in.byte() % 4;
            for (int i = 0; i < types && int(signature.size()) < maximumSignatureLength; ++i)
                TypeDecoder(m_in, maximumSignatureLength, maximumContainers).decode(signature);
            noteLength(signature);
            return sd_bus_message_append_basic(m_message, code, signature.c_str()) >= 0;
        }
        case 'h':
            if (++m_descriptors > maximumDescriptors)
                return false;
            // sd-bus keeps a duplicate of its own.
            return append(code, m_descriptor);
        }
        return false;
    }

    ByteReader &m_in;
    sd_bus_message *m_message;
    const int m_descriptor;
    int m_values = 0;
    int m_descriptors = 0;
};

struct Bus
{
    sd_bus *bus = nullptr;
    int descriptor = -1;
    uint64_t cookie = 1;
};

// One connection for all runs: messages need a started bus, not a peer that reads them.
Bus &bus()
{
    static Bus b = [] {
        Bus made;
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) < 0
            || sd_bus_new(&made.bus) < 0 || sd_bus_set_fd(made.bus, pair[0], pair[0]) < 0
            || sd_bus_start(made.bus) < 0)
            fail("no sd-bus connection", std::string());
        made.descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (made.descriptor < 0)
            fail("cannot open /dev/null", std::string());
        return made;
    }();
    return b;
}

struct MessageUnref
{
    void operator()(sd_bus_message *m) const { sd_bus_message_unref(m); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

Message newMessage()
{
    sd_bus_message *m = nullptr;
    if (sd_bus_message_new_method_call(bus().bus, &m, "se.fuzz.Peer", "/se/fuzz", "se.fuzz.Peer",
                                       "Take")
        < 0)
        fail("cannot create a message", std::string());
    return Message(m);
}

// Seals the message and moves the read position to its start.
void seal(sd_bus_message *m, const std::string &signature)
{
    if (sd_bus_message_seal(m, bus().cookie++, 0) < 0 || sd_bus_message_rewind(m, 1) < 0)
        fail("cannot seal a complete message", signature);
}

const char *statusName(WireStatus status)
{
    switch (status) {
    case WireStatus::Ok:
        return "Ok";
    case WireStatus::TooDeep:
        return "TooDeep";
    case WireStatus::NoDBusForm:
        return "NoDBusForm";
    case WireStatus::BadText:
        return "BadText";
    case WireStatus::Malformed:
        return "Malformed";
    }
    return "?";
}

void expectStatus(WireStatus got, WireStatus expected, const char *what,
                  const std::string &signature)
{
    if (got == expected)
        return;
    std::fprintf(stderr, "fuzz_dbusvalue: %s gave %s where %s was expected\n", what,
                 statusName(got), statusName(expected));
    fail("unexpected status", signature);
}

ls::DBusTyped typedOf(const QVariant &v)
{
    return v.value<ls::DBusTyped>();
}

// Type for type: QVariant's own comparison converts between types and never finds NaN equal.
bool same(const QVariant &a, const QVariant &b)
{
    if (a.userType() != b.userType())
        return false;
    switch (a.userType()) {
    case QMetaType::UnknownType:
        return true;
    case QMetaType::Double: {
        const double x = a.toDouble();
        const double y = b.toDouble();
        return std::memcmp(&x, &y, sizeof x) == 0;
    }
    case QMetaType::QVariantList: {
        const QVariantList x = a.toList();
        const QVariantList y = b.toList();
        if (x.size() != y.size())
            return false;
        for (int i = 0; i < x.size(); ++i) {
            if (!same(x.at(i), y.at(i)))
                return false;
        }
        return true;
    }
    case QMetaType::QVariantMap: {
        const QVariantMap x = a.toMap();
        const QVariantMap y = b.toMap();
        if (x.keys() != y.keys())
            return false;
        for (auto it = x.cbegin(); it != x.cend(); ++it) {
            if (!same(it.value(), y.value(it.key())))
                return false;
        }
        return true;
    }
    default:
        break;
    }
    if (a.userType() == qMetaTypeId<ls::DBusTyped>()) {
        const ls::DBusTyped x = typedOf(a);
        const ls::DBusTyped y = typedOf(b);
        return x.signature == y.signature && same(x.value, y.value);
    }
    return a == b;
}

// What readValue() and a write of the typed form must give for a typed tree under the depth rule
// of ls/dbuscontract.h: the first problem a walk meets, in the order of the message.
WireStatus depthAndDescriptors(const ls::DBusTyped &node, int depth)
{
    if (depth > ls::maximumNestingDepth)
        return WireStatus::TooDeep;
    const QByteArray signature = node.signature.toLatin1();
    const char code = signature.at(0);
    if (code == 'h')
        return WireStatus::NoDBusForm;
    if (isBasic(code))
        return WireStatus::Ok;
    if (code == 'v')
        return depthAndDescriptors(typedOf(node.value), depth + 1);
    const QVariantList parts = node.value.toList();
    int partDepth = depth + 1;
    if (signature.startsWith("a{"))
        partDepth = depth + 2;
    else if (code == 'a' && signature.size() == 2 && isFixed(signature.at(1)))
        partDepth = depth;
    for (const QVariant &part : parts) {
        if (signature.startsWith("a{")) {
            const QVariantList pair = part.toList();
            for (const QVariant &half : pair) {
                const WireStatus status = depthAndDescriptors(typedOf(half), partDepth);
                if (status != WireStatus::Ok)
                    return status;
            }
            continue;
        }
        const WireStatus status = depthAndDescriptors(typedOf(part), partDepth);
        if (status != WireStatus::Ok)
            return status;
    }
    return WireStatus::Ok;
}

// Levels a plain value takes when appendValue() writes it: a list is an av, a map an a{sv}.
int plainDepth(const QVariant &value, int depth)
{
    int deepest = depth;
    if (value.userType() == QMetaType::QVariantList) {
        for (const QVariant &element : value.toList())
            deepest = qMax(deepest, plainDepth(element, depth + 2));
    } else if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            deepest = qMax(deepest, plainDepth(it.value(), depth + 3));
    }
    return deepest;
}

// The plain form ls/dbusvalue.h documents for what readTypedValue() gave.
QVariant plainOf(const ls::DBusTyped &node)
{
    const QByteArray signature = node.signature.toLatin1();
    const char code = signature.at(0);
    if (isBasic(code))
        return node.value;
    if (code == 'v')
        return plainOf(typedOf(node.value));
    if (signature.startsWith("a{")) {
        QVariantMap map;
        for (const QVariant &part : node.value.toList()) {
            const QVariantList pair = part.toList();
            const QVariant key = plainOf(typedOf(pair.at(0)));
            QString text;
            switch (key.userType()) {
            case QMetaType::Bool:
                text = key.toBool() ? QStringLiteral("true") : QStringLiteral("false");
                break;
            case QMetaType::UChar:
                text = QString::number(key.value<uchar>());
                break;
            default:
                text = key.toString();
                break;
            }
            map.insert(text, plainOf(typedOf(pair.at(1))));
        }
        return map;
    }
    QVariantList list;
    for (const QVariant &part : node.value.toList())
        list.append(plainOf(typedOf(part)));
    return list;
}

void check(sd_bus_message *built, bool longestSignature)
{
    const std::string signature = sd_bus_message_get_signature(built, 1);

    QVariant plain;
    const WireStatus plainStatus = ls::readValue(built, &plain);
    if (plainStatus == WireStatus::Ok && sd_bus_message_at_end(built, 1) <= 0)
        fail("readValue() left part of the value unread", signature);
    if (plainStatus != WireStatus::Ok && plain.isValid())
        fail("readValue() failed but gave a value", signature);

    if (sd_bus_message_rewind(built, 1) < 0)
        fail("cannot rewind", signature);
    ls::DBusTyped typed;
    const WireStatus typedStatus = ls::readTypedValue(built, &typed);
    if (typedStatus != WireStatus::Ok) {
        if (!longestSignature)
            fail("readTypedValue() failed on a message sd-bus built", signature);
        if (plainStatus == WireStatus::Ok)
            fail("readTypedValue() failed where readValue() did not", signature);
        return;
    }
    if (sd_bus_message_at_end(built, 1) <= 0)
        fail("readTypedValue() left part of the value unread", signature);
    if (typed.signature.toStdString() != signature)
        fail("readTypedValue() gave another signature", signature);

    // The typed reading is the reference: it applies no limit and keeps every type.
    expectStatus(plainStatus, depthAndDescriptors(typed, 0), "readValue()", signature);
    if (plainStatus == WireStatus::Ok && !same(plain, plainOf(typed)))
        fail("readValue() and readTypedValue() disagree", signature);

    if (plainStatus == WireStatus::Ok) {
        const Message copy = newMessage();
        const WireStatus expected = plainDepth(plain, 0) > ls::maximumNestingDepth
                                            ? WireStatus::TooDeep
                                            : WireStatus::Ok;
        expectStatus(ls::appendValue(copy.get(), plain), expected, "appendValue(plain)", signature);
        if (expected == WireStatus::Ok) {
            seal(copy.get(), signature);
            QVariant again;
            expectStatus(ls::readValue(copy.get(), &again), WireStatus::Ok,
                         "readValue(appendValue(plain))", signature);
            if (!same(again, plain))
                fail("the plain value is no fixed point of appendValue() and readValue()",
                     signature);
        }
    }

    // Without variants the signature says all the plain value lost: written as that signature, text
    // keys read as their key type, it reads back as the same plain value.
    if (plainStatus == WireStatus::Ok && signature.find('v') == std::string::npos) {
        const Message copy = newMessage();
        const ls::DBusTyped retyped{QString::fromStdString(signature), plain};
        expectStatus(ls::appendValue(copy.get(), QVariant::fromValue(retyped)), WireStatus::Ok,
                     "appendValue(signature, plain)", signature);
        seal(copy.get(), signature);
        if (signature != sd_bus_message_get_signature(copy.get(), 1))
            fail("the plain value was written with another signature", signature);
        QVariant again;
        expectStatus(ls::readValue(copy.get(), &again), WireStatus::Ok,
                     "readValue(appendValue(signature, plain))", signature);
        if (!same(again, plain))
            fail("the plain value written as its signature read back otherwise", signature);
    }

    const Message copy = newMessage();
    const WireStatus expected = depthAndDescriptors(typed, 0);
    expectStatus(ls::appendValue(copy.get(), QVariant::fromValue(typed)), expected,
                 "appendValue(typed)", signature);
    if (expected != WireStatus::Ok)
        return;
    seal(copy.get(), signature);
    if (signature != sd_bus_message_get_signature(copy.get(), 1))
        fail("the typed value was written with another signature", signature);
    ls::DBusTyped again;
    expectStatus(ls::readTypedValue(copy.get(), &again), WireStatus::Ok,
                 "readTypedValue(appendValue(typed))", signature);
    if (!same(QVariant::fromValue(again), QVariant::fromValue(typed)))
        fail("the typed value did not survive appendValue() and readTypedValue()", signature);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler(quietMessageHandler);
    bus();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ByteReader in(data, size);
    const Message message = newMessage();
    MessageBuilder builder(in, message.get(), bus().descriptor);
    if (!builder.build())
        return 0;
    seal(message.get(), sd_bus_message_get_signature(message.get(), 1));
    check(message.get(), builder.longestSignature);
    return 0;
}
