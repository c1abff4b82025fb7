// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "rawbus.h"

#include <ls/dbusvalue.h>

#include <QRegularExpression>
#include <QTest>

#include <algorithm>

namespace RawBus {

qint64 fromEnvironment(const char *name, qint64 fallback)
{
    bool ok = false;
    const qint64 value = qEnvironmentVariable(name).toLongLong(&ok);
    return ok && value > 0 ? value : fallback;
}

Value basic(char type, quint64 bits)
{
    return {QByteArray(1, type), {}, bits, {}};
}

Value text(char type, const QByteArray &utf8)
{
    return {QByteArray(1, type), utf8, 0, {}};
}

Value str(const QString &s)
{
    return text('s', s.toUtf8());
}

Value int32(int i)
{
    return basic('i', quint64(quint32(i)));
}

Value descriptor()
{
    return basic('h', 0);
}

Value variant(const Value &content)
{
    return {QByteArrayLiteral("v"), {}, 0, {content}};
}

Value array(const QByteArray &element, const QList<Value> &elements)
{
    return {'a' + element, {}, 0, elements};
}

Value dictionary(const QByteArray &key, const QByteArray &value, const QList<Value> &keysAndValues)
{
    return {"a{" + key + value + '}', {}, 0, keysAndValues};
}

Value structure(const QList<Value> &fields)
{
    QByteArray signature = "(";
    for (const Value &field : fields)
        signature += field.signature;
    return {signature + ')', {}, 0, fields};
}

Value requestMap(const QList<QPair<QString, Value>> &entries)
{
    QList<Value> keysAndValues;
    for (const auto &entry : entries)
        keysAndValues << str(entry.first) << variant(entry.second);
    return dictionary("s", "v", keysAndValues);
}

Value handleCommand(int number, const QList<Value> &arguments)
{
    QList<Value> args;
    for (const Value &argument : arguments)
        args.append(variant(argument));
    return requestMap({{ls::commandIdKey, str(ls::CommandHandlerCmdId::HandleCommand)},
                       {ls::subCommandIdKey, int32(number)},
                       {ls::senderIdKey, str(ls::ServiceId::CommandHandler)},
                       {ls::argsKey, array("v", args)}});
}

Value words(int number, const QStringList &arguments)
{
    QList<Value> values;
    for (const QString &argument : arguments)
        values.append(str(argument));
    return handleCommand(number, values);
}

// Where the complete type that starts at i ends.
int typeEnd(const QByteArray &signature, int i)
{
    const char c = signature.at(i);
    if (c == 'a')
        return typeEnd(signature, i + 1);
    if (c == '(' || c == '{') {
        const char close = c == '(' ? ')' : '}';
        ++i;
        while (signature.at(i) != close)
            i = typeEnd(signature, i);
    }
    return i + 1;
}

QList<QByteArray> fieldTypes(const QByteArray &inner)
{
    QList<QByteArray> fields;
    for (int i = 0; i < inner.size();) {
        const int end = typeEnd(inner, i);
        fields.append(inner.mid(i, end - i));
        i = end;
    }
    return fields;
}

bool isFixedSize(char type)
{
    return std::strchr("ybnqiuxtdh", type) != nullptr;
}

int deepestLevel(const Value &value, int level)
{
    int deepest = level;
    const char type = value.signature.at(0);
    if (type == 'a' && isFixedSize(value.signature.at(1)))
        return deepest;
    const int below = type == 'a' && value.signature.at(1) == '{' ? 2 : 1;
    for (const Value &child : value.children)
        deepest = std::max(deepest, deepestLevel(child, level + below));
    return deepest;
}

int descriptorsIn(const Value &value)
{
    int count = value.signature == "h" ? 1 : 0;
    for (const Value &child : value.children)
        count += descriptorsIn(child);
    return count;
}

int append(sd_bus_message *message, const Value &value, int fd)
{
    const QByteArray &signature = value.signature;
    const char type = signature.at(0);
    switch (type) {
    case 'y': {
        const uint8_t v = uint8_t(value.bits);
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 'b': {
        const int v = value.bits != 0;
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 'n':
    case 'q': {
        const uint16_t v = uint16_t(value.bits);
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 'i':
    case 'u': {
        const uint32_t v = uint32_t(value.bits);
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 'x':
    case 't': {
        const uint64_t v = value.bits;
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 'd': {
        double v = 0;
        std::memcpy(&v, &value.bits, sizeof v);
        return sd_bus_message_append_basic(message, type, &v);
    }
    case 's':
    case 'o':
    case 'g':
        return sd_bus_message_append_basic(message, type, value.text.constData());
    case 'h':
        return sd_bus_message_append_basic(message, type, &fd);
    default:
        break;
    }

    const bool isDictionary = type == 'a' && signature.at(1) == '{';
    const char container = type == 'v' ? 'v' : type == 'a' ? 'a' : 'r';
    const QByteArray contents = type == 'v'   ? value.children.value(0).signature
                                : type == 'a' ? signature.mid(1)
                                              : signature.mid(1, signature.size() - 2);
    int r = sd_bus_message_open_container(message, container, contents.constData());
    if (isDictionary) {
        const QByteArray entry = contents.mid(1, contents.size() - 2);
        for (int i = 0; r >= 0 && i + 1 < value.children.size(); i += 2) {
            r = sd_bus_message_open_container(message, 'e', entry.constData());
            if (r >= 0)
                r = append(message, value.children.at(i), fd);
            if (r >= 0)
                r = append(message, value.children.at(i + 1), fd);
            if (r >= 0)
                r = sd_bus_message_close_container(message);
        }
    } else {
        for (int i = 0; r >= 0 && i < value.children.size(); ++i)
            r = append(message, value.children.at(i), fd);
    }
    return r >= 0 ? sd_bus_message_close_container(message) : r;
}

void readReply(sd_bus_message *reply, Outcome *outcome)
{
    bool ok = qstrcmp(sd_bus_message_get_signature(reply, 1), "a{sv}") == 0
              && sd_bus_message_enter_container(reply, 'a', "{sv}") > 0;
    bool sawResult = false;
    bool sawError = false;
    while (ok) {
        const int r = sd_bus_message_enter_container(reply, 'e', "sv");
        if (r <= 0) {
            ok = r == 0;
            break;
        }
        const char *key = nullptr;
        char type = 0;
        const char *contents = nullptr;
        ok = sd_bus_message_read_basic(reply, 's', &key) > 0
             && sd_bus_message_peek_type(reply, &type, &contents) > 0 && type == 'v';
        const QString name = QString::fromUtf8(key);
        if (ok && (name == ls::resultIdKey || name == ls::errorIdKey)) {
            const char *text = nullptr;
            ok = qstrcmp(contents, "s") == 0 && sd_bus_message_enter_container(reply, 'v', "s") > 0
                 && sd_bus_message_read_basic(reply, 's', &text) > 0
                 && sd_bus_message_exit_container(reply) > 0;
            (name == ls::resultIdKey ? outcome->resultId : outcome->errorId)
                    = QString::fromUtf8(text);
            (name == ls::resultIdKey ? sawResult : sawError) = true;
        } else if (ok) {
            ok = sd_bus_message_skip(reply, "v") >= 0;
        }
        ok = ok && sd_bus_message_exit_container(reply) > 0;
    }
    ok = ok && sd_bus_message_exit_container(reply) > 0 && sd_bus_message_at_end(reply, 1) > 0;
    const bool success = outcome->resultId == ls::ResultId::Success;
    outcome->wellFormed = ok && sawResult && sawError
                          && (success || outcome->resultId == ls::ResultId::Failure)
                          && success == (outcome->errorId == ls::ErrorId::NoError);
    QVariant value;
    if (sd_bus_message_rewind(reply, 1) >= 0 && ls::readValue(reply, &value) == ls::WireStatus::Ok)
        outcome->map = value.toMap();
}

bool isPong(const Outcome &outcome)
{
    return outcome.succeeded() && outcome.detail(QStringLiteral("reply")) == QStringLiteral("pong");
}

QStringList markers(const QString &text)
{
    static const QRegularExpression marker(QStringLiteral("\\[[^\\]]*\\]"));
    QStringList found;
    for (auto it = marker.globalMatch(text); it.hasNext();)
        found.append(it.next().captured());
    return found;
}

} // namespace RawBus

StressTestCase::StressTestCase() = default;

StressTestCase::~StressTestCase() = default;

void StressTestCase::initTestCase()
{
    QVERIFY2(QFile::exists(RawBus::simulatorPath), qPrintable(RawBus::simulatorPath));
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
}

void StressTestCase::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_simulator = std::make_unique<RawBus::Simulator>(m_bus, m_dir->path());
}

void StressTestCase::cleanup()
{
    m_simulator.reset();
    m_dir.reset();
}
