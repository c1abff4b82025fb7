#ifndef ANSWER_H
#define ANSWER_H

#include <QString>
#include <QVariantList>
#include <QVariantMap>

// What the daemon does with one request: reply with arguments (normally one a{sv}), reply with a
// D-Bus error, stay silent, or leave the bus.
struct Answer
{
    enum class Kind { Reply, Error, NoReply, Exit };

    static Answer reply(const QVariantMap &response) { return {Kind::Reply, {response}, {}, {}}; }

    Kind kind = Kind::Reply;
    // Ready for the bus: each element is marshalled as one argument of the reply.
    QVariantList arguments;
    QString errorName;
    QString errorMessage;
};

#endif // ANSWER_H
