// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef TERMINATIONSIGNALS_H
#define TERMINATIONSIGNALS_H

class QCoreApplication;

// SIGTERM and SIGINT end the application's event loop, so that the record and the device's state
// are closed the ordinary way. False when the signals cannot be caught.
bool quitOnTerminationSignals(QCoreApplication *app);

#endif // TERMINATIONSIGNALS_H
