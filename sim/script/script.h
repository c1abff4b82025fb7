// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SCRIPT_H
#define SCRIPT_H

#include "bus/busreply.h"

#include <QHash>
#include <QList>
#include <QString>

// The script of --script: the bus reply to each request read from a JSON file instead of made by
// the device, so that a client's tests decide every reply; docs/simulator.md describes the script.
class Script
{
public:
    // Reads and checks the whole script; false with errorString() set when it cannot be used.
    bool load(const QString &fileName);
    QString errorString() const { return m_error; }

    // The command's own scripted reply when the script has one, else the next in order, else a
    // response map with error id "ScriptExhausted".
    BusReply replyTo(const QVariantMap &request);

private:
    QList<BusReply> m_replies;
    QHash<QString, BusReply> m_byCommand;
    int m_next = 0;
    QString m_error;
};

#endif // SCRIPT_H
