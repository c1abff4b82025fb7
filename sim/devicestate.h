#ifndef DEVICESTATE_H
#define DEVICESTATE_H

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

// What the device keeps across a restart. A job in progress is not part of it: a restart
// interrupts the job as switching a real device off would.
struct Configuration
{
    QString paperFormat = QStringLiteral("A4");
    int cellsPerLine = 40;
    int linesPerPage = 25;
    bool duplex = false;
    QString brailleTable;
    int dotStrength = 3;

    Configuration();
};

struct Paper
{
    static constexpr int trayCapacity = 500;
    int sheetsLoaded = 0;
    bool sheetInPosition = false;
    QString feedMode = QStringLiteral("sheet");
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
    QList<LogEntry> errorLog;
    // One of "none", "paper-jam", "cover-open": waits for the next paper operation.
    QString pendingFault = QStringLiteral("none");
    int nextDocumentId = 1;
    int nextJobId = 1;

    QJsonObject toJson() const;
    // False, with *error saying what is wrong, when the object is not a state this device wrote.
    static bool fromJson(const QJsonObject &object, DeviceState *state, QString *error);
};

// The state file: read once at start, written whole and atomically after each change.
class StateFile
{
public:
    explicit StateFile(const QString &path);

    // The state found in the file, or the factory state when there is none. A damaged file is
    // reported and renamed aside; a file that can neither be read nor set aside disables saving,
    // so it is never overwritten.
    DeviceState load();
    // Writes the state when it differs from what was last read or written; false when it could
    // not be written, so that the caller tries again.
    bool save(const DeviceState &state);

    bool isEnabled() const { return m_enabled; }
    // Where the last damaged file was moved to; empty when none was.
    QString setAsidePath() const { return m_setAsidePath; }

private:
    QString m_path;
    bool m_enabled = true;
    QByteArray m_lastWritten;
    QString m_setAsidePath;
};

#endif // DEVICESTATE_H
