// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef PAGEFILES_H
#define PAGEFILES_H

#include "pagelayout.h"

#include <QString>

// The page files of --output-dir: each embossed page as job-<n>-copy-<c>-page-<p>.txt, its
// Unicode braille cells in UTF-8.
class PageFiles
{
public:
    // With an empty folder nothing is written.
    explicit PageFiles(const QString &directory);

    // Writes the page's file, making the folder when needed; false with *error saying why when it
    // cannot be written.
    bool write(const EmbossedPage &page, QString *error) const;

private:
    QString m_directory;
};

#endif // PAGEFILES_H
