// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "paperpath.h"

#include "state/statestore.h"

namespace PaperPath {

DeviceResult takeFault(StateStore &store)
{
    DeviceState &state = store.state();
    DeviceResult result;
    if (state.pendingFault == Rules::faultPaperJam()) {
        result = DeviceResult::failure(DeviceError::paperJam,
                                       QStringLiteral("Paper jammed in the feed path"));
    } else if (state.pendingFault == Rules::faultCoverOpen()) {
        result = DeviceResult::failure(DeviceError::coverOpen, QStringLiteral("The cover is open"));
    } else {
        return DeviceResult::success();
    }
    state.pendingFault = Rules::faultNone();
    store.logError(result.errorId, result.message);
    return result;
}

DeviceResult checkReady(StateStore &store)
{
    const DeviceResult fault = takeFault(store);
    if (fault.failed())
        return fault;
    const Paper &paper = store.state().paper;
    if (!paper.sheetInPosition && paper.sheetsLoaded == 0) {
        const DeviceResult result = DeviceResult::failure(
                DeviceError::outOfPaper, QStringLiteral("The paper tray is empty"));
        store.logError(result.errorId, result.message);
        return result;
    }
    return DeviceResult::success();
}

} // namespace PaperPath
