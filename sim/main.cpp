// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// command-handler-sim: reads its options and wires its parts. The bus connection serves the
// command-handler service, whose requests go to the script (--script) or to the simulated device;
// docs/architecture.md shows the parts.

#include "simulatoroptions.h"
#include "terminationsignals.h"

#include "bus/busconnection.h"
#include "bus/commandhandlerservice.h"
#include "bus/requestrecord.h"
#include "device/device.h"
#include "script/script.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>

#include <memory>

namespace {

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
    QCoreApplication::setApplicationVersion(QStringLiteral(PROJECT_VERSION_STRING));

    SimulatorOptions options;
    QString error;
    if (!readOptions(app, &options, &error))
        return fail(error);

    // Who makes the bus replies: the script or the device.
    std::unique_ptr<Script> script;
    std::unique_ptr<Device> device;
    CommandHandlerService::RequestHandler handler;
    if (options.scripted) {
        script = std::make_unique<Script>();
        if (!script->load(options.scriptFile))
            return fail(script->errorString());
        handler = [&script](const QVariantMap &request) {
            return script->replyTo(request);
        };
    } else {
        device = std::make_unique<Device>(options.device);
        handler = [&device](const QVariantMap &request) {
            return BusReply::response(device->handle(request));
        };
    }

    std::unique_ptr<RequestRecord> record;
    if (options.recording) {
        record = std::make_unique<RequestRecord>();
        if (!record->open(options.recordFile)) {
            return fail(QStringLiteral("cannot open the record %1: %2")
                                .arg(options.recordFile, record->errorString()));
        }
    }

    if (!quitOnTerminationSignals(&app))
        return fail(QStringLiteral("cannot catch SIGTERM and SIGINT"));

    const QString busDescription = options.busDescription();
    BusConnection bus;
    if (!bus.open(options.busAddress(), &error))
        return fail(QStringLiteral("cannot connect to the %1: %2").arg(busDescription, error));

    const QString path = ls::objectPath(ls::ServiceId::CommandHandler);
    CommandHandlerService service(handler, record.get());
    if (!service.attach(bus.bus(), path))
        return fail(QStringLiteral("cannot export %1").arg(path));

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
    const QString serviceName = ls::busName(ls::ServiceId::CommandHandler);
    QObject::connect(&service, &CommandHandlerService::exitRequested, &app,
                     [&end] { end(0, QString()); });
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
