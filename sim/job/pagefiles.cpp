// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "pagefiles.h"

#include <QDir>
#include <QSaveFile>

PageFiles::PageFiles(const QString &directory) : m_directory(directory) { }

bool PageFiles::write(const EmbossedPage &page, QString *error) const
{
    if (m_directory.isEmpty())
        return true;
    const QDir directory(m_directory);
    const QString path = directory.filePath(QStringLiteral("job-%1-copy-%2-page-%3.txt")
                                                    .arg(page.jobId)
                                                    .arg(page.copy)
                                                    .arg(page.page));
    QSaveFile file(path);
    const QByteArray content = page.cells.toUtf8();
    if (!directory.mkpath(QStringLiteral(".")) || !file.open(QIODevice::WriteOnly)
        || file.write(content) != content.size() || !file.commit()) {
        *error = QStringLiteral("Page file %1 cannot be written: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}
