// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The configuration commands (ConfigurationCommandId): how the device lays braille out and
// embosses it. None may change while a job is embossing or paused.

#include "commandcontext.h"

#include "job/braille.h"
#include "job/embossjob.h"
#include "state/statestore.h"

namespace {

QVariantMap configurationDetails(const Configuration &c)
{
    return {{QStringLiteral("paperFormat"), c.paperFormat},
            {QStringLiteral("cellsPerLine"), c.cellsPerLine},
            {QStringLiteral("linesPerPage"), c.linesPerPage},
            {QStringLiteral("duplex"), c.duplex},
            {QStringLiteral("brailleTable"), c.brailleTable},
            {QStringLiteral("dotStrength"), c.dotStrength}};
}

// Sets one configuration value unless a job is active; the result names the value set.
template<typename T>
DeviceResult setConfiguration(CommandContext &device, T Configuration::*field, const QString &key,
                              const T &value)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    device.store.state().configuration.*field = value;
    return DeviceResult::success({{key, QVariant::fromValue(value)}});
}

} // namespace

namespace ConfigurationCommands {

DeviceResult getConfiguration(CommandContext &device, const Arguments &)
{
    return DeviceResult::success(configurationDetails(device.store.state().configuration));
}

DeviceResult setPaperFormat(CommandContext &device, const Arguments &args)
{
    return setConfiguration(device, &Configuration::paperFormat, QStringLiteral("paperFormat"),
                            args.at(0).toString());
}

DeviceResult setCellsPerLine(CommandContext &device, const Arguments &args)
{
    return setConfiguration(device, &Configuration::cellsPerLine, QStringLiteral("cellsPerLine"),
                            args.at(0).toInt());
}

DeviceResult setLinesPerPage(CommandContext &device, const Arguments &args)
{
    return setConfiguration(device, &Configuration::linesPerPage, QStringLiteral("linesPerPage"),
                            args.at(0).toInt());
}

DeviceResult setDuplex(CommandContext &device, const Arguments &args)
{
    return setConfiguration(device, &Configuration::duplex, QStringLiteral("duplex"),
                            args.at(0).toBool());
}

DeviceResult setBrailleTable(CommandContext &device, const Arguments &args)
{
    const QString table = args.at(0).toString();
    if (!Braille::isKnownTable(table)) {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("Braille table \"%1\" is not installed or does not load")
                        .arg(table));
    }
    if (!Braille::translatesText(table)) {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("Braille table \"%1\" does not translate text into braille")
                        .arg(table));
    }
    return setConfiguration(device, &Configuration::brailleTable, QStringLiteral("brailleTable"),
                            table);
}

DeviceResult setDotStrength(CommandContext &device, const Arguments &args)
{
    return setConfiguration(device, &Configuration::dotStrength, QStringLiteral("dotStrength"),
                            args.at(0).toInt());
}

DeviceResult resetConfiguration(CommandContext &device, const Arguments &)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    device.store.state().configuration = Configuration();
    return DeviceResult::success(configurationDetails(device.store.state().configuration));
}

} // namespace ConfigurationCommands
