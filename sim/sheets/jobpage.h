// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef JOBPAGE_H
#define JOBPAGE_H

#include "sheetpicture.h"

#include <QByteArray>
#include <QString>

#include <deque>
#include <functional>
#include <vector>

class QSaveFile;

// What a job is, as known when it starts.
struct JobFacts
{
    int id = 0;
    // The document's title; for embossed text and test pages what was embossed, e.g.
    // "Test page: grid".
    QString title;
    QString brailleTable;
    SheetLayout layout;
    int copies = 1;
    // As the device reports them: "Embossing", "Paused" or "Idle"; why a paused job waits;
    // "Completed" or "Cancelled" once it ended.
    QString state = QStringLiteral("Embossing");
    QString pauseReason;
    QString outcome;
};

// One sheet's picture, written beside the page.
struct SheetEntry
{
    // The picture's file name in the output folder (SheetPicture::fileName()).
    QString fileName;
    // What the sheet is called, e.g. "Copy 1, sheet 2"; the sheet's heading.
    QString caption;
    // The picture's text alternative (SheetPicture::textAlternative()).
    QString textAlternative;
};

// index.html in the output folder: every job of this run, newest first, with its facts and its
// newest sheets' pictures. It follows the jobs as they go: each call below changes the summary
// kept in memory and rewrites the page (whole, replacing the old one), so the folder is never read
// back. While a job is embossing or paused the page asks the browser to reload it every 2 seconds.
//
// So that a sheet costs the same at the thousandth as at the first, index.html shows each job's
// newest sheetsOnIndex sheets only. A job with more has every sheet on its list pages,
// job-<n>-sheets-<k>.html with sheetsPerList sheets each, linked from index.html: a list is
// written once when it is full, and the last one, not yet full, whenever the job changes.
class JobPage
{
public:
    explicit JobPage(const QString &outputDirectory);

    // Each returns false, with errorString() saying why, when index.html cannot be written; the
    // summary is updated all the same, so the next call writes it whole.
    bool jobStarted(const JobFacts &facts);
    // A sheet with the same file name as the job's last sheet replaces it (a duplex sheet drawn
    // after its front and again after its back).
    bool sheetWritten(int jobId, const SheetEntry &sheet);
    bool jobChanged(int jobId, const QString &state, const QString &outcome,
                    const QString &pauseReason = QString());

    // The page as it is written.
    QByteArray html() const;
    QString filePath() const;
    QString errorString() const;

    static constexpr int refreshSeconds = 2;
    static constexpr int sheetsOnIndex = 20;
    static constexpr int sheetsPerList = 100;
    // The name of a job's list page: k from 1.
    static QString listFileName(int jobId, int list);

private:
    struct Job
    {
        JobFacts facts;
        int sheetCount = 0;
        QString lastFileName;
        // The markup of the newest sheets as index.html shows them, oldest first.
        std::deque<QByteArray> newestHtml;
        // The markup of the sheets of the list page being filled, from sheet listFirst on, and
        // where the last sheet's starts, to replace it.
        QByteArray listHtml;
        int listFirst = 1;
        int listLastAt = 0;
        // The last sheet on a list page written, and how many list pages there are.
        int listedUpTo = 0;
        int lists = 0;
        // The facts' markup, rebuilt when they change.
        QByteArray factsHtml;
    };

    Job *find(int jobId);
    // The job, announced with what is known of it when nobody did: its sheets and changes are
    // listed all the same.
    Job *findOrAnnounce(int jobId);
    bool anyRunning() const;
    static QByteArray factsHtml(const JobFacts &facts, int sheetCount);
    static QByteArray sheetHtml(int jobId, int index, const SheetEntry &sheet, int level);
    // The page, piece by piece.
    void compose(const std::function<void(const QByteArray &)> &out) const;
    QByteArray listsHtml(const Job &job) const;
    // Writes the job's list page being filled; false with m_error set when it cannot.
    bool writeList(Job &job);
    bool writeFile(const QString &name, const std::function<void(QSaveFile &, bool &)> &body);
    bool write();

    QString m_directory;
    QString m_error;
    // Oldest first; the page lists them the other way round.
    std::vector<Job> m_jobs;
};

#endif // JOBPAGE_H
