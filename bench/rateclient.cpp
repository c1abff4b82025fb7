// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// One client of the request-rate measurement: its own bus connection, then the request of
// `command-parser -e 601` again and again, each waiting for its answer, between two instants
// shared by all clients so that their counts add up to one rate.
//
//   bench-rate-client ADDRESS BUS_NAME START END
//
// START and END are seconds since the epoch (CLOCK_REALTIME, decimals allowed). Prints the
// number of answers received by END; "late" on stderr when the connection was ready only after
// START. Exits 1 when a call fails.
#include "barebus.h"

#include <systemd/sd-bus.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr uint64_t callTimeoutUs = 25'000'000;

int64_t nowNs()
{
    timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return int64_t(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

int64_t parseNs(const char *text)
{
    return int64_t(std::strtold(text, nullptr) * 1e9L);
}

int fail(const char *what, int r)
{
    std::fprintf(stderr, "bench-rate-client: %s: %s\n", what, std::strerror(-r));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5) {
        std::fprintf(stderr, "usage: bench-rate-client ADDRESS BUS_NAME START END\n");
        return 2;
    }
    const char *destination = argv[2];
    const int64_t start = parseNs(argv[3]);
    const int64_t end = parseNs(argv[4]);

    sd_bus *bus = nullptr;
    int r = barebus::connect(&bus, argv[1]);
    if (r < 0)
        return fail("cannot connect", r);

    if (nowNs() > start) {
        std::fprintf(stderr, "late\n");
    } else {
        const timespec at{time_t(start / 1'000'000'000), long(start % 1'000'000'000)};
        while (clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &at, nullptr) != 0) { }
    }

    long answers = 0;
    while (nowNs() < end) {
        sd_bus_message *call = nullptr;
        sd_bus_message *reply = nullptr;
        sd_bus_error error = SD_BUS_ERROR_NULL;
        r = sd_bus_message_new_method_call(bus, &call, destination, "/se/tarnvik/CommandHandler",
                                           "se.tarnvik.Service1", "Process");
        if (r >= 0) {
            r = sd_bus_message_append(call, "a{sv}", 4, "commandId", "s", "HandleCommand",
                                      "subCommandId", "i", 601, "senderId", "s", "CommandHandler",
                                      "args", "av", 0);
        }
        if (r >= 0)
            r = sd_bus_call(bus, call, callTimeoutUs, &error, &reply);
        if (r < 0) {
            std::fprintf(stderr, "bench-rate-client: call failed: %s %s\n",
                         error.name ? error.name : "",
                         error.message ? error.message : std::strerror(-r));
            return 1;
        }
        sd_bus_error_free(&error);
        sd_bus_message_unref(reply);
        sd_bus_message_unref(call);
        if (nowNs() <= end)
            ++answers;
    }
    std::printf("%ld\n", answers);
    sd_bus_flush_close_unref(bus);
    return 0;
}
