// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "childcoverage.h"

// Built without coverage instrumentation: in an instrumented file the compiler renames its own
// references to these linker-made symbols when the file declares them too.
extern "C" {
extern uint8_t __start___sancov_cntrs[] __attribute__((weak, visibility("hidden")));
extern uint8_t __stop___sancov_cntrs[] __attribute__((weak, visibility("hidden")));
}

uint8_t *coverageCountersBegin()
{
    return __start___sancov_cntrs;
}

uint8_t *coverageCountersEnd()
{
    return __stop___sancov_cntrs;
}
