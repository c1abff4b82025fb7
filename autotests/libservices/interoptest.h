// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef INTEROPTEST_H
#define INTEROPTEST_H

#include <testbus.h>

#include <QByteArray>
#include <QString>
#include <QStringList>

// The echo peer on a private bus, and the two tools that call it: gdbus (GLib) and busctl
// (sd-bus's own tool, whose argument parser and printer are its own).

// Process reads its argument plain, EchoTyped keeping every D-Bus type.
enum class EchoMethod { Process, EchoTyped };
enum class Tool { Gdbus, Busctl };

struct ToolRun
{
    // Empty when the tool ran to its end.
    QString problem;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// A reply printout and what was expected of it, in full: QCOMPARE cuts long texts short.
QString mismatch(const QByteArray &actual, const QByteArray &expected, const QByteArray &err);

// Call initTestCase() and cleanupTestCase() from the test slots of the same name.
class EchoPeer
{
public:
    void initTestCase();
    void cleanupTestCase();

    // Skips the test, and says so, when the tool is not installed.
    bool skipWithout(Tool tool) const;
    // One call of the peer's method by the tool; json asks busctl for its JSON printout.
    ToolRun run(Tool tool, EchoMethod method, const QStringList &arguments, bool json) const;

private:
    QString m_gdbus;
    QString m_busctl;
    TestBus m_bus;
    TiedProcess m_peer;
};

#endif // INTEROPTEST_H
