// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef CHILDCOVERAGE_H
#define CHILDCOVERAGE_H

#include <cstdint>

// The inline 8-bit counters that -fsanitize=fuzzer gives every instrumented edge of the binary.
uint8_t *coverageCountersBegin();
uint8_t *coverageCountersEnd();

#endif // CHILDCOVERAGE_H
