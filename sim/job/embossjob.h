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

// The emboss job: its pages, laid out when it started, and how far it got. The device runs one job
// at a time; the last one stays for GetEmbossStatus until the next starts. Each embossed page
// takes paper from the kept state (the sheet in position first, then the tray), meets the pending
// fault, and is handed to the page sink.
class EmbossJob
{
public:
    enum class State { Idle, Embossing, Paused };
    // Told of every page as it is embossed.
    using PageSink = std::function<void(const EmbossedPage &page)>;

    // Starts a job of the pages, numbered from the state's next job id, with the state's
    // configuration as its layout; InvalidState when there are no pages. documentId is 0 for text
    // and test pages, which have no document.
    DeviceResult start(DeviceState &state, int documentId, int copies, const QStringList &pages,
                       qint64 nowMs);
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
    int documentId() const { return m_documentId; }
    int pagesDone() const { return m_pagesDone; }
    int pagesTotal() const { return m_pages.size() * m_copies; }
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

    int m_id = 0;
    int m_documentId = 0;
    int m_copies = 1;
    // The pages of one copy.
    QStringList m_pages;
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
};

#endif // EMBOSSJOB_H
