// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The testing commands (TestingCommandId): the self-test, test pages, the sensors, the error log
// and the faults that tests inject.

#include "commandcontext.h"
#include "paperpath.h"

#include "job/braille.h"
#include "job/embossjob.h"
#include "job/pagelayout.h"
#include "state/statestore.h"

#include <QVector>

namespace {

QString storageState(StateStore::Storage storage)
{
    switch (storage) {
    case StateStore::Storage::NotUsed:
        return QStringLiteral("not used");
    case StateStore::Storage::Ok:
        break;
    case StateStore::Storage::Disabled:
        return QStringLiteral("disabled");
    }
    return QStringLiteral("ok");
}

// The lines of a test page: every cell raised, a checkerboard of raised and blank cells, or the
// alphabet's letters in the configured table, each line one letter on.
QStringList testPageLines(const QString &pattern, const Configuration &c, const QString &alphabet)
{
    const QChar fullCell(0x283f);
    QStringList lines;
    for (int line = 0; line < c.linesPerPage; ++line) {
        QString cells;
        for (int cell = 0; cell < c.cellsPerLine; ++cell) {
            if (pattern == QLatin1String("full-cell"))
                cells.append(fullCell);
            else if (pattern == QLatin1String("grid"))
                cells.append((line + cell) % 2 == 0 ? fullCell : Braille::blankCell);
            else
                cells.append(alphabet.at((line + cell) % alphabet.size()));
        }
        lines.append(cells);
    }
    return lines;
}

} // namespace

namespace TestingCommands {

DeviceResult runSelfTest(CommandContext &device, const Arguments &)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    struct Check
    {
        QString name;
        bool passed;
        QString state;
    };
    const DeviceState &state = device.store.state();
    const bool jammed = state.pendingFault == Rules::faultPaperJam();
    const bool coverOpen = state.pendingFault == Rules::faultCoverOpen();
    const bool tableLoads = Braille::isKnownTable(state.configuration.brailleTable);
    const StateStore::Storage storage = device.store.storage();
    const QVector<Check> checks = {
            {QStringLiteral("print head"), true, QStringLiteral("ok")},
            {QStringLiteral("paper path"), !jammed,
             jammed ? QStringLiteral("jammed") : QStringLiteral("clear")},
            {QStringLiteral("cover"), !coverOpen,
             coverOpen ? QStringLiteral("open") : QStringLiteral("closed")},
            {QStringLiteral("braille table"), tableLoads,
             tableLoads ? QStringLiteral("ok") : QStringLiteral("does not load")},
            {QStringLiteral("state storage"), storage != StateStore::Storage::Disabled,
             storageState(storage)},
    };
    QStringList report;
    int failed = 0;
    for (const Check &check : checks) {
        report.append(QStringLiteral("%1 %2").arg(check.name, check.state));
        failed += check.passed ? 0 : 1;
    }
    return DeviceResult::success({{QStringLiteral("passed"), failed == 0},
                                  {QStringLiteral("checksRun"), int(checks.size())},
                                  {QStringLiteral("checksFailed"), failed},
                                  {QStringLiteral("report"), report.join(QStringLiteral("; "))}});
}

DeviceResult embossTestPage(CommandContext &device, const Arguments &args)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    const QString pattern = args.at(0).toString();
    DeviceState &state = device.store.state();
    const Configuration &c = state.configuration;
    QString alphabet;
    if (pattern == QLatin1String("alphabet")) {
        bool ok = false;
        QString error;
        alphabet = Braille::translate(c.brailleTable, QStringLiteral("abcdefghijklmnopqrstuvwxyz"),
                                      &ok, &error);
        if (!ok || alphabet.isEmpty())
            return DeviceResult::failure(DeviceError::translationFailed, error);
    }
    const QStringList lines = testPageLines(pattern, c, alphabet);
    const DeviceResult ready = PaperPath::checkReady(device.store);
    if (ready.failed())
        return ready;
    JobContent content;
    content.title = QStringLiteral("Test page: %1").arg(pattern);
    content.pages = pagesOf(lines, c);
    DeviceResult result = device.job.start(state, content, 1, device.now());
    result.details.insert(QStringLiteral("pattern"), pattern);
    return result;
}

DeviceResult testSensors(CommandContext &device, const Arguments &)
{
    const DeviceState &state = device.store.state();
    const Paper &p = state.paper;
    const bool embossing = device.job.state() == EmbossJob::State::Embossing;
    return DeviceResult::success(
            {{QStringLiteral("paperPresent"), p.sheetsLoaded > 0},
             {QStringLiteral("sheetsLoaded"), p.sheetsLoaded},
             {QStringLiteral("sheetInPosition"), p.sheetInPosition},
             {QStringLiteral("coverClosed"), state.pendingFault != Rules::faultCoverOpen()},
             {QStringLiteral("paperPathClear"), state.pendingFault != Rules::faultPaperJam()},
             {QStringLiteral("headTemperature"), embossing ? 48 : 35}});
}

DeviceResult getErrorLog(CommandContext &device, const Arguments &)
{
    const QList<LogEntry> &log = device.store.state().errorLog;
    QVariantMap details;
    for (int i = 0; i < log.size(); ++i) {
        const LogEntry &e = log.at(i);
        details.insert(
                QStringLiteral("entry%1").arg(i + 1),
                QStringLiteral("%1 %2: %3").arg(e.time.toString(Qt::ISODate), e.code, e.message));
    }
    details.insert(QStringLiteral("entryCount"), int(log.size()));
    return DeviceResult::success(details);
}

DeviceResult clearErrorLog(CommandContext &device, const Arguments &)
{
    QList<LogEntry> &log = device.store.state().errorLog;
    const int cleared = log.size();
    log.clear();
    return DeviceResult::success(
            {{QStringLiteral("entriesCleared"), cleared}, {QStringLiteral("entryCount"), 0}});
}

// A jam or an open cover waits as the pending fault; out-of-paper empties the tray at once and
// takes the sheet in position away.
DeviceResult injectFault(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    const QString fault = args.at(0).toString();
    if (fault == Rules::faultOutOfPaper()) {
        state.paper.sheetsLoaded = 0;
        state.paper.sheetInPosition = false;
    } else {
        state.pendingFault = fault;
    }
    return DeviceResult::success({{QStringLiteral("fault"), fault},
                                  {QStringLiteral("pendingFault"), state.pendingFault},
                                  {QStringLiteral("sheetsLoaded"), state.paper.sheetsLoaded}});
}

} // namespace TestingCommands
