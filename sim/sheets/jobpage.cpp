// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "jobpage.h"

#include <QDir>
#include <QSaveFile>
#include <QUrl>

#include <algorithm>

namespace {

// Escaped for text and attribute values; control characters, which neither XML nor a screen
// reader has any use for, become U+FFFD.
QByteArray escaped(const QString &text)
{
    QString clean = text.toHtmlEscaped();
    for (QChar &c : clean) {
        if (c.unicode() < 0x20 && c != QLatin1Char('\n') && c != QLatin1Char('\t'))
            c = QChar::ReplacementCharacter;
    }
    return clean.toUtf8();
}

QByteArray number(int value)
{
    return QByteArray::number(value);
}

bool isRunning(const JobFacts &facts)
{
    return facts.state == QLatin1String("Embossing") || facts.state == QLatin1String("Paused");
}

// Plain, high-contrast, and wide pictures shrink to the window.
const char style[]
        = R"(body { font-family: sans-serif; margin: 1rem 2rem; color: #111; background: #fff; }
h2 { margin-top: 2rem; border-top: 1px solid #888; padding-top: 1rem; }
h3 { font-size: 1rem; margin: 0 0 .25rem; }
table { border-collapse: collapse; margin-bottom: 1rem; }
th, td { text-align: left; padding: .2rem .8rem .2rem 0; vertical-align: top; }
th { font-weight: bold; }
.sheets { display: flex; flex-wrap: wrap; gap: 1rem; }
.sheet img { display: block; width: min(100%, 40rem); height: auto; border: 1px solid #888; }
a:focus img { outline: 3px solid #1d3f7a; }
)";

} // namespace

JobPage::JobPage(const QString &outputDirectory) : m_directory(outputDirectory) { }

QString JobPage::filePath() const
{
    return QDir(m_directory).filePath(QStringLiteral("index.html"));
}

QString JobPage::errorString() const
{
    return m_error;
}

JobPage::Job *JobPage::find(int jobId)
{
    // The job asked about is nearly always the newest.
    const auto it = std::find_if(m_jobs.rbegin(), m_jobs.rend(),
                                 [jobId](const Job &job) { return job.facts.id == jobId; });
    return it == m_jobs.rend() ? nullptr : &*it;
}

JobPage::Job *JobPage::findOrAnnounce(int jobId)
{
    if (Job *job = find(jobId))
        return job;
    JobFacts facts;
    facts.id = jobId;
    jobStarted(facts);
    return find(jobId);
}

bool JobPage::anyRunning() const
{
    return std::any_of(m_jobs.cbegin(), m_jobs.cend(),
                       [](const Job &job) { return isRunning(job.facts); });
}

bool JobPage::jobStarted(const JobFacts &facts)
{
    Job *job = find(facts.id);
    if (!job) {
        m_jobs.emplace_back();
        job = &m_jobs.back();
    }
    job->facts = facts;
    job->factsHtml = factsHtml(facts, job->sheetCount);
    return write();
}

bool JobPage::sheetWritten(int jobId, const SheetEntry &sheet)
{
    Job *job = findOrAnnounce(jobId);
    const bool replacing = job->sheetCount > 0 && job->lastFileName == sheet.fileName;
    if (replacing) {
        job->newestHtml.pop_back();
        job->listHtml.truncate(job->listLastAt);
    } else {
        ++job->sheetCount;
        if (job->sheetCount - job->listFirst == sheetsPerList) {
            // The list being filled was full and is written: the next one starts.
            job->listHtml.clear();
            job->listFirst = job->sheetCount;
        }
    }
    job->lastFileName = sheet.fileName;
    job->newestHtml.push_back(sheetHtml(jobId, job->sheetCount, sheet, 3));
    while (job->newestHtml.size() > size_t(sheetsOnIndex))
        job->newestHtml.pop_front();
    job->listLastAt = job->listHtml.size();
    job->listHtml += sheetHtml(jobId, job->sheetCount, sheet, 2);
    job->factsHtml = factsHtml(job->facts, job->sheetCount);
    // A list that just filled up, or one written already whose last sheet was drawn again.
    bool listWritten = true;
    if (job->sheetCount - job->listFirst + 1 == sheetsPerList
        || (replacing && job->listedUpTo == job->sheetCount)) {
        listWritten = writeList(*job);
    }
    const QString listError = m_error;
    const bool pageWritten = write();
    if (!listWritten)
        m_error = listError;
    return listWritten && pageWritten;
}

bool JobPage::jobChanged(int jobId, const QString &state, const QString &outcome,
                         const QString &pauseReason)
{
    Job *job = findOrAnnounce(jobId);
    job->facts.state = state;
    job->facts.outcome = outcome;
    job->facts.pauseReason = pauseReason;
    job->factsHtml = factsHtml(job->facts, job->sheetCount);
    // The sheets that left index.html are all on a list page from now on.
    bool listWritten = true;
    if (job->sheetCount > sheetsOnIndex && job->listedUpTo < job->sheetCount)
        listWritten = writeList(*job);
    const QString listError = m_error;
    const bool pageWritten = write();
    if (!listWritten)
        m_error = listError;
    return listWritten && pageWritten;
}

QString JobPage::listFileName(int jobId, int list)
{
    return QStringLiteral("job-%1-sheets-%2.html").arg(jobId).arg(list);
}

QByteArray JobPage::factsHtml(const JobFacts &facts, int sheetCount)
{
    const SheetLayout &layout = facts.layout;
    const QString layoutText
            = QStringLiteral("%1, %2 cells per line, %3 lines per page, %4, dot strength %5")
                      .arg(layout.paperFormat)
                      .arg(layout.cellsPerLine)
                      .arg(layout.linesPerPage)
                      .arg(layout.duplex ? QStringLiteral("duplex") : QStringLiteral("simplex"))
                      .arg(layout.dotStrength);
    QString state = facts.state;
    if (!facts.pauseReason.isEmpty())
        state += QStringLiteral(" (%1)").arg(facts.pauseReason);
    const QString outcome = !facts.outcome.isEmpty() ? facts.outcome
                            : isRunning(facts)       ? QStringLiteral("Not finished yet")
                                                     : QStringLiteral("None");
    const QString title = facts.title.isEmpty() ? QStringLiteral("(untitled)") : facts.title;

    QByteArray html;
    const QByteArray id = "job-" + number(facts.id);
    html += "<h2 id=\"" + id + "\">Job " + number(facts.id) + ": " + escaped(title) + "</h2>\n";
    html += "<table aria-labelledby=\"" + id + "\">\n";
    const auto row = [&html](const char *name, const QString &value) {
        html += "<tr><th scope=\"row\">";
        html += name;
        html += "</th><td>" + escaped(value) + "</td></tr>\n";
    };
    row("Document", title);
    row("Braille table", facts.brailleTable);
    row("Layout", layoutText);
    row("Copies", QString::number(facts.copies));
    row("State", state);
    row("Outcome", outcome);
    row("Sheets", QString::number(sheetCount));
    html += "</table>\n";
    return html;
}

QByteArray JobPage::sheetHtml(int jobId, int index, const SheetEntry &sheet, int level)
{
    const QByteArray href = escaped(QString::fromLatin1(QUrl::toPercentEncoding(sheet.fileName)));
    const QString caption
            = sheet.caption.isEmpty() ? QStringLiteral("Sheet %1").arg(index) : sheet.caption;
    QByteArray html;
    const QByteArray heading = "h" + number(level);
    html += "<div class=\"sheet\">\n<" + heading + " id=\"job-" + number(jobId) + "-sheet-"
            + number(index) + "\">" + escaped(caption) + "</" + heading + ">\n";
    html += "<a href=\"" + href + "\"><img src=\"" + href + "\" alt=\""
            + escaped(sheet.textAlternative) + "\" loading=\"lazy\" /></a>\n</div>\n";
    return html;
}

void JobPage::compose(const std::function<void(const QByteArray &)> &out) const
{
    // Well-formed XML as well as HTML, so that anything can read it back.
    const bool running = anyRunning();
    QByteArray html;
    html += "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n"
            "<head>\n<meta charset=\"utf-8\" />\n";
    if (running)
        html += "<meta http-equiv=\"refresh\" content=\"" + number(refreshSeconds) + "\" />\n";
    html += "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\" />\n"
            "<title>Embossed sheets</title>\n<style>\n";
    html += style;
    html += "</style>\n</head>\n<body>\n<main>\n<h1>Embossed sheets</h1>\n";
    if (m_jobs.empty()) {
        html += "<p>No job has been embossed yet.</p>\n";
    } else {
        html += "<p>" + number(int(m_jobs.size())) + (m_jobs.size() == 1 ? " job" : " jobs")
                + ", the newest first.";
        if (running) {
            html += " A job is running: this page reloads every " + number(refreshSeconds)
                    + " seconds until it ends.";
        }
        html += "</p>\n";
    }
    for (auto it = m_jobs.crbegin(); it != m_jobs.crend(); ++it) {
        html += "<section aria-labelledby=\"job-" + number(it->facts.id) + "\">\n";
        html += it->factsHtml;
        if (it->sheetCount == 0) {
            html += "<p>No sheet embossed.</p>\n";
        } else {
            html += listsHtml(*it);
            if (it->sheetCount > sheetsOnIndex) {
                html += "<p>The newest " + number(sheetsOnIndex) + " of its "
                        + number(it->sheetCount) + " sheets:</p>\n";
            }
            html += "<div class=\"sheets\">\n";
            // The bulk of the page goes out as it is kept, without a copy.
            out(html);
            html.clear();
            for (const QByteArray &sheet : it->newestHtml)
                out(sheet);
            html += "</div>\n";
        }
        html += "</section>\n";
    }
    html += "</main>\n</body>\n</html>\n";
    out(html);
}

QByteArray JobPage::listsHtml(const Job &job) const
{
    if (job.lists == 0)
        return QByteArray();
    QByteArray html = "<p>Every sheet of this job, " + number(sheetsPerList)
                      + " to a page:</p>\n<ul class=\"lists\">\n";
    for (int list = 1; list <= job.lists; ++list) {
        const int first = (list - 1) * sheetsPerList + 1;
        const int last = std::min(list * sheetsPerList, job.listedUpTo);
        html += "<li><a href=\"" + escaped(listFileName(job.facts.id, list)) + "\">Sheets "
                + number(first) + " to " + number(last) + "</a></li>\n";
    }
    html += "</ul>\n";
    return html;
}

bool JobPage::writeList(Job &job)
{
    const int list = (job.listFirst - 1) / sheetsPerList + 1;
    const QString title
            = job.facts.title.isEmpty() ? QStringLiteral("(untitled)") : job.facts.title;
    const QByteArray heading = "Job " + number(job.facts.id) + ": " + escaped(title) + ", sheets "
                               + number(job.listFirst) + " to " + number(job.sheetCount);
    QByteArray head
            = "<!DOCTYPE html>\n<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">\n"
              "<head>\n<meta charset=\"utf-8\" />\n"
              "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\" />\n"
              "<title>"
              + heading + "</title>\n<style>\n" + style + "</style>\n</head>\n<body>\n<main>\n<h1>"
              + heading
              + "</h1>\n<p><a href=\"index.html\">All jobs</a></p>\n<div class=\"sheets\">\n";
    const QByteArray tail = "</div>\n</main>\n</body>\n</html>\n";
    const bool written
            = writeFile(listFileName(job.facts.id, list), [&](QSaveFile &file, bool &ok) {
                  ok = ok && file.write(head) == head.size();
                  ok = ok && file.write(job.listHtml) == job.listHtml.size();
                  ok = ok && file.write(tail) == tail.size();
              });
    if (written) {
        job.listedUpTo = job.sheetCount;
        job.lists = std::max(job.lists, list);
    }
    return written;
}

QByteArray JobPage::html() const
{
    QByteArray html;
    compose([&html](const QByteArray &piece) { html += piece; });
    return html;
}

bool JobPage::writeFile(const QString &name, const std::function<void(QSaveFile &, bool &)> &body)
{
    const QDir directory(m_directory);
    const QString path = directory.filePath(name);
    QSaveFile file(path);
    bool written = directory.mkpath(QStringLiteral(".")) && file.open(QIODevice::WriteOnly);
    if (written)
        body(file, written);
    if (!written || !file.commit()) {
        m_error = QStringLiteral("%1 cannot be written: %2").arg(path, file.errorString());
        return false;
    }
    m_error.clear();
    return true;
}

bool JobPage::write()
{
    return writeFile(QStringLiteral("index.html"), [this](QSaveFile &file, bool &written) {
        compose([&file, &written](const QByteArray &piece) {
            written = written && file.write(piece) == piece.size();
        });
    });
}
