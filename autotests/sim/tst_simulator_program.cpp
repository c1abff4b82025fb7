// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "requests.h"
#include "simulatortest.h"

#include "qtdbusvalue.h"

#include <ls/commandids.h>
#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTest>

#include <csignal>

using namespace SimulatorTest;
using Requests::request;

namespace {

const QString busConfigPath = QStringLiteral(COMMAND_HANDLER_BUS_CONFIG);

} // namespace

// The program: its options, requests of the wrong shape, the bus name, signals, the loss of its
// bus, --help, and D-Bus activation by the bus of scripts/run.sh.
class TestSimulatorProgram : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void badOptions_data()
    {
        addColumns<QStringList, QString>("arguments", "message");

        QTest::newRow("missing script")
                << QStringList{QStringLiteral("--script"), QStringLiteral("/nonexistent/s.json")}
                << QStringLiteral("command-handler-sim: /nonexistent/s.json: No such file or "
                                  "directory\n");
        QTest::newRow("device option with a script")
                << QStringList{QStringLiteral("--script"), QStringLiteral("s.json"),
                               QStringLiteral("--step")}
                << QStringLiteral(
                           "command-handler-sim: --step is an option of the simulated device, "
                           "not of --script\n");
        QTest::newRow("positional argument")
                << QStringList{QStringLiteral("extra")}
                << QStringLiteral(
                           "command-handler-sim: unexpected argument \"extra\"; see --help\n");
        QTest::newRow("record cannot be opened")
                << QStringList{QStringLiteral("--record"), QStringLiteral("/nonexistent/r.jsonl")}
                << QStringLiteral(
                           "command-handler-sim: cannot open the record /nonexistent/r.jsonl: "
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

    void badOptions()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        QProcess simulator;
        simulator.setProcessEnvironment(m_bus.environment());
        simulator.start(simulatorPath(), arguments);
        QCOMPARE(endOf(simulator), QStringLiteral("exit status 1"));
        QCOMPARE(QString::fromUtf8(simulator.readAllStandardError()), message);
    }

    void badRequests_data()
    {
        addColumns<QString, QVariantList, QString, QString, QByteArray>(
                "method", "arguments", "errorName", "errorMessage", "recorded");

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
                                  << QVariantList{QVariantMap(),
                                                  QVariantMap{{QStringLiteral("a"), 1}}}
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

    void badRequests()
    {
        QFETCH(QString, method);
        QFETCH(QVariantList, arguments);
        QFETCH(QString, errorName);
        QFETCH(QString, errorMessage);
        QFETCH(QByteArray, recorded);
        QVERIFY(startScript(
                R"({"byCommand": {"Ping": {"n": 1}}})",
                {QStringLiteral("--record"), filePath(QStringLiteral("record.jsonl"))}));
        const QDBusMessage reply = processCall(arguments, method);
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QCOMPARE(reply.errorName(), errorName);
        QCOMPARE(reply.errorMessage(), errorMessage);
        QCOMPARE(readFile(QStringLiteral("record.jsonl")), recorded);
        // Still up and answering.
        QCOMPARE(process(request(QStringLiteral("Ping"))), (QVariantMap{{QStringLiteral("n"), 1}}));
    }

    void nameAlreadyOwned()
    {
        const QString script = writeFile(QStringLiteral("script.json"), "{}");
        QVERIFY(m_simulator.start({QStringLiteral("--script"), script}));
        QProcess second;
        second.setProcessEnvironment(m_bus.environment());
        second.start(simulatorPath(), {QStringLiteral("--script"), script});
        QCOMPARE(endOf(second), QStringLiteral("exit status 1"));
        QCOMPARE(second.readAllStandardError(),
                 QByteArray(
                         "command-handler-sim: se.tarnvik.CommandHandler is already owned on this "
                         "bus\n"));
        // The first one keeps serving.
        QCOMPARE(process(request(QStringLiteral("A"))), exhausted());
    }

    void terminationSignals_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
    }

    void terminationSignals()
    {
        QFETCH(int, signal);
        const QString recordPath = filePath(QStringLiteral("record.jsonl"));
        QVERIFY(startScript("{}", {QStringLiteral("--record"), recordPath}));
        process(request(QStringLiteral("A")));
        QCOMPARE(::kill(m_simulator.process().processId(), signal), 0);
        QCOMPARE(endOf(m_simulator.process()), QStringLiteral("exit status 0"));
        QCOMPARE(readFile(QStringLiteral("record.jsonl")),
                 QByteArray(R"({"commandId": {"s": "A"}, "senderId": {"s": "CommandHandler"}})"
                            "\n"));
    }

    void busLoss()
    {
        TestBus bus;
        QVERIFY2(bus.start(), qPrintable(bus.errorString()));
        QProcess simulator;
        simulator.start(simulatorPath(),
                        {QStringLiteral("--bus-address"), bus.address(), QStringLiteral("--script"),
                         writeFile(QStringLiteral("script.json"), "{}")});
        QVERIFY(bus.waitForService(serviceName(), timeoutMs));
        bus.stop();
        QCOMPARE(endOf(simulator), QStringLiteral("exit status 0"));
    }

    void help_data()
    {
        QTest::addColumn<QString>("option");
        for (const char *option :
             {"--bus-address <address>", "--script <file>", "--record <file>", "--step",
              "--output-dir <dir>", "--state-file <file>", "-h, --help", "-v, --version"})
            QTest::newRow(option) << QString::fromLatin1(option);
    }

    void help()
    {
        QFETCH(QString, option);
        QProcess simulator;
        simulator.start(simulatorPath(), {QStringLiteral("--help")});
        QCOMPARE(endOf(simulator), QStringLiteral("exit status 0"));
        const QString text = QString::fromUtf8(simulator.readAllStandardOutput());
        QVERIFY2(text.startsWith(QStringLiteral("Usage: ") + simulatorPath()
                                 + QStringLiteral(" [options]\n")),
                 qPrintable(text));
        QVERIFY2(text.contains(QStringLiteral("\n  ") + option + QLatin1Char(' ')),
                 qPrintable(text));
    }

    void activation()
    {
        // The bus of scripts/run.sh: the simulated device is started by the bus on the first
        // request.
        QProcess daemon;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("COMMAND_HANDLER_SIM_DIR"), directory());
        daemon.setProcessEnvironment(environment);
        daemon.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        daemon.start(QStringLiteral("dbus-daemon"),
                     {QStringLiteral("--config-file=") + busConfigPath,
                      QStringLiteral("--address=unix:path=") + filePath(QStringLiteral("bus")),
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
                    serviceName(), ls::objectPath(ls::ServiceId::CommandHandler),
                    ls::serviceInterface, ls::processMethod);
            call << request(ls::CommandHandlerCmdId::HandleCommand,
                            {{ls::subCommandIdKey, 601}, {ls::argsKey, QVariantList()}});
            const QDBusMessage reply = bus.call(call, QDBus::Block, timeoutMs);
            QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
            QCOMPARE(typeDump(plainFromQtDBus(reply.arguments().constFirst())),
                     QStringLiteral("QVariantMap{details=QVariantMap{reply=QString(pong)}, "
                                    "errorId=QString(NoError), resultId=QString(Success)}"));
            // The device keeps its state in the folder the bus was given.
            QVERIFY(QFile::exists(filePath(QStringLiteral("state.json"))));
            simulatorPid = bus.interface()->servicePid(serviceName());
        }
        QDBusConnection::disconnectFromBus(connectionName);
        QVERIFY(simulatorPid != 0);

        // The simulator goes with its bus.
        daemon.terminate();
        QVERIFY(daemon.waitForFinished(timeoutMs));
        QVERIFY(waitForProcessGone(simulatorPid));
    }
};

QTEST_GUILESS_MAIN(TestSimulatorProgram)

#include "tst_simulator_program.moc"
