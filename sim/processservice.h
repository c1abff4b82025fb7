#ifndef PROCESSSERVICE_H
#define PROCESSSERVICE_H

#include "answer.h"

#include <QObject>
#include <QString>

#include <systemd/sd-bus.h>

#include <functional>

class RequestRecord;

// The command-handler service's object on the bus. It takes the raw messages itself so that a
// call of the wrong signature is answered with an error instead of being dropped, and so that
// the record sees the types exactly as they were sent.
class ProcessService : public QObject
{
    Q_OBJECT
public:
    using Responder = std::function<Answer(const QVariantMap &request)>;

    // record may be null: nothing is recorded then.
    ProcessService(Responder responder, RequestRecord *record, QObject *parent = nullptr);
    ~ProcessService() override;

    // Serves the object at path on the bus; false when the bus does not take it.
    bool attach(sd_bus *bus, const QString &path);
    // Serves nothing any more; calls that still arrive are the bus library's to refuse.
    void detach();

Q_SIGNALS:
    // An answer asked the daemon to leave the bus without replying.
    void exitRequested();

private:
    static int onMessage(sd_bus_message *message, void *userdata, sd_bus_error *error);
    int handle(sd_bus_message *message);

    Responder m_responder;
    RequestRecord *m_record;
    sd_bus_slot *m_objectSlot = nullptr;
    sd_bus_slot *m_descriptionSlot = nullptr;
};

#endif // PROCESSSERVICE_H
