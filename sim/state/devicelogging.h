// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DEVICELOGGING_H
#define DEVICELOGGING_H

#include <QLoggingCategory>

// The simulated device's own messages: state file trouble, page files that could not be written.
Q_DECLARE_LOGGING_CATEGORY(SIM_DEVICE)

#endif // DEVICELOGGING_H
