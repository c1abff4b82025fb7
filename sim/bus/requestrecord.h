// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef REQUESTRECORD_H
#define REQUESTRECORD_H

#include <QFile>
#include <QString>

#include <systemd/sd-bus.h>

// Appends one line of JSON per request to a file, every value tagged with the D-Bus type it was
// received as, so that a test can tell "as" from "av" or "i" from "u".
class RequestRecord
{
public:
    // Opens the file for appending; false with errorString() set when it cannot be.
    bool open(const QString &fileName);
    QString errorString() const { return m_file.errorString(); }

    // Writes and flushes the line of one request; false when the file took less than all of it.
    // The request is read from its start and left rewound.
    bool append(sd_bus_message *request);

    // The line of one request, without its line break: the keys of an a{sv} request, sorted,
    // or {"$arguments": [...]} for a request of any other signature. The request is read from
    // its start and left rewound.
    static QString line(sd_bus_message *request);

private:
    QFile m_file;
};

#endif // REQUESTRECORD_H
