// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "sheetfiles.h"

#include "embossjob.h"

#include "sheetpicture.h"

#include <QDir>

namespace {

SheetLayout sheetLayout(const Configuration &c)
{
    return {c.paperFormat, c.cellsPerLine, c.linesPerPage, c.duplex, c.dotStrength};
}

SheetPage sheetPage(const EmbossedPage &page)
{
    return {page.page, SheetPage::linesOf(page.cells), page.sourceText};
}

} // namespace

SheetFiles::SheetFiles(const QString &directory) : m_directory(directory), m_page(directory) { }

bool SheetFiles::pageEmbossed(const EmbossedPage &page, QString *error)
{
    if (m_directory.isEmpty())
        return true;
    if (!page.layout.duplex)
        return writeSheet(page, std::nullopt, error);
    if (page.side == EmbossedPage::Side::Back) {
        // A front of another sheet would be a page lost in between; draw the back alone then.
        const std::optional<EmbossedPage> front = std::move(m_front);
        m_front.reset();
        if (front && front->jobId == page.jobId && front->copy == page.copy
            && front->sheet == page.sheet) {
            return writeSheet(*front, page, error);
        }
        EmbossedPage blank = page;
        blank.page = page.page - 1;
        blank.cells.clear();
        blank.sourceText.clear();
        return writeSheet(blank, page, error);
    }
    if (page.lastOfCopy)
        return writeSheet(page, std::nullopt, error);
    m_front = page;
    return true;
}

bool SheetFiles::jobChanged(const EmbossJob &job, QString *error)
{
    if (m_directory.isEmpty())
        return true;
    bool written = true;
    if (!job.isActive() && m_front) {
        // Cancelled after a front: the sheet leaves the device as it is.
        written = writeSheet(*m_front, std::nullopt, error);
        m_front.reset();
    }
    const QString state = EmbossJob::stateName(job.state());
    bool pageWritten = false;
    if (job.id() != m_jobId) {
        m_jobId = job.id();
        m_front.reset();
        JobFacts facts;
        facts.id = job.id();
        facts.title = job.title();
        facts.brailleTable = job.layout().brailleTable;
        facts.layout = sheetLayout(job.layout());
        facts.copies = job.copies();
        facts.state = state;
        facts.pauseReason = job.pauseReason();
        facts.outcome = job.outcome();
        pageWritten = m_page.jobStarted(facts);
    } else {
        pageWritten = m_page.jobChanged(job.id(), state, job.outcome(), job.pauseReason());
    }
    if (!pageWritten && written) {
        *error = m_page.errorString();
        return false;
    }
    return written;
}

bool SheetFiles::writeSheet(const EmbossedPage &front, const std::optional<EmbossedPage> &back,
                            QString *error)
{
    const QString title = QStringLiteral("Job %1, copy %2, sheet %3")
                                  .arg(front.jobId)
                                  .arg(front.copy)
                                  .arg(front.sheet);
    const SheetPicture picture(sheetLayout(front.layout), title, sheetPage(front),
                               back ? std::optional(sheetPage(*back)) : std::nullopt);
    const QString name = SheetPicture::fileName(front.jobId, front.copy, front.sheet);
    QString pictureError;
    const bool pictureWritten = picture.write(QDir(m_directory).filePath(name), &pictureError);
    // Listed even when the picture failed, so the page shows what was embossed.
    const bool pageWritten = m_page.sheetWritten(
            front.jobId,
            {name, QStringLiteral("Copy %1, sheet %2").arg(front.copy).arg(front.sheet),
             picture.textAlternative()});
    if (!pictureWritten) {
        *error = QStringLiteral("Sheet picture %1 cannot be written: %2")
                         .arg(QDir(m_directory).filePath(name), pictureError);
        return false;
    }
    if (!pageWritten) {
        *error = m_page.errorString();
        return false;
    }
    return true;
}
