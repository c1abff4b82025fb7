// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "commandhandlerservice.h"

#include "requestrecord.h"

#include <ls/dbuscontract.h>
#include <ls/dbusvalue.h>

#include <QByteArray>

#include <utility>

namespace {

// Sends the error reply; an empty text leaves the error without a message argument.
void replyError(sd_bus_message *call, const QString &name, const QString &text)
{
    const QByteArray nameBytes = name.toUtf8();
    const QByteArray textBytes = text.toUtf8();
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_error_set(&error, nameBytes.constData(),
                     text.isEmpty() ? nullptr : textBytes.constData());
    sd_bus_reply_method_error(call, &error);
    sd_bus_error_free(&error);
}

bool reply(sd_bus_message *call, const QVariantList &arguments)
{
    sd_bus_message *message = nullptr;
    bool ok = sd_bus_message_new_method_return(call, &message) >= 0;
    for (const QVariant &argument : arguments) {
        if (ok)
            ok = ls::appendValue(message, argument) == ls::WireStatus::Ok;
    }
    if (ok)
        ok = sd_bus_send(nullptr, message, nullptr) >= 0;
    sd_bus_message_unref(message);
    return ok;
}

} // namespace

CommandHandlerService::CommandHandlerService(RequestHandler handler, RequestRecord *record,
                                             QObject *parent)
    : QObject(parent), m_handler(std::move(handler)), m_record(record)
{ }

CommandHandlerService::~CommandHandlerService()
{
    detach();
}

bool CommandHandlerService::attach(sd_bus *bus, const QString &path)
{
    // Describes Process to introspection; every call reaches onMessage before this table.
    static const sd_bus_vtable description[]
            = {SD_BUS_VTABLE_START(0),
               SD_BUS_METHOD_WITH_NAMES("Process", "a{sv}", SD_BUS_PARAM(request), "a{sv}",
                                        SD_BUS_PARAM(response), &CommandHandlerService::onMessage,
                                        SD_BUS_VTABLE_UNPRIVILEGED),
               SD_BUS_VTABLE_END};
    const QByteArray objectPath = path.toUtf8();
    const QByteArray interface = ls::serviceInterface.toUtf8();
    if (sd_bus_add_object(bus, &m_objectSlot, objectPath.constData(),
                          &CommandHandlerService::onMessage, this)
        < 0)
        return false;
    return sd_bus_add_object_vtable(bus, &m_descriptionSlot, objectPath.constData(),
                                    interface.constData(), description, this)
           >= 0;
}

void CommandHandlerService::detach()
{
    m_objectSlot = sd_bus_slot_unref(m_objectSlot);
    m_descriptionSlot = sd_bus_slot_unref(m_descriptionSlot);
}

int CommandHandlerService::onMessage(sd_bus_message *message, void *userdata, sd_bus_error *)
{
    return static_cast<CommandHandlerService *>(userdata)->handle(message);
}

int CommandHandlerService::handle(sd_bus_message *message)
{
    if (!sd_bus_message_is_method_call(message, nullptr, nullptr))
        return 0;
    const QString interface = QString::fromUtf8(sd_bus_message_get_interface(message));
    const bool ourInterface = interface == ls::serviceInterface;
    // Introspection and the other standard interfaces are sd-bus's to reply to.
    if (!ourInterface && !interface.isEmpty())
        return 0;
    const QString member = QString::fromUtf8(sd_bus_message_get_member(message));
    if (member != ls::processMethod) {
        if (!ourInterface)
            return 0;
        replyError(message, QStringLiteral(SD_BUS_ERROR_UNKNOWN_METHOD),
                   QStringLiteral("No method \"%1\" in %2").arg(member, ls::serviceInterface));
        return 1;
    }

    // Written before any reply, so that whoever gets the reply finds the request recorded.
    if (m_record && !m_record->append(message))
        qWarning("command-handler-sim: the request could not be recorded: %s",
                 qPrintable(m_record->errorString()));

    const QString signature = QString::fromUtf8(sd_bus_message_get_signature(message, 1));
    if (signature != QLatin1String("a{sv}")) {
        replyError(
                message, QStringLiteral(SD_BUS_ERROR_INVALID_ARGS),
                QStringLiteral("%1 takes one a{sv}, not \"%2\"").arg(ls::processMethod, signature));
        return 1;
    }
    QVariant request;
    if (ls::readValue(message, &request) != ls::WireStatus::Ok) {
        replyError(message, QStringLiteral(SD_BUS_ERROR_INVALID_ARGS),
                   QStringLiteral("The request holds a value that cannot be read"));
        return 1;
    }

    const BusReply busReply = m_handler(request.toMap());
    switch (busReply.kind) {
    case BusReply::Kind::Arguments:
        // A value the bus cannot carry must not leave the caller waiting.
        if (!reply(message, busReply.arguments)) {
            replyError(message, QStringLiteral(SD_BUS_ERROR_FAILED),
                       QStringLiteral("The answer could not be sent"));
        }
        break;
    case BusReply::Kind::Error:
        replyError(message, busReply.errorName, busReply.errorMessage);
        break;
    case BusReply::Kind::NoReply:
        break;
    case BusReply::Kind::Exit:
        Q_EMIT exitRequested();
        break;
    }
    return 1;
}
