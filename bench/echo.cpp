// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// A bare sd-bus service that answers Process with the request it was given: the rate a peer on
// this bus could reach if answering cost nothing, against which the simulator's rate is read.
//
//   bench-echo ADDRESS [BUS_NAME]     BUS_NAME defaults to se.tarnvik.BenchEcho
#include "barebus.h"

#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstring>

namespace {

int process(sd_bus_message *request, void *, sd_bus_error *)
{
    sd_bus_message *reply = nullptr;
    int r = sd_bus_message_new_method_return(request, &reply);
    if (r >= 0)
        r = sd_bus_message_copy(reply, request, 1);
    if (r >= 0)
        r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r;
}

// Open to every sender, as the device's services are: without that flag sd-bus asks the bus for
// the caller's credentials on every call, a second round trip per request.
const sd_bus_vtable vtable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Process", "a{sv}", "a{sv}", process, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END,
};

int fail(const char *what, int r)
{
    std::fprintf(stderr, "bench-echo: %s: %s\n", what, std::strerror(-r));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: bench-echo ADDRESS [BUS_NAME]\n");
        return 2;
    }
    const char *name = argc > 2 ? argv[2] : "se.tarnvik.BenchEcho";

    sd_bus *bus = nullptr;
    int r = barebus::connect(&bus, argv[1]);
    if (r < 0)
        return fail("cannot connect", r);
    r = sd_bus_add_object_vtable(bus, nullptr, "/se/tarnvik/CommandHandler", "se.tarnvik.Service1",
                                 vtable, nullptr);
    if (r < 0)
        return fail("cannot export the object", r);
    r = sd_bus_request_name(bus, name, 0);
    if (r < 0)
        return fail("cannot own the name", r);

    barebus::serve(bus);
    return 0;
}
