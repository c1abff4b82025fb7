#include "processservice.h"

#include "requestrecord.h"

#include <ls/dbuscontract.h>

#include <QDBusConnection>
#include <QDBusMessage>

#include <utility>

ProcessService::ProcessService(Responder responder, RequestRecord *record, QObject *parent)
    : QDBusVirtualObject(parent), m_responder(std::move(responder)), m_record(record)
{ }

QString ProcessService::introspect(const QString &) const
{
    return QStringLiteral("  <interface name=\"%1\">\n"
                          "    <method name=\"%2\">\n"
                          "      <arg name=\"request\" type=\"a{sv}\" direction=\"in\"/>\n"
                          "      <arg name=\"response\" type=\"a{sv}\" direction=\"out\"/>\n"
                          "    </method>\n"
                          "  </interface>\n")
            .arg(ls::serviceInterface, ls::processMethod);
}

bool ProcessService::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage)
        return false;
    const bool ourInterface = message.interface() == ls::serviceInterface;
    // Introspection and the other standard interfaces are Qt's to answer.
    if (!ourInterface && !message.interface().isEmpty())
        return false;
    if (message.member() != ls::processMethod) {
        if (!ourInterface)
            return false;
        connection.send(message.createErrorReply(
                QDBusError::UnknownMethod, QStringLiteral("No method \"%1\" in %2")
                                                   .arg(message.member(), ls::serviceInterface)));
        return true;
    }

    // Written before any answer, so that whoever gets the answer finds the request recorded.
    if (m_record && !m_record->append(message))
        qWarning("command-handler-sim: the request could not be recorded: %s",
                 qPrintable(m_record->errorString()));

    if (message.signature() != QLatin1String("a{sv}")) {
        connection.send(message.createErrorReply(
                QDBusError::InvalidArgs, QStringLiteral("%1 takes one a{sv}, not \"%2\"")
                                                 .arg(ls::processMethod, message.signature())));
        return true;
    }
    bool ok = false;
    const QVariant request = ls::fromDBusValue(message.arguments().constFirst(), &ok);
    if (!ok) {
        connection.send(message.createErrorReply(
                QDBusError::InvalidArgs,
                QStringLiteral("The request holds a value that cannot be read")));
        return true;
    }

    const Answer answer = m_responder(request.toMap());
    switch (answer.kind) {
    case Answer::Kind::Reply:
        // A value the bus cannot carry must not leave the caller waiting.
        if (!connection.send(message.createReply(answer.arguments))) {
            connection.send(message.createErrorReply(
                    QDBusError::Failed, QStringLiteral("The answer could not be sent")));
        }
        break;
    case Answer::Kind::Error:
        connection.send(message.createErrorReply(answer.errorName, answer.errorMessage));
        break;
    case Answer::Kind::NoReply:
        break;
    case Answer::Kind::Exit:
        Q_EMIT exitRequested();
        break;
    }
    return true;
}
