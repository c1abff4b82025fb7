// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef BUSREPLY_H
#define BUSREPLY_H

#include <QString>
#include <QVariantList>
#include <QVariantMap>

// What the service sends back on the bus for one call of Process: a method return carrying
// arguments (normally one a{sv}, the response map), a D-Bus error, nothing at all, or nothing and
// then leaving the bus. The device's replies are always the first; a script may give any.
struct BusReply
{
    enum class Kind { Arguments, Error, NoReply, Exit };

    // A method return with one argument: the response map.
    static BusReply response(const QVariantMap &response)
    {
        return {Kind::Arguments, {response}, {}, {}};
    }

    Kind kind = Kind::Arguments;
    // Ready for the bus: each element is marshalled as one argument of the method return.
    QVariantList arguments;
    QString errorName;
    QString errorMessage;
};

#endif // BUSREPLY_H
