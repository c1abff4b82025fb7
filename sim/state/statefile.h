// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef STATEFILE_H
#define STATEFILE_H

#include "devicestate.h"

#include <QByteArray>
#include <QString>

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

private:
    QString m_path;
    bool m_enabled = true;
    QByteArray m_lastWritten;
};

#endif // STATEFILE_H
