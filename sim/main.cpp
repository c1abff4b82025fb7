#include "busconnection.h"
#include "device.h"
#include "processservice.h"
#include "requestrecord.h"
#include "scriptedresponder.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <memory>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalSockets[2] = {-1, -1};

void onTerminationSignal(int)
{
    const char c = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalSockets[0], &c, 1);
}

// SIGTERM and SIGINT end the event loop, so that the record and the device's state are closed
// the ordinary way.
bool quitOnTerminationSignals(QCoreApplication *app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalSockets) != 0)
        return false;
    auto *notifier = new QSocketNotifier(signalSockets[1], QSocketNotifier::Read, app);
    QObject::connect(notifier, &QSocketNotifier::activated, app, &QCoreApplication::quit);
    struct sigaction action = {};
    action.sa_handler = onTerminationSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGTERM, &action, nullptr) == 0
           && ::sigaction(SIGINT, &action, nullptr) == 0;
}

int fail(const QString &message)
{
    qCritical("command-handler-sim: %s", qUtf8Printable(message));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("command-handler-sim"));
    QCoreApplication::setApplicationVersion(QStringLiteral(COMMAND_HANDLER_SIM_VERSION));

    const QString serviceName = ls::busName(ls::ServiceId::CommandHandler);
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Simulated embossing device: owns %1 on the system bus and answers "
                           "%2.%3 at %4, from the simulated device or from a script.")
                    .arg(serviceName, ls::serviceInterface, ls::processMethod,
                         ls::objectPath(ls::ServiceId::CommandHandler)));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption busAddressOption(
            QStringLiteral("bus-address"),
            QStringLiteral("Serve the bus at <address> instead of the system bus "
                           "(which DBUS_SYSTEM_BUS_ADDRESS can point elsewhere)."),
            QStringLiteral("address"));
    const QCommandLineOption scriptOption(
            QStringLiteral("script"),
            QStringLiteral("Answer from the JSON script <file> instead of the simulated device."),
            QStringLiteral("file"));
    const QCommandLineOption recordOption(
            QStringLiteral("record"),
            QStringLiteral("Append one JSON line per request, every value tagged with its D-Bus "
                           "type, to <file>."),
            QStringLiteral("file"));
    const QCommandLineOption stepOption(
            QStringLiteral("step"),
            QStringLiteral("Device: advance embossing one page per request instead of with time."));
    const QCommandLineOption outputDirOption(
            QStringLiteral("output-dir"),
            QStringLiteral("Device: write every embossed page as Unicode braille into <dir>."),
            QStringLiteral("dir"));
    const QCommandLineOption stateFileOption(
            QStringLiteral("state-file"),
            QStringLiteral("Device: keep the device's state in <file> across restarts."),
            QStringLiteral("file"));
    parser.addOptions({busAddressOption, scriptOption, recordOption, stepOption, outputDirOption,
                       stateFileOption});
    parser.process(app);

    if (!parser.positionalArguments().isEmpty()) {
        return fail(QStringLiteral("unexpected argument \"%1\"; see --help")
                            .arg(parser.positionalArguments().constFirst()));
    }

    std::unique_ptr<ScriptedResponder> script;
    std::unique_ptr<Device> device;
    ProcessService::Responder responder;
    if (parser.isSet(scriptOption)) {
        for (const QCommandLineOption &option : {stepOption, outputDirOption, stateFileOption}) {
            if (parser.isSet(option)) {
                return fail(QStringLiteral("--%1 is an option of the simulated device, not of "
                                           "--script")
                                    .arg(option.names().constFirst()));
            }
        }
        script = std::make_unique<ScriptedResponder>();
        if (!script->load(parser.value(scriptOption)))
            return fail(script->errorString());
        responder = [&script](const QVariantMap &request) {
            return script->answer(request);
        };
    } else {
        DeviceOptions options;
        options.stepPerRequest = parser.isSet(stepOption);
        options.outputDirectory = parser.value(outputDirOption);
        options.stateFile = parser.value(stateFileOption);
        device = std::make_unique<Device>(options);
        responder = [&device](const QVariantMap &request) {
            return Answer::reply(device->handle(request));
        };
    }

    std::unique_ptr<RequestRecord> record;
    if (parser.isSet(recordOption)) {
        record = std::make_unique<RequestRecord>();
        if (!record->open(parser.value(recordOption))) {
            return fail(QStringLiteral("cannot open the record %1: %2")
                                .arg(parser.value(recordOption), record->errorString()));
        }
    }

    if (!quitOnTerminationSignals(&app))
        return fail(QStringLiteral("cannot catch SIGTERM and SIGINT"));

    const QString givenAddress = parser.value(busAddressOption);
    QString address = givenAddress;
    if (address.isEmpty())
        address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    if (address.isEmpty())
        address = QStringLiteral("unix:path=/run/dbus/system_bus_socket");
    const QString busDescription = givenAddress.isEmpty()
                                           ? QStringLiteral("system bus")
                                           : QStringLiteral("bus at ") + givenAddress;
    BusConnection bus;
    QString error;
    if (!bus.open(address, &error))
        return fail(QStringLiteral("cannot connect to the %1: %2").arg(busDescription, error));

    ProcessService service(responder, record.get());
    if (!service.attach(bus.bus(), ls::objectPath(ls::ServiceId::CommandHandler))) {
        return fail(QStringLiteral("cannot export %1")
                            .arg(ls::objectPath(ls::ServiceId::CommandHandler)));
    }

    // The first reason to end is the only one told, and the one the exit status gives.
    bool ending = false;
    const auto end = [&ending, &bus](int status, const QString &message) {
        if (ending)
            return;
        ending = true;
        if (!message.isEmpty())
            qCritical("command-handler-sim: %s", qUtf8Printable(message));
        bus.stop();
        QCoreApplication::exit(status);
    };
    QObject::connect(&service, &ProcessService::exitRequested, &app, [&end] { end(0, QString()); });
    QObject::connect(&bus, &BusConnection::connectFailed, &app, [&](const QString &reason) {
        end(1, QStringLiteral("cannot connect to the %1: %2").arg(busDescription, reason));
    });
    QObject::connect(&bus, &BusConnection::nameRefused, &app, [&](const QString &reason) {
        end(1, QStringLiteral("cannot own %1: %2").arg(serviceName, reason));
    });
    QObject::connect(&bus, &BusConnection::nameTaken, &app, [&] {
        end(1, QStringLiteral("%1 is already owned on this bus").arg(serviceName));
    });
    // Without its bus the service has no one left to serve.
    QObject::connect(&bus, &BusConnection::lost, &app, [&end] { end(0, QString()); });

    if (!bus.requestName(serviceName, &error))
        return fail(QStringLiteral("cannot own %1: %2").arg(serviceName, error));

    const int status = app.exec();
    service.detach();
    bus.close();
    return status;
}
