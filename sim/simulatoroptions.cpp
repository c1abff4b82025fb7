// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "simulatoroptions.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>

QString SimulatorOptions::busAddress() const
{
    QString address = givenBusAddress;
    if (address.isEmpty())
        address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    if (address.isEmpty())
        address = QStringLiteral("unix:path=/run/dbus/system_bus_socket");
    return address;
}

QString SimulatorOptions::busDescription() const
{
    return givenBusAddress.isEmpty() ? QStringLiteral("system bus")
                                     : QStringLiteral("bus at ") + givenBusAddress;
}

bool readOptions(const QCoreApplication &app, SimulatorOptions *options, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
            QStringLiteral("Simulated embossing device: owns %1 on the system bus and answers "
                           "%2.%3 at %4, from the simulated device or from a script.")
                    .arg(ls::busName(ls::ServiceId::CommandHandler), ls::serviceInterface,
                         ls::processMethod, ls::objectPath(ls::ServiceId::CommandHandler)));
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
            QStringLiteral(
                    "Device: write every embossed page as Unicode braille into <dir>, with a "
                    "picture of every sheet (SVG) and index.html listing the jobs."),
            QStringLiteral("dir"));
    const QCommandLineOption stateFileOption(
            QStringLiteral("state-file"),
            QStringLiteral("Device: keep the device's state in <file> across restarts."),
            QStringLiteral("file"));
    parser.addOptions({busAddressOption, scriptOption, recordOption, stepOption, outputDirOption,
                       stateFileOption});
    parser.process(app);

    if (!parser.positionalArguments().isEmpty()) {
        *error = QStringLiteral("unexpected argument \"%1\"; see --help")
                         .arg(parser.positionalArguments().constFirst());
        return false;
    }
    options->givenBusAddress = parser.value(busAddressOption);
    options->recording = parser.isSet(recordOption);
    options->recordFile = parser.value(recordOption);
    options->scripted = parser.isSet(scriptOption);
    options->scriptFile = parser.value(scriptOption);
    if (options->scripted) {
        for (const QCommandLineOption &option : {stepOption, outputDirOption, stateFileOption}) {
            if (parser.isSet(option)) {
                *error = QStringLiteral("--%1 is an option of the simulated device, not of "
                                        "--script")
                                 .arg(option.names().constFirst());
                return false;
            }
        }
    }
    options->device.stepPerRequest = parser.isSet(stepOption);
    options->device.outputDirectory = parser.value(outputDirOption);
    options->device.stateFile = parser.value(stateFileOption);
    return true;
}
