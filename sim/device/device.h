// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DEVICE_H
#define DEVICE_H

#include "job/embossjob.h"
#include "job/pagefiles.h"
#include "job/sheetfiles.h"
#include "rules/deviceoptions.h"
#include "state/statestore.h"

#include <QVariantMap>

// The simulated embossing device: its parts, and the cycle of one request through them. Each
// request first lets the running job emboss what is due, is then dispatched, and leaves the kept
// state written when it changed.
class Device
{
public:
    explicit Device(const DeviceOptions &options);

    // The response map to one request map, already converted to plain Qt types.
    QVariantMap handle(const QVariantMap &request);

private:
    // A page the job embossed: written to its page file and, once its sheet is complete, to the
    // sheet's picture; a failure warned of and logged.
    void pageEmbossed(const EmbossedPage &page);
    // The job started, paused, resumed or ended: index.html follows.
    void jobChanged(const EmbossJob &job);
    void fileFailed(const QString &error);

    DeviceOptions m_options;
    // The clock's reading when the device started.
    qint64 m_startMs = 0;
    int m_requestsServed = 0;
    StateStore m_store;
    EmbossJob m_job;
    PageFiles m_pageFiles;
    SheetFiles m_sheetFiles;
};

#endif // DEVICE_H
