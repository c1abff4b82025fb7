// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SERVICETEST_H
#define SERVICETEST_H

#include <testbus.h>

#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantMap>

namespace ls {
class DBusService;
}

// What the tests of the service store and its proxy share: a stand-in for the command handler
// (testpeer) on a private bus, and requests and answers to compare.

// Registered with the store, but no peer ever owns its bus name.
inline const QString nobodyId = QStringLiteral("Nobody");

QString peerProgram();
// Makes one exchange in a process of its own and prints the response as JSON.
QString clientProgram();

ls::DBusService *commandHandler();
QVariantMap withCommand(const QString &commandId, QVariantMap map = {});
QVariantMap failure(const QString &errorId, const QString &errorMessage);
// Where a QDBusArgument hides in a value, as a path of keys and indexes; empty when none does.
QString dbusArgumentPath(const QVariant &value, const QString &path = QStringLiteral("/"));

// The base of the tests against the peer: a private bus with the peer owning the command
// handler's name, both services registered with the store, and every message of the library
// recorded. The library logs nothing unless asked to, whatever went wrong: a test that expects
// messages takes them from MessageLog::messages().
class ServiceTestCase : public QObject
{
    Q_OBJECT

protected:
    // How many messages reached the peer before the one that asks; -1 when it did not answer.
    int receivedByPeer();
    const TestBus &bus() const { return m_bus; }

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

private:
    void startPeer();

    TestBus m_bus;
    TiedProcess m_peer;
};

#endif // SERVICETEST_H
