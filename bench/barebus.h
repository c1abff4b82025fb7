// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// What the programs built on sd-bus alone do alike: connect to a bus as a client, and serve it
// until it goes away. Header only, so that any such program compiles it without a library.
#pragma once

#include <systemd/sd-bus.h>

#include <cstdint>

namespace barebus {

// A client connection to the bus at address, started; with acceptFds it asks the bus to pass file
// descriptors too. Returns what sd-bus returned, negative on failure (*bus may then be half set
// up).
inline int connect(sd_bus **bus, const char *address, bool acceptFds = false)
{
    int r = sd_bus_new(bus);
    if (r >= 0)
        r = sd_bus_set_address(*bus, address);
    if (r >= 0)
        r = sd_bus_set_bus_client(*bus, 1);
    if (r >= 0 && acceptFds)
        r = sd_bus_negotiate_fds(*bus, 1);
    if (r >= 0)
        r = sd_bus_start(*bus);
    return r;
}

// Answers whatever comes until the bus goes away, then closes the connection.
inline void serve(sd_bus *bus)
{
    for (;;) {
        int r = sd_bus_process(bus, nullptr);
        if (r > 0)
            continue;
        if (r >= 0)
            r = sd_bus_wait(bus, UINT64_MAX);
        if (r < 0)
            break;
    }
    sd_bus_flush_close_unref(bus);
}

} // namespace barebus
