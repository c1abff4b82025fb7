// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef BUSCONNECTION_H
#define BUSCONNECTION_H

#include <QObject>
#include <QString>
#include <QTimer>

#include <systemd/sd-bus.h>

#include <memory>

class QSocketNotifier;

// The simulator's connection to its bus, served from the Qt event loop: the connection's socket
// and its next timeout wake it, and whatever the bus has for it is handled there and then.
class BusConnection : public QObject
{
    Q_OBJECT
public:
    // A bus answers hello and a name request in microseconds; one whose policy keeps its replies
    // from us never does, and a service that is not up by now is better ended with a reason.
    static constexpr int startupTimeoutMs = 1000;

    explicit BusConnection(QObject *parent = nullptr);
    ~BusConnection() override;

    // Connects to the bus at address and starts saying hello; false with *error set when the bus
    // cannot be reached.
    bool open(const QString &address, QString *error);
    sd_bus *bus() const { return m_bus; }

    // Asks for the name, neither queueing for it nor letting another take it over; a refusal
    // arrives as nameTaken() or nameRefused(), also when the bus has not given the name within
    // startupTimeoutMs of the connection's opening. False with *error set when the request
    // cannot even be sent.
    bool requestName(const QString &name, QString *error);

    // Handles nothing more from the bus; safe from within a handler.
    void stop();
    // Stops, lets what is still queued for the bus leave for a moment, and disconnects.
    void close();

Q_SIGNALS:
    // Another peer owns the name.
    void nameTaken();
    // The bus refused the request, e.g. because its policy does not allow it, or did not answer
    // it in time.
    void nameRefused(const QString &reason);
    // The connection ended before the name was owned.
    void connectFailed(const QString &reason);
    // The connection ended after the name was owned.
    void lost();

private:
    void dispatch();
    void rearm();
    void end(int error);
    static int onNameReply(sd_bus_message *reply, void *userdata, sd_bus_error *error);

    sd_bus *m_bus = nullptr;
    sd_bus_slot *m_nameSlot = nullptr;
    std::unique_ptr<QSocketNotifier> m_readNotifier;
    std::unique_ptr<QSocketNotifier> m_writeNotifier;
    QTimer m_timer;
    QTimer m_startupTimer;
    bool m_active = false;
    bool m_nameOwned = false;
};

#endif // BUSCONNECTION_H
