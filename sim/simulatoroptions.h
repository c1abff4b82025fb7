// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SIMULATOROPTIONS_H
#define SIMULATOROPTIONS_H

#include "rules/deviceoptions.h"

#include <QString>

class QCoreApplication;

// The simulator's command line, read.
struct SimulatorOptions
{
    // --bus-address as given; empty for the system bus.
    QString givenBusAddress;
    // --script: replies from the script instead of the device.
    bool scripted = false;
    QString scriptFile;
    // --record: every request appended to the record.
    bool recording = false;
    QString recordFile;
    // --step, --output-dir, --state-file.
    DeviceOptions device;

    // The bus to serve: --bus-address, else DBUS_SYSTEM_BUS_ADDRESS, else the system bus's socket.
    QString busAddress() const;
    // The bus as messages name it: "system bus" or "bus at <address>".
    QString busDescription() const;
};

// Reads the command line. --help, --version and an unknown option end the program there, as
// QCommandLineParser does; false with *error set for a positional argument or a device option
// given with --script.
bool readOptions(const QCoreApplication &app, SimulatorOptions *options, QString *error);

#endif // SIMULATOROPTIONS_H
