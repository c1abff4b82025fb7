// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "statestore.h"

#include "statefile.h"

StateStore::StateStore(const QString &stateFile)
{
    if (!stateFile.isEmpty()) {
        m_file = std::make_unique<StateFile>(stateFile);
        m_state = m_file->load();
    }
}

StateStore::~StateStore() = default;

void StateStore::save()
{
    if (m_file && m_changed)
        m_changed = !m_file->save(m_state);
}

void StateStore::logError(const QString &code, const QString &message)
{
    m_changed = true;
    m_state.errorLog.append({QDateTime::currentDateTimeUtc(), code, message});
    while (m_state.errorLog.size() > Rules::maximumLogEntries)
        m_state.errorLog.removeFirst();
}

StateStore::Storage StateStore::storage() const
{
    if (!m_file)
        return Storage::NotUsed;
    return m_file->isEnabled() ? Storage::Ok : Storage::Disabled;
}
