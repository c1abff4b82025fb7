// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The paper feed commands (PaperFeedCommandId): the tray, the sheet in position, the feed mode.

#include "commandcontext.h"
#include "paperpath.h"

#include "job/embossjob.h"
#include "state/statestore.h"

namespace PaperFeedCommands {

DeviceResult getPaperStatus(CommandContext &device, const Arguments &)
{
    const DeviceState &state = device.store.state();
    const Paper &p = state.paper;
    return DeviceResult::success(
            {{QStringLiteral("sheetsLoaded"), p.sheetsLoaded},
             {QStringLiteral("trayCapacity"), Rules::trayCapacity},
             {QStringLiteral("sheetInPosition"), p.sheetInPosition},
             {QStringLiteral("feedMode"), p.feedMode},
             {QStringLiteral("paperFormat"), state.configuration.paperFormat}});
}

DeviceResult loadPaper(CommandContext &device, const Arguments &args)
{
    // Topping up the tray is fine while a job runs; that is how a paused job gets going again.
    Paper &paper = device.store.state().paper;
    const int sheets = args.at(0).toInt();
    const int room = Rules::trayCapacity - paper.sheetsLoaded;
    if (sheets > room) {
        return DeviceResult::failure(
                DeviceError::invalidArgument,
                QStringLiteral("The tray holds %1 sheets and has room for %2 more, not %3")
                        .arg(Rules::trayCapacity)
                        .arg(room)
                        .arg(sheets));
    }
    paper.sheetsLoaded += sheets;
    return DeviceResult::success({{QStringLiteral("sheetsAdded"), sheets},
                                  {QStringLiteral("sheetsLoaded"), paper.sheetsLoaded}});
}

DeviceResult feedSheet(CommandContext &device, const Arguments &)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    Paper &paper = device.store.state().paper;
    if (paper.sheetInPosition) {
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("A sheet is in position already"));
    }
    const DeviceResult ready = PaperPath::checkReady(device.store);
    if (ready.failed())
        return ready;
    --paper.sheetsLoaded;
    paper.sheetInPosition = true;
    return DeviceResult::success({{QStringLiteral("sheetInPosition"), true},
                                  {QStringLiteral("sheetsLoaded"), paper.sheetsLoaded}});
}

DeviceResult ejectSheet(CommandContext &device, const Arguments &)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    Paper &paper = device.store.state().paper;
    if (!paper.sheetInPosition) {
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("No sheet is in position"));
    }
    const DeviceResult fault = PaperPath::takeFault(device.store);
    if (fault.failed())
        return fault;
    paper.sheetInPosition = false;
    return DeviceResult::success({{QStringLiteral("sheetInPosition"), false},
                                  {QStringLiteral("sheetsLoaded"), paper.sheetsLoaded}});
}

DeviceResult setFeedMode(CommandContext &device, const Arguments &args)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    Paper &paper = device.store.state().paper;
    paper.feedMode = args.at(0).toString();
    return DeviceResult::success({{QStringLiteral("feedMode"), paper.feedMode}});
}

} // namespace PaperFeedCommands
