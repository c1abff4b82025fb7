// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "devicelogging.h"

Q_LOGGING_CATEGORY(SIM_DEVICE, "sim.device", QtInfoMsg)
