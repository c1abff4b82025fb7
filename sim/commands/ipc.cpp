// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The inter-process communication commands (IpcCommandId): whether the service answers, what it
// is, and a summary of the device.

#include "commandcontext.h"

#include "job/braille.h"
#include "job/embossjob.h"
#include "state/statestore.h"

#include <ls/messagekeys.h>

namespace IpcCommands {

DeviceResult ping(CommandContext &, const Arguments &)
{
    return DeviceResult::success({{QStringLiteral("reply"), QStringLiteral("pong")}});
}

DeviceResult getServiceInfo(CommandContext &device, const Arguments &)
{
    return DeviceResult::success(
            {{QStringLiteral("service"), ls::ServiceId::CommandHandler},
             {QStringLiteral("version"), QStringLiteral(PROJECT_VERSION_STRING)},
             {QStringLiteral("liblouisVersion"), Braille::louisVersion()},
             {QStringLiteral("uptimeSeconds"), int((device.now() - device.startMs) / 1000)},
             {QStringLiteral("requestsServed"), device.requestsServed},
             {QStringLiteral("pageTiming"), device.options.stepPerRequest
                                                    ? QStringLiteral("per request")
                                                    : QStringLiteral("per second")}});
}

DeviceResult echo(CommandContext &, const Arguments &args)
{
    return DeviceResult::success({{QStringLiteral("text"), args.at(0).toString()}});
}

DeviceResult getDeviceState(CommandContext &device, const Arguments &)
{
    const DeviceState &state = device.store.state();
    int open = 0;
    for (const Document &d : state.documents)
        open += d.open ? 1 : 0;
    const EmbossJob &job = device.job;
    return DeviceResult::success({{QStringLiteral("state"), EmbossJob::stateName(job.state())},
                                  {QStringLiteral("jobId"), job.id()},
                                  {QStringLiteral("pagesDone"), job.pagesDone()},
                                  {QStringLiteral("pagesTotal"), job.pagesTotal()},
                                  {QStringLiteral("documentCount"), int(state.documents.size())},
                                  {QStringLiteral("openDocuments"), open},
                                  {QStringLiteral("sheetsLoaded"), state.paper.sheetsLoaded},
                                  {QStringLiteral("sheetInPosition"), state.paper.sheetInPosition},
                                  {QStringLiteral("pendingFault"), state.pendingFault},
                                  {QStringLiteral("errorLogEntries"), int(state.errorLog.size())}});
}

} // namespace IpcCommands
