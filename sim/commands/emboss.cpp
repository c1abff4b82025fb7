// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The emboss commands (EmbossCommandId): a job of a closed document's copies or of a text, and
// its pause, resume and cancel.

#include "commandcontext.h"
#include "paperpath.h"

#include "job/embossjob.h"
#include "job/pagelayout.h"
#include "state/statestore.h"

namespace EmbossCommands {

namespace {

// Lays the text out in the kept layout and, with the paper path ready, starts a job of it.
DeviceResult startTextJob(CommandContext &device, const QString &text, JobContent content,
                          int copies)
{
    DeviceState &state = device.store.state();
    TextLayout layout;
    const DeviceResult laidOut = layOutText(state.configuration, text, &layout);
    if (laidOut.failed())
        return laidOut;
    const DeviceResult ready = PaperPath::checkReady(device.store);
    if (ready.failed())
        return ready;
    content.pages = pagesOf(layout.lines, state.configuration);
    content.pageTexts = pageTextsOf(layout, state.configuration);
    return device.job.start(state, content, copies, device.now());
}

} // namespace

DeviceResult startEmbossing(CommandContext &device, const Arguments &args)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    DeviceState &state = device.store.state();
    const int id = args.at(0).toInt();
    const Document *document = state.document(id);
    if (!document) {
        return DeviceResult::failure(DeviceError::noSuchDocument,
                                     QStringLiteral("There is no document %1").arg(id));
    }
    if (document->open) {
        return DeviceResult::failure(
                DeviceError::invalidState,
                QStringLiteral("Document %1 is still open; close it first").arg(id));
    }
    if (document->text.isEmpty()) {
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("Document %1 has no text").arg(id));
    }
    JobContent content;
    content.documentId = id;
    content.title = document->title;
    return startTextJob(device, document->text, content, args.at(1).toInt());
}

DeviceResult pauseEmbossing(CommandContext &device, const Arguments &)
{
    if (device.job.state() != EmbossJob::State::Embossing)
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("No job is embossing"));
    device.job.pause();
    return DeviceResult::success(device.job.details());
}

// A job paused before a back page needs no sheet to go on, only a clear paper path.
DeviceResult resumeEmbossing(CommandContext &device, const Arguments &)
{
    if (device.job.state() != EmbossJob::State::Paused)
        return DeviceResult::failure(DeviceError::invalidState, QStringLiteral("No job is paused"));
    const DeviceResult ready = device.job.nextPageNeedsSheet() ? PaperPath::checkReady(device.store)
                                                               : PaperPath::takeFault(device.store);
    if (ready.failed())
        return ready;
    device.job.resume(device.now());
    return DeviceResult::success(device.job.details());
}

DeviceResult cancelEmbossing(CommandContext &device, const Arguments &)
{
    if (!device.job.isActive())
        return DeviceResult::failure(DeviceError::invalidState, QStringLiteral("No job to cancel"));
    device.job.cancel();
    return DeviceResult::success(device.job.details());
}

DeviceResult getEmbossStatus(CommandContext &device, const Arguments &)
{
    return DeviceResult::success(device.job.details());
}

DeviceResult embossText(CommandContext &device, const Arguments &args)
{
    if (device.job.isActive())
        return device.job.busyFailure();
    const QString text = args.at(0).toString();
    if (text.isEmpty()) {
        return DeviceResult::failure(DeviceError::invalidArgument,
                                     QStringLiteral("There is no text to emboss"));
    }
    if (Rules::characterCount(text) > Rules::maximumTextLength) {
        return DeviceResult::failure(DeviceError::invalidArgument,
                                     QStringLiteral("The text is longer than %1 characters")
                                             .arg(Rules::maximumTextLength));
    }
    JobContent content;
    content.title = QStringLiteral("Text");
    return startTextJob(device, text, content, 1);
}

} // namespace EmbossCommands
