// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "statefile.h"

#include "devicelogging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

StateFile::StateFile(const QString &path) : m_path(path) { }

DeviceState StateFile::load()
{
    QFile file(m_path);
    if (!file.exists())
        return DeviceState();
    if (!file.open(QIODevice::ReadOnly)) {
        m_enabled = false;
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 cannot be read (%2); starting with the factory "
                                  "state and leaving the file untouched")
                           .arg(m_path, file.errorString());
        return DeviceState();
    }
    const QByteArray content = file.readAll();
    file.close();

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(content, &parseError);
    QString problem;
    DeviceState state;
    if (parseError.error != QJsonParseError::NoError) {
        problem = QStringLiteral("not valid JSON at offset %1: %2")
                          .arg(parseError.offset)
                          .arg(parseError.errorString());
    } else if (!document.isObject()) {
        problem = QStringLiteral("not a JSON object");
    } else if (DeviceState::fromJson(document.object(), &state, &problem)) {
        m_lastWritten = content;
        return state;
    }

    // Keep the damaged file for whoever has to find out what happened to it.
    const QString stamp
            = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddThhmmsszzzZ"));
    QString aside = QStringLiteral("%1.damaged-%2").arg(m_path, stamp);
    for (int n = 1; QFileInfo::exists(aside); ++n)
        aside = QStringLiteral("%1.damaged-%2-%3").arg(m_path, stamp).arg(n);
    if (QFile::rename(m_path, aside)) {
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 is damaged (%2); moved it to %3 and started with "
                                  "the factory state")
                           .arg(m_path, problem, aside);
    } else {
        m_enabled = false;
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 is damaged (%2) and cannot be moved aside; "
                                  "started with the factory state and will not save")
                           .arg(m_path, problem);
    }
    return DeviceState();
}

bool StateFile::save(const DeviceState &state)
{
    if (!m_enabled)
        return true;
    const QByteArray content = QJsonDocument(state.toJson()).toJson(QJsonDocument::Indented);
    if (content == m_lastWritten)
        return true;
    QSaveFile file(m_path);
    if (!QFileInfo(m_path).absoluteDir().mkpath(QStringLiteral("."))
        || !file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.commit()) {
        qCWarning(SIM_DEVICE).noquote() << QStringLiteral("State file %1 cannot be written: %2")
                                                   .arg(m_path, file.errorString());
        return false;
    }
    m_lastWritten = content;
    return true;
}
