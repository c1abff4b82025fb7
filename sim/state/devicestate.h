// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DEVICESTATE_H
#define DEVICESTATE_H

#include "rules/rules.h"

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

// What the device keeps across a restart. A job in progress is not part of it: a restart
// interrupts the job as switching a real device off would.
struct Configuration
{
    QString paperFormat = Rules::factoryPaperFormat();
    int cellsPerLine = Rules::factoryCellsPerLine;
    int linesPerPage = Rules::factoryLinesPerPage;
    bool duplex = Rules::factoryDuplex;
    QString brailleTable = Rules::factoryBrailleTable();
    int dotStrength = Rules::factoryDotStrength;
};

struct Paper
{
    int sheetsLoaded = 0;
    bool sheetInPosition = false;
    QString feedMode = Rules::factoryFeedMode();
};

struct Document
{
    int id = 0;
    QString title;
    QString text;
    bool open = true;
};

struct LogEntry
{
    QDateTime time;
    QString code;
    QString message;
};

struct DeviceState
{
    Configuration configuration;
    Paper paper;
    QList<Document> documents;
    // Oldest first.
    QList<LogEntry> errorLog;
    // One of Rules::pendingFaults(): waits for the next paper operation.
    QString pendingFault = Rules::faultNone();
    int nextDocumentId = 1;
    int nextJobId = 1;

    // The document with that id, or null.
    Document *document(int id);

    // The state as the state file holds it.
    QJsonObject toJson() const;
    // False, with *error saying what is wrong, when the object is not a state this device wrote.
    static bool fromJson(const QJsonObject &object, DeviceState *state, QString *error);
};

#endif // DEVICESTATE_H
