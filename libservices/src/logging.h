// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_LOGGING_H
#define LS_LOGGING_H

#include <QLoggingCategory>

// Failed exchanges are logged at debug level only: the tools that use this library own their
// output, so the library stays silent unless QT_LOGGING_RULES="ls.dbus.debug=true" asks for it.
Q_DECLARE_LOGGING_CATEGORY(LS_DBUS)

#endif // LS_LOGGING_H
