// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "logging.h"

Q_LOGGING_CATEGORY(LS_DBUS, "ls.dbus", QtInfoMsg)
