// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The least any Qt console tool does: an application object and one log message (which names the
// Qt library in use, for the report). What the tool costs beyond this is its own work and the
// exchange with the device.
#include <QCoreApplication>
#include <QDebug>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qDebug("Qt %s", qVersion());
    return 0;
}
