// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// A peer on the test bus built from sd-bus and our conversion module alone, so that other D-Bus
// stacks can check what the module reads and writes. It owns the bus name given as its argument
// and serves /se/tarnvik/Echo, interface se.tarnvik.Service1:
//   Process     one argument of any type, answered with its plain conversion read and written back;
//   EchoTyped   any arguments, answered with each read and written back keeping its exact type.
// A value the module refuses is answered with InvalidArgs naming the module's status.
#include "../../bench/barebus.h"

#include <ls/dbusvalue.h>

#include <QString>
#include <QVariant>

#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

const char objectPath[] = "/se/tarnvik/Echo";
const char interfaceName[] = "se.tarnvik.Service1";

const char *statusName(ls::WireStatus status)
{
    switch (status) {
    case ls::WireStatus::Ok:
        return "Ok";
    case ls::WireStatus::TooDeep:
        return "TooDeep";
    case ls::WireStatus::NoDBusForm:
        return "NoDBusForm";
    case ls::WireStatus::BadText:
        return "BadText";
    case ls::WireStatus::Malformed:
        return "Malformed";
    }
    return "unknown";
}

int refuse(sd_bus_message *call, const char *what, int argument, ls::WireStatus status)
{
    return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "%s of argument %d: %s",
                                      what, argument, statusName(status));
}

int sendReply(sd_bus_message *reply)
{
    const int r = sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return r < 0 ? r : 1;
}

int process(sd_bus_message *call)
{
    QVariant value;
    const ls::WireStatus read = ls::readValue(call, &value);
    if (read != ls::WireStatus::Ok)
        return refuse(call, "reading", 1, read);
    if (sd_bus_message_at_end(call, true) <= 0)
        return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS,
                                          "Process takes exactly one argument");

    sd_bus_message *reply = nullptr;
    const int r = sd_bus_message_new_method_return(call, &reply);
    if (r < 0)
        return r;
    const ls::WireStatus written = ls::appendValue(reply, value);
    if (written != ls::WireStatus::Ok) {
        // Left half-built by the module: dropped.
        sd_bus_message_unref(reply);
        return refuse(call, "writing", 1, written);
    }
    return sendReply(reply);
}

int echoTyped(sd_bus_message *call)
{
    sd_bus_message *reply = nullptr;
    const int r = sd_bus_message_new_method_return(call, &reply);
    if (r < 0)
        return r;
    for (int argument = 1; sd_bus_message_at_end(call, true) == 0; ++argument) {
        ls::DBusTyped typed;
        ls::WireStatus status = ls::readTypedValue(call, &typed);
        const char *what = "reading";
        if (status == ls::WireStatus::Ok) {
            status = ls::appendValue(reply, QVariant::fromValue(typed));
            what = "writing";
        }
        if (status != ls::WireStatus::Ok) {
            sd_bus_message_unref(reply);
            return refuse(call, what, argument, status);
        }
    }
    return sendReply(reply);
}

int handle(sd_bus_message *message, void *, sd_bus_error *)
{
    if (sd_bus_message_is_method_call(message, interfaceName, "Process") > 0)
        return process(message);
    if (sd_bus_message_is_method_call(message, interfaceName, "EchoTyped") > 0)
        return echoTyped(message);
    // Every other call is left to sd-bus, which answers its standard interfaces itself.
    return 0;
}

// Nothing to tidy up on the way out: the bus releases the name with the connection.
void terminate(int)
{
    ::_exit(0);
}

int fail(const char *what, int r)
{
    std::fprintf(stderr, "echopeer: %s: %s\n", what, std::strerror(-r));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: echopeer BUS_NAME  (bus from DBUS_SYSTEM_BUS_ADDRESS)\n");
        return 2;
    }
    const char *address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (!address || !*address) {
        std::fprintf(stderr, "echopeer: DBUS_SYSTEM_BUS_ADDRESS is not set\n");
        return 2;
    }
    std::signal(SIGTERM, terminate);

    // Descriptors accepted, so that one sent in reaches the module to be refused there.
    sd_bus *bus = nullptr;
    int r = barebus::connect(&bus, address, true);
    if (r < 0)
        return fail("cannot connect", r);
    r = sd_bus_add_object(bus, nullptr, objectPath, handle, nullptr);
    if (r < 0)
        return fail("cannot serve the object", r);
    r = sd_bus_request_name(bus, argv[1], 0);
    if (r < 0)
        return fail("cannot own the name", r);
    std::fputs("ready\n", stdout);
    std::fflush(stdout);

    barebus::serve(bus);
    return 0;
}
