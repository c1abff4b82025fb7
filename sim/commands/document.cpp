// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The document commands (DocumentCommandId): documents are opened, filled with text, closed and
// then embossed; the device holds up to Rules::maximumDocuments of them.

#include "commandcontext.h"

#include "job/braille.h"
#include "job/embossjob.h"
#include "job/pagelayout.h"
#include "state/statestore.h"

#include <QStringList>

namespace {

DeviceResult noSuchDocument(int id)
{
    return DeviceResult::failure(DeviceError::noSuchDocument,
                                 QStringLiteral("There is no document %1").arg(id));
}

// The open document with this id; null when there is none or it is closed, with the failure to
// answer in *failure (closedText takes the id).
Document *openDocumentWithId(DeviceState &state, int id, const QString &closedText,
                             DeviceResult *failure)
{
    Document *document = state.document(id);
    if (document && document->open)
        return document;
    *failure = document ? DeviceResult::failure(DeviceError::invalidState, closedText.arg(id))
                        : noSuchDocument(id);
    return nullptr;
}

QVariantMap documentDetails(const Configuration &c, const Document &document,
                            const TextLayout &layout)
{
    const int pages = Braille::pageCount(layout.lines.size(), c.linesPerPage);
    return {{QStringLiteral("documentId"), document.id},
            {QStringLiteral("title"), document.title},
            {QStringLiteral("state"),
             document.open ? QStringLiteral("open") : QStringLiteral("closed")},
            {QStringLiteral("characters"), Rules::characterCount(document.text)},
            {QStringLiteral("cells"), layout.cells},
            {QStringLiteral("lines"), int(layout.lines.size())},
            {QStringLiteral("pages"), pages},
            {QStringLiteral("sheets"), c.duplex ? (pages + 1) / 2 : pages}};
}

} // namespace

namespace DocumentCommands {

DeviceResult openDocument(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    if (state.documents.size() >= Rules::maximumDocuments) {
        return DeviceResult::failure(DeviceError::invalidState,
                                     QStringLiteral("The device holds %1 documents already; "
                                                    "delete one first")
                                             .arg(Rules::maximumDocuments));
    }
    if (Rules::characterCount(args.at(0).toString()) > Rules::maximumTitleLength) {
        return DeviceResult::failure(DeviceError::invalidArgument,
                                     QStringLiteral("The title is longer than %1 characters")
                                             .arg(Rules::maximumTitleLength));
    }
    Document document;
    document.id = state.nextDocumentId++;
    document.title = args.at(0).toString();
    state.documents.append(document);
    return DeviceResult::success({{QStringLiteral("documentId"), document.id},
                                  {QStringLiteral("title"), document.title},
                                  {QStringLiteral("state"), QStringLiteral("open")}});
}

// The text is appended as it is, with no separator.
DeviceResult addText(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    const int id = args.at(0).toInt();
    DeviceResult failure;
    Document *document
            = openDocumentWithId(state, id, QStringLiteral("Document %1 is closed"), &failure);
    if (!document)
        return failure;
    const QString text = document->text + args.at(1).toString();
    if (Rules::characterCount(text) > Rules::maximumTextLength) {
        return DeviceResult::failure(DeviceError::invalidArgument,
                                     QStringLiteral("Document %1 would exceed %2 characters")
                                             .arg(id)
                                             .arg(Rules::maximumTextLength));
    }
    TextLayout layout;
    const DeviceResult laidOut = layOutText(state.configuration, text, &layout);
    if (laidOut.failed())
        return laidOut;
    document->text = text;
    return DeviceResult::success(documentDetails(state.configuration, *document, layout));
}

DeviceResult closeDocument(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    const int id = args.at(0).toInt();
    DeviceResult failure;
    Document *document = openDocumentWithId(
            state, id, QStringLiteral("Document %1 is closed already"), &failure);
    if (!document)
        return failure;
    TextLayout layout;
    const DeviceResult laidOut = layOutText(state.configuration, document->text, &layout);
    if (laidOut.failed())
        return laidOut;
    document->open = false;
    return DeviceResult::success(documentDetails(state.configuration, *document, layout));
}

DeviceResult listDocuments(CommandContext &device, const Arguments &)
{
    const DeviceState &state = device.store.state();
    QVariantMap details;
    QStringList ids;
    int open = 0;
    for (const Document &d : state.documents) {
        ids.append(QString::number(d.id));
        open += d.open ? 1 : 0;
        details.insert(QStringLiteral("document%1").arg(d.id),
                       QStringLiteral("%1 (%2)").arg(d.title, d.open ? QStringLiteral("open")
                                                                     : QStringLiteral("closed")));
    }
    details.insert(QStringLiteral("documentCount"), int(state.documents.size()));
    details.insert(QStringLiteral("openDocuments"), open);
    details.insert(QStringLiteral("documentIds"), ids.join(QLatin1Char(',')));
    return DeviceResult::success(details);
}

// The braille field holds the embossed lines, broken at word boundaries, one line break between
// lines.
DeviceResult getDocumentInfo(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    const int id = args.at(0).toInt();
    const Document *document = state.document(id);
    if (!document)
        return noSuchDocument(id);
    TextLayout layout;
    const DeviceResult laidOut = layOutText(state.configuration, document->text, &layout);
    if (laidOut.failed())
        return laidOut;
    QVariantMap details = documentDetails(state.configuration, *document, layout);
    details.insert(QStringLiteral("text"), document->text);
    details.insert(QStringLiteral("braille"), layout.lines.join(QLatin1Char('\n')));
    return DeviceResult::success(details);
}

// The document of an active job stays until the job ends.
DeviceResult deleteDocument(CommandContext &device, const Arguments &args)
{
    DeviceState &state = device.store.state();
    const int id = args.at(0).toInt();
    if (!state.document(id))
        return noSuchDocument(id);
    if (device.job.isActive() && device.job.documentId() == id)
        return device.job.busyFailure();
    for (int i = 0; i < state.documents.size(); ++i) {
        if (state.documents.at(i).id == id) {
            state.documents.removeAt(i);
            break;
        }
    }
    return DeviceResult::success({{QStringLiteral("documentId"), id},
                                  {QStringLiteral("deleted"), true},
                                  {QStringLiteral("documentCount"), int(state.documents.size())}});
}

} // namespace DocumentCommands
