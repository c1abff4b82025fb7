// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "rawbus.h"

#include <QElapsedTimer>
#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

using namespace RawBus;

// Many clients changing documents at once: no effect lost or duplicated, also after a restart.
class TestStressConcurrentClients : public StressTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void concurrentClients()
    {
        // SIM_CONCURRENT_SECONDS=60 for the long run.
        const qint64 seconds = fromEnvironment("SIM_CONCURRENT_SECONDS", 15);
        const int clients = 16;
        // A client closes its document after this many texts and starts another.
        const int textsPerDocument = 50;
        const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                    m_dir->filePath(QStringLiteral("state.json"))};
        QVERIFY(m_simulator->start(arguments));

        struct Document
        {
            int id = 0;
            QStringList acknowledged;
            QString text;
        };
        struct Client
        {
            QList<Document> documents;
            QString failure;
            int requests = 0;
        };
        std::vector<Client> results(clients);
        std::atomic<int> ready{0};
        QDeadlineTimer deadline;
        std::mutex start;
        start.lock();

        const auto run = [&](int index) {
            Client &result = results[index];
            RawClient client(m_bus.address());
            if (!client.connect()) {
                result.failure = QStringLiteral("no connection");
                ++ready;
                return;
            }
            ++ready;
            {
                std::lock_guard<std::mutex> go(start);
            }
            const auto fail = [&result](const QString &what, const Outcome &outcome) {
                result.failure = what + QStringLiteral(": ") + outcome.describe();
            };
            // The document as the device holds it now.
            const auto fetch = [&](Document &document) {
                const Outcome info = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                                    {QString::number(document.id)});
                ++result.requests;
                if (!info.succeeded())
                    fail(QStringLiteral("GetDocumentInfo"), info);
                document.text = info.detail(QStringLiteral("text")).toString();
                return info.succeeded();
            };
            // Every client ends with a document, even one that the deadline left empty.
            while (result.failure.isEmpty()) {
                const Outcome opened = client.command(ls::DocumentCommandId::OpenDocument,
                                                      {QStringLiteral("client %1 document %2")
                                                               .arg(index)
                                                               .arg(result.documents.size())});
                ++result.requests;
                if (!opened.succeeded()) {
                    fail(QStringLiteral("OpenDocument"), opened);
                    break;
                }
                Document document;
                document.id = opened.detail(QStringLiteral("documentId")).toInt();
                while (document.acknowledged.size() < textsPerDocument && !deadline.hasExpired()) {
                    const QString marker = QStringLiteral("[c%1:d%2:%3]")
                                                   .arg(index)
                                                   .arg(document.id)
                                                   .arg(document.acknowledged.size());
                    const Outcome added = client.command(ls::DocumentCommandId::AddText,
                                                         {QString::number(document.id), marker});
                    ++result.requests;
                    if (!added.succeeded()) {
                        fail(QStringLiteral("AddText"), added);
                        break;
                    }
                    document.acknowledged.append(marker);
                }
                if (result.failure.isEmpty() && !deadline.hasExpired()) {
                    const Outcome closed = client.command(ls::DocumentCommandId::CloseDocument,
                                                          {QString::number(document.id)});
                    ++result.requests;
                    if (!closed.succeeded())
                        fail(QStringLiteral("CloseDocument"), closed);
                }
                if (!result.failure.isEmpty() || !fetch(document))
                    break;
                result.documents.append(document);
                if (deadline.hasExpired())
                    break;
                // A finished document goes, so that the device never holds too many.
                const Outcome deleted = client.command(ls::DocumentCommandId::DeleteDocument,
                                                       {QString::number(document.id)});
                ++result.requests;
                if (!deleted.succeeded())
                    fail(QStringLiteral("DeleteDocument"), deleted);
            }
        };

        std::vector<std::thread> threads;
        for (int i = 0; i < clients; ++i)
            threads.emplace_back(run, i);
        while (ready < clients)
            QThread::msleep(5);
        QElapsedTimer timer;
        timer.start();
        deadline.setRemainingTime(seconds * 1000);
        start.unlock();
        for (std::thread &thread : threads)
            thread.join();
        const double elapsed = timer.elapsed() / 1000.0;

        int requests = 0;
        int texts = 0;
        int documents = 0;
        QStringList kept;
        for (int i = 0; i < clients; ++i) {
            const Client &result = results.at(i);
            QVERIFY2(result.failure.isEmpty(),
                     qPrintable(QStringLiteral("client %1: %2").arg(i).arg(result.failure)));
            QVERIFY(!result.documents.isEmpty());
            requests += result.requests;
            documents += int(result.documents.size());
            for (const Document &document : result.documents) {
                texts += document.acknowledged.size();
                // Every acknowledged text once, in order, and nothing else.
                QCOMPARE(markers(document.text), document.acknowledged);
                QCOMPARE(document.text, document.acknowledged.join(QString()));
            }
            kept.append(QString::number(result.documents.constLast().id));
        }
        qInfo("%d clients, %.1f s: %d requests (%.0f a second), %d texts added to %d documents",
              clients, elapsed, requests, requests / elapsed, texts, documents);

        // The last document of each client is all the device holds, after a restart too.
        std::sort(kept.begin(), kept.end(),
                  [](const QString &a, const QString &b) { return a.toInt() < b.toInt(); });
        QVERIFY(m_simulator->stop());
        QVERIFY(m_simulator->start(arguments));
        RawClient client(m_bus.address());
        QVERIFY(client.connect());
        const Outcome list = client.command(ls::DocumentCommandId::ListDocuments);
        QVERIFY2(list.succeeded(), qPrintable(list.describe()));
        QCOMPARE(list.detail(QStringLiteral("documentIds")).toString(),
                 kept.join(QLatin1Char(',')));
        for (const Client &result : qAsConst(results)) {
            const Document &last = result.documents.constLast();
            const Outcome info = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                                {QString::number(last.id)});
            QCOMPARE(info.detail(QStringLiteral("text")).toString(), last.text);
        }
        QVERIFY(m_simulator->stop());
        QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
    }
};

QTEST_GUILESS_MAIN(TestStressConcurrentClients)

#include "tst_simulatorstress_concurrentclients.moc"
