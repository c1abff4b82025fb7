#ifndef JOBPAGE_H
#define JOBPAGE_H

#include "sheetpicture.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <vector>

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
// sheets' pictures. It follows the jobs as they go: each call below changes the summary kept in
// memory and rewrites the page (whole, replacing the old one), so the folder is never read back.
// While a job is embossing or paused the page asks the browser to reload it every 2 seconds.
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

private:
    struct Job
    {
        JobFacts facts;
        std::vector<SheetEntry> sheets;
        // The sheets' markup, kept so that a new sheet costs its own markup and not the job's.
        QByteArray sheetsHtml;
        // Where the last sheet's markup starts in sheetsHtml, to replace it.
        int lastSheetAt = 0;
        // The facts' markup, rebuilt when they change.
        QByteArray factsHtml;
    };

    Job *find(int jobId);
    bool anyRunning() const;
    static QByteArray factsHtml(const JobFacts &facts, int sheetCount);
    static QByteArray sheetHtml(int jobId, int index, const SheetEntry &sheet);
    // The page, piece by piece.
    void compose(const std::function<void(const QByteArray &)> &out) const;
    bool write();

    QString m_directory;
    QString m_error;
    // Oldest first; the page lists them the other way round.
    std::vector<Job> m_jobs;
};

#endif // JOBPAGE_H
