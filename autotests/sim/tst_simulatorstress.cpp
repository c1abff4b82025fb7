#include "testbus.h"

#include <ls/commandids.h>
#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>
#include <ls/messagekeys.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <systemd/sd-bus.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <random>
#include <thread>
#include <unistd.h>

namespace {

const QString simulatorPath = QStringLiteral(SIMULATOR_PATH);
constexpr int timeoutMs = 10000;
constexpr uint64_t callTimeoutUsec = 10 * 1000 * 1000;
const QString invalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");

// A whole number from the environment, or the fallback when it is unset or not a positive number.
qint64 fromEnvironment(const char *name, qint64 fallback)
{
    bool ok = false;
    const qint64 value = qEnvironmentVariable(name).toLongLong(&ok);
    return ok && value > 0 ? value : fallback;
}

// One D-Bus value of any type, sent with sd-bus as it is, so that a request can hold what the
// library never sends: descriptors, paths, signatures, structs, any dictionary.
struct Value
{
    QByteArray signature;
    // s, o, g
    QByteArray text;
    // Integers and booleans; a double's bits.
    quint64 bits = 0;
    // Array elements, struct fields, a variant's content; a dictionary's keys and values in turn.
    QList<Value> children;
};

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

// The request map: keys with their variants' contents.
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

// The deepest level a value reaches, counted as the bus counts it (docs/wire-contract.md,
// "Nesting"), the value itself at level.
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

// Appends the value; every descriptor is a copy of fd. A negative errno when sd-bus refuses.
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

// How a call ended.
struct Outcome
{
    enum class Kind { Reply, Error, Lost };
    Kind kind = Kind::Lost;
    // Error: the D-Bus error; Lost: what sd-bus said.
    QString errorName;
    QString errorMessage;
    // Reply: one a{sv} that holds resultId and errorId as strings, Success only with NoError, as
    // read here with sd-bus itself.
    bool wellFormed = false;
    QString resultId;
    QString errorId;
    // Reply: as the library reads it.
    QVariantMap map;

    bool succeeded() const { return kind == Kind::Reply && resultId == ls::ResultId::Success; }
    QVariant detail(const QString &key) const
    {
        return map.value(ls::detailsMapKey).toMap().value(key);
    }
    QString describe() const
    {
        switch (kind) {
        case Kind::Reply:
            return QStringLiteral("reply %1/%2%3 %4")
                    .arg(resultId, errorId,
                         wellFormed ? QString() : QStringLiteral(" (not well-formed)"),
                         map.value(ls::errorMessageKey).toString());
        case Kind::Error:
            return QStringLiteral("error %1: %2").arg(errorName, errorMessage);
        case Kind::Lost:
            break;
        }
        return QStringLiteral("connection lost: %1").arg(errorName);
    }
};

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

// A connection of its own to the test's bus, made with sd-bus directly.
class RawClient
{
public:
    explicit RawClient(const QString &address) : m_address(address.toUtf8())
    {
        m_descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    ~RawClient()
    {
        sd_bus_flush_close_unref(m_bus);
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    // Connects, or connects anew after the bus dropped the connection.
    bool connect()
    {
        m_bus = sd_bus_flush_close_unref(m_bus);
        int r = sd_bus_new(&m_bus);
        if (r >= 0)
            r = sd_bus_set_address(m_bus, m_address.constData());
        if (r >= 0)
            r = sd_bus_set_bus_client(m_bus, 1);
        if (r >= 0)
            r = sd_bus_negotiate_fds(m_bus, 1);
        if (r >= 0)
            r = sd_bus_start(m_bus);
        return r >= 0 && m_descriptor >= 0;
    }

    // A call of the service's object; arguments are appended to it. Null when sd-bus refuses.
    sd_bus_message *newCall(const char *member = "Process", const char *interface = nullptr,
                            const char *path = nullptr)
    {
        const QByteArray service = ls::busName(ls::ServiceId::CommandHandler).toUtf8();
        const QByteArray objectPath = ls::objectPath(ls::ServiceId::CommandHandler).toUtf8();
        const QByteArray ourInterface = ls::serviceInterface.toUtf8();
        sd_bus_message *message = nullptr;
        if (sd_bus_message_new_method_call(m_bus, &message, service.constData(),
                                           path ? path : objectPath.constData(),
                                           interface ? interface : ourInterface.constData(), member)
            < 0)
            return nullptr;
        return message;
    }

    // Appends the arguments; a negative errno when sd-bus refuses one.
    int appendAll(sd_bus_message *message, const QList<Value> &arguments)
    {
        int r = message ? 0 : -ENOMEM;
        for (int i = 0; r >= 0 && i < arguments.size(); ++i)
            r = append(message, arguments.at(i), m_descriptor);
        return r;
    }

    // Sends the call and drops it.
    Outcome call(sd_bus_message *message)
    {
        Outcome outcome;
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message *reply = nullptr;
        const int r = sd_bus_call(m_bus, message, callTimeoutUsec, &error, &reply);
        sd_bus_message_unref(message);
        if (r >= 0) {
            outcome.kind = Outcome::Kind::Reply;
            readReply(reply, &outcome);
        } else {
            outcome.kind = sd_bus_is_open(m_bus) > 0 && sd_bus_error_is_set(&error)
                                   ? Outcome::Kind::Error
                                   : Outcome::Kind::Lost;
            outcome.errorName = QString::fromUtf8(error.name ? error.name : std::strerror(-r));
            outcome.errorMessage = QString::fromUtf8(error.message);
        }
        sd_bus_message_unref(reply);
        sd_bus_error_free(&error);
        return outcome;
    }

    Outcome process(const Value &request) { return call(QList<Value>{request}); }
    Outcome call(const QList<Value> &arguments, const char *member = "Process",
                 const char *interface = nullptr, const char *path = nullptr)
    {
        sd_bus_message *message = newCall(member, interface, path);
        if (appendAll(message, arguments) < 0) {
            sd_bus_message_unref(message);
            Outcome outcome;
            outcome.errorName = QStringLiteral("the call could not be built");
            return outcome;
        }
        return call(message);
    }
    Outcome command(int number, const QStringList &arguments = {})
    {
        return process(words(number, arguments));
    }

private:
    QByteArray m_address;
    sd_bus *m_bus = nullptr;
    int m_descriptor = -1;
};

// command-handler-sim with its output in files of the test's own, so that a test can read what
// it wrote.
class Simulator
{
public:
    Simulator(const TestBus &bus, const QString &directory) : m_bus(bus), m_directory(directory) { }
    ~Simulator() { stop(); }

    bool start(const QStringList &arguments)
    {
        stop();
        ++m_starts;
        QProcessEnvironment environment = m_bus.environment();
        // The default logging rules: whatever the simulator logs reaches stderr.
        environment.remove(QStringLiteral("QT_LOGGING_RULES"));
        m_process.setProcessEnvironment(environment);
        m_process.setStandardOutputFile(outputPath(QStringLiteral("stdout")));
        m_process.setStandardErrorFile(outputPath(QStringLiteral("stderr")));
        m_process.start(simulatorPath,
                        arguments + QStringList{QStringLiteral("--bus-address"), m_bus.address()});
        if (!m_process.waitForStarted(timeoutMs))
            return false;
        QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired() && !m_process.waitForFinished(0)) {
            if (m_bus.waitForService(ls::busName(ls::ServiceId::CommandHandler), 200))
                return true;
        }
        return false;
    }
    // SIGTERM; true when the simulator ended with status 0 and released its name.
    bool stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return true;
        m_process.terminate();
        const bool ended = m_process.waitForFinished(timeoutMs);
        if (!ended) {
            m_process.kill();
            m_process.waitForFinished(timeoutMs);
        }
        return ended && m_process.exitStatus() == QProcess::NormalExit && m_process.exitCode() == 0
               && released();
    }
    bool killHard()
    {
        ::kill(pid_t(m_process.processId()), SIGKILL);
        return m_process.waitForFinished(timeoutMs) && released();
    }

    bool isRunning() const { return m_process.state() == QProcess::Running; }
    qint64 pid() const { return m_process.processId(); }
    int descriptorCount() const
    {
        return int(QDir(QStringLiteral("/proc/%1/fd").arg(pid()))
                           .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
                           .size());
    }
    QByteArray standardError() const { return contents(QStringLiteral("stderr")); }
    QByteArray standardOutput() const { return contents(QStringLiteral("stdout")); }

private:
    bool released() const
    {
        return m_bus.waitForServiceReleased(ls::busName(ls::ServiceId::CommandHandler), timeoutMs);
    }
    QString outputPath(const QString &stream) const
    {
        return QStringLiteral("%1/simulator-%2.%3").arg(m_directory).arg(m_starts).arg(stream);
    }
    QByteArray contents(const QString &stream) const
    {
        QFile file(outputPath(stream));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no output file)");
    }

    const TestBus &m_bus;
    const QString m_directory;
    int m_starts = 0;
    TiedProcess m_process;
};

bool isPong(const Outcome &outcome)
{
    return outcome.succeeded() && outcome.detail(QStringLiteral("reply")) == QStringLiteral("pong");
}

// The deepest level the bus lets through; a request that goes deeper gets its sender dropped.
constexpr int busNestingLimit = 64;

// Random request maps of every D-Bus type, from one seed: the same seed gives the same requests.
class RandomRequests
{
public:
    explicit RandomRequests(quint64 seed) : m_random(seed) { }

    // The next request; *deepest is the deepest level it reaches.
    Value next(int *deepest)
    {
        // Few descriptors, well below what one message may carry.
        for (;;) {
            const Value request = generate();
            if (descriptorsIn(request) <= 16) {
                *deepest = deepestLevel(request, 0);
                return request;
            }
        }
    }

private:
    int below(int n) { return int(m_random() % quint64(n)); }
    bool chance(int percent) { return below(100) < percent; }
    template<typename T>
    T pick(const QList<T> &list)
    {
        return list.at(below(list.size()));
    }

    Value generate()
    {
        m_budget = 10 + below(200);
        m_maxLevel = chance(10) ? 60 + below(6) : 3 + below(40);
        QList<Value> keysAndValues;
        if (chance(50))
            keysAndValues = plausibleCommand();
        for (int n = below(6); n > 0; --n) {
            int room = 200;
            const QByteArray type = randomType(m_maxLevel - 3, 0, 0, &room);
            keysAndValues << text('s', randomText()) << variant(valueOf(type, 3));
        }
        if (chance(12)) {
            keysAndValues << str(QStringLiteral("deep"))
                          << variant(deepChain(3, busNestingLimit - 4 + below(6)));
        }
        return dictionary("s", "v", keysAndValues);
    }

    QList<Value> plausibleCommand()
    {
        static const QList<int> numbers
                = {101, 102, 103, 104, 105, 106, 107, 108, 201, 202, 203, 204, 205,
                   301, 302, 303, 304, 305, 306, 401, 402, 403, 404, 405, 406, 501,
                   502, 503, 504, 505, 506, 601, 602, 603, 604, 0,   999};
        static const QStringList commandIds = {ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::GetCommands,
                                               ls::CommandHandlerCmdId::GetCommandCategories,
                                               QStringLiteral("handlecommand")};
        static const QStringList plausibleWords
                = {QStringLiteral("1"),           QStringLiteral("2"),
                   QStringLiteral("0"),           QStringLiteral("-1"),
                   QStringLiteral("10"),          QStringLiteral("48"),
                   QStringLiteral("500"),         QStringLiteral("true"),
                   QStringLiteral("false"),       QStringLiteral("Letter"),
                   QStringLiteral("tractor"),     QStringLiteral("grid"),
                   QStringLiteral("alphabet"),    QStringLiteral("paper-jam"),
                   QStringLiteral("none"),        QStringLiteral("en-us-g2.ctb"),
                   QStringLiteral("IpcCommandId")};
        QList<Value> keysAndValues{str(ls::commandIdKey), variant(str(pick(commandIds))),
                                   str(ls::senderIdKey),
                                   variant(str(ls::ServiceId::CommandHandler))};
        int room = 100;
        keysAndValues << str(ls::subCommandIdKey)
                      << variant(chance(85) ? int32(pick(numbers))
                                            : valueOf(randomType(4, 0, 0, &room), 3));
        QList<Value> args;
        for (int n = below(4); n > 0; --n) {
            const int kind = below(10);
            args.append(variant(kind < 6   ? str(pick(plausibleWords))
                                : kind < 8 ? text('s', randomText())
                                           : int32(below(600) - 50)));
        }
        keysAndValues << str(ls::argsKey)
                      << variant(chance(90) ? array("v", args)
                                            : valueOf(randomType(6, 0, 0, &room), 3));
        if (chance(20))
            keysAndValues << str(ls::categoryKey) << variant(str(QStringLiteral("IpcCommandId")));
        return keysAndValues;
    }

    // A complete type whose values nest at most levelsLeft levels below themselves.
    QByteArray randomType(int levelsLeft, int arrays, int structs, int *room)
    {
        static const char basics[] = "ybnqiuxtdsogh";
        if (levelsLeft <= 0 || m_budget <= 0 || *room < 12 || chance(45)) {
            --*room;
            return QByteArray(1, basics[below(13)]);
        }
        switch (below(4)) {
        case 0:
            if (arrays < 32) {
                --*room;
                return 'a' + randomType(levelsLeft - 1, arrays + 1, structs, room);
            }
            break;
        case 1:
            if (arrays < 32 && structs < 32 && levelsLeft >= 2) {
                *room -= 4;
                return "a{" + QByteArray(1, basics[below(13)])
                       + randomType(levelsLeft - 2, arrays + 1, structs + 1, room) + '}';
            }
            break;
        case 2:
            if (structs < 32) {
                *room -= 2;
                QByteArray fields;
                for (int n = 1 + below(3); n > 0; --n)
                    fields += randomType(levelsLeft - 1, arrays, structs + 1, room);
                return '(' + fields + ')';
            }
            break;
        default:
            break;
        }
        --*room;
        return QByteArrayLiteral("v");
    }

    // A random value of the type, to sit at level.
    Value valueOf(const QByteArray &signature, int level)
    {
        --m_budget;
        const char type = signature.at(0);
        if (type == 'v') {
            int room = 200;
            const QByteArray content = randomType(m_maxLevel - level - 1, 0, 0, &room);
            return variant(valueOf(content, level + 1));
        }
        if (type == 'a') {
            const QByteArray element = signature.mid(1);
            const int count = m_budget <= 0 ? 0 : below(isFixedSize(element.at(0)) ? 9 : 4);
            QList<Value> children;
            for (int i = 0; i < count; ++i) {
                if (element.at(0) == '{') {
                    children << valueOf(element.mid(1, 1), level + 2)
                             << valueOf(element.mid(2, element.size() - 3), level + 2);
                } else {
                    children << valueOf(element, level + 1);
                }
            }
            return {signature, {}, 0, children};
        }
        if (type == '(') {
            QList<Value> fields;
            for (const QByteArray &field : fieldTypes(signature.mid(1, signature.size() - 2)))
                fields.append(valueOf(field, level + 1));
            return structure(fields);
        }
        return basicValue(type);
    }

    Value basicValue(char type)
    {
        switch (type) {
        case 's':
            return text(type, randomText());
        case 'o':
            return text(type, randomPath());
        case 'g': {
            QByteArray signature;
            int room = 60;
            for (int n = below(4); n > 0; --n)
                signature += randomType(8, 0, 0, &room);
            return text(type, signature);
        }
        case 'd': {
            static const QList<double> special = {0.0,
                                                  -0.0,
                                                  1.5,
                                                  std::numeric_limits<double>::quiet_NaN(),
                                                  std::numeric_limits<double>::infinity(),
                                                  -std::numeric_limits<double>::infinity(),
                                                  std::numeric_limits<double>::denorm_min(),
                                                  9007199254740993.0};
            const double d = chance(30) ? pick(special) : double(qint64(m_random())) / 1e6;
            Value value = basic(type, 0);
            std::memcpy(&value.bits, &d, sizeof d);
            return value;
        }
        default: {
            static const QList<quint64> edges
                    = {0,      1,      quint64(-1), 0x7f,       0x80,
                       0x7fff, 0x8000, 0x7fffffff,  0x80000000, 0x7fffffffffffffff};
            return basic(type, chance(30) ? pick(edges) : m_random());
        }
        }
    }

    // A value at level whose deepest part is at target, made of variants, lists, maps and
    // structs in turn.
    Value deepChain(int level, int target)
    {
        if (level >= target)
            return chance(50) ? text('s', randomText()) : basicValue("ybnqiuxtdog"[below(11)]);
        const int left = target - level;
        switch (below(4)) {
        case 1:
            if (left >= 2)
                return array("v", {variant(deepChain(level + 2, target))});
            break;
        case 2:
            if (left >= 3)
                return dictionary("s", "v",
                                  {text('s', randomText()), variant(deepChain(level + 3, target))});
            break;
        case 3:
            if (left >= 2)
                return structure({int32(below(9)), variant(deepChain(level + 2, target))});
            break;
        default:
            break;
        }
        return variant(deepChain(level + 1, target));
    }

    QByteArray randomText()
    {
        static const QStringList pieces
                = {QStringLiteral("a"),      QStringLiteral("Z"),      QStringLiteral("7"),
                   QStringLiteral(" "),      QStringLiteral("  "),     QStringLiteral("\""),
                   QStringLiteral("\\"),     QStringLiteral("\t"),     QStringLiteral("\n"),
                   QStringLiteral("\x01"),   QStringLiteral("{"),      QStringLiteral("$"),
                   QStringLiteral("é"),      QStringLiteral("ß"),      QStringLiteral("中"),
                   QStringLiteral("🙂"),   QStringLiteral("\u200f"), QStringLiteral("e\u0301"),
                   QStringLiteral("\ufffd"), QStringLiteral("\u2800"), QStringLiteral("commandId"),
                   QStringLiteral("args")};
        QString result;
        for (int n = below(chance(5) ? 200 : 10); n > 0; --n)
            result += pick(pieces);
        return result.toUtf8();
    }

    QByteArray randomPath()
    {
        static const char characters[] = "abcXYZ019_";
        QByteArray path;
        for (int n = below(4); n > 0; --n) {
            path += '/';
            for (int m = 1 + below(5); m > 0; --m)
                path += characters[below(10)];
        }
        return path.isEmpty() ? QByteArrayLiteral("/") : path;
    }

    std::mt19937_64 m_random;
    // Values the request may still hold.
    int m_budget = 0;
    int m_maxLevel = 0;
};

// The markers of the texts that a document holds, in order.
QStringList markers(const QString &text)
{
    static const QRegularExpression marker(QStringLiteral("\\[[^\\]]*\\]"));
    QStringList found;
    for (auto it = marker.globalMatch(text); it.hasNext();)
        found.append(it.next().captured());
    return found;
}

} // namespace

Q_DECLARE_METATYPE(Value)

class TestSimulatorStress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void descriptorsNotKept_data();
    void descriptorsNotKept();
    void refusedRequestsLogNothing_data();
    void refusedRequestsLogNothing();
    void randomTrees();
    void concurrentClients();
    void killedMidChange();

private:
    TestBus m_bus;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Simulator> m_simulator;
};

void TestSimulatorStress::initTestCase()
{
    QVERIFY2(QFile::exists(simulatorPath), qPrintable(simulatorPath));
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
}

void TestSimulatorStress::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_simulator = std::make_unique<Simulator>(m_bus, m_dir->path());
}

void TestSimulatorStress::cleanup()
{
    m_simulator.reset();
    m_dir.reset();
}

void TestSimulatorStress::descriptorsNotKept_data()
{
    QTest::addColumn<bool>("recorded");
    QTest::newRow("device") << false;
    QTest::newRow("device with the record") << true;
}

void TestSimulatorStress::descriptorsNotKept()
{
    QFETCH(bool, recorded);
    const int requests = 10000;
    const QString record = m_dir->filePath(QStringLiteral("record.jsonl"));
    QStringList arguments{QStringLiteral("--step")};
    if (recorded)
        arguments << QStringLiteral("--record") << record;
    QVERIFY(m_simulator->start(arguments));
    RawClient client(m_bus.address());
    QVERIFY(client.connect());
    QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
    const int before = m_simulator->descriptorCount();

    QElapsedTimer timer;
    timer.start();
    const Value request = handleCommand(ls::IpcCommandId::Ping, {descriptor()});
    int refused = 0;
    QString other;
    for (int i = 0; i < requests; ++i) {
        const Outcome outcome = client.process(request);
        if (outcome.kind == Outcome::Kind::Error && outcome.errorName == invalidArgs)
            ++refused;
        else if (other.isEmpty())
            other = outcome.describe();
    }
    qInfo("%d requests with a descriptor in %lld ms", requests, timer.elapsed());
    QVERIFY2(other.isEmpty(), qPrintable(other));
    QCOMPARE(refused, requests);

    QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
    QVERIFY2(m_simulator->descriptorCount() <= before,
             qPrintable(QStringLiteral("%1 descriptors open, %2 before")
                                .arg(m_simulator->descriptorCount())
                                .arg(before)));
    if (recorded) {
        QFile file(record);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QList<QByteArray> lines = file.readAll().split('\n');
        QCOMPARE(lines.size(), requests + 3);
        QCOMPARE(lines.at(1), QByteArray(R"({"args": {"av": [{"h": null}]}, )"
                                         R"("commandId": {"s": "HandleCommand"}, )"
                                         R"("senderId": {"s": "CommandHandler"}, )"
                                         R"("subCommandId": {"i": 601}})"));
    }
    QVERIFY(m_simulator->stop());
    QCOMPARE(m_simulator->standardError(), QByteArray());
}

struct Call
{
    QList<Value> arguments;
    QByteArray member = "Process";
    QByteArray interface;
    QByteArray path;
};
Q_DECLARE_METATYPE(Call)

void TestSimulatorStress::refusedRequestsLogNothing_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<Call>("call");
    // "reply", "dropped", "error" for any error or "error NAME" for that one.
    QTest::addColumn<QString>("expected");

    // An Echo of one word, with entries replaced or added.
    const auto request = [](const QList<QPair<QString, Value>> &changes) {
        QList<QPair<QString, Value>> entries{
                {ls::commandIdKey, str(ls::CommandHandlerCmdId::HandleCommand)},
                {ls::subCommandIdKey, int32(ls::IpcCommandId::Echo)},
                {ls::senderIdKey, str(ls::ServiceId::CommandHandler)},
                {ls::argsKey, array("v", {variant(str(QStringLiteral("hi")))})}};
        for (const auto &change : changes) {
            auto it = std::find_if(entries.begin(), entries.end(),
                                   [&change](const auto &e) { return e.first == change.first; });
            if (it == entries.end())
                entries.append(change);
            else
                it->second = change.second;
        }
        return Call{{requestMap(entries)}};
    };
    const auto withArgument = [&request](const Value &argument) {
        return request({{ls::argsKey, array("v", {variant(argument)})}});
    };
    const auto nested = [&request](int levels) {
        // A string at the given level, made of variants below the map's value.
        Value value = str(QStringLiteral("bottom"));
        for (int level = levels; level > 3; --level)
            value = variant(value);
        return request({{QStringLiteral("deep"), value}});
    };
    const QString reply = QStringLiteral("reply");
    const QString refusedArgs = QStringLiteral("error ") + invalidArgs;
    const QList<QPair<QString, QStringList>> modes{
            {QStringLiteral("device"),
             {QStringLiteral("--step"), QStringLiteral("--state-file"), QStringLiteral("@state")}},
            {QStringLiteral("script"), {QStringLiteral("--script"), QStringLiteral("@script")}}};
    for (const auto &mode : modes) {
        const QStringList arguments
                = mode.second + QStringList{QStringLiteral("--record"), QStringLiteral("@record")};
        const auto row = [&mode, &arguments](const char *name, const Call &call,
                                             const QString &expected) {
            QTest::addRow("%s, %s", name, qPrintable(mode.first)) << arguments << call << expected;
        };
        row("empty signature as an argument", withArgument(text('g', "")), reply);
        row("empty signature as a value", request({{QStringLiteral("g"), text('g', "")}}), reply);
        row("signature as an argument", withArgument(text('g', "a{sv}")), reply);
        row("descriptor as an argument", withArgument(descriptor()), refusedArgs);
        row("descriptor as a value", request({{QStringLiteral("h"), descriptor()}}), refusedArgs);
        row("descriptors as dictionary keys",
            request({{QStringLiteral("m"),
                      dictionary("h", "s", {descriptor(), str(QStringLiteral("x"))})}}),
            refusedArgs);
        row("object path as an argument", withArgument(text('o', "/a/b")), reply);
        row("object path as the command id",
            request({{ls::commandIdKey, text('o', "/HandleCommand")}}), reply);
        row("struct as an argument", withArgument(structure({int32(1), str(QStringLiteral("x"))})),
            reply);
        row("byte-keyed dictionary as an argument",
            withArgument(dictionary("y", "s", {basic('y', 65), str(QStringLiteral("x"))})), reply);
        row("command number as text",
            request({{ls::subCommandIdKey, str(QStringLiteral("601"))},
                     {ls::argsKey, array("v", {})}}),
            reply);
        row("arguments as a map", request({{ls::argsKey, requestMap({})}}), reply);
        row("nested to level 64", nested(64), reply);
        row("nested to level 65, which the bus refuses", nested(65), QStringLiteral("dropped"));
        row("one string instead of a{sv}", Call{{str(QStringLiteral("x"))}}, refusedArgs);
        row("two maps", Call{{requestMap({}), requestMap({})}}, refusedArgs);
        row("no arguments", Call{}, refusedArgs);
        row("unknown method", Call{{requestMap({})}, "Execute"},
            QStringLiteral("error org.freedesktop.DBus.Error.UnknownMethod"));
        row("another interface", Call{{requestMap({})}, "Process", "org.example.Other"},
            QStringLiteral("error"));
        row("another object path", Call{{requestMap({})}, "Process", {}, "/se/tarnvik/Other"},
            QStringLiteral("error"));
    }
}

void TestSimulatorStress::refusedRequestsLogNothing()
{
    QFETCH(QStringList, arguments);
    QFETCH(Call, call);
    QFETCH(QString, expected);

    QFile script(m_dir->filePath(QStringLiteral("script.json")));
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write(R"({"byCommand": {"HandleCommand": {"resultId": "Success", "errorId": "NoError",
                     "details": {"reply": "pong"}}}})");
    script.close();
    arguments.replaceInStrings(QStringLiteral("@script"), script.fileName());
    arguments.replaceInStrings(QStringLiteral("@state"),
                               m_dir->filePath(QStringLiteral("state.json")));
    arguments.replaceInStrings(QStringLiteral("@record"),
                               m_dir->filePath(QStringLiteral("record.jsonl")));
    QVERIFY(m_simulator->start(arguments));

    RawClient client(m_bus.address());
    QVERIFY(client.connect());
    const Outcome outcome
            = client.call(call.arguments, call.member.constData(),
                          call.interface.isEmpty() ? nullptr : call.interface.constData(),
                          call.path.isEmpty() ? nullptr : call.path.constData());
    QString actual;
    switch (outcome.kind) {
    case Outcome::Kind::Reply:
        QVERIFY2(outcome.wellFormed, qPrintable(outcome.describe()));
        actual = QStringLiteral("reply");
        break;
    case Outcome::Kind::Error:
        actual = expected == QLatin1String("error") ? QStringLiteral("error")
                                                    : QStringLiteral("error ") + outcome.errorName;
        break;
    case Outcome::Kind::Lost:
        actual = QStringLiteral("dropped");
        QVERIFY(client.connect());
        break;
    }
    QVERIFY2(actual == expected, qPrintable(outcome.describe()));

    QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
    QVERIFY(m_simulator->stop());
    QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
    QCOMPARE(QString::fromUtf8(m_simulator->standardOutput()), QString());
}

void TestSimulatorStress::randomTrees()
{
    // SIM_RANDOM_REQUESTS=100000 for the long run; SIM_RANDOM_SEED for another set of requests.
    const qint64 requests = fromEnvironment("SIM_RANDOM_REQUESTS", 40000);
    const quint64 seed = quint64(fromEnvironment("SIM_RANDOM_SEED", 20240613));
    qInfo("%lld random requests from seed %llu", requests, seed);

    QVERIFY(m_simulator->start({QStringLiteral("--step"), QStringLiteral("--state-file"),
                                m_dir->filePath(QStringLiteral("state.json")),
                                QStringLiteral("--record"),
                                m_dir->filePath(QStringLiteral("record.jsonl"))}));
    RawClient client(m_bus.address());
    QVERIFY(client.connect());
    QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
    const int before = m_simulator->descriptorCount();

    RandomRequests random(seed);
    QMap<QString, int> kinds;
    QStringList problems;
    QElapsedTimer timer;
    timer.start();
    for (qint64 i = 0; i < requests; ++i) {
        int deepest = 0;
        const Value request = random.next(&deepest);
        const Outcome outcome = client.process(request);
        QString kind;
        switch (outcome.kind) {
        case Outcome::Kind::Reply:
            kind = QStringLiteral("reply %1/%2").arg(outcome.resultId, outcome.errorId);
            if (!outcome.wellFormed)
                problems.append(QStringLiteral("request %1: %2").arg(i).arg(outcome.describe()));
            break;
        case Outcome::Kind::Error:
            kind = QStringLiteral("error %1: %2").arg(outcome.errorName, outcome.errorMessage);
            // The simulator answered nothing in time, or was gone.
            if (outcome.errorName.contains(QLatin1String("NoReply"))
                || outcome.errorName.contains(QLatin1String("ServiceUnknown"))
                || outcome.errorName.contains(QLatin1String("Timeout")))
                problems.append(QStringLiteral("request %1: %2").arg(i).arg(outcome.describe()));
            break;
        case Outcome::Kind::Lost:
            kind = QStringLiteral("dropped by the bus, nested deeper than %1").arg(busNestingLimit);
            if (deepest <= busNestingLimit) {
                problems.append(QStringLiteral("request %1 at level %2 dropped: %3")
                                        .arg(i)
                                        .arg(deepest)
                                        .arg(outcome.describe()));
            }
            if (!client.connect())
                problems.append(QStringLiteral("no new connection after request %1").arg(i));
            break;
        }
        if (deepest > busNestingLimit && outcome.kind != Outcome::Kind::Lost)
            kind += QStringLiteral(", nested deeper than %1 yet let through").arg(busNestingLimit);
        ++kinds[kind];
        if (problems.size() > 20)
            break;
    }
    qInfo("%lld requests in %.1f s", requests, timer.elapsed() / 1000.0);
    for (auto it = kinds.cbegin(); it != kinds.cend(); ++it)
        qInfo("%7d  %s", it.value(), qPrintable(it.key()));
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));

    QVERIFY(m_simulator->isRunning());
    QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
    QVERIFY2(m_simulator->descriptorCount() <= before,
             qPrintable(QStringLiteral("%1 descriptors open, %2 before")
                                .arg(m_simulator->descriptorCount())
                                .arg(before)));
    QVERIFY(m_simulator->stop());
    QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
}

void TestSimulatorStress::concurrentClients()
{
    // SIM_CONCURRENT_SECONDS=60 for the long run.
    const qint64 seconds = fromEnvironment("SIM_CONCURRENT_SECONDS", 15);
    const int clients = 16;
    // A client closes its document after this many texts and starts another.
    const int textsPerDocument = 50;
    const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                m_dir->filePath(QStringLiteral("state.json"))};
    QVERIFY(m_simulator->start(arguments));

    struct Document
    {
        int id = 0;
        QStringList acknowledged;
        QString text;
    };
    struct Client
    {
        QList<Document> documents;
        QString failure;
        int requests = 0;
    };
    std::vector<Client> results(clients);
    std::atomic<int> ready{0};
    QDeadlineTimer deadline;
    std::mutex start;
    start.lock();

    const auto run = [&](int index) {
        Client &result = results[index];
        RawClient client(m_bus.address());
        if (!client.connect()) {
            result.failure = QStringLiteral("no connection");
            ++ready;
            return;
        }
        ++ready;
        {
            std::lock_guard<std::mutex> go(start);
        }
        const auto fail = [&result](const QString &what, const Outcome &outcome) {
            result.failure = what + QStringLiteral(": ") + outcome.describe();
        };
        // The document as the device holds it now.
        const auto fetch = [&](Document &document) {
            const Outcome info = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                                {QString::number(document.id)});
            ++result.requests;
            if (!info.succeeded())
                fail(QStringLiteral("GetDocumentInfo"), info);
            document.text = info.detail(QStringLiteral("text")).toString();
            return info.succeeded();
        };
        // Every client ends with a document, even one that the deadline left empty.
        while (result.failure.isEmpty()) {
            const Outcome opened = client.command(ls::DocumentCommandId::OpenDocument,
                                                  {QStringLiteral("client %1 document %2")
                                                           .arg(index)
                                                           .arg(result.documents.size())});
            ++result.requests;
            if (!opened.succeeded()) {
                fail(QStringLiteral("OpenDocument"), opened);
                break;
            }
            Document document;
            document.id = opened.detail(QStringLiteral("documentId")).toInt();
            while (document.acknowledged.size() < textsPerDocument && !deadline.hasExpired()) {
                const QString marker = QStringLiteral("[c%1:d%2:%3]")
                                               .arg(index)
                                               .arg(document.id)
                                               .arg(document.acknowledged.size());
                const Outcome added = client.command(ls::DocumentCommandId::AddText,
                                                     {QString::number(document.id), marker});
                ++result.requests;
                if (!added.succeeded()) {
                    fail(QStringLiteral("AddText"), added);
                    break;
                }
                document.acknowledged.append(marker);
            }
            if (result.failure.isEmpty() && !deadline.hasExpired()) {
                const Outcome closed = client.command(ls::DocumentCommandId::CloseDocument,
                                                      {QString::number(document.id)});
                ++result.requests;
                if (!closed.succeeded())
                    fail(QStringLiteral("CloseDocument"), closed);
            }
            if (!result.failure.isEmpty() || !fetch(document))
                break;
            result.documents.append(document);
            if (deadline.hasExpired())
                break;
            // A finished document goes, so that the device never holds too many.
            const Outcome deleted = client.command(ls::DocumentCommandId::DeleteDocument,
                                                   {QString::number(document.id)});
            ++result.requests;
            if (!deleted.succeeded())
                fail(QStringLiteral("DeleteDocument"), deleted);
        }
    };

    std::vector<std::thread> threads;
    for (int i = 0; i < clients; ++i)
        threads.emplace_back(run, i);
    while (ready < clients)
        QThread::msleep(5);
    QElapsedTimer timer;
    timer.start();
    deadline.setRemainingTime(seconds * 1000);
    start.unlock();
    for (std::thread &thread : threads)
        thread.join();
    const double elapsed = timer.elapsed() / 1000.0;

    int requests = 0;
    int texts = 0;
    int documents = 0;
    QStringList kept;
    for (int i = 0; i < clients; ++i) {
        const Client &result = results.at(i);
        QVERIFY2(result.failure.isEmpty(),
                 qPrintable(QStringLiteral("client %1: %2").arg(i).arg(result.failure)));
        QVERIFY(!result.documents.isEmpty());
        requests += result.requests;
        documents += int(result.documents.size());
        for (const Document &document : result.documents) {
            texts += document.acknowledged.size();
            // Every acknowledged text once, in order, and nothing else.
            QCOMPARE(markers(document.text), document.acknowledged);
            QCOMPARE(document.text, document.acknowledged.join(QString()));
        }
        kept.append(QString::number(result.documents.constLast().id));
    }
    qInfo("%d clients, %.1f s: %d requests (%.0f a second), %d texts added to %d documents",
          clients, elapsed, requests, requests / elapsed, texts, documents);

    // The last document of each client is all the device holds, after a restart too.
    std::sort(kept.begin(), kept.end(),
              [](const QString &a, const QString &b) { return a.toInt() < b.toInt(); });
    QVERIFY(m_simulator->stop());
    QVERIFY(m_simulator->start(arguments));
    RawClient client(m_bus.address());
    QVERIFY(client.connect());
    const Outcome list = client.command(ls::DocumentCommandId::ListDocuments);
    QVERIFY2(list.succeeded(), qPrintable(list.describe()));
    QCOMPARE(list.detail(QStringLiteral("documentIds")).toString(), kept.join(QLatin1Char(',')));
    for (const Client &result : qAsConst(results)) {
        const Document &last = result.documents.constLast();
        const Outcome info = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                            {QString::number(last.id)});
        QCOMPARE(info.detail(QStringLiteral("text")).toString(), last.text);
    }
    QVERIFY(m_simulator->stop());
    QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
}

void TestSimulatorStress::killedMidChange()
{
    // SIM_KILL_ROUNDS for more rounds; each round kills the simulator once.
    const qint64 rounds = fromEnvironment("SIM_KILL_ROUNDS", 25);
    const QString statePath = m_dir->filePath(QStringLiteral("state.json"));
    const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                statePath};
    std::mt19937 random(7);

    // What the device must hold: the last rounds' documents by id and the cells per line.
    QList<QPair<int, QString>> documents;
    int cellsPerLine = 40;
    int inFlightFound = 0;
    for (int round = 0; round < rounds; ++round) {
        QVERIFY(m_simulator->start(arguments));

        struct Progress
        {
            QStringList acknowledged;
            int cellsPerLine = 0;
            // The change whose answer never came: a marker, or cells per line.
            QString inFlight;
            int inFlightCells = 0;
            QString end;
        } progress;
        progress.cellsPerLine = cellsPerLine;
        const int documentId = round + 1;
        std::atomic<bool> changing{false};
        std::thread changes([&] {
            RawClient client(m_bus.address());
            if (!client.connect()) {
                progress.end = QStringLiteral("no connection");
                changing = true;
                return;
            }
            const Outcome opened = client.command(ls::DocumentCommandId::OpenDocument,
                                                  {QStringLiteral("round %1").arg(round)});
            if (opened.detail(QStringLiteral("documentId")).toInt() != documentId) {
                progress.end = QStringLiteral("OpenDocument: ") + opened.describe();
                changing = true;
                return;
            }
            for (int k = 0;; ++k) {
                Outcome outcome;
                if (k % 4 == 3) {
                    const int cells = 10 + (k / 4) % 39;
                    progress.inFlightCells = cells;
                    progress.inFlight.clear();
                    outcome = client.command(ls::ConfigurationCommandId::SetCellsPerLine,
                                             {QString::number(cells)});
                    if (outcome.succeeded())
                        progress.cellsPerLine = cells;
                } else {
                    const QString marker = QStringLiteral("[r%1:%2]").arg(round).arg(k);
                    progress.inFlight = marker;
                    progress.inFlightCells = 0;
                    outcome = client.command(ls::DocumentCommandId::AddText,
                                             {QString::number(documentId), marker});
                    if (outcome.succeeded())
                        progress.acknowledged.append(marker);
                }
                if (!outcome.succeeded()) {
                    progress.end = outcome.describe();
                    changing = true;
                    return;
                }
                changing = true;
            }
        });
        // The kill lands at any point of the run of changes, once it has begun.
        while (!changing)
            QThread::msleep(1);
        QThread::msleep(20 + random() % 400);
        const bool killed = m_simulator->killHard();
        changes.join();
        QVERIFY(killed);
        QVERIFY2(!progress.acknowledged.isEmpty(), qPrintable(progress.end));

        // Whole, never set aside.
        QFile file(statePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QJsonParseError parseError;
        QVERIFY(QJsonDocument::fromJson(file.readAll(), &parseError).isObject());
        QCOMPARE(parseError.error, QJsonParseError::NoError);
        QVERIFY(QDir(m_dir->path()).entryList({QStringLiteral("*damaged*")}).isEmpty());

        QVERIFY(m_simulator->start(arguments));
        RawClient client(m_bus.address());
        QVERIFY(client.connect());
        const QString acknowledged = progress.acknowledged.join(QString());
        const QString text = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                            {QString::number(documentId)})
                                     .detail(QStringLiteral("text"))
                                     .toString();
        const int cells = client.command(ls::ConfigurationCommandId::GetConfiguration)
                                  .detail(QStringLiteral("cellsPerLine"))
                                  .toInt();
        const bool textInFlight = !progress.inFlight.isEmpty();
        const bool foundInFlight = (textInFlight && text == acknowledged + progress.inFlight)
                                   || (!textInFlight && cells == progress.inFlightCells
                                       && cells != progress.cellsPerLine);
        inFlightFound += foundInFlight ? 1 : 0;
        QVERIFY2(text == acknowledged || (textInFlight && text == acknowledged + progress.inFlight),
                 qPrintable(QStringLiteral("round %1: %2 found, %3 acknowledged, %4 in flight")
                                    .arg(round)
                                    .arg(text, acknowledged, progress.inFlight)));
        QVERIFY2(cells == progress.cellsPerLine
                         || (!textInFlight && cells == progress.inFlightCells),
                 qPrintable(QStringLiteral("round %1: %2 cells per line, %3 acknowledged")
                                    .arg(round)
                                    .arg(cells)
                                    .arg(progress.cellsPerLine)));
        // The earlier rounds' documents are untouched.
        for (const auto &document : qAsConst(documents)) {
            QCOMPARE(client.command(ls::DocumentCommandId::GetDocumentInfo,
                                    {QString::number(document.first)})
                             .detail(QStringLiteral("text"))
                             .toString(),
                     document.second);
        }
        documents.append({documentId, text});
        // Below the device's limit of documents, however many rounds.
        if (documents.size() > 10) {
            QVERIFY(client.command(ls::DocumentCommandId::DeleteDocument,
                                   {QString::number(documents.takeFirst().first)})
                            .succeeded());
        }
        cellsPerLine = cells;
        QVERIFY(m_simulator->stop());
        QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
    }
    const QStringList leftBeside
            = QDir(m_dir->path()).entryList({QStringLiteral("state.json?*")}, QDir::Files);
    qInfo("%lld rounds; the change in flight was found after %d of them; left beside the "
          "state: %s",
          rounds, inFlightFound, qPrintable(leftBeside.join(QStringLiteral(", "))));
}

QTEST_GUILESS_MAIN(TestSimulatorStress)

#include "tst_simulatorstress.moc"
