// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef PAPERPATH_H
#define PAPERPATH_H

#include "rules/deviceresult.h"

class StateStore;

// What a command that moves paper meets before it does: the pending fault and the tray. Shared by
// the paper feed, emboss and testing commands.
namespace PaperPath {

// The failure of a pending jam or open cover (PaperJam, CoverOpen), which is logged and cleared,
// as the operator clears the jam or closes the cover before trying again; success when none is
// pending.
DeviceResult takeFault(StateStore &store);

// takeFault(), then OutOfPaper (logged) when no sheet is in position and the tray is empty.
DeviceResult checkReady(StateStore &store);

} // namespace PaperPath

#endif // PAPERPATH_H
