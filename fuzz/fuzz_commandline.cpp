// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Runs the tool's main() on an argument vector made of the input: the arguments after the
// program name, each ending at a NUL byte or at the end of the input. main() may end the process
// (--help, --version, a parse error), so each input runs in a child process of its own; a child
// killed by a signal, stopped by a sanitizer or still running after a few seconds is a finding.
//
// The child's coverage counters go back to the parent through a shared page before it ends, so
// that the fuzzer sees what main() reached. The bus address points at no socket: every request
// fails at once, the same way every time.

#include "childcoverage.h"
#include "fuzzinput.h"

#include <sanitizer/common_interface_defs.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

int toolMain(int argc, char *argv[]);

namespace {

constexpr int maximumArguments = 32;
constexpr unsigned childTimeoutSeconds = 5;
constexpr int sanitizerExitCode = 86;

uint8_t *counters = nullptr;
uint8_t *sharedCounters = nullptr;

size_t counterCount()
{
    return size_t(coverageCountersEnd() - coverageCountersBegin());
}

void handCountersOver()
{
    std::memcpy(sharedCounters, counters, counterCount());
}

// Reached from exit() inside main(): what the tool exits with is of no interest, and the leak
// check at exit would report the objects main() leaves to the end of the process.
void endChild()
{
    handCountersOver();
    _exit(0);
}

void sanitizerDeath()
{
    _exit(sanitizerExitCode);
}

[[noreturn]] void runChild(std::vector<std::string> &arguments)
{
    std::memset(counters, 0, counterCount());

    // The parent's fuzzer handles these; in the child they take their default action, which the
    // parent sees.
    for (int signal : {SIGABRT, SIGILL, SIGINT, SIGTERM, SIGALRM, SIGXFSZ, SIGUSR1, SIGUSR2})
        std::signal(signal, SIG_DFL);
    __sanitizer_set_death_callback(sanitizerDeath);

    // The tool's own output (help, version, parse errors) goes nowhere; sanitizer reports still
    // reach the fuzzer's stderr.
    const int report = dup(STDERR_FILENO);
    __sanitizer_set_report_fd(reinterpret_cast<void *>(intptr_t(report)));
    fatalMessageFd = report;
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);

    alarm(childTimeoutSeconds);
    std::atexit(endChild);

    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(&argument[0]);
    argv.push_back(nullptr);
    toolMain(int(argv.size() - 1), argv.data());
    endChild();
    _exit(0);
}

[[noreturn]] void fail(const char *what, int detail, const std::vector<std::string> &arguments)
{
    std::fprintf(stderr, "fuzz_commandline: %s %d; arguments:", what, detail);
    for (const std::string &argument : arguments)
        std::fprintf(stderr, " \"%s\"", argument.c_str());
    std::fprintf(stderr, "\n");
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler(quietMessageHandler);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/command-parser-fuzz", 1);
    setenv("LS_DBUS_TIMEOUT_MS", "1000", 1);
    void *shared = mmap(nullptr, counterCount() ? counterCount() : 1, PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        std::perror("fuzz_commandline: mmap");
        std::abort();
    }
    sharedCounters = static_cast<uint8_t *>(shared);
    counters = coverageCountersBegin();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    std::vector<std::string> arguments{"command-parser"};
    std::string current;
    for (size_t i = 0; i < size && int(arguments.size()) < maximumArguments; ++i) {
        if (data[i] == 0) {
            arguments.push_back(current);
            current.clear();
        } else {
            current += char(data[i]);
        }
    }
    if (int(arguments.size()) < maximumArguments && !current.empty())
        arguments.push_back(current);

    const pid_t child = fork();
    if (child < 0) {
        std::perror("fuzz_commandline: fork");
        std::abort();
    }
    if (child == 0)
        runChild(arguments);

    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            std::perror("fuzz_commandline: waitpid");
            std::abort();
        }
    }
    const size_t count = counterCount();
    for (size_t i = 0; i < count; ++i) {
        if (sharedCounters[i] == 0)
            continue;
        const unsigned sum = unsigned(counters[i]) + sharedCounters[i];
        counters[i] = uint8_t(sum > 255 ? 255 : sum);
        sharedCounters[i] = 0;
    }

    if (WIFSIGNALED(status)) {
        if (WTERMSIG(status) == SIGALRM)
            fail("the tool ran longer than the time-out of seconds:", childTimeoutSeconds,
                 arguments);
        fail("the tool was killed by signal", WTERMSIG(status), arguments);
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == sanitizerExitCode)
        fail("a sanitizer stopped the tool, exit code", sanitizerExitCode, arguments);
    return 0;
}
