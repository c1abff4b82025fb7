// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef RAWBUS_H
#define RAWBUS_H

#include "testbus.h"

#include <ls/commandids.h>
#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// The stress tests' own client of command-handler-sim: requests built and sent with sd-bus as
// they are, so that they can hold what the library never sends (descriptors, paths, signatures,
// structs, any depth), and the simulator with its output kept in files.
namespace RawBus {

inline const QString simulatorPath = QStringLiteral(SIMULATOR_PATH);
constexpr int timeoutMs = 10000;
constexpr uint64_t callTimeoutUsec = 10 * 1000 * 1000;
inline const QString invalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");

// One D-Bus value of any type.
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

// A whole number from the environment, or the fallback when it is unset or not a positive number.
qint64 fromEnvironment(const char *name, qint64 fallback);

// The values of each D-Bus type.
Value basic(char type, quint64 bits);
Value text(char type, const QByteArray &utf8);
Value str(const QString &s);
Value int32(int i);
Value descriptor();
Value variant(const Value &content);
Value array(const QByteArray &element, const QList<Value> &elements);
Value dictionary(const QByteArray &key, const QByteArray &value, const QList<Value> &keysAndValues);
Value structure(const QList<Value> &fields);

// The request map: keys with their variants' contents.
Value requestMap(const QList<QPair<QString, Value>> &entries);

// HandleCommand of the command number with the arguments; words() with its arguments as text.
Value handleCommand(int number, const QList<Value> &arguments);
Value words(int number, const QStringList &arguments);

// The deepest level a value reaches, counted as the bus counts it (docs/wire-contract.md,
// "Nesting"), the value itself at level.
int deepestLevel(const Value &value, int level);

// The complete types of a struct's fields, from the signature between its parentheses.
QList<QByteArray> fieldTypes(const QByteArray &inner);
// Whether values of the basic type have a fixed size: arrays of them nest no further.
bool isFixedSize(char type);
// How many descriptors the value holds.
int descriptorsIn(const Value &value);

// Appends the value; every descriptor is a copy of fd. A negative errno when sd-bus refuses.
int append(sd_bus_message *message, const Value &value, int fd);

// Reads a reply into the outcome.
void readReply(sd_bus_message *reply, Outcome *outcome);
// A successful answer of Ping.
bool isPong(const Outcome &outcome);

// The markers of the texts that a document holds, in order.
QStringList markers(const QString &text);

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

// The deepest level the bus lets through; a request that goes deeper gets its sender dropped.
constexpr int busNestingLimit = 64;

} // namespace RawBus

Q_DECLARE_METATYPE(RawBus::Value)

// The fixture of the stress tests: one private bus for the test case, a fresh folder and a
// simulator, not yet started, for every test function and row.
class StressTestCase : public QObject
{
    Q_OBJECT

public:
    StressTestCase();
    ~StressTestCase() override;

protected:
    TestBus m_bus;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<RawBus::Simulator> m_simulator;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
};

#endif // RAWBUS_H
