#ifndef PROCESSSERVICE_H
#define PROCESSSERVICE_H

#include "answer.h"

#include <QDBusVirtualObject>

#include <functional>

class RequestRecord;

// The command-handler service's object on the bus. It takes the raw messages itself so that a
// call of the wrong signature is answered with an error instead of being dropped, and so that
// the record sees the types exactly as they were sent.
class ProcessService : public QDBusVirtualObject
{
    Q_OBJECT
public:
    using Responder = std::function<Answer(const QVariantMap &request)>;

    // record may be null: nothing is recorded then.
    ProcessService(Responder responder, RequestRecord *record, QObject *parent = nullptr);

    QString introspect(const QString &path) const override;
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;

Q_SIGNALS:
    // An answer asked the daemon to leave the bus without replying.
    void exitRequested();

private:
    Responder m_responder;
    RequestRecord *m_record;
};

#endif // PROCESSSERVICE_H
