#include "testbus.h"

#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>

namespace {

const QString simulatorPath = QStringLiteral(SIMULATOR_PATH);
const int timeoutMs = 10000;

QString serviceName()
{
    return ls::busName(ls::ServiceId::CommandHandler);
}

QVariantMap request(const QString &commandId, const QVariantMap &more = {})
{
    QVariantMap map = more;
    map.insert(ls::commandIdKey, commandId);
    map.insert(ls::senderIdKey, ls::ServiceId::CommandHandler);
    return map;
}

QVariantMap process(const QVariantMap &map)
{
    return ls::DBusService(ls::ServiceId::CommandHandler).process(map);
}

QDBusMessage processCall(const QVariantList &arguments, const QString &method = ls::processMethod)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
            serviceName(), ls::objectPath(ls::ServiceId::CommandHandler), ls::serviceInterface,
            method);
    call.setArguments(arguments);
    return QDBusConnection::systemBus().call(call, QDBus::Block, timeoutMs);
}

QVariantMap failure(const QString &errorId, const QString &errorMessage)
{
    return {{ls::resultIdKey, ls::ResultId::Failure},
            {ls::errorIdKey, errorId},
            {ls::errorMessageKey, errorMessage}};
}

QVariantMap exhausted()
{
    return failure(QStringLiteral("ScriptExhausted"),
                   QStringLiteral("The script has no response left for this request"));
}

// A value with the Qt type of every part, so that a test sees int from uint and a list of
// strings from a list of variants: "uint(7)", "QVariantList[int(1), QString(a)]".
QString typeDump(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantList) {
        QStringList parts;
        for (const QVariant &element : value.toList())
            parts.append(typeDump(element));
        return QStringLiteral("QVariantList[%1]").arg(parts.join(QStringLiteral(", ")));
    }
    if (value.userType() == QMetaType::QVariantMap) {
        QStringList parts;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            parts.append(it.key() + QLatin1Char('=') + typeDump(it.value()));
        return QStringLiteral("QVariantMap{%1}").arg(parts.join(QStringLiteral(", ")));
    }
    const QString text = value.userType() == QMetaType::UChar ? QString::number(value.toUInt())
                                                              : value.toString();
    return QStringLiteral("%1(%2)").arg(QString::fromLatin1(value.typeName()), text);
}

bool waitForNameReleased(const QString &name)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        if (!QDBusConnection::systemBus().interface()->isServiceRegistered(name))
            return true;
        QThread::msleep(10);
    }
    return false;
}

} // namespace

class TestSimulator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void orderedResponses();
    void byCommand();
    void exhaustion_data();
    void exhaustion();
    void dataTypes_data();
    void dataTypes();
    void errorDirectives_data();
    void errorDirectives();
    void replyDirective_data();
    void replyDirective();
    void exitDirective();
    void badScripts_data();
    void badScripts();
    void badOptions_data();
    void badOptions();
    void badRequests_data();
    void badRequests();
    void record_data();
    void record();
    void recordAppends();
    void nameAlreadyOwned();
    void terminationSignals_data();
    void terminationSignals();
    void busLoss();
    void help_data();
    void help();

private:
    // Starts the simulator on the test's bus and waits until it owns its name.
    bool startSimulator(const QStringList &arguments);
    // Ends the simulator with SIGTERM and waits until its name is free again.
    bool stopSimulator();
    QString writeFile(const QString &name, const QByteArray &content);
    QByteArray readFile(const QString &name) const;

    TestBus m_bus;
    QProcess m_simulator;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestSimulator::initTestCase()
{
    QVERIFY2(QFile::exists(simulatorPath), qPrintable(simulatorPath));
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
}

void TestSimulator::cleanupTestCase()
{
    m_bus.stop();
}

void TestSimulator::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestSimulator::cleanup()
{
    QVERIFY(stopSimulator());
    m_dir.reset();
}

bool TestSimulator::startSimulator(const QStringList &arguments)
{
    m_simulator.setProcessEnvironment(m_bus.environment());
    m_simulator.setProcessChannelMode(QProcess::ForwardedChannels);
    m_simulator.start(simulatorPath, arguments);
    if (!m_simulator.waitForStarted(timeoutMs))
        return false;
    return m_bus.waitForService(serviceName(), timeoutMs);
}

bool TestSimulator::stopSimulator()
{
    if (m_simulator.state() != QProcess::NotRunning) {
        m_simulator.terminate();
        if (!m_simulator.waitForFinished(timeoutMs)) {
            m_simulator.kill();
            m_simulator.waitForFinished(timeoutMs);
            return false;
        }
    }
    return waitForNameReleased(serviceName());
}

QString TestSimulator::writeFile(const QString &name, const QByteArray &content)
{
    const QString path = m_dir->filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QByteArray TestSimulator::readFile(const QString &name) const
{
    QFile file(m_dir->filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

void TestSimulator::orderedResponses()
{
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"),
                                      R"({"responses": [{"n": 1}, {"n": 2}, {"n": 3}]})")}));
    const QString command = ls::CommandHandlerCmdId::GetCommandCategories;
    QCOMPARE(process(request(command)), (QVariantMap{{QStringLiteral("n"), 1}}));
    QCOMPARE(process(request(command)), (QVariantMap{{QStringLiteral("n"), 2}}));
    QCOMPARE(process(request(command)), (QVariantMap{{QStringLiteral("n"), 3}}));
    QCOMPARE(process(request(command)), exhausted());
}

void TestSimulator::byCommand()
{
    QVERIFY(startSimulator(
            {QStringLiteral("--script"), writeFile(QStringLiteral("script.json"),
                                                   R"({"responses": [{"n": 1}, {"n": 2}],
                           "byCommand": {"GetCommands": {"c": "list"}}})")}));
    const QVariantMap list{{QStringLiteral("c"), QStringLiteral("list")}};
    QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), list);
    QCOMPARE(process(request(ls::CommandHandlerCmdId::HandleCommand)),
             (QVariantMap{{QStringLiteral("n"), 1}}));
    // The command's entry answers every time and takes nothing from the ordered responses.
    QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), list);
    QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), list);
    // Without a command id a request still takes the next ordered response.
    QCOMPARE(process({{ls::senderIdKey, ls::ServiceId::CommandHandler}}),
             (QVariantMap{{QStringLiteral("n"), 2}}));
    QCOMPARE(process(request(ls::CommandHandlerCmdId::HandleCommand)), exhausted());
    QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), list);
}

void TestSimulator::exhaustion_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("commandId");

    QTest::newRow("empty script") << QByteArray("{}") << ls::CommandHandlerCmdId::HandleCommand;
    QTest::newRow("empty responses")
            << QByteArray(R"({"responses": []})") << ls::CommandHandlerCmdId::HandleCommand;
    QTest::newRow("entry for another command only")
            << QByteArray(R"({"byCommand": {"GetCommands": {"n": 1}}})")
            << ls::CommandHandlerCmdId::GetCommandCategories;
    QTest::newRow("command id in another letter case")
            << QByteArray(R"({"byCommand": {"GetCommands": {"n": 1}}})")
            << QStringLiteral("getcommands");
}

void TestSimulator::exhaustion()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, commandId);
    QVERIFY(startSimulator(
            {QStringLiteral("--script"), writeFile(QStringLiteral("script.json"), script)}));
    QCOMPARE(process(request(commandId)), exhausted());
    // It stays exhausted, and up.
    QCOMPARE(process(request(commandId)), exhausted());
}

void TestSimulator::dataTypes_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("expected");

    QTest::newRow("whole number is int") << QByteArray("7") << QStringLiteral("int(7)");
    QTest::newRow("negative whole number is int")
            << QByteArray("-2147483648") << QStringLiteral("int(-2147483648)");
    QTest::newRow("whole number past 32 bits is x")
            << QByteArray("2147483648") << QStringLiteral("qlonglong(2147483648)");
    QTest::newRow("fraction is double") << QByteArray("1.5") << QStringLiteral("double(1.5)");
    QTest::newRow("1.0 is a whole number") << QByteArray("1.0") << QStringLiteral("int(1)");
    QTest::newRow("true") << QByteArray("true") << QStringLiteral("bool(true)");
    QTest::newRow("false") << QByteArray("false") << QStringLiteral("bool(false)");
    QTest::newRow("string") << QByteArray(R"("Ä \"x\"")") << QStringLiteral("QString(Ä \"x\")");
    QTest::newRow("empty string") << QByteArray(R"("")") << QStringLiteral("QString()");
    QTest::newRow("array is av")
            << QByteArray(R"([1, "a", [true]])")
            << QStringLiteral("QVariantList[int(1), QString(a), QVariantList[bool(true)]]");
    QTest::newRow("empty array") << QByteArray("[]") << QStringLiteral("QVariantList[]");
    QTest::newRow("object is a{sv}")
            << QByteArray(R"({"b": {"c": 2}, "a": 1})")
            << QStringLiteral("QVariantMap{a=int(1), b=QVariantMap{c=int(2)}}");
    QTest::newRow("empty object") << QByteArray("{}") << QStringLiteral("QVariantMap{}");
    QTest::newRow("typed y") << QByteArray(R"({"$typed": "y", "value": 255})")
                             << QStringLiteral("uchar(255)");
    QTest::newRow("typed n") << QByteArray(R"({"$typed": "n", "value": -5})")
                             << QStringLiteral("short(-5)");
    QTest::newRow("typed q") << QByteArray(R"({"$typed": "q", "value": 65535})")
                             << QStringLiteral("ushort(65535)");
    QTest::newRow("typed i") << QByteArray(R"({"$typed": "i", "value": 3})")
                             << QStringLiteral("int(3)");
    QTest::newRow("typed u") << QByteArray(R"({"$typed": "u", "value": 7})")
                             << QStringLiteral("uint(7)");
    QTest::newRow("typed x") << QByteArray(R"({"$typed": "x", "value": -1})")
                             << QStringLiteral("qlonglong(-1)");
    QTest::newRow("typed t") << QByteArray(R"({"$typed": "t", "value": 4294967296})")
                             << QStringLiteral("qulonglong(4294967296)");
    QTest::newRow("typed d from whole number")
            << QByteArray(R"({"$typed": "d", "value": 2})") << QStringLiteral("double(2)");
    QTest::newRow("typed b") << QByteArray(R"({"$typed": "b", "value": false})")
                             << QStringLiteral("bool(false)");
    QTest::newRow("typed s") << QByteArray(R"({"$typed": "s", "value": "x"})")
                             << QStringLiteral("QString(x)");
    QTest::newRow("typed o") << QByteArray(R"({"$typed": "o", "value": "/a/b"})")
                             << QStringLiteral("QString(/a/b)");
    QTest::newRow("typed g") << QByteArray(R"({"$typed": "g", "value": "a{sv}"})")
                             << QStringLiteral("QString(a{sv})");
    QTest::newRow("typed v in a variant")
            << QByteArray(R"({"$typed": "v", "value": 1})") << QStringLiteral("int(1)");
    QTest::newRow("typed as") << QByteArray(R"({"$typed": "as", "value": ["a", ""]})")
                              << QStringLiteral("QVariantList[QString(a), QString()]");
    QTest::newRow("typed empty as")
            << QByteArray(R"({"$typed": "as", "value": []})") << QStringLiteral("QVariantList[]");
    QTest::newRow("typed ay") << QByteArray(R"({"$typed": "ay", "value": [0, 255]})")
                              << QStringLiteral("QVariantList[uchar(0), uchar(255)]");
    QTest::newRow("typed au") << QByteArray(R"({"$typed": "au", "value": [1, 2]})")
                              << QStringLiteral("QVariantList[uint(1), uint(2)]");
    QTest::newRow("typed ai") << QByteArray(R"({"$typed": "ai", "value": [-1]})")
                              << QStringLiteral("QVariantList[int(-1)]");
    QTest::newRow("typed ad") << QByteArray(R"({"$typed": "ad", "value": [0.5]})")
                              << QStringLiteral("QVariantList[double(0.5)]");
    QTest::newRow("typed ab") << QByteArray(R"({"$typed": "ab", "value": [true]})")
                              << QStringLiteral("QVariantList[bool(true)]");
    QTest::newRow("typed av") << QByteArray(R"({"$typed": "av", "value": [1]})")
                              << QStringLiteral("QVariantList[int(1)]");
    QTest::newRow("typed a{sv}") << QByteArray(R"({"$typed": "a{sv}", "value": {"k": "v"}})")
                                 << QStringLiteral("QVariantMap{k=QString(v)}");
    QTest::newRow("typed value inside an array and a map")
            << QByteArray(R"([{"k": {"$typed": "u", "value": 1}}])")
            << QStringLiteral("QVariantList[QVariantMap{k=uint(1)}]");
}

void TestSimulator::dataTypes()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"),
                                      R"({"responses": [{"value": )" + json + "}]}")}));
    const QVariantMap response = process(request(ls::CommandHandlerCmdId::HandleCommand));
    QCOMPARE(response.keys(), QStringList{QStringLiteral("value")});
    QCOMPARE(typeDump(response.value(QStringLiteral("value"))), expected);
}

void TestSimulator::errorDirectives_data()
{
    QTest::addColumn<QByteArray>("response");
    QTest::addColumn<QString>("errorId");
    QTest::addColumn<QString>("errorMessage");

    QTest::newRow("error") << QByteArray(
            R"({"$error": {"name": "se.tarnvik.Error.Jammed", "message": "Paper jam"}})")
                           << QStringLiteral("se.tarnvik.Error.Jammed")
                           << QStringLiteral("Paper jam");
    QTest::newRow("error without message")
            << QByteArray(R"({"$error": {"name": "org.freedesktop.DBus.Error.Failed"}})")
            << QStringLiteral("org.freedesktop.DBus.Error.Failed") << QString();
    QTest::newRow("no reply: the bus times the call out")
            << QByteArray(R"({"$noReply": true})")
            << QStringLiteral("org.freedesktop.DBus.Error.NoReply")
            << QStringLiteral("Message did not receive a reply (timeout by message bus)");
}

void TestSimulator::errorDirectives()
{
    QFETCH(QByteArray, response);
    QFETCH(QString, errorId);
    QFETCH(QString, errorMessage);
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"),
                                      R"({"responses": [)" + response + R"(, {"n": 2}]})")}));
    const QVariantMap answer = process(request(ls::CommandHandlerCmdId::HandleCommand));
    QCOMPARE(answer.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
    QCOMPARE(answer.value(ls::errorIdKey).toString(), errorId);
    QCOMPARE(answer.value(ls::errorMessageKey).toString(), errorMessage);
    // The next request gets the next response.
    QCOMPARE(process(request(ls::CommandHandlerCmdId::HandleCommand)),
             (QVariantMap{{QStringLiteral("n"), 2}}));
}

void TestSimulator::replyDirective_data()
{
    QTest::addColumn<QByteArray>("response");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("arguments");

    QTest::newRow("string") << QByteArray(R"({"$reply": "s", "value": "x"})") << QStringLiteral("s")
                            << QStringLiteral("QVariantList[QString(x)]");
    QTest::newRow("no arguments") << QByteArray(R"({"$reply": ""})") << QString()
                                  << QStringLiteral("QVariantList[]");
    QTest::newRow("uint") << QByteArray(R"({"$reply": "u", "value": 3})") << QStringLiteral("u")
                          << QStringLiteral("QVariantList[uint(3)]");
    QTest::newRow("array of variants")
            << QByteArray(R"({"$reply": "av", "value": [1]})") << QStringLiteral("av")
            << QStringLiteral("QVariantList[QVariantList[int(1)]]");
    QTest::newRow("a{sv} as plain data")
            << QByteArray(R"({"$reply": "a{sv}", "value": {"resultId": "Success"}})")
            << QStringLiteral("a{sv}")
            << QStringLiteral("QVariantList[QVariantMap{resultId=QString(Success)}]");
    QTest::newRow("variant") << QByteArray(R"({"$reply": "v", "value": "x"})")
                             << QStringLiteral("v") << QStringLiteral("QVariantList[QString(x)]");
}

void TestSimulator::replyDirective()
{
    QFETCH(QByteArray, response);
    QFETCH(QString, signature);
    QFETCH(QString, arguments);
    QVERIFY(startSimulator(
            {QStringLiteral("--script"),
             writeFile(QStringLiteral("script.json"), R"({"responses": [)" + response + "]}")}));
    const QDBusMessage reply = processCall({request(ls::CommandHandlerCmdId::HandleCommand)});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), signature);
    QCOMPARE(typeDump(ls::fromDBusValue(reply.arguments())), arguments);
}

void TestSimulator::exitDirective()
{
    const QString recordPath = m_dir->filePath(QStringLiteral("record.jsonl"));
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"),
                                      R"({"byCommand": {"Quit": {"$exit": true}}})"),
                            QStringLiteral("--record"), recordPath}));
    const QVariantMap answer = process(request(QStringLiteral("Quit")));
    QCOMPARE(answer.value(ls::errorIdKey).toString(),
             QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    QVERIFY(m_simulator.waitForFinished(timeoutMs));
    QCOMPARE(m_simulator.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_simulator.exitCode(), 0);
    QCOMPARE(readFile(QStringLiteral("record.jsonl")),
             QByteArray(R"({"commandId": {"s": "Quit"}, "senderId": {"s": "CommandHandler"}})"
                        "\n"));
}

void TestSimulator::badScripts_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QString>("message");

    QTest::newRow("not JSON") << QByteArray("{\"responses\": [")
                              << QStringLiteral("not JSON: unterminated array at offset 15");
    QTest::newRow("not an object")
            << QByteArray("[]") << QStringLiteral("the script must be a JSON object");
    QTest::newRow("unknown key")
            << QByteArray(R"({"response": []})")
            << QStringLiteral(
                       "unknown key \"response\"; a script holds \"responses\" and \"byCommand\"");
    QTest::newRow("responses not an array") << QByteArray(R"({"responses": {}})")
                                            << QStringLiteral("\"responses\" must be an array");
    QTest::newRow("byCommand not an object") << QByteArray(R"({"byCommand": []})")
                                             << QStringLiteral("\"byCommand\" must be an object");
    QTest::newRow("response not an object")
            << QByteArray(R"({"responses": [{}, 3]})")
            << QStringLiteral("responses[1]: a response must be a JSON object");
    QTest::newRow("null value")
            << QByteArray(R"({"responses": [{"a": [1, null]}]})")
            << QStringLiteral(
                       "responses[0].a[1]: null has no D-Bus form; give a value or use \"$typed\"");
    QTest::newRow("unknown directive")
            << QByteArray(R"({"byCommand": {"Ping": {"$eror": {}}}})")
            << QStringLiteral("byCommand.Ping: unknown directive; known are \"$error\", "
                              "\"$noReply\", \"$exit\", \"$reply\" and, inside data, \"$typed\"");
    QTest::newRow("typed value out of range")
            << QByteArray(R"({"responses": [{"n": {"$typed": "y", "value": 256}}]})")
            << QStringLiteral(
                       "responses[0].n.value: D-Bus type \"y\" needs a whole number from 0 to 255");
    QTest::newRow("typed u negative")
            << QByteArray(R"({"responses": [{"n": {"$typed": "u", "value": -1}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"u\" needs a whole number from 0 "
                              "to 4294967295");
    QTest::newRow("typed i fraction")
            << QByteArray(R"({"responses": [{"n": {"$typed": "i", "value": 1.5}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"i\" needs a whole number from "
                              "-2147483648 to 2147483647");
    QTest::newRow("typed unsupported type")
            << QByteArray(R"({"responses": [{"n": {"$typed": "a{ss}", "value": {}}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"a{ss}\" is not supported here");
    QTest::newRow("typed with a stray key")
            << QByteArray(R"({"responses": [{"n": {"$typed": "u", "value": 1, "x": 2}}]})")
            << QStringLiteral("responses[0].n: \"x\" does not go with \"$typed\"");
    QTest::newRow("typed as response")
            << QByteArray(R"({"responses": [{"$typed": "u", "value": 1}]})")
            << QStringLiteral("responses[0]: \"$typed\" gives a value inside data, not a response");
    QTest::newRow("directive inside data")
            << QByteArray(R"({"responses": [{"n": {"$noReply": true}}]})")
            << QStringLiteral("responses[0].n: only \"$typed\" may stand inside data");
    QTest::newRow("error name invalid")
            << QByteArray(R"({"responses": [{"$error": {"name": "Jammed"}}]})")
            << QStringLiteral("responses[0].$error.name: needs a D-Bus error name such as "
                              "\"org.freedesktop.DBus.Error.Failed\"");
    QTest::newRow("error message not a string")
            << QByteArray(R"({"responses": [{"$error": {"name": "a.b", "message": 1}}]})")
            << QStringLiteral("responses[0].$error.message: needs a string");
    QTest::newRow("noReply false") << QByteArray(R"({"responses": [{"$noReply": false}]})")
                                   << QStringLiteral("responses[0]: \"$noReply\" takes true");
    QTest::newRow("exit with data")
            << QByteArray(R"({"responses": [{"$exit": true, "resultId": "Success"}]})")
            << QStringLiteral("responses[0]: \"resultId\" does not go with \"$exit\"");
    QTest::newRow("reply value of the wrong type")
            << QByteArray(R"({"responses": [{"$reply": "s", "value": 1}]})")
            << QStringLiteral("responses[0].value: D-Bus type \"s\" needs a string");
    QTest::newRow("empty reply with a value")
            << QByteArray(R"({"responses": [{"$reply": "", "value": 1}]})")
            << QStringLiteral("responses[0]: a reply of signature \"\" takes no value");
}

void TestSimulator::badScripts()
{
    QFETCH(QByteArray, script);
    QFETCH(QString, message);
    const QString path = writeFile(QStringLiteral("script.json"), script);
    QProcess simulator;
    simulator.setProcessEnvironment(m_bus.environment());
    simulator.start(simulatorPath, {QStringLiteral("--script"), path});
    QVERIFY(simulator.waitForFinished(timeoutMs));
    QCOMPARE(simulator.exitCode(), 1);
    QCOMPARE(QString::fromUtf8(simulator.readAllStandardError()),
             QStringLiteral("command-handler-sim: %1: %2\n").arg(path, message));
    QCOMPARE(simulator.readAllStandardOutput(), QByteArray());
}

void TestSimulator::badOptions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");

    QTest::newRow("missing script")
            << QStringList{QStringLiteral("--script"), QStringLiteral("/nonexistent/s.json")}
            << QStringLiteral("command-handler-sim: /nonexistent/s.json: No such file or "
                              "directory\n");
    QTest::newRow("device option with a script")
            << QStringList{QStringLiteral("--script"), QStringLiteral("s.json"),
                           QStringLiteral("--step")}
            << QStringLiteral("command-handler-sim: --step is an option of the simulated device, "
                              "not of --script\n");
    QTest::newRow("positional argument")
            << QStringList{QStringLiteral("extra")}
            << QStringLiteral("command-handler-sim: unexpected argument \"extra\"; see --help\n");
    QTest::newRow("record cannot be opened")
            << QStringList{QStringLiteral("--record"), QStringLiteral("/nonexistent/r.jsonl")}
            << QStringLiteral("command-handler-sim: cannot open the record /nonexistent/r.jsonl: "
                              "No such file or directory\n");
    QTest::newRow("bus address without a bus")
            << QStringList{QStringLiteral("--bus-address"),
                           QStringLiteral("unix:path=/nonexistent/bus")}
            << QStringLiteral("command-handler-sim: cannot connect to the bus at "
                              "unix:path=/nonexistent/bus: Failed to connect to socket "
                              "/nonexistent/bus: No such file or directory\n");
    QTest::newRow("unknown option")
            << QStringList{QStringLiteral("--scrip")}
            << QStringLiteral("command-handler-sim: Unknown option 'scrip'.\n");
}

void TestSimulator::badOptions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QProcess simulator;
    simulator.setProcessEnvironment(m_bus.environment());
    simulator.start(simulatorPath, arguments);
    QVERIFY(simulator.waitForFinished(timeoutMs));
    QCOMPARE(simulator.exitCode(), 1);
    QCOMPARE(QString::fromUtf8(simulator.readAllStandardError()), message);
}

void TestSimulator::badRequests_data()
{
    QTest::addColumn<QString>("method");
    QTest::addColumn<QVariantList>("arguments");
    QTest::addColumn<QString>("errorName");
    QTest::addColumn<QString>("errorMessage");
    QTest::addColumn<QByteArray>("recorded");

    QTest::newRow("string instead of a{sv}")
            << ls::processMethod << QVariantList{QStringLiteral("x")}
            << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
            << QStringLiteral("Process takes one a{sv}, not \"s\"")
            << QByteArray(R"({"$arguments": [{"s": "x"}]})"
                          "\n");
    QTest::newRow("no arguments") << ls::processMethod << QVariantList()
                                  << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
                                  << QStringLiteral("Process takes one a{sv}, not \"\"")
                                  << QByteArray(R"({"$arguments": []})"
                                                "\n");
    QTest::newRow("two maps") << ls::processMethod
                              << QVariantList{QVariantMap(), QVariantMap{{QStringLiteral("a"), 1}}}
                              << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
                              << QStringLiteral("Process takes one a{sv}, not \"a{sv}a{sv}\"")
                              << QByteArray(R"({"$arguments": [{"a{sv}": {}}, )"
                                            R"({"a{sv}": {"a": {"i": 1}}}]})"
                                            "\n");
    QTest::newRow("array of variants")
            << ls::processMethod << QVariantList{QVariant(QVariantList{1})}
            << QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs")
            << QStringLiteral("Process takes one a{sv}, not \"av\"")
            << QByteArray(R"({"$arguments": [{"av": [{"i": 1}]}]})"
                          "\n");
    QTest::newRow("unknown method")
            << QStringLiteral("Execute") << QVariantList{QVariantMap()}
            << QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod")
            << QStringLiteral("No method \"Execute\" in se.tarnvik.Service1") << QByteArray();
}

void TestSimulator::badRequests()
{
    QFETCH(QString, method);
    QFETCH(QVariantList, arguments);
    QFETCH(QString, errorName);
    QFETCH(QString, errorMessage);
    QFETCH(QByteArray, recorded);
    QVERIFY(startSimulator(
            {QStringLiteral("--script"),
             writeFile(QStringLiteral("script.json"), R"({"byCommand": {"Ping": {"n": 1}}})"),
             QStringLiteral("--record"), m_dir->filePath(QStringLiteral("record.jsonl"))}));
    const QDBusMessage reply = processCall(arguments, method);
    QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
    QCOMPARE(reply.errorName(), errorName);
    QCOMPARE(reply.errorMessage(), errorMessage);
    QCOMPARE(readFile(QStringLiteral("record.jsonl")), recorded);
    // Still up and answering.
    QCOMPARE(process(request(QStringLiteral("Ping"))), (QVariantMap{{QStringLiteral("n"), 1}}));
}

void TestSimulator::record_data()
{
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QByteArray>("line");

    QTest::newRow("execution request of the tool")
            << QVariantMap{{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
                           {ls::subCommandIdKey, 601},
                           {ls::argsKey, QVariantList{QStringLiteral("a"), QString()}},
                           {ls::senderIdKey, ls::ServiceId::CommandHandler}}
            << QByteArray(R"({"args": {"av": [{"s": "a"}, {"s": ""}]}, )"
                          R"("commandId": {"s": "HandleCommand"}, )"
                          R"("senderId": {"s": "CommandHandler"}, "subCommandId": {"i": 601}})");
    QTest::newRow("catalogue request with an empty category")
            << QVariantMap{{ls::commandIdKey, ls::CommandHandlerCmdId::GetCommands},
                           {ls::subCommandIdKey, QStringLiteral("Undefined")},
                           {ls::categoryKey, QString()}}
            << QByteArray(R"({"category": {"s": ""}, "commandId": {"s": "GetCommands"}, )"
                          R"("subCommandId": {"s": "Undefined"}})");
    QTest::newRow("empty request") << QVariantMap() << QByteArray("{}");
    QTest::newRow("empty argument list")
            << QVariantMap{{ls::argsKey, QVariantList()}} << QByteArray(R"({"args": {"av": []}})");
    QTest::newRow("as against av")
            << QVariantMap{{QStringLiteral("as"), QStringList{QStringLiteral("a")}},
                           {QStringLiteral("av"), QVariantList{QStringLiteral("a")}}}
            << QByteArray(R"({"as": {"as": [{"s": "a"}]}, "av": {"av": [{"s": "a"}]}})");
    QTest::newRow("integer types")
            << QVariantMap{{QStringLiteral("i"), -1},
                           {QStringLiteral("u"), 1u},
                           {QStringLiteral("x"), qlonglong(-5000000000)},
                           {QStringLiteral("t"), qulonglong(5000000000)},
                           {QStringLiteral("n"), QVariant::fromValue(short(-2))},
                           {QStringLiteral("q"), QVariant::fromValue(ushort(2))},
                           {QStringLiteral("y"), QVariant::fromValue(uchar(255))}}
            << QByteArray(R"({"i": {"i": -1}, "n": {"n": -2}, "q": {"q": 2}, )"
                          R"("t": {"t": 5000000000}, "u": {"u": 1}, "x": {"x": -5000000000}, )"
                          R"("y": {"y": 255}})");
    QTest::newRow("doubles keep a fraction")
            << QVariantMap{{QStringLiteral("a"), 2.0},
                           {QStringLiteral("b"), 0.1},
                           {QStringLiteral("c"), -1.5e300}}
            << QByteArray(R"({"a": {"d": 2.0}, "b": {"d": 0.1}, "c": {"d": -1.5e+300}})");
    QTest::newRow("booleans") << QVariantMap{{QStringLiteral("t"), true},
                                             {QStringLiteral("f"), false}}
                              << QByteArray(R"({"f": {"b": false}, "t": {"b": true}})");
    QTest::newRow("nested map sorted")
            << QVariantMap{{QStringLiteral("m"),
                            QVariantMap{{QStringLiteral("z"), 1},
                                        {QStringLiteral("a"),
                                         QVariantMap{{QStringLiteral("k"), QString()}}}}}}
            << QByteArray(R"({"m": {"a{sv}": {"a": {"a{sv}": {"k": {"s": ""}}}, "z": {"i": 1}}}})");
    QTest::newRow("object path and bytes")
            << QVariantMap{{QStringLiteral("o"),
                            QVariant::fromValue(QDBusObjectPath(QStringLiteral("/se/tarnvik")))},
                           {QStringLiteral("y"), QByteArray("\x01\xff", 2)}}
            << QByteArray(R"({"o": {"o": "/se/tarnvik"}, "y": {"ay": [{"y": 1}, {"y": 255}]}})");
    QTest::newRow("variant inside a variant")
            << QVariantMap{{QStringLiteral("v"),
                            QVariant::fromValue(QDBusVariant(QStringLiteral("x")))}}
            << QByteArray(R"({"v": {"v": {"s": "x"}}})");
    QTest::newRow("escaped strings")
            << QVariantMap{{QStringLiteral("k\"ey"),
                            QStringLiteral("a\"b\\c\nd\te\x01 \u00e4\u2800")}}
            << QByteArray("{\"k\\\"ey\": {\"s\": \"a\\\"b\\\\c\\nd\\te\\u0001 "
                          "\xc3\xa4\xe2\xa0\x80\"}}");
}

void TestSimulator::record()
{
    QFETCH(QVariantMap, request);
    QFETCH(QByteArray, line);
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"), R"({"responses": [{}]})"),
                            QStringLiteral("--record"),
                            m_dir->filePath(QStringLiteral("record.jsonl"))}));
    const QDBusMessage reply = processCall({request});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    // The line is on disk once the answer is in.
    QCOMPARE(readFile(QStringLiteral("record.jsonl")), line + '\n');
}

void TestSimulator::recordAppends()
{
    const QString recordPath = writeFile(QStringLiteral("record.jsonl"), "earlier\n");
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"), "{}"),
                            QStringLiteral("--record"), recordPath}));
    process(request(QStringLiteral("A")));
    process(request(QStringLiteral("B")));
    QCOMPARE(readFile(QStringLiteral("record.jsonl")),
             QByteArray("earlier\n"
                        R"({"commandId": {"s": "A"}, "senderId": {"s": "CommandHandler"}})"
                        "\n"
                        R"({"commandId": {"s": "B"}, "senderId": {"s": "CommandHandler"}})"
                        "\n"));
}

void TestSimulator::nameAlreadyOwned()
{
    const QString script = writeFile(QStringLiteral("script.json"), "{}");
    QVERIFY(startSimulator({QStringLiteral("--script"), script}));
    QProcess second;
    second.setProcessEnvironment(m_bus.environment());
    second.start(simulatorPath, {QStringLiteral("--script"), script});
    QVERIFY(second.waitForFinished(timeoutMs));
    QCOMPARE(second.exitCode(), 1);
    QCOMPARE(second.readAllStandardError(),
             QByteArray("command-handler-sim: se.tarnvik.CommandHandler is already owned on this "
                        "bus\n"));
    // The first one keeps serving.
    QCOMPARE(process(request(QStringLiteral("A"))), exhausted());
}

void TestSimulator::terminationSignals_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestSimulator::terminationSignals()
{
    QFETCH(int, signal);
    const QString recordPath = m_dir->filePath(QStringLiteral("record.jsonl"));
    QVERIFY(startSimulator({QStringLiteral("--script"),
                            writeFile(QStringLiteral("script.json"), "{}"),
                            QStringLiteral("--record"), recordPath}));
    process(request(QStringLiteral("A")));
    QCOMPARE(::kill(m_simulator.processId(), signal), 0);
    QVERIFY(m_simulator.waitForFinished(timeoutMs));
    QCOMPARE(m_simulator.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_simulator.exitCode(), 0);
    QCOMPARE(readFile(QStringLiteral("record.jsonl")),
             QByteArray(R"({"commandId": {"s": "A"}, "senderId": {"s": "CommandHandler"}})"
                        "\n"));
}

void TestSimulator::busLoss()
{
    TestBus bus;
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
    QProcess simulator;
    simulator.start(simulatorPath,
                    {QStringLiteral("--bus-address"), bus.address(), QStringLiteral("--script"),
                     writeFile(QStringLiteral("script.json"), "{}")});
    QVERIFY(bus.waitForService(serviceName(), timeoutMs));
    bus.stop();
    QVERIFY(simulator.waitForFinished(timeoutMs));
    QCOMPARE(simulator.exitStatus(), QProcess::NormalExit);
    QCOMPARE(simulator.exitCode(), 0);
}

void TestSimulator::help_data()
{
    QTest::addColumn<QString>("option");
    for (const char *option :
         {"--bus-address <address>", "--script <file>", "--record <file>", "--step",
          "--output-dir <dir>", "--state-file <file>", "-h, --help", "-v, --version"})
        QTest::newRow(option) << QString::fromLatin1(option);
}

void TestSimulator::help()
{
    QFETCH(QString, option);
    QProcess simulator;
    simulator.start(simulatorPath, {QStringLiteral("--help")});
    QVERIFY(simulator.waitForFinished(timeoutMs));
    QCOMPARE(simulator.exitCode(), 0);
    const QString text = QString::fromUtf8(simulator.readAllStandardOutput());
    QVERIFY2(text.startsWith(QStringLiteral("Usage: ") + simulatorPath
                             + QStringLiteral(" [options]\n")),
             qPrintable(text));
    QVERIFY2(text.contains(QStringLiteral("\n  ") + option + QLatin1Char(' ')), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestSimulator)

#include "tst_simulator.moc"
