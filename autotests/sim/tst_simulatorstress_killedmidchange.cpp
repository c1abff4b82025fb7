// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "rawbus.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTest>
#include <QThread>

#include <atomic>
#include <mutex>
#include <random>
#include <thread>

using namespace RawBus;

// The simulator killed amid changes and started again: the state file parses, nothing is set
// aside, and the device holds the last acknowledged change or the one in flight.
class TestStressKilledMidChange : public StressTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void killedMidChange()
    {
        // SIM_KILL_ROUNDS for more rounds; each round kills the simulator once.
        const qint64 rounds = fromEnvironment("SIM_KILL_ROUNDS", 25);
        const QString statePath = m_dir->filePath(QStringLiteral("state.json"));
        const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                    statePath};
        std::mt19937 random(7);

        // What the device must hold: the last rounds' documents by id and the cells per line.
        QList<QPair<int, QString>> documents;
        int cellsPerLine = 40;
        int inFlightFound = 0;
        for (int round = 0; round < rounds; ++round) {
            QVERIFY(m_simulator->start(arguments));

            struct Progress
            {
                QStringList acknowledged;
                int cellsPerLine = 0;
                // The change whose answer never came: a marker, or cells per line.
                QString inFlight;
                int inFlightCells = 0;
                QString end;
            } progress;
            progress.cellsPerLine = cellsPerLine;
            const int documentId = round + 1;
            std::atomic<bool> changing{false};
            std::thread changes([&] {
                RawClient client(m_bus.address());
                if (!client.connect()) {
                    progress.end = QStringLiteral("no connection");
                    changing = true;
                    return;
                }
                const Outcome opened = client.command(ls::DocumentCommandId::OpenDocument,
                                                      {QStringLiteral("round %1").arg(round)});
                if (opened.detail(QStringLiteral("documentId")).toInt() != documentId) {
                    progress.end = QStringLiteral("OpenDocument: ") + opened.describe();
                    changing = true;
                    return;
                }
                for (int k = 0;; ++k) {
                    Outcome outcome;
                    if (k % 4 == 3) {
                        const int cells = 10 + (k / 4) % 39;
                        progress.inFlightCells = cells;
                        progress.inFlight.clear();
                        outcome = client.command(ls::ConfigurationCommandId::SetCellsPerLine,
                                                 {QString::number(cells)});
                        if (outcome.succeeded())
                            progress.cellsPerLine = cells;
                    } else {
                        const QString marker = QStringLiteral("[r%1:%2]").arg(round).arg(k);
                        progress.inFlight = marker;
                        progress.inFlightCells = 0;
                        outcome = client.command(ls::DocumentCommandId::AddText,
                                                 {QString::number(documentId), marker});
                        if (outcome.succeeded())
                            progress.acknowledged.append(marker);
                    }
                    if (!outcome.succeeded()) {
                        progress.end = outcome.describe();
                        changing = true;
                        return;
                    }
                    changing = true;
                }
            });
            // The kill lands at any point of the run of changes, once it has begun.
            while (!changing)
                QThread::msleep(1);
            QThread::msleep(20 + random() % 400);
            const bool killed = m_simulator->killHard();
            changes.join();
            QVERIFY(killed);
            QVERIFY2(!progress.acknowledged.isEmpty(), qPrintable(progress.end));

            // Whole, never set aside.
            QFile file(statePath);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QJsonParseError parseError;
            QVERIFY(QJsonDocument::fromJson(file.readAll(), &parseError).isObject());
            QCOMPARE(parseError.error, QJsonParseError::NoError);
            QVERIFY(QDir(m_dir->path()).entryList({QStringLiteral("*damaged*")}).isEmpty());

            QVERIFY(m_simulator->start(arguments));
            RawClient client(m_bus.address());
            QVERIFY(client.connect());
            const QString acknowledged = progress.acknowledged.join(QString());
            const QString text = client.command(ls::DocumentCommandId::GetDocumentInfo,
                                                {QString::number(documentId)})
                                         .detail(QStringLiteral("text"))
                                         .toString();
            const int cells = client.command(ls::ConfigurationCommandId::GetConfiguration)
                                      .detail(QStringLiteral("cellsPerLine"))
                                      .toInt();
            const bool textInFlight = !progress.inFlight.isEmpty();
            const bool foundInFlight = (textInFlight && text == acknowledged + progress.inFlight)
                                       || (!textInFlight && cells == progress.inFlightCells
                                           && cells != progress.cellsPerLine);
            inFlightFound += foundInFlight ? 1 : 0;
            QVERIFY2(text == acknowledged
                             || (textInFlight && text == acknowledged + progress.inFlight),
                     qPrintable(QStringLiteral("round %1: %2 found, %3 acknowledged, %4 in flight")
                                        .arg(round)
                                        .arg(text, acknowledged, progress.inFlight)));
            QVERIFY2(cells == progress.cellsPerLine
                             || (!textInFlight && cells == progress.inFlightCells),
                     qPrintable(QStringLiteral("round %1: %2 cells per line, %3 acknowledged")
                                        .arg(round)
                                        .arg(cells)
                                        .arg(progress.cellsPerLine)));
            // The earlier rounds' documents are untouched.
            for (const auto &document : qAsConst(documents)) {
                QCOMPARE(client.command(ls::DocumentCommandId::GetDocumentInfo,
                                        {QString::number(document.first)})
                                 .detail(QStringLiteral("text"))
                                 .toString(),
                         document.second);
            }
            documents.append({documentId, text});
            // Below the device's limit of documents, however many rounds.
            if (documents.size() > 10) {
                QVERIFY(client.command(ls::DocumentCommandId::DeleteDocument,
                                       {QString::number(documents.takeFirst().first)})
                                .succeeded());
            }
            cellsPerLine = cells;
            QVERIFY(m_simulator->stop());
            QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
        }
        const QStringList leftBeside
                = QDir(m_dir->path()).entryList({QStringLiteral("state.json?*")}, QDir::Files);
        qInfo("%lld rounds; the change in flight was found after %d of them; left beside the "
              "state: %s",
              rounds, inFlightFound, qPrintable(leftBeside.join(QStringLiteral(", "))));
    }
};

QTEST_GUILESS_MAIN(TestStressKilledMidChange)

#include "tst_simulatorstress_killedmidchange.moc"
