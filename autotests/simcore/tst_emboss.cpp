// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The emboss commands (commands/emboss.cpp): each result, and each refusal of a job that cannot
// start, pause, resume or end.

#include "simcoretest.h"

using namespace SimTest;

class EmbossTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QTest::newRow("StartEmbossing, two copies")
                << closedDocument(QStringLiteral("abc"))
                << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("2")})
                << job(1, QStringLiteral("Embossing"), 1, 2, 0, 2, 0);
        QTest::newRow("PauseEmbossing after one page")
                << (closedDocument(QStringLiteral("abc"))
                    << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("2")}))
                << step(EmbossCommandId::PauseEmbossing)
                << job(1, QStringLiteral("Paused"), 1, 2, 1, 2, 1, QStringLiteral("User"));
        QTest::newRow("ResumeEmbossing")
                << (closedDocument(QStringLiteral("abc"))
                    << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("3")})
                    << step(EmbossCommandId::PauseEmbossing))
                << step(EmbossCommandId::ResumeEmbossing)
                << job(1, QStringLiteral("Embossing"), 1, 3, 1, 3, 1);
        QTest::newRow("CancelEmbossing")
                << (closedDocument(QStringLiteral("abc"))
                    << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("3")}))
                << step(EmbossCommandId::CancelEmbossing)
                << job(1, QStringLiteral("Idle"), 1, 3, 1, 3, 1, QStringLiteral("None"),
                       QStringLiteral("Cancelled"));
        QTest::newRow("GetEmbossStatus, no job yet")
                << Steps() << step(EmbossCommandId::GetEmbossStatus) << idleJob();
        QTest::newRow("GetEmbossStatus, job completed")
                << (closedDocument(QStringLiteral("abc"))
                    << step(EmbossCommandId::StartEmbossing, {one, one}))
                << step(EmbossCommandId::GetEmbossStatus)
                << job(1, QStringLiteral("Idle"), 1, 1, 1, 1, 1, QStringLiteral("None"),
                       QStringLiteral("Completed"));
        QTest::newRow("EmbossText") << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
                                    << step(EmbossCommandId::EmbossText,
                                            {QStringLiteral("Hello"), QStringLiteral("world")})
                                    << job(1, QStringLiteral("Embossing"), 0, 1, 0, 1, 0);
    }

    void commandResults() { verifyResultRow(); }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        QTest::newRow("emboss empty text")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
                << step(EmbossCommandId::EmbossText, {QString()}) << argument;
        QTest::newRow("text too long to emboss")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
                << step(EmbossCommandId::EmbossText, {QString(65537, QLatin1Char('a'))})
                << argument;
        QTest::newRow("second job")
                << embossingJob() << step(EmbossCommandId::EmbossText, {QStringLiteral("abc")})
                << busy;
        QTest::newRow("emboss with an empty tray")
                << closedDocument(QStringLiteral("abc"), 1)
                           + Steps({step(TestingCommandId::InjectFault,
                                         {QStringLiteral("out-of-paper")})})
                << step(EmbossCommandId::StartEmbossing, {one, one}) << paper;
        QTest::newRow("text with an empty tray")
                << Steps() << step(EmbossCommandId::EmbossText, {QStringLiteral("abc")}) << paper;
        QTest::newRow("resume after running out, tray still empty")
                << closedDocument(QStringLiteral("abc"), 1)
                           + Steps({step(EmbossCommandId::StartEmbossing,
                                         {one, QStringLiteral("2")}),
                                    step(EmbossCommandId::GetEmbossStatus)})
                << step(EmbossCommandId::ResumeEmbossing) << paper;
        QTest::newRow("jam on start")
                << closedDocument(QStringLiteral("abc"))
                           + Steps({step(TestingCommandId::InjectFault,
                                         {QStringLiteral("paper-jam")})})
                << step(EmbossCommandId::StartEmbossing, {one, one}) << QStringLiteral("PaperJam");
        QTest::newRow("cover open on start")
                << closedDocument(QStringLiteral("abc"))
                           + Steps({step(TestingCommandId::InjectFault,
                                         {QStringLiteral("cover-open")})})
                << step(EmbossCommandId::StartEmbossing, {one, one}) << QStringLiteral("CoverOpen");
        QTest::newRow("cover open on resume")
                << pausedJob()
                           + Steps({step(TestingCommandId::InjectFault,
                                         {QStringLiteral("cover-open")})})
                << step(EmbossCommandId::ResumeEmbossing) << QStringLiteral("CoverOpen");
        QTest::newRow("emboss unknown")
                << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
                << step(EmbossCommandId::StartEmbossing, {QStringLiteral("2"), one}) << noDocument;
        QTest::newRow("emboss an open document")
                << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                          step(DocumentCommandId::AddText, {one, QStringLiteral("x")}),
                          step(PaperFeedCommandId::LoadPaper, {one})})
                << step(EmbossCommandId::StartEmbossing, {one, one}) << state;
        QTest::newRow("emboss an empty document")
                << closedDocument(QString()) << step(EmbossCommandId::StartEmbossing, {one, one})
                << state;
        QTest::newRow("pause with no job")
                << Steps() << step(EmbossCommandId::PauseEmbossing) << state;
        QTest::newRow("pause when paused")
                << pausedJob() << step(EmbossCommandId::PauseEmbossing) << state;
        QTest::newRow("resume while embossing")
                << embossingJob() << step(EmbossCommandId::ResumeEmbossing) << state;
        QTest::newRow("cancel with no job")
                << Steps() << step(EmbossCommandId::CancelEmbossing) << state;
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(EmbossTest)
#include "tst_emboss.moc"
