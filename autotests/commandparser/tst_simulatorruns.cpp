// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "datatable.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QFile>
#include <QTest>

// command-parser against the simulated device: whole runs compared with the log they must write.
class TestSimulatorRuns : public ToolBusTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void run_data()
    {
        addColumns<QStringList, QString, QStringList>("arguments", "expectedLog", "requests");

        QTest::newRow("-l: the categories")
                << QStringList{QStringLiteral("-l")} << QStringLiteral("listing-categories.txt")
                << QStringList{Requests::recordedCategories()};
        for (int category = 1; category <= 6; ++category) {
            QTest::addRow("-c %d: the commands of %s", category, qPrintable(categoryName(category)))
                    << QStringList{QStringLiteral("-c"), QString::number(category)}
                    << QStringLiteral("listing-category-%1.txt").arg(category)
                    << QStringList{Requests::recordedCommands(categoryName(category))};
        }
        QTest::newRow("-c 0: unknown category")
                << QStringList{QStringLiteral("-c"), QStringLiteral("0")}
                << QStringLiteral("listing-category-0.txt") << QStringList();
        QTest::newRow("-c 7: unknown category")
                << QStringList{QStringLiteral("-c"), QStringLiteral("7")}
                << QStringLiteral("listing-category-7.txt") << QStringList();
        QTest::newRow("-c x: invalid category")
                << QStringList{QStringLiteral("-c"), QStringLiteral("x")}
                << QStringLiteral("listing-category-x.txt") << QStringList();

        QTest::newRow("-e 601: Ping") << QStringList{QStringLiteral("-e"), QStringLiteral("601")}
                                      << QStringLiteral("run-ping.txt")
                                      << QStringList{Requests::recordedCommand(601, {})};
        QTest::newRow("-e 603 -a 'a  b': Echo keeps both blanks")
                << QStringList{QStringLiteral("-e"), QStringLiteral("603"), QStringLiteral("-a"),
                               QStringLiteral("a  b")}
                << QStringLiteral("run-echo.txt")
                << QStringList{Requests::recordedCommand(
                           603, {QStringLiteral("a"), QString(), QStringLiteral("b")})};
        QTest::newRow("-e 999: unknown command")
                << QStringList{QStringLiteral("-e"), QStringLiteral("999")}
                << QStringLiteral("run-unknown-command.txt") << QStringList();
        QTest::newRow("-e x: invalid command")
                << QStringList{QStringLiteral("-e"), QStringLiteral("x")}
                << QStringLiteral("run-invalid-command.txt") << QStringList();
    }

    void run()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, expectedLog);
        QFETCH(QStringList, requests);

        QFile file(QStringLiteral(COMMANDPARSER_DATA_DIR "/") + expectedLog);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QByteArray expected = file.readAll();
        QVERIFY(!expected.isEmpty());

        ToolRunner runner(m_bus);
        QVERIFY2(runner.startDevice(), qPrintable(runner.errorString()));
        const ToolRun run = runner.run(arguments);
        QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
        QCOMPARE(run.standardError.split('\n'), expected.split('\n'));
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.requests, requests);
    }
};

QTEST_GUILESS_MAIN(TestSimulatorRuns)

#include "tst_simulatorruns.moc"
