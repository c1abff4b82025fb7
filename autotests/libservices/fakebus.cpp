// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// A bus that stalls a client on purpose, at the step its mode names, so that a test can watch the
// library's deadline cover every step of an exchange:
//
//   fakebus SOCKET silent   accepts the connection and never says a word (no authentication)
//   fakebus SOCKET auth     authenticates the client and never answers its Hello
//   fakebus SOCKET hello    answers Hello and never delivers or answers the call
//
// It listens on the Unix socket SOCKET, prints "ready" once it does, serves one client and runs
// until it is killed.
#include <systemd/sd-bus.h>

#include <cstdio>
#include <cstring>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

int listenOn(const char *path)
{
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (fd < 0 || std::strlen(path) >= sizeof(address.sun_path))
        return -1;
    std::strcpy(address.sun_path, path);
    if (::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)) != 0
        || ::listen(fd, 4) != 0)
        return -1;
    return fd;
}

[[noreturn]] void holdForever()
{
    for (;;)
        ::pause();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fputs("usage: fakebus SOCKET silent|auth|hello\n", stderr);
        return 2;
    }
    const bool answerHello = std::strcmp(argv[2], "hello") == 0;
    const bool authenticate = answerHello || std::strcmp(argv[2], "auth") == 0;
    const int listener = listenOn(argv[1]);
    if (listener < 0) {
        std::perror("fakebus: cannot listen");
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);

    const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
        std::perror("fakebus: accept");
        return 1;
    }
    if (!authenticate)
        holdForever();

    sd_bus *bus = nullptr;
    sd_id128_t id{};
    sd_id128_randomize(&id);
    if (sd_bus_new(&bus) < 0 || sd_bus_set_fd(bus, client, client) < 0
        || sd_bus_set_server(bus, 1, id) < 0 || sd_bus_start(bus) < 0) {
        std::fputs("fakebus: cannot serve the client\n", stderr);
        return 1;
    }
    for (;;) {
        sd_bus_message *message = nullptr;
        const int r = sd_bus_process(bus, &message);
        if (r < 0)
            holdForever();
        if (message) {
            if (answerHello && sd_bus_message_is_method_call(message, nullptr, "Hello") > 0)
                sd_bus_reply_method_return(message, "s", ":1.1");
            sd_bus_message_unref(message);
        }
        if (r == 0)
            sd_bus_wait(bus, UINT64_MAX);
    }
}
