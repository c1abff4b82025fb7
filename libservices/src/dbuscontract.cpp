// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/dbuscontract.h>

namespace ls {

const QString serviceInterface = QStringLiteral("se.tarnvik.Service1");
const QString processMethod = QStringLiteral("Process");

QString busName(const QString &serviceId)
{
    return QLatin1String("se.tarnvik.") + serviceId;
}

QString objectPath(const QString &serviceId)
{
    return QLatin1String("/se/tarnvik/") + serviceId;
}

} // namespace ls
