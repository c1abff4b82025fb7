// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef EMBOSSJOB_H
#define EMBOSSJOB_H

#include "pagelayout.h"
#include "rules/deviceresult.h"
#include "state/devicestate.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <functional>

class StateStore;

// What a job embosses: one copy's pages and where they came from.
struct JobContent
{
    // 0 for text and test pages, which have no document.
    int documentId = 0;
    // The document's title, or what was embossed: "Text", "Test page: grid".
    QString title;
    QStringList pages;
    // Each page's text, beside pages; empty for test pages.
    QStringList pageTexts;
};

// The emboss job: its pages, laid out when it started, and how far it got. The device runs one job
// at a time; the last one stays for GetEmbossStatus until the next starts. Each embossed page
// takes paper from the kept state (the sheet in position first, then the tray), meets the pending
// fault, and is handed to the page sink. The observer hears of every change of its state.
class EmbossJob
{
public:
    enum class State { Idle, Embossing, Paused };
    // Told of every page as it is embossed.
    using PageSink = std::function<void(const EmbossedPage &page)>;
    // Told when a job starts, pauses, resumes, completes or is cancelled, after the change.
    using Observer = std::function<void(const EmbossJob &job)>;

    // Kept from job to job.
    void setObserver(Observer observer) { m_observer = std::move(observer); }

    // Starts a job of the content's pages, numbered from the state's next job id, with the
    // state's configuration as its layout; InvalidState when there are no pages.
    DeviceResult start(DeviceState &state, const JobContent &content, int copies, qint64 nowMs);
    // Embosses what is due: one page with stepPerRequest, else one per Rules::pageIntervalMs of
    // the clock since the job (re)started, until the job pauses or ends.
    void advance(StateStore &store, qint64 nowMs, bool stepPerRequest, const PageSink &sink);
    // The operator's pause: reason "User".
    void pause();
    void resume(qint64 nowMs);
    void cancel();

    // Embossing or paused.
    bool isActive() const { return m_state != State::Idle; }
    State state() const { return m_state; }
    int id() const { return m_id; }
    int documentId() const { return m_content.documentId; }
    const QString &title() const { return m_content.title; }
    int copies() const { return m_copies; }
    // Why a paused job waits: "User", "OutOfPaper", "PaperJam" or "CoverOpen"; empty unless paused.
    QString pauseReason() const { return m_state == State::Paused ? m_pauseReason : QString(); }
    // "Completed" or "Cancelled" once the job ended; empty while it runs.
    const QString &outcome() const { return m_outcome; }
    int pagesDone() const { return m_pagesDone; }
    int pagesTotal() const { return m_content.pages.size() * m_copies; }
    // The configuration the job was started with.
    const Configuration &layout() const { return m_layout; }
    // Whether the next page starts a sheet: in duplex the back of a sheet takes the next page, and
    // every copy starts on a fresh sheet.
    bool nextPageNeedsSheet() const;

    // The job's fields as the emboss commands report them.
    QVariantMap details() const;
    // DeviceBusy, naming the active job.
    DeviceResult busyFailure() const;
    static QString stateName(State state);

private:
    void embossNextPage(StateStore &store, const PageSink &sink);
    void pauseFor(StateStore &store, const QString &reason, const QString &message);
    void changed() const;

    int m_id = 0;
    JobContent m_content;
    int m_copies = 1;
    Configuration m_layout;
    int m_pagesDone = 0;
    int m_sheetsUsed = 0;
    State m_state = State::Idle;
    // Why a paused job waits: "User", "OutOfPaper", "PaperJam" or "CoverOpen".
    QString m_pauseReason;
    // How the last job ended: "Completed" or "Cancelled"; empty while one runs.
    QString m_outcome;
    // Time of the job already turned into pages.
    qint64 m_clockMs = 0;
    Observer m_observer;
};

#endif // EMBOSSJOB_H
