// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef STATESTORE_H
#define STATESTORE_H

#include "devicestate.h"

#include <QString>

#include <memory>

class StateFile;

// The device's kept state as the device holds it: loaded from the state file at start, marked
// when a request may have changed it, and written back after the request.
class StateStore
{
public:
    // With an empty path nothing is kept across restarts.
    explicit StateStore(const QString &stateFile);
    ~StateStore();

    DeviceState &state() { return m_state; }
    const DeviceState &state() const { return m_state; }

    // The state may now differ from the file; the next save() writes it.
    void markChanged() { m_changed = true; }
    // Writes a changed state to the file, when there is one; a state that could not be written
    // stays marked, so the next save() tries again.
    void save();

    // Appends to the error log, stamped with the time, the oldest entries dropped beyond
    // Rules::maximumLogEntries; marks the state changed.
    void logError(const QString &code, const QString &message);

    // Whether the state file is in use and still written, for the self-test.
    enum class Storage { NotUsed, Ok, Disabled };
    Storage storage() const;

private:
    std::unique_ptr<StateFile> m_file;
    DeviceState m_state;
    // Set at start, so that the first request writes a state the file does not hold yet.
    bool m_changed = true;
};

#endif // STATESTORE_H
