// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DEVICEOPTIONS_H
#define DEVICEOPTIONS_H

#include <QString>

#include <functional>

// How the simulated device is run: the device options of the command line, and its clock.
struct DeviceOptions
{
    // Pages advance one per request instead of with time, so runs are repeatable.
    bool stepPerRequest = false;
    // Where each embossed page is written as Unicode braille, with a picture of each sheet and
    // index.html; nothing is written when empty.
    QString outputDirectory;
    // Off, the output folder gets the page files only: what bench/sheets.sh compares with.
    bool sheetPictures = true;
    // Where the device's state is kept across restarts; nothing is kept when empty.
    QString stateFile;
    // Monotonic milliseconds that time pages and uptime; a running QElapsedTimer when unset, so
    // that a test can set the time instead of waiting for it.
    std::function<qint64()> clockMs;
};

#endif // DEVICEOPTIONS_H
