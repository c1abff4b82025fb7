// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMANDHANDLERSERVICE_H
#define COMMANDHANDLERSERVICE_H

#include "busreply.h"

#include <QObject>
#include <QString>

#include <systemd/sd-bus.h>

#include <functional>

class RequestRecord;

// The command-handler service on the bus: the object /se/tarnvik/CommandHandler with the method
// se.tarnvik.Service1.Process, each call handed to the request handler (the device or the
// script) and its bus reply sent. It takes the raw messages itself so that a call of the wrong
// signature is answered with an error instead of being dropped, and so that the record sees the
// types exactly as they were sent.
class CommandHandlerService : public QObject
{
    Q_OBJECT
public:
    using RequestHandler = std::function<BusReply(const QVariantMap &request)>;

    // record may be null: nothing is recorded then.
    CommandHandlerService(RequestHandler handler, RequestRecord *record, QObject *parent = nullptr);
    ~CommandHandlerService() override;

    // Serves the object at path on the bus; false when the bus does not take it.
    bool attach(sd_bus *bus, const QString &path);
    // Serves nothing any more; calls that still arrive are the bus library's to refuse.
    void detach();

Q_SIGNALS:
    // A bus reply asked the service to leave the bus without replying.
    void exitRequested();

private:
    static int onMessage(sd_bus_message *message, void *userdata, sd_bus_error *error);
    int handle(sd_bus_message *message);

    RequestHandler m_handler;
    RequestRecord *m_record;
    sd_bus_slot *m_objectSlot = nullptr;
    sd_bus_slot *m_descriptionSlot = nullptr;
};

#endif // COMMANDHANDLERSERVICE_H
