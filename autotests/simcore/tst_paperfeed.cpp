// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The paper feed commands (commands/paperfeed.cpp, commands/paperpath.cpp): the tray, the sheet in
// position, the feed mode, and what the paper path refuses.

#include "simcoretest.h"

using namespace SimTest;

class PaperFeedTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QTest::newRow("GetPaperStatus, empty tray")
                << Steps() << step(PaperFeedCommandId::GetPaperStatus)
                << QVariantMap{{QStringLiteral("sheetsLoaded"), 0},
                               {QStringLiteral("trayCapacity"), 500},
                               {QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("feedMode"), QStringLiteral("sheet")},
                               {QStringLiteral("paperFormat"), QStringLiteral("Braille-11x11.5")}};
        QTest::newRow("GetPaperStatus, sheet fed in tractor mode")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("4")}),
                          step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")}),
                          step(PaperFeedCommandId::FeedSheet)})
                << step(PaperFeedCommandId::GetPaperStatus)
                << QVariantMap{{QStringLiteral("sheetsLoaded"), 3},
                               {QStringLiteral("trayCapacity"), 500},
                               {QStringLiteral("sheetInPosition"), true},
                               {QStringLiteral("feedMode"), QStringLiteral("tractor")},
                               {QStringLiteral("paperFormat"), QStringLiteral("Braille-11x11.5")}};
        QTest::newRow("LoadPaper, full tray at once")
                << Steps() << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("500")})
                << QVariantMap{{QStringLiteral("sheetsAdded"), 500},
                               {QStringLiteral("sheetsLoaded"), 500}};
        QTest::newRow("LoadPaper adds to the tray")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("10")})})
                << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("5")})
                << QVariantMap{{QStringLiteral("sheetsAdded"), 5},
                               {QStringLiteral("sheetsLoaded"), 15}};
        QTest::newRow("FeedSheet takes one from the tray")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("3")})})
                << step(PaperFeedCommandId::FeedSheet)
                << QVariantMap{{QStringLiteral("sheetInPosition"), true},
                               {QStringLiteral("sheetsLoaded"), 2}};
        QTest::newRow("EjectSheet")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("3")}),
                          step(PaperFeedCommandId::FeedSheet)})
                << step(PaperFeedCommandId::EjectSheet)
                << QVariantMap{{QStringLiteral("sheetInPosition"), false},
                               {QStringLiteral("sheetsLoaded"), 2}};
        QTest::newRow("SetFeedMode tractor")
                << Steps() << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")})
                << QVariantMap{{QStringLiteral("feedMode"), QStringLiteral("tractor")}};
    }

    void commandResults() { verifyResultRow(); }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        QTest::newRow("sheets beyond the tray's room")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("450")})})
                << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("51")}) << argument;
        QTest::newRow("feed while embossing")
                << embossingJob() << step(PaperFeedCommandId::FeedSheet) << busy;
        QTest::newRow("feed mode while embossing")
                << embossingJob()
                << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")}) << busy;
        QTest::newRow("feed with an empty tray")
                << Steps() << step(PaperFeedCommandId::FeedSheet) << paper;
        QTest::newRow("jam on feed")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one}),
                          step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                << step(PaperFeedCommandId::FeedSheet) << QStringLiteral("PaperJam");
        QTest::newRow("jam on eject")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one}),
                          step(PaperFeedCommandId::FeedSheet),
                          step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                << step(PaperFeedCommandId::EjectSheet) << QStringLiteral("PaperJam");
        QTest::newRow("feed with a sheet in position")
                << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                          step(PaperFeedCommandId::FeedSheet)})
                << step(PaperFeedCommandId::FeedSheet) << state;
        QTest::newRow("eject with no sheet")
                << Steps() << step(PaperFeedCommandId::EjectSheet) << state;
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(PaperFeedTest)
#include "tst_paperfeed.moc"
