// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SCRIPTEDSIMULATOR_H
#define SCRIPTEDSIMULATOR_H

#include "testbus.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// command-handler-sim on a test's private bus: answering from a script, as the simulated device,
// or with arguments of the test's own. Every start waits until the simulator owns the command
// handler's name; stop() waits until the bus has released it again, so that the next start is
// the one that answers. The test passes the simulator's path in, as its build knows it.
class ScriptedSimulator
{
public:
    ScriptedSimulator(const TestBus &bus, const QString &program);
    ~ScriptedSimulator();
    ScriptedSimulator(const ScriptedSimulator &) = delete;
    ScriptedSimulator &operator=(const ScriptedSimulator &) = delete;

    // The environment the simulator runs in; the bus's environment() while none is set.
    void setEnvironment(const QProcessEnvironment &environment) { m_environment = environment; }
    // The simulator's output to the test's own output; otherwise to a file that errorString()
    // quotes when a start fails.
    void setForwardedOutput(bool forwarded) { m_forwardedOutput = forwarded; }

    // Answers from the script (JSON text) and records every request.
    bool startScripted(const QByteArray &script);
    // The simulated device, one page per request so that every run is the same, recording every
    // request; more device options after those.
    bool startDevice(const QStringList &moreArguments = {});
    // Exactly these arguments: nothing is recorded unless they say so.
    bool start(const QStringList &arguments);
    // SIGTERM, and SIGKILL when that does not end it in time; true when SIGTERM ended it (or it
    // had already ended) and the bus has released the name.
    bool stop();

    QString errorString() const { return m_error; }
    // The simulator's process, for the tests of the simulator itself.
    TiedProcess &process() { return m_process; }
    const TiedProcess &process() const { return m_process; }

    // Every request recorded since the last startScripted() or startDevice(), in the canonical
    // form of normalised().
    QStringList requests() const;
    // The JSON object in compact form, keys sorted; text that is no JSON object is marked so.
    static QString normalised(const QByteArray &json);

private:
    void stopRunning();
    bool launch(const QStringList &arguments);
    QString recordPath() const;
    QString logPath() const;

    const TestBus &m_bus;
    const QString m_program;
    QProcessEnvironment m_environment;
    bool m_forwardedOutput = false;
    QTemporaryDir m_dir;
    TiedProcess m_process;
    QString m_error;
};

#endif // SCRIPTEDSIMULATOR_H
