// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Uses a little of every public header; exits 0 when the installed library answers as expected.
#include <ls/commandids.h>
#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <cstdio>

int main()
{
    const QVariantMap response
            = ls::DBusServiceStore::instance()
                      ->getService(QStringLiteral("NeverRegistered"))
                      ->process({{ls::commandIdKey, ls::IpcCommandId::meta.name(601)}});
    const bool ok = ls::busName(ls::ServiceId::CommandHandler)
                            == QLatin1String("se.tarnvik.CommandHandler")
                    && ls::CommandCategories::meta.name(6) == ls::CommandCategories::IpcCommandId
                    && ls::IpcCommandId::meta.valueOf(QStringLiteral("Ping")) == 601
                    && response.value(ls::errorIdKey).toString()
                               == QLatin1String("se.tarnvik.Error.ServiceNotRegistered");
    std::puts(ok ? "consumer: ok" : "consumer: unexpected answers from libservices");
    return ok ? 0 : 1;
}
