// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef TESTBUS_H
#define TESTBUS_H

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

// A QProcess whose program gets SIGTERM when the test process dies, so that a test that crashes
// or is killed leaves no daemon or peer behind. Linux only.
class TiedProcess : public QProcess
{
protected:
    void setupChildProcess() override;
};

// A private dbus-daemon for one test, started from a configuration of its own so that no test
// ever reaches the machine's buses. Programs started through environment() see it as their
// system bus and their session bus.
class TestBus
{
public:
    struct Options
    {
        // Folder of .service files for D-Bus activation; none when empty.
        QString serviceDirectory;
        // How long the bus waits for a method reply before it answers NoReply itself.
        int replyTimeoutMs = 2000;
        // Rules added at the end of the bus's permissive default policy, e.g. a deny rule that
        // plays a system bus whose policy leaves us out.
        QString policyRules;
    };

    TestBus();
    ~TestBus();
    TestBus(const TestBus &) = delete;
    TestBus &operator=(const TestBus &) = delete;

    // Starts the daemon and waits for its address; false with errorString() set on failure.
    bool start(const Options &options);
    bool start() { return start(Options()); }
    void stop();

    QString address() const { return m_address; }
    QString errorString() const { return m_error; }
    // The system environment with DBUS_SYSTEM_BUS_ADDRESS and DBUS_SESSION_BUS_ADDRESS naming
    // this bus.
    QProcessEnvironment environment() const;
    // Waits until some peer owns the bus name; false when none does within the time.
    bool waitForService(const QString &name, int timeoutMs = 10000) const;
    // Waits until no peer owns the bus name; false when one still does after the time.
    bool waitForServiceReleased(const QString &name, int timeoutMs = 10000) const;
    // Points this process's own system and session bus at this bus; call before the first use of
    // QDBusConnection in the process.
    void exportToProcess() const;

private:
    bool waitForOwnership(const QString &name, bool owned, int timeoutMs) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    TiedProcess m_daemon;
    QString m_address;
    QString m_error;
};

#endif // TESTBUS_H
