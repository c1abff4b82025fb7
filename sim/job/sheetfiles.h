// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SHEETFILES_H
#define SHEETFILES_H

#include "pagelayout.h"

#include "jobpage.h"

#include <QString>

#include <optional>

class EmbossJob;

// The pictures of --output-dir, beside the page files: each sheet as
// job-<n>-copy-<c>-sheet-<s>.svg once it is complete, and index.html with this run's jobs. A sheet
// is complete after its page in simplex; in duplex after its back page, after the copy's last
// page, or when the job ends after a front (the picture then shows a blank back).
class SheetFiles
{
public:
    // With an empty folder nothing is written.
    explicit SheetFiles(const QString &directory);

    // Each returns false with *error saying why when a file cannot be written; the next call
    // writes index.html whole again.
    bool pageEmbossed(const EmbossedPage &page, QString *error);
    // The job started, paused, resumed or ended.
    bool jobChanged(const EmbossJob &job, QString *error);

private:
    bool writeSheet(const EmbossedPage &front, const std::optional<EmbossedPage> &back,
                    QString *error);

    QString m_directory;
    JobPage m_page;
    // The job index.html last heard of.
    int m_jobId = 0;
    // A duplex front waiting for its back.
    std::optional<EmbossedPage> m_front;
};

#endif // SHEETFILES_H
