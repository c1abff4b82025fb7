// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "requests.h"
#include "simulatortest.h"

#include <ls/messagekeys.h>

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace SimulatorTest;
using Requests::request;

// The device's state file: kept across restarts, set aside when damaged, and a braille table
// that no longer loads after a restart.
class TestSimulatorStateFile : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void deviceStateFileSurvivesRestart()
    {
        const QStringList arguments{QStringLiteral("--step"), QStringLiteral("--state-file"),
                                    filePath(QStringLiteral("state.json"))};
        QVERIFY(m_simulator.start(arguments));
        execute(QStringLiteral("103 30"));
        execute(QStringLiteral("202 7"));
        execute(QStringLiteral("301 Kept"));
        execute(QStringLiteral("302 1 across restarts"));
        QVERIFY(m_simulator.stop());
        QCOMPARE(m_simulator.process().exitCode(), 0);

        QVERIFY(m_simulator.start(arguments));
        const auto s = [](const char *text) {
            return QString::fromUtf8(text);
        };
        verifySteps({
                {s("101"), {{s("cellsPerLine"), 30}}},
                {s("201"), {{s("sheetsLoaded"), 7}}},
                {s("305 1"),
                 {{s("title"), s("Kept")},
                  {s("text"), s("across restarts")},
                  {s("state"), s("open")}}},
                // Numbering carries on too.
                {s("301 Next"), {{s("documentId"), 2}}},
        });
    }

    void deviceDamagedStateFile_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not JSON") << QByteArray("{\"configuration\": ");
        QTest::newRow("JSON of another shape") << QByteArray("[1, 2]");
        QTest::newRow("unknown version") << QByteArray(R"({"version": 99})");
    }

    void deviceDamagedStateFile()
    {
        QFETCH(QByteArray, content);
        const QString statePath = writeFile(QStringLiteral("state.json"), content);
        QVERIFY(m_simulator.start(
                {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
        // The device starts afresh...
        QCOMPARE(execute(QStringLiteral("101"))
                         .value(ls::detailsMapKey)
                         .toMap()
                         .value(QStringLiteral("cellsPerLine")),
                 QVariant(40));
        // ...and the damaged file is kept beside the new one.
        const QStringList aside
                = QDir(directory())
                          .entryList({QStringLiteral("state.json.damaged-*")}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QFile kept(filePath(aside.constFirst()));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), content);
        QFile state(statePath);
        QVERIFY(state.open(QIODevice::ReadOnly));
        QVERIFY(QJsonDocument::fromJson(state.readAll()).isObject());
    }

    void deviceTableNoLongerLoads()
    {
        // A state written while a table was installed that is gone after the restart.
        const QString statePath = filePath(QStringLiteral("state.json"));
        QVERIFY(m_simulator.start(
                {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
        execute(QStringLiteral("301 Notes"));
        QVERIFY(m_simulator.stop());
        QFile file(statePath);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QJsonObject state = QJsonDocument::fromJson(file.readAll()).object();
        file.close();
        QJsonObject configuration = state.value(QStringLiteral("configuration")).toObject();
        configuration.insert(QStringLiteral("brailleTable"), QStringLiteral("uninstalled.ctb"));
        state.insert(QStringLiteral("configuration"), configuration);
        writeFile(QStringLiteral("state.json"), QJsonDocument(state).toJson());

        QVERIFY(m_simulator.start(
                {QStringLiteral("--step"), QStringLiteral("--state-file"), statePath}));
        QCOMPARE(execute(QStringLiteral("302 1 Hello")),
                 failure(QStringLiteral("TranslationFailed"),
                         QStringLiteral("Braille table uninstalled.ctb cannot be loaded")));
    }
};

QTEST_GUILESS_MAIN(TestSimulatorStateFile)

#include "tst_simulator_statefile.moc"
