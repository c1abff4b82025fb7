// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The testing commands (commands/testing.cpp): self-test, test pages, sensors, the error log and
// injected faults.

#include "simcoretest.h"

using namespace SimTest;

class TestingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorLogEntry()
    {
        Device device(stepping());
        QVERIFY(runSteps(device,
                         {step(ls::TestingCommandId::InjectFault, {QStringLiteral("cover-open")}),
                          step(ls::PaperFeedCommandId::LoadPaper, {QStringLiteral("1")})}));
        QCOMPARE(device.handle(commandRequest(ls::EmbossCommandId::EmbossText,
                                              {QStringLiteral("a")}))
                         .value(ls::errorIdKey)
                         .toString(),
                 QStringLiteral("CoverOpen"));
        const QVariantMap log = run(device, ls::TestingCommandId::GetErrorLog);
        QCOMPARE(log.value(QStringLiteral("entryCount")), QVariant(1));
        QCOMPARE(log.size(), 2);
        const QRegularExpression entry(QStringLiteral(
                "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ CoverOpen: The cover is open$"));
        QVERIFY2(entry.match(log.value(QStringLiteral("entry1")).toString()).hasMatch(),
                 qPrintable(log.value(QStringLiteral("entry1")).toString()));
    }

    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QTest::newRow("RunSelfTest, all good")
                << Steps() << step(TestingCommandId::RunSelfTest)
                << QVariantMap{
                           {QStringLiteral("passed"), true},
                           {QStringLiteral("checksRun"), 5},
                           {QStringLiteral("checksFailed"), 0},
                           {QStringLiteral("report"),
                            QStringLiteral("print head ok; paper path clear; cover closed; braille "
                                           "table ok; state storage not used")}};
        QTest::newRow("RunSelfTest, paper jam found")
                << Steps({step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                << step(TestingCommandId::RunSelfTest)
                << QVariantMap{{QStringLiteral("passed"), false},
                               {QStringLiteral("checksRun"), 5},
                               {QStringLiteral("checksFailed"), 1},
                               {QStringLiteral("report"),
                                QStringLiteral(
                                        "print head ok; paper path jammed; cover closed; braille "
                                        "table ok; state storage not used")}};
        QVariantMap testPage = job(1, QStringLiteral("Embossing"), 0, 1, 0, 1, 0);
        testPage.insert(QStringLiteral("pattern"), QStringLiteral("grid"));
        QTest::newRow("EmbossTestPage grid")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
                << step(TestingCommandId::EmbossTestPage, {QStringLiteral("grid")}) << testPage;
        QTest::newRow("TestSensors, empty tray")
                << Steps() << step(TestingCommandId::TestSensors)
                << QVariantMap{{QStringLiteral("paperPresent"), false},
                               {QStringLiteral("sheetsLoaded"), 0},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("coverClosed"), true},
                               {QStringLiteral("paperPathClear"), true},
                               {QStringLiteral("headTemperature"), 35}};
        QTest::newRow("TestSensors, cover open")
                << Steps({step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})})
                << step(TestingCommandId::TestSensors)
                << QVariantMap{{QStringLiteral("paperPresent"), false},
                               {QStringLiteral("sheetsLoaded"), 0},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("coverClosed"), false},
                               {QStringLiteral("paperPathClear"), true},
                               {QStringLiteral("headTemperature"), 35}};
        QTest::newRow("TestSensors, while embossing")
                << (closedDocument(words(300)) << step(EmbossCommandId::StartEmbossing, {one, one}))
                << step(TestingCommandId::TestSensors)
                << QVariantMap{{QStringLiteral("paperPresent"), true},
                               {QStringLiteral("sheetsLoaded"), 9},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("coverClosed"), true},
                               {QStringLiteral("paperPathClear"), true},
                               {QStringLiteral("headTemperature"), 48}};
        QTest::newRow("GetErrorLog, empty") << Steps() << step(TestingCommandId::GetErrorLog)
                                            << QVariantMap{{QStringLiteral("entryCount"), 0}};
        QTest::newRow("ClearErrorLog after a jam paused a job")
                << (closedDocument(words(300))
                    << step(EmbossCommandId::StartEmbossing, {one, one})
                    << step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})
                    << step(EmbossCommandId::GetEmbossStatus))
                << step(TestingCommandId::ClearErrorLog)
                << QVariantMap{{QStringLiteral("entriesCleared"), 1},
                               {QStringLiteral("entryCount"), 0}};
        QTest::newRow("InjectFault paper-jam")
                << Steps() << step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})
                << QVariantMap{{QStringLiteral("fault"), QStringLiteral("paper-jam")},
                               {QStringLiteral("pendingFault"), QStringLiteral("paper-jam")},
                               {QStringLiteral("sheetsLoaded"), 0}};
        QTest::newRow("InjectFault cover-open")
                << Steps() << step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})
                << QVariantMap{{QStringLiteral("fault"), QStringLiteral("cover-open")},
                               {QStringLiteral("pendingFault"), QStringLiteral("cover-open")},
                               {QStringLiteral("sheetsLoaded"), 0}};
        QTest::newRow("InjectFault out-of-paper empties the tray")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("10")}),
                          step(PaperFeedCommandId::FeedSheet)})
                << step(TestingCommandId::InjectFault, {QStringLiteral("out-of-paper")})
                << QVariantMap{{QStringLiteral("fault"), QStringLiteral("out-of-paper")},
                               {QStringLiteral("pendingFault"), QStringLiteral("none")},
                               {QStringLiteral("sheetsLoaded"), 0}};
        QTest::newRow("InjectFault none clears")
                << Steps({step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                << step(TestingCommandId::InjectFault, {QStringLiteral("none")})
                << QVariantMap{{QStringLiteral("fault"), QStringLiteral("none")},
                               {QStringLiteral("pendingFault"), QStringLiteral("none")},
                               {QStringLiteral("sheetsLoaded"), 0}};
    }

    void commandResults() { verifyResultRow(); }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        QTest::newRow("self-test while embossing")
                << embossingJob() << step(TestingCommandId::RunSelfTest) << busy;
        QTest::newRow("test page with an empty tray")
                << Steps() << step(TestingCommandId::EmbossTestPage, {QStringLiteral("full-cell")})
                << paper;
        QTest::newRow("cover open on test page")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one}),
                          step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})})
                << step(TestingCommandId::EmbossTestPage, {QStringLiteral("alphabet")})
                << QStringLiteral("CoverOpen");
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(TestingTest)
#include "tst_testing.moc"
