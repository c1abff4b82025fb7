#ifndef REQUESTHANDLER_H
#define REQUESTHANDLER_H

#include <QVariantMap>

// Answers one request map of the command-handler service with one response map. The simulated
// device and the scripted responder are the two kinds the daemon can serve.
class RequestHandler
{
public:
    virtual ~RequestHandler() = default;
    // The request arrives converted to plain Qt types (ls::fromDBusValue).
    virtual QVariantMap handle(const QVariantMap &request) = 0;
};

#endif // REQUESTHANDLER_H
