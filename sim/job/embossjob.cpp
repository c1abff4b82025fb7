// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "embossjob.h"

#include "state/statestore.h"

DeviceResult EmbossJob::start(DeviceState &state, const JobContent &content, int copies,
                              qint64 nowMs)
{
    if (content.pages.isEmpty()) {
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("There is nothing to emboss"));
    }
    Observer observer = std::move(m_observer);
    *this = EmbossJob();
    m_observer = std::move(observer);
    m_id = state.nextJobId++;
    m_content = content;
    m_copies = copies;
    m_layout = state.configuration;
    m_state = State::Embossing;
    m_clockMs = nowMs;
    changed();
    return DeviceResult::success(details());
}

void EmbossJob::changed() const
{
    if (m_observer)
        m_observer(*this);
}

void EmbossJob::advance(StateStore &store, qint64 nowMs, bool stepPerRequest, const PageSink &sink)
{
    if (m_state != State::Embossing)
        return;
    if (stepPerRequest) {
        embossNextPage(store, sink);
        return;
    }
    while (m_state == State::Embossing && nowMs - m_clockMs >= Rules::pageIntervalMs) {
        m_clockMs += Rules::pageIntervalMs;
        embossNextPage(store, sink);
    }
}

void EmbossJob::pause()
{
    m_state = State::Paused;
    m_pauseReason = QStringLiteral("User");
    changed();
}

void EmbossJob::resume(qint64 nowMs)
{
    m_state = State::Embossing;
    m_pauseReason.clear();
    m_clockMs = nowMs;
    changed();
}

void EmbossJob::cancel()
{
    m_state = State::Idle;
    m_pauseReason.clear();
    m_outcome = QStringLiteral("Cancelled");
    changed();
}

bool EmbossJob::nextPageNeedsSheet() const
{
    const int page = m_pagesDone % m_content.pages.size();
    return !m_layout.duplex || page % 2 == 0;
}

void EmbossJob::pauseFor(StateStore &store, const QString &reason, const QString &message)
{
    m_state = State::Paused;
    m_pauseReason = reason;
    store.logError(reason, QStringLiteral("Job %1 paused: %2").arg(m_id).arg(message));
    changed();
}

void EmbossJob::embossNextPage(StateStore &store, const PageSink &sink)
{
    // Paper, faults and the error log change with every page.
    store.markChanged();
    DeviceState &state = store.state();
    if (state.pendingFault == Rules::faultPaperJam()) {
        state.pendingFault = Rules::faultNone();
        pauseFor(store, DeviceError::paperJam, QStringLiteral("paper jammed in the feed path"));
        return;
    }
    if (state.pendingFault == Rules::faultCoverOpen()) {
        state.pendingFault = Rules::faultNone();
        pauseFor(store, DeviceError::coverOpen, QStringLiteral("the cover is open"));
        return;
    }

    const int pages = m_content.pages.size();
    const int copy = m_pagesDone / pages;
    const int page = m_pagesDone % pages;
    if (nextPageNeedsSheet()) {
        if (state.paper.sheetInPosition) {
            state.paper.sheetInPosition = false;
        } else if (state.paper.sheetsLoaded > 0) {
            --state.paper.sheetsLoaded;
        } else {
            pauseFor(store, DeviceError::outOfPaper, QStringLiteral("the paper tray is empty"));
            return;
        }
        ++m_sheetsUsed;
    }
    if (sink) {
        EmbossedPage embossed;
        embossed.jobId = m_id;
        embossed.copy = copy + 1;
        embossed.page = page + 1;
        embossed.sheet = m_layout.duplex ? page / 2 + 1 : page + 1;
        embossed.side = m_layout.duplex && page % 2 == 1 ? EmbossedPage::Side::Back
                                                         : EmbossedPage::Side::Front;
        embossed.lastOfCopy = page == pages - 1;
        embossed.cells = m_content.pages.at(page);
        embossed.sourceText = m_content.pageTexts.value(page);
        embossed.layout = m_layout;
        sink(embossed);
    }
    if (++m_pagesDone == pagesTotal()) {
        m_state = State::Idle;
        m_outcome = QStringLiteral("Completed");
        changed();
    }
}

QString EmbossJob::stateName(State state)
{
    switch (state) {
    case State::Embossing:
        return QStringLiteral("Embossing");
    case State::Paused:
        return QStringLiteral("Paused");
    case State::Idle:
        break;
    }
    return QStringLiteral("Idle");
}

QVariantMap EmbossJob::details() const
{
    return {{QStringLiteral("jobId"), m_id},
            {QStringLiteral("state"), stateName(m_state)},
            {QStringLiteral("documentId"), m_content.documentId},
            {QStringLiteral("copies"), m_id ? m_copies : 0},
            {QStringLiteral("pagesDone"), m_pagesDone},
            {QStringLiteral("pagesTotal"), pagesTotal()},
            {QStringLiteral("sheetsUsed"), m_sheetsUsed},
            {QStringLiteral("pauseReason"),
             m_state == State::Paused ? m_pauseReason : QStringLiteral("None")},
            {QStringLiteral("outcome"), m_outcome.isEmpty() ? QStringLiteral("None") : m_outcome}};
}

DeviceResult EmbossJob::busyFailure() const
{
    return DeviceResult::failure(DeviceError::deviceBusy,
                                 QStringLiteral("Job %1 is %2; wait for it or cancel it first")
                                         .arg(m_id)
                                         .arg(m_state == State::Paused
                                                      ? QStringLiteral("paused")
                                                      : QStringLiteral("embossing")));
}
