// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "device.h"

#include "dispatcher.h"

#include "commands/commandcontext.h"
#include "state/devicelogging.h"

#include <QElapsedTimer>

#include <memory>

namespace {

DeviceOptions withClock(DeviceOptions options)
{
    if (!options.clockMs) {
        auto timer = std::make_shared<QElapsedTimer>();
        timer->start();
        options.clockMs = [timer] {
            return timer->elapsed();
        };
    }
    return options;
}

} // namespace

Device::Device(const DeviceOptions &options)
    : m_options(withClock(options)),
      m_startMs(m_options.clockMs()),
      m_store(m_options.stateFile),
      m_pageFiles(m_options.outputDirectory),
      m_sheetFiles(m_options.sheetPictures ? m_options.outputDirectory : QString())
{
    m_job.setObserver([this](const EmbossJob &job) { jobChanged(job); });
}

QVariantMap Device::handle(const QVariantMap &request)
{
    ++m_requestsServed;
    m_job.advance(m_store, m_options.clockMs(), m_options.stepPerRequest,
                  [this](const EmbossedPage &page) { pageEmbossed(page); });
    CommandContext context{m_store, m_job, m_options, m_startMs, m_requestsServed};
    const QVariantMap response = Dispatcher::respond(context, request);
    m_store.save();
    return response;
}

void Device::pageEmbossed(const EmbossedPage &page)
{
    QString error;
    if (!m_pageFiles.write(page, &error))
        fileFailed(error);
    if (!m_sheetFiles.pageEmbossed(page, &error))
        fileFailed(error);
}

void Device::jobChanged(const EmbossJob &job)
{
    QString error;
    if (!m_sheetFiles.jobChanged(job, &error))
        fileFailed(error);
}

void Device::fileFailed(const QString &error)
{
    qCWarning(SIM_DEVICE).noquote() << error;
    m_store.logError(QStringLiteral("PageFileError"), error);
}
