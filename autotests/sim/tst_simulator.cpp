#include "qtdbusvalue.h"
#include "scriptedsimulator.h"
#include "testbus.h"

#include <ls/commandids.h>
#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>

namespace {

const QString simulatorPath = QStringLiteral(SIMULATOR_PATH);
const QString busConfigPath = QStringLiteral(COMMAND_HANDLER_BUS_CONFIG);
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

// True once the process is gone; a zombie left to a parent that does not reap counts as gone.
bool waitForProcessGone(qint64 pid)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            return true;
        const QByteArray fields = stat.readAll();
        if (fields.mid(fields.lastIndexOf(')') + 2, 1) == "Z")
            return true;
        QThread::msleep(10);
    }
    return false;
}

QVariantMap execute(int command, const QStringList &arguments)
{
    QVariantList args;
    for (const QString &argument : arguments)
        args.append(argument);
    return process(request(ls::CommandHandlerCmdId::HandleCommand,
                           {{ls::subCommandIdKey, command}, {ls::argsKey, args}}));
}

// A command line as the operator types it: "302 1 Hello world".
QVariantMap execute(const QString &line)
{
    QStringList words = line.split(QLatin1Char(' '));
    const int command = words.takeFirst().toInt();
    return execute(command, words);
}

// The entries of the map that the expected one names, so that a test can leave out the ones
// that change from run to run (times, versions).
QVariantMap pick(const QVariantMap &map, const QVariantMap &expected)
{
    QVariantMap picked;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        if (map.contains(it.key()))
            picked.insert(it.key(), map.value(it.key()));
    }
    return picked;
}

// A response whose value "deep" holds bottom inside the given containers, outermost first:
// 'm' a map with the one key "k", 'l' a list of one element.
QByteArray deepResponse(const QByteArray &containers, const QByteArray &bottom)
{
    QByteArray value = bottom;
    for (int i = containers.size() - 1; i >= 0; --i)
        value = containers.at(i) == 'm' ? "{\"k\": " + value + '}' : '[' + value + ']';
    return "{\"responses\": [{\"deep\": " + value + "}]}";
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
    void deepReplies_data();
    void deepReplies();
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
    void activation();
    void deviceCommands_data();
    void deviceCommands();
    void deviceRequestErrors_data();
    void deviceRequestErrors();
    void deviceCatalogue_data();
    void deviceCatalogue();
    void deviceRecord();
    void deviceStateAcrossRequests();
    void deviceStateFileSurvivesRestart();
    void deviceDamagedStateFile_data();
    void deviceDamagedStateFile();
    void deviceTableNoLongerLoads();

private:
    QString writeFile(const QString &name, const QByteArray &content);
    QByteArray readFile(const QString &name) const;

    TestBus m_bus;
    ScriptedSimulator m_simulator{m_bus, simulatorPath};
    std::unique_ptr<QTemporaryDir> m_dir;
};

void TestSimulator::initTestCase()
{
    QVERIFY2(QFile::exists(simulatorPath), qPrintable(simulatorPath));
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
    m_simulator.setForwardedOutput(true);
    qDBusRegisterMetaType<QMap<uchar, QDBusVariant>>();
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
    QVERIFY(m_simulator.stop());
    m_dir.reset();
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
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
    QVERIFY(m_simulator.start(
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
    QVERIFY(m_simulator.start(
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

    // A double holds every whole number up to 2^53; beyond, a number is what its double holds.
    QTest::newRow("untyped 2^53 is x")
            << QByteArray("9007199254740992") << QStringLiteral("qlonglong(9007199254740992)");
    QTest::newRow("untyped -2^53 is x")
            << QByteArray("-9007199254740992") << QStringLiteral("qlonglong(-9007199254740992)");
    QTest::newRow("typed x at 2^53") << QByteArray(R"({"$typed": "x", "value": 9007199254740992})")
                                     << QStringLiteral("qlonglong(9007199254740992)");
    QTest::newRow("typed t at 2^53") << QByteArray(R"({"$typed": "t", "value": 9007199254740992})")
                                     << QStringLiteral("qulonglong(9007199254740992)");
    QTest::newRow("untyped 2^53+1 arrives as d, the nearest double")
            << QByteArray("9007199254740993") << QStringLiteral("double(9007199254740992)");
    QTest::newRow("untyped -2^53-1 arrives as d, the nearest double")
            << QByteArray("-9007199254740993") << QStringLiteral("double(-9007199254740992)");
    QTest::newRow("untyped 20-digit whole number arrives as d")
            << QByteArray("12345678901234567890") << QStringLiteral("double(12345678901234567000)");
    QTest::newRow("fraction that rounds to a whole double arrives as d")
            << QByteArray("4503599627370496.5") << QStringLiteral("double(4503599627370496)");
    QTest::newRow("fraction below a double's precision arrives as d")
            << QByteArray("1.0000000000000000001") << QStringLiteral("double(1)");
    QTest::newRow("negative zero is int") << QByteArray("-0") << QStringLiteral("int(0)");
    QTest::newRow("2^53 written with a fraction and an exponent is x")
            << QByteArray("90071992547409.920e2") << QStringLiteral("qlonglong(9007199254740992)");
    QTest::newRow("2^53+1 inside a list arrives as d")
            << QByteArray("[9007199254740993, 1]")
            << QStringLiteral("QVariantList[double(9007199254740992), int(1)]");
    QTest::newRow("typed d from 2^53+1, the nearest double")
            << QByteArray(R"({"$typed": "d", "value": 9007199254740993})")
            << QStringLiteral("double(9007199254740992)");
    QTest::newRow("typed v holding 2^53+1 arrives as d")
            << QByteArray(R"({"$typed": "v", "value": 9007199254740993})")
            << QStringLiteral("double(9007199254740992)");
    QTest::newRow("digits of 2^53+1 in a string stay text")
            << QByteArray(R"("a\"9007199254740993")")
            << QStringLiteral("QString(a\"9007199254740993)");
    // 1e3 is no integer literal, but its double is exactly the whole number it names: as before,
    // it counts as whole.
    QTest::newRow("1e3 is a whole number, as before")
            << QByteArray("1e3") << QStringLiteral("int(1000)");
    QTest::newRow("typed t from 1e3, as before")
            << QByteArray(R"({"$typed": "t", "value": 1e3})") << QStringLiteral("qulonglong(1000)");
}

void TestSimulator::dataTypes()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, expected);
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
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
    QVERIFY(m_simulator.start(
            {QStringLiteral("--script"),
             writeFile(QStringLiteral("script.json"), R"({"responses": [)" + response + "]}")}));
    const QDBusMessage reply = processCall({request(ls::CommandHandlerCmdId::HandleCommand)});
    QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    QCOMPARE(reply.signature(), signature);
    QCOMPARE(typeDump(plainFromQtDBus(reply.arguments())), arguments);
}

void TestSimulator::exitDirective()
{
    const QString recordPath = m_dir->filePath(QStringLiteral("record.jsonl"));
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
                               writeFile(QStringLiteral("script.json"),
                                         R"({"byCommand": {"Quit": {"$exit": true}}})"),
                               QStringLiteral("--record"), recordPath}));
    const QVariantMap answer = process(request(QStringLiteral("Quit")));
    QCOMPARE(answer.value(ls::errorIdKey).toString(),
             QStringLiteral("org.freedesktop.DBus.Error.NoReply"));
    QVERIFY(m_simulator.process().waitForFinished(timeoutMs));
    QCOMPARE(m_simulator.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_simulator.process().exitCode(), 0);
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
    QTest::newRow("typed t past what a JSON number holds exactly")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 1e16}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed t 2^53+1, which a JSON number does not hold")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed x -2^53-1, which a JSON number does not hold")
            << QByteArray(R"({"responses": [{"n": {"$typed": "x", "value": -9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"x\" needs a whole number from "
                              "-9007199254740992 to 9007199254740992");
    QTest::newRow("typed x 20-digit whole number")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "x", "value": 12345678901234567890}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"x\" needs a whole number from "
                              "-9007199254740992 to 9007199254740992");
    QTest::newRow("typed i 2^53+1")
            << QByteArray(R"({"responses": [{"n": {"$typed": "i", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"i\" needs a whole number from "
                              "-2147483648 to 2147483647");
    QTest::newRow("typed t fraction that rounds to a whole double")
            << QByteArray(R"({"responses": [{"n": {"$typed": "t", "value": 4503599627370496.5}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"t\" needs a whole number from 0 "
                              "to 9007199254740992");
    QTest::newRow("typed ay with byte 2^53+1")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "ay", "value": [9007199254740993]}}]})")
            << QStringLiteral("responses[0].n.value[0]: D-Bus type \"y\" needs a whole number "
                              "from 0 to 255");
    QTest::newRow("typed s from 2^53+1")
            << QByteArray(R"({"responses": [{"n": {"$typed": "s", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"s\" needs a string");
    QTest::newRow("typed a{sv} from 2^53+1")
            << QByteArray(
                       R"({"responses": [{"n": {"$typed": "a{sv}", "value": 9007199254740993}}]})")
            << QStringLiteral("responses[0].n.value: D-Bus type \"a{sv}\" needs an object");
    QTest::newRow("response 2^53+1")
            << QByteArray(R"({"responses": [9007199254740993]})")
            << QStringLiteral("responses[0]: a response must be a JSON object");
    QTest::newRow("byCommand 2^53+1") << QByteArray(R"({"byCommand": 9007199254740993})")
                                      << QStringLiteral("\"byCommand\" must be an object");
    QTest::newRow("typed o not an object path")
            << QByteArray(R"({"responses": [{"p": {"$typed": "o", "value": "a//b"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed o empty")
            << QByteArray(R"({"responses": [{"p": {"$typed": "o", "value": ""}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed ao with a path ending in a slash")
            << QByteArray(R"({"responses": [{"p": {"$typed": "ao", "value": ["/", "/a/"]}}]})")
            << QStringLiteral("responses[0].p.value[1]: D-Bus type \"o\" needs an object path");
    QTest::newRow("typed g not a signature")
            << QByteArray(R"({"responses": [{"p": {"$typed": "g", "value": "a{"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("typed g with a dictionary keyed by a variant")
            << QByteArray(R"({"responses": [{"p": {"$typed": "g", "value": "a{vs}"}}]})")
            << QStringLiteral("responses[0].p.value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("reply g not a signature")
            << QByteArray(R"({"responses": [{"$reply": "g", "value": "("}]})")
            << QStringLiteral("responses[0].value: D-Bus type \"g\" needs a type signature");
    QTest::newRow("typed ay with a byte out of range")
            << QByteArray(R"({"responses": [{"n": {"$typed": "ay", "value": [1, 256]}}]})")
            << QStringLiteral("responses[0].n.value[1]: D-Bus type \"y\" needs a whole number "
                              "from 0 to 255");
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
    QTest::newRow("exit a string") << QByteArray(R"({"byCommand": {"Quit": {"$exit": "yes"}}})")
                                   << QStringLiteral("byCommand.Quit: \"$exit\" takes true");
    QTest::newRow("exit with data")
            << QByteArray(R"({"responses": [{"$exit": true, "resultId": "Success"}]})")
            << QStringLiteral("responses[0]: \"resultId\" does not go with \"$exit\"");
    QTest::newRow("reply value of the wrong type")
            << QByteArray(R"({"responses": [{"$reply": "s", "value": 1}]})")
            << QStringLiteral("responses[0].value: D-Bus type \"s\" needs a string");
    QTest::newRow("empty reply with a value")
            << QByteArray(R"({"responses": [{"$reply": "", "value": 1}]})")
            << QStringLiteral("responses[0]: a reply of signature \"\" takes no value");

    // Levels as docs/wire-contract.md counts them: under the reply's a{sv} a value is at level 3,
    // each map adds 3, each list 2; the bus takes 64 at most.
    const QString tooDeep = QStringLiteral(": nested deeper than 64 levels");
    const QString deep = QStringLiteral("responses[0].deep");
    const QByteArray lists29(29, 'l');
    const QString first29 = QStringLiteral("[0]").repeated(29);
    QTest::newRow("21 maps, a string at level 66")
            << deepResponse(QByteArray(21, 'm'), "\"x\"")
            << deep + QStringLiteral(".k").repeated(21) + tooDeep;
    QTest::newRow("31 lists, a string at level 65")
            << deepResponse(QByteArray(31, 'l'), "\"x\"")
            << deep + QStringLiteral("[0]").repeated(31) + tooDeep;
    QTest::newRow("a list at level 64 holding a string")
            << deepResponse('m' + lists29, "[\"x\"]")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral("[0]") + tooDeep;
    QTest::newRow("a map at level 64 holding a string")
            << deepResponse('m' + lists29, R"({"k": "x"})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".k") + tooDeep;
    QTest::newRow("a string list at level 64 holding a string")
            << deepResponse('m' + lists29, R"({"$typed": "as", "value": ["x"]})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value[0]") + tooDeep;
    QTest::newRow("an object path list at level 64 holding a path")
            << deepResponse('m' + lists29, R"({"$typed": "ao", "value": ["/a"]})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value[0]") + tooDeep;
    QTest::newRow("a variant at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "v", "value": 1})")
            << deep + QStringLiteral(".k") + first29 + QStringLiteral(".value") + tooDeep;
    QTest::newRow("too deep under byCommand")
            << QByteArray("{\"byCommand\": {\"Ping\": ")
                       + deepResponse(QByteArray(21, 'm'), "1").mid(15).chopped(2) + "}}"
            << QStringLiteral("byCommand.Ping.deep") + QStringLiteral(".k").repeated(21) + tooDeep;
    QTest::newRow("a variant reply holding 32 lists")
            << QByteArray(R"({"responses": [{"$reply": "v", "value": )")
                       + QByteArray("[").repeated(32) + "1" + QByteArray("]").repeated(32) + "}]}"
            << QStringLiteral("responses[0].value") + QStringLiteral("[0]").repeated(32) + tooDeep;
}

void TestSimulator::deepReplies_data()
{
    QTest::addColumn<QByteArray>("script");

    const QByteArray lists29(29, 'l');
    QTest::newRow("20 maps, a string at level 63") << deepResponse(QByteArray(20, 'm'), "\"x\"");
    QTest::newRow("21 maps, the innermost empty at level 63")
            << deepResponse(QByteArray(20, 'm'), "{}");
    QTest::newRow("30 lists, a string at level 63") << deepResponse(QByteArray(30, 'l'), "\"x\"");
    QTest::newRow("a string at level 64") << deepResponse('m' + lists29, "\"x\"");
    QTest::newRow("an empty list at level 64") << deepResponse('m' + lists29, "[]");
    QTest::newRow("an empty map at level 64") << deepResponse('m' + lists29, "{}");
    QTest::newRow("an empty string list at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "as", "value": []})");
    QTest::newRow("bytes at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "ay", "value": [1, 2]})");
    QTest::newRow("ints at level 64")
            << deepResponse('m' + lists29, R"({"$typed": "ai", "value": [1, 2]})");
}

void TestSimulator::deepReplies()
{
    QFETCH(QByteArray, script);
    QVERIFY(m_simulator.start(
            {QStringLiteral("--script"), writeFile(QStringLiteral("script.json"), script)}));
    // A reply the bus refused would end in a failure map, without "deep".
    const QVariantMap response = process(request(ls::CommandHandlerCmdId::GetCommands));
    QCOMPARE(response.keys(), QStringList{QStringLiteral("deep")});
    // And the simulator is still there for the next request.
    QCOMPARE(process(request(ls::CommandHandlerCmdId::GetCommands)), exhausted());
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
    QVERIFY(m_simulator.start(
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
    QTest::newRow("byte keys as numbers, not characters")
            << QVariantMap{{QStringLiteral("d"),
                            QVariant::fromValue(QMap<uchar, QDBusVariant>{
                                    {uchar(65), QDBusVariant(1)}, {uchar(10), QDBusVariant(2)}})}}
            << QByteArray(R"({"d": {"a{yv}": {"10": {"i": 2}, "65": {"i": 1}}}})");
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"), script}));
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
    QVERIFY(m_simulator.start({QStringLiteral("--script"),
                               writeFile(QStringLiteral("script.json"), "{}"),
                               QStringLiteral("--record"), recordPath}));
    process(request(QStringLiteral("A")));
    QCOMPARE(::kill(m_simulator.process().processId(), signal), 0);
    QVERIFY(m_simulator.process().waitForFinished(timeoutMs));
    QCOMPARE(m_simulator.process().exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_simulator.process().exitCode(), 0);
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

void TestSimulator::activation()
{
    // The bus of scripts/run.sh: the simulated device is started by the bus on the first request.
    QProcess daemon;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("COMMAND_HANDLER_SIM_DIR"), m_dir->path());
    daemon.setProcessEnvironment(environment);
    daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--config-file=") + busConfigPath,
                  QStringLiteral("--address=unix:path=") + m_dir->filePath(QStringLiteral("bus")),
                  QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    QVERIFY(daemon.waitForStarted(timeoutMs));
    while (!daemon.canReadLine())
        QVERIFY(daemon.waitForReadyRead(timeoutMs));
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();

    const QString connectionName = QStringLiteral("activation");
    uint simulatorPid = 0;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(address, connectionName);
        QVERIFY(bus.isConnected());
        QVERIFY(!bus.interface()->isServiceRegistered(serviceName()));
        QDBusMessage call = QDBusMessage::createMethodCall(
                serviceName(), ls::objectPath(ls::ServiceId::CommandHandler), ls::serviceInterface,
                ls::processMethod);
        call << request(ls::CommandHandlerCmdId::HandleCommand,
                        {{ls::subCommandIdKey, 601}, {ls::argsKey, QVariantList()}});
        const QDBusMessage reply = bus.call(call, QDBus::Block, timeoutMs);
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(typeDump(plainFromQtDBus(reply.arguments().constFirst())),
                 QStringLiteral("QVariantMap{details=QVariantMap{reply=QString(pong)}, "
                                "errorId=QString(NoError), resultId=QString(Success)}"));
        // The device keeps its state in the folder the bus was given.
        QVERIFY(QFile::exists(m_dir->filePath(QStringLiteral("state.json"))));
        simulatorPid = bus.interface()->servicePid(serviceName());
    }
    QDBusConnection::disconnectFromBus(connectionName);
    QVERIFY(simulatorPid != 0);

    // The simulator goes with its bus.
    daemon.terminate();
    QVERIFY(daemon.waitForFinished(timeoutMs));
    QVERIFY(waitForProcessGone(simulatorPid));
}

void TestSimulator::deviceCommands_data()
{
    QTest::addColumn<QStringList>("setup");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("errorId");
    QTest::addColumn<QString>("errorMessage");
    QTest::addColumn<QVariantMap>("details");

    const auto s = [](const char *text) {
        return QString::fromUtf8(text);
    };
    const QString noError = ls::ErrorId::NoError;
    // A closed one-page document 1 and paper for it.
    const QStringList document{s("202 5"), s("301 Notes"), s("302 1 Hello"), s("303 1")};
    // A job of three pages; the next request embosses the first.
    const QStringList job = document + QStringList{s("401 1 3")};

    QTest::newRow("GetConfiguration") << QStringList() << s("101") << noError << QString()
                                      << QVariantMap{{s("paperFormat"), s("A4")},
                                                     {s("cellsPerLine"), 40},
                                                     {s("linesPerPage"), 25},
                                                     {s("duplex"), false},
                                                     {s("brailleTable"), s("en-us-g1.ctb")},
                                                     {s("dotStrength"), 3}};
    QTest::newRow("SetPaperFormat") << QStringList() << s("102 Letter") << noError << QString()
                                    << QVariantMap{{s("paperFormat"), s("Letter")}};
    QTest::newRow("SetCellsPerLine") << QStringList() << s("103 32") << noError << QString()
                                     << QVariantMap{{s("cellsPerLine"), 32}};
    QTest::newRow("SetLinesPerPage") << QStringList() << s("104 20") << noError << QString()
                                     << QVariantMap{{s("linesPerPage"), 20}};
    QTest::newRow("SetDuplex") << QStringList() << s("105 true") << noError << QString()
                               << QVariantMap{{s("duplex"), true}};
    QTest::newRow("SetBrailleTable")
            << QStringList() << s("106 en-us-g2.ctb") << noError << QString()
            << QVariantMap{{s("brailleTable"), s("en-us-g2.ctb")}};
    QTest::newRow("SetDotStrength") << QStringList() << s("107 5") << noError << QString()
                                    << QVariantMap{{s("dotStrength"), 5}};
    QTest::newRow("ResetConfiguration")
            << QStringList{s("103 30"), s("105 1")} << s("108") << noError << QString()
            << QVariantMap{{s("cellsPerLine"), 40}, {s("duplex"), false}};
    QTest::newRow("GetPaperStatus") << QStringList() << s("201") << noError << QString()
                                    << QVariantMap{{s("sheetsLoaded"), 0},
                                                   {s("trayCapacity"), 500},
                                                   {s("sheetInPosition"), false},
                                                   {s("feedMode"), s("sheet")},
                                                   {s("paperFormat"), s("A4")}};
    QTest::newRow("LoadPaper") << QStringList{s("202 3")} << s("202 10") << noError << QString()
                               << QVariantMap{{s("sheetsAdded"), 10}, {s("sheetsLoaded"), 13}};
    QTest::newRow("FeedSheet") << QStringList{s("202 2")} << s("203") << noError << QString()
                               << QVariantMap{{s("sheetInPosition"), true}, {s("sheetsLoaded"), 1}};
    QTest::newRow("EjectSheet") << QStringList{s("202 2"), s("203")} << s("204") << noError
                                << QString()
                                << QVariantMap{{s("sheetInPosition"), false},
                                               {s("sheetsLoaded"), 1}};
    QTest::newRow("SetFeedMode") << QStringList() << s("205 tractor") << noError << QString()
                                 << QVariantMap{{s("feedMode"), s("tractor")}};
    QTest::newRow("OpenDocument: title of several words")
            << QStringList() << s("301 Letter to Anna") << noError << QString()
            << QVariantMap{{s("documentId"), 1},
                           {s("title"), s("Letter to Anna")},
                           {s("state"), s("open")}};
    QTest::newRow("AddText") << QStringList{s("301 Notes")} << s("302 1 Hello world") << noError
                             << QString()
                             << QVariantMap{{s("documentId"), 1},
                                            {s("characters"), 11},
                                            {s("lines"), 1},
                                            {s("pages"), 1},
                                            {s("state"), s("open")}};
    QTest::newRow("CloseDocument")
            << QStringList{s("301 Notes"), s("302 1 Hi")} << s("303 1") << noError << QString()
            << QVariantMap{{s("documentId"), 1},
                           {s("state"), s("closed")},
                           {s("pages"), 1},
                           {s("sheets"), 1}};
    QTest::newRow("ListDocuments")
            << QStringList{s("301 A"), s("301 B"), s("303 1")} << s("304") << noError << QString()
            << QVariantMap{{s("documentCount"), 2},
                           {s("openDocuments"), 1},
                           {s("documentIds"), s("1,2")},
                           {s("document1"), s("A (closed)")},
                           {s("document2"), s("B (open)")}};
    QTest::newRow("GetDocumentInfo")
            << QStringList{s("301 Notes"), s("302 1 ab")} << s("305 1") << noError << QString()
            << QVariantMap{{s("text"), s("ab")},
                           {s("characters"), 2},
                           {s("lines"), 1},
                           {s("title"), s("Notes")}};
    QTest::newRow("DeleteDocument")
            << QStringList{s("301 Notes")} << s("306 1") << noError << QString()
            << QVariantMap{{s("documentId"), 1}, {s("deleted"), true}, {s("documentCount"), 0}};
    QTest::newRow("StartEmbossing")
            << document << s("401 1 2") << noError << QString()
            << QVariantMap{{s("jobId"), 1},  {s("state"), s("Embossing")}, {s("documentId"), 1},
                           {s("copies"), 2}, {s("pagesDone"), 0},          {s("pagesTotal"), 2}};
    QTest::newRow("PauseEmbossing") << job << s("402") << noError << QString()
                                    << QVariantMap{{s("state"), s("Paused")},
                                                   {s("pauseReason"), s("User")},
                                                   {s("pagesDone"), 1},
                                                   {s("pagesTotal"), 3}};
    QTest::newRow("ResumeEmbossing")
            << job + QStringList{s("402")} << s("403") << noError << QString()
            << QVariantMap{{s("state"), s("Embossing")},
                           {s("pauseReason"), s("None")},
                           {s("pagesDone"), 1}};
    QTest::newRow("CancelEmbossing") << job << s("404") << noError << QString()
                                     << QVariantMap{{s("state"), s("Idle")},
                                                    {s("outcome"), s("Cancelled")},
                                                    {s("pagesDone"), 1}};
    QTest::newRow("GetEmbossStatus without a job")
            << QStringList() << s("405") << noError << QString()
            << QVariantMap{{s("jobId"), 0}, {s("state"), s("Idle")}, {s("outcome"), s("None")}};
    QTest::newRow("EmbossText") << QStringList{s("202 1")} << s("406 Hi there") << noError
                                << QString()
                                << QVariantMap{{s("jobId"), 1},
                                               {s("state"), s("Embossing")},
                                               {s("documentId"), 0},
                                               {s("copies"), 1},
                                               {s("pagesTotal"), 1}};
    QTest::newRow("RunSelfTest") << QStringList() << s("501") << noError << QString()
                                 << QVariantMap{{s("passed"), true},
                                                {s("checksRun"), 5},
                                                {s("checksFailed"), 0},
                                                {s("report"),
                                                 s("print head ok; paper path clear; cover closed; "
                                                   "braille table ok; state storage not used")}};
    QTest::newRow("EmbossTestPage")
            << QStringList{s("202 1")} << s("502 grid") << noError << QString()
            << QVariantMap{{s("pattern"), s("grid")},
                           {s("state"), s("Embossing")},
                           {s("pagesTotal"), 1}};
    QTest::newRow("TestSensors") << QStringList{s("506 paper-jam")} << s("503") << noError
                                 << QString() << QVariantMap{{s("paperPresent"), false},
                                                             {s("sheetsLoaded"), 0},
                                                             {s("sheetInPosition"), false},
                                                             {s("coverClosed"), true},
                                                             {s("paperPathClear"), false},
                                                             {s("headTemperature"), 35}};
    QTest::newRow("GetErrorLog after a failed feed")
            << QStringList{s("203")} << s("504") << noError << QString()
            << QVariantMap{{s("entryCount"), 1}};
    QTest::newRow("ClearErrorLog")
            << QStringList{s("203"), s("203")} << s("505") << noError << QString()
            << QVariantMap{{s("entriesCleared"), 2}, {s("entryCount"), 0}};
    QTest::newRow("InjectFault") << QStringList() << s("506 cover-open") << noError << QString()
                                 << QVariantMap{{s("fault"), s("cover-open")},
                                                {s("pendingFault"), s("cover-open")},
                                                {s("sheetsLoaded"), 0}};
    QTest::newRow("Ping") << QStringList() << s("601") << noError << QString()
                          << QVariantMap{{s("reply"), s("pong")}};
    QTest::newRow("GetServiceInfo") << QStringList{s("601")} << s("602") << noError << QString()
                                    << QVariantMap{{s("service"), s("CommandHandler")},
                                                   {s("requestsServed"), 2},
                                                   {s("pageTiming"), s("per request")}};
    QTest::newRow("Echo: words joined by single blanks")
            << QStringList() << s("603 hello  world") << noError << QString()
            << QVariantMap{{s("text"), s("hello  world")}};
    QTest::newRow("GetDeviceState")
            << QStringList{s("301 Notes"), s("202 4")} << s("604") << noError << QString()
            << QVariantMap{{s("state"), s("Idle")},  {s("jobId"), 0},
                           {s("documentCount"), 1},  {s("openDocuments"), 1},
                           {s("sheetsLoaded"), 4},   {s("pendingFault"), s("none")},
                           {s("errorLogEntries"), 0}};

    QTest::newRow("UnknownCommand") << QStringList() << s("999") << s("UnknownCommand")
                                    << s("There is no command 999") << QVariantMap();
    QTest::newRow("InvalidArgumentCount")
            << QStringList() << s("103") << s("InvalidArgumentCount")
            << s("SetCellsPerLine takes 1 argument(s), 0 given") << QVariantMap();
    QTest::newRow("InvalidArgument") << QStringList() << s("103 9") << s("InvalidArgument")
                                     << s("cells must be from 10 to 48, not 9") << QVariantMap();
    QTest::newRow("DeviceBusy") << job << s("102 Letter") << s("DeviceBusy")
                                << s("Job 1 is embossing; wait for it or cancel it first")
                                << QVariantMap();
    QTest::newRow("OutOfPaper") << QStringList() << s("203") << s("OutOfPaper")
                                << s("The paper tray is empty") << QVariantMap();
    QTest::newRow("PaperJam") << QStringList{s("202 1"), s("506 paper-jam")} << s("203")
                              << s("PaperJam") << s("Paper jammed in the feed path")
                              << QVariantMap();
    QTest::newRow("CoverOpen") << QStringList{s("202 1"), s("506 cover-open")} << s("203")
                               << s("CoverOpen") << s("The cover is open") << QVariantMap();
    QTest::newRow("NoSuchDocument") << QStringList() << s("305 7") << s("NoSuchDocument")
                                    << s("There is no document 7") << QVariantMap();
    QTest::newRow("InvalidState") << QStringList() << s("204") << s("InvalidState")
                                  << s("No sheet is in position") << QVariantMap();
}

void TestSimulator::deviceCommands()
{
    QFETCH(QStringList, setup);
    QFETCH(QString, command);
    QFETCH(QString, errorId);
    QFETCH(QString, errorMessage);
    QFETCH(QVariantMap, details);
    QVERIFY(m_simulator.start({QStringLiteral("--step")}));
    for (const QString &line : setup)
        execute(line);
    const QVariantMap response = execute(command);
    QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
    if (errorId == ls::ErrorId::NoError) {
        QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
        const QVariantMap actual = response.value(ls::detailsMapKey).toMap();
        QCOMPARE(typeDump(pick(actual, details)), typeDump(details));
    } else {
        QCOMPARE(response, (QVariantMap{{ls::resultIdKey, ls::ResultId::Failure},
                                        {ls::errorIdKey, errorId},
                                        {ls::errorMessageKey, errorMessage}}));
    }
}

void TestSimulator::deviceRequestErrors_data()
{
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QVariantMap>("response");

    const QString invalidRequest = QStringLiteral("InvalidRequest");
    QTest::newRow("no command id")
            << QVariantMap()
            << failure(invalidRequest,
                       QStringLiteral("The request has no command id text under \"commandId\""));
    QTest::newRow("command id not a string")
            << QVariantMap{{ls::commandIdKey, 1}}
            << failure(invalidRequest,
                       QStringLiteral("The request has no command id text under \"commandId\""));
    QTest::newRow("unknown request")
            << request(QStringLiteral("Bogus"))
            << failure(invalidRequest, QStringLiteral("Unknown request \"Bogus\""));
    QTest::newRow("GetCommands without a category")
            << request(ls::CommandHandlerCmdId::GetCommands)
            << failure(invalidRequest,
                       QStringLiteral("The request has no category name under \"category\""));
    QTest::newRow("GetCommands of an unknown category")
            << request(ls::CommandHandlerCmdId::GetCommands,
                       {{ls::categoryKey, QStringLiteral("ipccommandid")}})
            << failure(QStringLiteral("UnknownCategory"),
                       QStringLiteral("There is no command category \"ipccommandid\""));
    QTest::newRow("GetCommands of an empty category")
            << request(ls::CommandHandlerCmdId::GetCommands, {{ls::categoryKey, QString()}})
            << failure(QStringLiteral("UnknownCategory"),
                       QStringLiteral("There is no command category \"\""));
    QTest::newRow("HandleCommand without a number")
            << request(ls::CommandHandlerCmdId::HandleCommand, {{ls::argsKey, QVariantList()}})
            << failure(invalidRequest,
                       QStringLiteral("The request has no command number under \"subCommandId\""));
    QTest::newRow("HandleCommand without arguments")
            << request(ls::CommandHandlerCmdId::HandleCommand, {{ls::subCommandIdKey, 601}})
            << failure(invalidRequest,
                       QStringLiteral("The request has no argument list under \"args\""));
}

void TestSimulator::deviceRequestErrors()
{
    QFETCH(QVariantMap, request);
    QFETCH(QVariantMap, response);
    QVERIFY(m_simulator.start({QStringLiteral("--step")}));
    QCOMPARE(process(request), response);
}

void TestSimulator::deviceCatalogue_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QStringList>("commands");

    const auto names = [](const ls::MetaEnum &meta) {
        QStringList list;
        for (const QString *name : meta.names())
            list.append(*name);
        return list;
    };
    QTest::newRow("configuration") << ls::CommandCategories::ConfigurationCommandId
                                   << names(ls::ConfigurationCommandId::meta);
    QTest::newRow("paper feed") << ls::CommandCategories::PaperFeedCommandId
                                << names(ls::PaperFeedCommandId::meta);
    QTest::newRow("document") << ls::CommandCategories::DocumentCommandId
                              << names(ls::DocumentCommandId::meta);
    QTest::newRow("emboss") << ls::CommandCategories::EmbossCommandId
                            << names(ls::EmbossCommandId::meta);
    QTest::newRow("testing") << ls::CommandCategories::TestingCommandId
                             << names(ls::TestingCommandId::meta);
    QTest::newRow("ipc") << ls::CommandCategories::IpcCommandId << names(ls::IpcCommandId::meta);
}

void TestSimulator::deviceCatalogue()
{
    QFETCH(QString, category);
    QFETCH(QStringList, commands);
    QVERIFY(m_simulator.start({QStringLiteral("--step")}));

    const QVariantMap categories
            = process(request(ls::CommandHandlerCmdId::GetCommandCategories,
                              {{ls::subCommandIdKey, QStringLiteral("Undefined")}}));
    QCOMPARE(categories.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(categories.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    QStringList categoryIds;
    for (const QVariant &entry : categories.value(ls::commandCategoriesKey).toList())
        categoryIds.append(entry.toMap().value(ls::idKey).toString());
    QVERIFY(categoryIds.contains(category));

    const QVariantMap response = process(request(
            ls::CommandHandlerCmdId::GetCommands,
            {{ls::subCommandIdKey, QStringLiteral("Undefined")}, {ls::categoryKey, category}}));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QStringList ids;
    for (const QVariant &entry : response.value(ls::commandsKey).toList()) {
        const QVariantMap command = entry.toMap();
        ids.append(command.value(ls::idKey).toString());
        QVERIFY(!command.value(ls::descriptionKey).toString().isEmpty());
        QCOMPARE(command.value(ls::argumentCountKey).toInt(),
                 command.value(ls::argumentTypesKey).toList().size());
    }
    QCOMPARE(ids, commands);
}

void TestSimulator::deviceRecord()
{
    QVERIFY(m_simulator.start({QStringLiteral("--step"), QStringLiteral("--record"),
                               m_dir->filePath(QStringLiteral("record.jsonl"))}));
    execute(QStringLiteral("603 a"));
    QCOMPARE(readFile(QStringLiteral("record.jsonl")),
             QByteArray(R"({"args": {"av": [{"s": "a"}]}, "commandId": {"s": "HandleCommand"}, )"
                        R"("senderId": {"s": "CommandHandler"}, "subCommandId": {"i": 603}})"
                        "\n"));
}

void TestSimulator::deviceStateAcrossRequests()
{
    const QString pages = m_dir->filePath(QStringLiteral("pages"));
    QVERIFY(m_simulator.start({QStringLiteral("--step"), QStringLiteral("--output-dir"), pages}));
    const auto detail = [](const QVariantMap &response, const char *key) {
        return response.value(ls::detailsMapKey).toMap().value(QString::fromLatin1(key));
    };
    QCOMPARE(detail(execute(QStringLiteral("301 Minutes")), "documentId"), QVariant(1));
    QCOMPARE(detail(execute(QStringLiteral("302 1 Hello")), "characters"), QVariant(5));
    QCOMPARE(detail(execute(QStringLiteral("302 1  world")), "characters"), QVariant(11));
    QCOMPARE(detail(execute(QStringLiteral("303 1")), "state"), QVariant(QStringLiteral("closed")));
    QCOMPARE(detail(execute(QStringLiteral("202 3")), "sheetsLoaded"), QVariant(3));
    QCOMPARE(detail(execute(QStringLiteral("401 1 2")), "state"),
             QVariant(QStringLiteral("Embossing")));
    // One page per request.
    QVariantMap status = execute(QStringLiteral("405"));
    QCOMPARE(detail(status, "pagesDone"), QVariant(1));
    QCOMPARE(detail(status, "state"), QVariant(QStringLiteral("Embossing")));
    status = execute(QStringLiteral("405"));
    QCOMPARE(detail(status, "pagesDone"), QVariant(2));
    QCOMPARE(detail(status, "state"), QVariant(QStringLiteral("Idle")));
    QCOMPARE(detail(status, "outcome"), QVariant(QStringLiteral("Completed")));
    QCOMPARE(detail(status, "sheetsUsed"), QVariant(2));
    QCOMPARE(detail(execute(QStringLiteral("201")), "sheetsLoaded"), QVariant(1));

    // Each copy's page: the document's braille, padded with blank cells to a full page of the
    // default 25 lines of 40 cells.
    const QString braille = detail(execute(QStringLiteral("305 1")), "braille").toString();
    QCOMPARE(braille.size(), 12);
    const QChar blank(0x2800);
    QString page = braille + QString(40 - braille.size(), blank) + QLatin1Char('\n');
    for (int line = 1; line < 25; ++line)
        page += QString(40, blank) + QLatin1Char('\n');
    for (const char *name : {"job-1-copy-1-page-1.txt", "job-1-copy-2-page-1.txt"}) {
        QFile file(pages + QLatin1Char('/') + QString::fromLatin1(name));
        QVERIFY2(file.open(QIODevice::ReadOnly), name);
        QCOMPARE(QString::fromUtf8(file.readAll()), page);
    }
}

void TestSimulator::deviceStateFileSurvivesRestart()
{
    const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                m_dir->filePath(QStringLiteral("state.json"))};
    QVERIFY(m_simulator.start(arguments));
    execute(QStringLiteral("103 30"));
    execute(QStringLiteral("202 7"));
    execute(QStringLiteral("301 Kept"));
    execute(QStringLiteral("302 1 across restarts"));
    QVERIFY(m_simulator.stop());
    QCOMPARE(m_simulator.process().exitCode(), 0);

    QVERIFY(m_simulator.start(arguments));
    QCOMPARE(execute(QStringLiteral("101"))
                     .value(ls::detailsMapKey)
                     .toMap()
                     .value(QStringLiteral("cellsPerLine")),
             QVariant(30));
    QCOMPARE(execute(QStringLiteral("201"))
                     .value(ls::detailsMapKey)
                     .toMap()
                     .value(QStringLiteral("sheetsLoaded")),
             QVariant(7));
    const QVariantMap document = execute(QStringLiteral("305 1")).value(ls::detailsMapKey).toMap();
    QCOMPARE(document.value(QStringLiteral("title")), QVariant(QStringLiteral("Kept")));
    QCOMPARE(document.value(QStringLiteral("text")), QVariant(QStringLiteral("across restarts")));
    QCOMPARE(document.value(QStringLiteral("state")), QVariant(QStringLiteral("open")));
    // Numbering carries on too.
    QCOMPARE(execute(QStringLiteral("301 Next"))
                     .value(ls::detailsMapKey)
                     .toMap()
                     .value(QStringLiteral("documentId")),
             QVariant(2));
}

void TestSimulator::deviceDamagedStateFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("not JSON") << QByteArray("{\"configuration\": ");
    QTest::newRow("JSON of another shape") << QByteArray("[1, 2]");
    QTest::newRow("unknown version") << QByteArray(R"({"version": 99})");
}

void TestSimulator::deviceDamagedStateFile()
{
    QFETCH(QByteArray, content);
    const QString statePath = writeFile(QStringLiteral("state.json"), content);
    QVERIFY(m_simulator.start(
            {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
    // The device starts afresh...
    QCOMPARE(execute(QStringLiteral("101"))
                     .value(ls::detailsMapKey)
                     .toMap()
                     .value(QStringLiteral("cellsPerLine")),
             QVariant(40));
    // ...and the damaged file is kept beside the new one.
    const QStringList aside
            = QDir(m_dir->path()).entryList({QStringLiteral("state.json.damaged-*")}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QFile kept(m_dir->filePath(aside.constFirst()));
    QVERIFY(kept.open(QIODevice::ReadOnly));
    QCOMPARE(kept.readAll(), content);
    QFile state(statePath);
    QVERIFY(state.open(QIODevice::ReadOnly));
    QVERIFY(QJsonDocument::fromJson(state.readAll()).isObject());
}

void TestSimulator::deviceTableNoLongerLoads()
{
    // A state written while a table was installed that is gone after the restart.
    const QString statePath = m_dir->filePath(QStringLiteral("state.json"));
    QVERIFY(m_simulator.start(
            {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
    execute(QStringLiteral("301 Notes"));
    QVERIFY(m_simulator.stop());
    QFile file(statePath);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
    file.close();
    QJsonObject configuration = state.value(QStringLiteral("configuration")).toObject();
    configuration.insert(QStringLiteral("brailleTable"), QStringLiteral("uninstalled.ctb"));
    state.insert(QStringLiteral("configuration"), configuration);
    writeFile(QStringLiteral("state.json"), QJsonDocument(state).toJson());

    QVERIFY(m_simulator.start(
            {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
    QCOMPARE(execute(QStringLiteral("302 1 Hello")),
             failure(QStringLiteral("TranslationFailed"),
                     QStringLiteral("Braille table uninstalled.ctb cannot be loaded")));
}

QTEST_GUILESS_MAIN(TestSimulator)

#include "tst_simulator.moc"
