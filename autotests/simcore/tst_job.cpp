// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The emboss job (job/embossjob.cpp, job/pagefiles.cpp): scenarios of jobs from start to end, pages
// timed by the clock, and the page files.

#include "datatable.h"
#include "simcoretest.h"

using namespace SimTest;

class JobTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scenario_data()
    {
        QTest::addColumn<Scenario>("scenario");

        using namespace ls;
        // Ten cells a line and ten lines a page: words(50) lays out as three pages.
        const Scenario smallPages
                = {{step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")}),
                    fields({{QStringLiteral("cellsPerLine"), 10}})},
                   {step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("10")}),
                    fields({{QStringLiteral("linesPerPage"), 10}})}};

        QTest::newRow("document to paper, running out on the way")
                << Scenario(smallPages)
                           + Scenario{
                                   {step(DocumentCommandId::OpenDocument,
                                         {QStringLiteral("Notes")}),
                                    fields({{QStringLiteral("documentId"), 1},
                                            {QStringLiteral("state"), QStringLiteral("open")}})},
                                   {step(DocumentCommandId::AddText, {one, words(50)}),
                                    fields({{QStringLiteral("lines"), 25},
                                            {QStringLiteral("pages"), 3},
                                            {QStringLiteral("cells"), 199},
                                            {QStringLiteral("characters"), 199}})},
                                   {step(DocumentCommandId::GetDocumentInfo, {one}),
                                    fields({{QStringLiteral("state"), QStringLiteral("open")},
                                            {QStringLiteral("pages"), 3},
                                            {QStringLiteral("text"), words(50)}})},
                                   {step(DocumentCommandId::CloseDocument, {one}),
                                    fields({{QStringLiteral("state"), QStringLiteral("closed")}})},
                                   {step(DocumentCommandId::AddText, {one, QStringLiteral("x")}),
                                    fails("InvalidState")},
                                   {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                                    fields({{QStringLiteral("sheetsLoaded"), 2}})},
                                   {step(EmbossCommandId::StartEmbossing, {one, one}),
                                    fields({{QStringLiteral("jobId"), 1},
                                            {QStringLiteral("pagesTotal"), 3},
                                            {QStringLiteral("pagesDone"), 0},
                                            {QStringLiteral("state"),
                                             QStringLiteral("Embossing")}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("pagesDone"), 1},
                                            {QStringLiteral("sheetsUsed"), 1}})},
                                   {step(ConfigurationCommandId::SetDuplex, {one}),
                                    fails("DeviceBusy")},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                                            {QStringLiteral("pauseReason"),
                                             QStringLiteral("OutOfPaper")},
                                            {QStringLiteral("pagesDone"), 2}})},
                                   {step(EmbossCommandId::ResumeEmbossing), fails("OutOfPaper")},
                                   {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("5")}),
                                    fields({{QStringLiteral("sheetsLoaded"), 5}})},
                                   {step(EmbossCommandId::ResumeEmbossing),
                                    fields({{QStringLiteral("state"), QStringLiteral("Embossing")},
                                            {QStringLiteral("pagesDone"), 2}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("state"), QStringLiteral("Idle")},
                                            {QStringLiteral("outcome"),
                                             QStringLiteral("Completed")},
                                            {QStringLiteral("pagesDone"), 3},
                                            {QStringLiteral("sheetsUsed"), 3}})},
                                   {step(PaperFeedCommandId::GetPaperStatus),
                                    fields({{QStringLiteral("sheetsLoaded"), 4}})},
                                   {step(TestingCommandId::GetErrorLog),
                                    fields({{QStringLiteral("entryCount"), 2}})},
                                   {step(DocumentCommandId::DeleteDocument, {one}),
                                    fields({{QStringLiteral("deleted"), true},
                                            {QStringLiteral("documentCount"), 0}})},
                                   {step(DocumentCommandId::ListDocuments),
                                    fields({{QStringLiteral("documentCount"), 0}})}};
        QTest::newRow("duplex, two copies, each copy on fresh sheets")
                << Scenario(smallPages)
                           + Scenario{{step(ConfigurationCommandId::SetDuplex,
                                            {QStringLiteral("true")}),
                                       fields({{QStringLiteral("duplex"), true}})},
                                      {step(DocumentCommandId::OpenDocument,
                                            {QStringLiteral("Report")}),
                                       succeeds()},
                                      {step(DocumentCommandId::AddText, {one, words(50)}),
                                       fields({{QStringLiteral("pages"), 3},
                                               {QStringLiteral("sheets"), 2}})},
                                      {step(DocumentCommandId::CloseDocument, {one}), succeeds()},
                                      {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("10")}),
                                       succeeds()},
                                      {step(EmbossCommandId::StartEmbossing,
                                            {one, QStringLiteral("2")}),
                                       fields({{QStringLiteral("pagesTotal"), 6}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 1},
                                               {QStringLiteral("sheetsUsed"), 1}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 2},
                                               {QStringLiteral("sheetsUsed"), 1}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 3},
                                               {QStringLiteral("sheetsUsed"), 2}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 4},
                                               {QStringLiteral("sheetsUsed"), 3}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 5},
                                               {QStringLiteral("sheetsUsed"), 3}})},
                                      {step(EmbossCommandId::GetEmbossStatus),
                                       fields({{QStringLiteral("pagesDone"), 6},
                                               {QStringLiteral("sheetsUsed"), 4},
                                               {QStringLiteral("state"), QStringLiteral("Idle")}})},
                                      {step(PaperFeedCommandId::GetPaperStatus),
                                       fields({{QStringLiteral("sheetsLoaded"), 6}})}};
        QTest::newRow("paused before a back page, resumes without paper")
                << Scenario(smallPages)
                           + Scenario{
                                   {step(ConfigurationCommandId::SetDuplex, {one}), succeeds()},
                                   {step(DocumentCommandId::OpenDocument,
                                         {QStringLiteral("Report")}),
                                    succeeds()},
                                   {step(DocumentCommandId::AddText, {one, words(50)}), succeeds()},
                                   {step(DocumentCommandId::CloseDocument, {one}), succeeds()},
                                   {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("1")}),
                                    fields({{QStringLiteral("sheetsLoaded"), 1}})},
                                   {step(EmbossCommandId::StartEmbossing, {one, one}), succeeds()},
                                   {step(EmbossCommandId::PauseEmbossing),
                                    fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                                            {QStringLiteral("pauseReason"), QStringLiteral("User")},
                                            {QStringLiteral("pagesDone"), 1}})},
                                   {step(EmbossCommandId::ResumeEmbossing),
                                    fields({{QStringLiteral("state"),
                                             QStringLiteral("Embossing")}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("pagesDone"), 2},
                                            {QStringLiteral("sheetsUsed"), 1}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                                            {QStringLiteral("pauseReason"),
                                             QStringLiteral("OutOfPaper")},
                                            {QStringLiteral("pagesDone"), 2}})}};
        QTest::newRow("jam pauses a running job until resumed")
                << Scenario(smallPages)
                           + Scenario{
                                   {step(DocumentCommandId::OpenDocument,
                                         {QStringLiteral("Report")}),
                                    succeeds()},
                                   {step(DocumentCommandId::AddText, {one, words(50)}), succeeds()},
                                   {step(DocumentCommandId::CloseDocument, {one}), succeeds()},
                                   {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("10")}),
                                    succeeds()},
                                   {step(EmbossCommandId::StartEmbossing, {one, one}),
                                    fields({{QStringLiteral("state"),
                                             QStringLiteral("Embossing")}})},
                                   {step(TestingCommandId::InjectFault,
                                         {QStringLiteral("paper-jam")}),
                                    fields({{QStringLiteral("pendingFault"),
                                             QStringLiteral("paper-jam")}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                                            {QStringLiteral("pauseReason"),
                                             QStringLiteral("PaperJam")},
                                            {QStringLiteral("pagesDone"), 1}})},
                                   {step(TestingCommandId::GetErrorLog),
                                    fields({{QStringLiteral("entryCount"), 1}})},
                                   {step(EmbossCommandId::ResumeEmbossing),
                                    fields({{QStringLiteral("state"),
                                             QStringLiteral("Embossing")}})},
                                   {step(EmbossCommandId::GetEmbossStatus),
                                    fields({{QStringLiteral("pagesDone"), 2}})},
                                   {step(IpcCommandId::GetDeviceState),
                                    fields({{QStringLiteral("pagesDone"), 3},
                                            {QStringLiteral("state"), QStringLiteral("Idle")},
                                            {QStringLiteral("pendingFault"),
                                             QStringLiteral("none")}})}};
        QTest::newRow("an injected fault fails one command only") << Scenario{
                {step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")}),
                 fields({{QStringLiteral("pendingFault"), QStringLiteral("paper-jam")}})},
                {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                 fields({{QStringLiteral("sheetsLoaded"), 2}})},
                {step(PaperFeedCommandId::FeedSheet), fails("PaperJam")},
                {step(PaperFeedCommandId::FeedSheet),
                 fields({{QStringLiteral("sheetInPosition"), true},
                         {QStringLiteral("sheetsLoaded"), 1}})},
                {step(TestingCommandId::GetErrorLog), fields({{QStringLiteral("entryCount"), 1}})}};
        QTest::newRow("the sheet in position is embossed first")
                << Scenario{{step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                             fields({{QStringLiteral("sheetsLoaded"), 2}})},
                            {step(PaperFeedCommandId::FeedSheet),
                             fields({{QStringLiteral("sheetsLoaded"), 1}})},
                            {step(EmbossCommandId::EmbossText, {QStringLiteral("abc")}),
                             fields({{QStringLiteral("state"), QStringLiteral("Embossing")}})},
                            {step(EmbossCommandId::GetEmbossStatus),
                             fields({{QStringLiteral("state"), QStringLiteral("Idle")},
                                     {QStringLiteral("sheetsUsed"), 1}})},
                            {step(PaperFeedCommandId::GetPaperStatus),
                             fields({{QStringLiteral("sheetsLoaded"), 1},
                                     {QStringLiteral("sheetInPosition"), false}})},
                            {step(ConfigurationCommandId::SetDuplex, {one}),
                             fields({{QStringLiteral("duplex"), true}})}};
        QTest::newRow("cancel frees the device for the next job") << Scenario{
                {step(DocumentCommandId::OpenDocument, {QStringLiteral("Report")}), succeeds()},
                {step(DocumentCommandId::AddText, {one, words(300)}), succeeds()},
                {step(DocumentCommandId::CloseDocument, {one}), succeeds()},
                {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("10")}), succeeds()},
                {step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("5")}),
                 fields({{QStringLiteral("jobId"), 1}, {QStringLiteral("pagesTotal"), 10}})},
                {step(EmbossCommandId::CancelEmbossing),
                 fields({{QStringLiteral("outcome"), QStringLiteral("Cancelled")},
                         {QStringLiteral("pagesDone"), 1}})},
                {step(EmbossCommandId::StartEmbossing, {one, one}),
                 fields({{QStringLiteral("jobId"), 2},
                         {QStringLiteral("pagesDone"), 0},
                         {QStringLiteral("outcome"), QStringLiteral("None")}})},
                {step(EmbossCommandId::GetEmbossStatus),
                 fields({{QStringLiteral("jobId"), 2}, {QStringLiteral("pagesDone"), 1}})}};
    }

    void scenario()
    {
        QFETCH(Scenario, scenario);
        verifyScenario(scenario);
    }

    void pagesAdvanceWithTime_data()
    {
        addColumns<QList<qint64>, QList<int>>("clocks", "pagesDone");

        // The clock of each status request after the job started, and the pages done it reports;
        // the job has 8 pages.
        const qint64 page = Rules::pageIntervalMs;
        QTest::newRow("several requests at the start emboss nothing")
                << QList<qint64>{0, 0, 0, 0} << QList<int>{0, 0, 0, 0};
        QTest::newRow("just short of an interval embosses nothing")
                << QList<qint64>{page - 1, page - 1} << QList<int>{0, 0};
        QTest::newRow("one interval, one page")
                << QList<qint64>{page, page, page} << QList<int>{1, 1, 1};
        QTest::newRow("2.5 intervals later, two pages more")
                << QList<qint64>{page, page * 7 / 2, page * 7 / 2} << QList<int>{1, 3, 3};
        QTest::newRow("the half interval left over counts towards the next page")
                << QList<qint64>{page * 5 / 2, page * 3 - 1, page * 3} << QList<int>{2, 2, 3};
        QTest::newRow("a long wait ends the job, never past its pages")
                << QList<qint64>{page * 60, page * 60} << QList<int>{8, 8};
    }

    void pagesAdvanceWithTime()
    {
        QFETCH(QList<qint64>, clocks);
        QFETCH(QList<int>, pagesDone);
        qint64 now = 123456;
        DeviceOptions options;
        options.clockMs = [&now] {
            return now;
        };
        Device device(options);
        QVERIFY(runSteps(device, closedDocument(QStringLiteral("abc"))));
        const qint64 start = now;
        QCOMPARE(run(device, ls::EmbossCommandId::StartEmbossing,
                     {QStringLiteral("1"), QStringLiteral("8")})
                         .value(QStringLiteral("pagesDone")),
                 QVariant(0));
        for (int i = 0; i < clocks.size(); ++i) {
            now = start + clocks.at(i);
            const QVariantMap status = run(device, ls::EmbossCommandId::GetEmbossStatus);
            QCOMPARE(status.value(QStringLiteral("pagesDone")), QVariant(pagesDone.at(i)));
            QCOMPARE(status.value(QStringLiteral("sheetsUsed")), QVariant(pagesDone.at(i)));
        }
    }

    void pageFiles_data()
    {
        addColumns<Steps, QStringList, QString>("setup", "files", "firstPage");

        using namespace ls;
        const Steps smallPages
                = {step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")}),
                   step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("10")}),
                   step(PaperFeedCommandId::LoadPaper, {QStringLiteral("20")})};
        QString abcPage = QStringLiteral("⠁⠃⠉") + blanks(7) + QLatin1Char('\n');
        for (int i = 1; i < 10; ++i)
            abcPage += blanks(10) + QLatin1Char('\n');
        QString fullCellPage;
        for (int i = 0; i < 10; ++i)
            fullCellPage += QString(10, QChar(0x283f)) + QLatin1Char('\n');
        QString gridPage;
        QString alphabetPage;
        const QString alphabet = QStringLiteral("⠁⠃⠉⠙⠑⠋⠛⠓⠊⠚⠅⠇⠍⠝⠕⠏⠟⠗⠎⠞⠥⠧⠺⠭⠽⠵");
        for (int line = 0; line < 10; ++line) {
            for (int cell = 0; cell < 10; ++cell) {
                gridPage += (line + cell) % 2 == 0 ? QChar(0x283f) : QChar(0x2800);
                alphabetPage += alphabet.at((line + cell) % alphabet.size());
            }
            gridPage += QLatin1Char('\n');
            alphabetPage += QLatin1Char('\n');
        }
        QString firstOfDocument;
        for (int i = 0; i < 10; ++i)
            firstOfDocument += QStringLiteral("⠁⠃⠉⠀⠁⠃⠉") + blanks(3) + QLatin1Char('\n');

        QTest::newRow("text of one line, padded to the page")
                << (Steps(smallPages) << step(EmbossCommandId::EmbossText, {QStringLiteral("abc")}))
                << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << abcPage;
        QTest::newRow("full-cell test page")
                << (Steps(smallPages)
                    << step(TestingCommandId::EmbossTestPage, {QStringLiteral("full-cell")}))
                << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << fullCellPage;
        QTest::newRow("grid test page")
                << (Steps(smallPages)
                    << step(TestingCommandId::EmbossTestPage, {QStringLiteral("grid")}))
                << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << gridPage;
        QTest::newRow("alphabet test page, each line one letter on")
                << (Steps(smallPages)
                    << step(TestingCommandId::EmbossTestPage, {QStringLiteral("alphabet")}))
                << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << alphabetPage;
        QTest::newRow("three pages, two copies")
                << (Steps(smallPages)
                    << step(DocumentCommandId::OpenDocument, {QStringLiteral("D")})
                    << step(DocumentCommandId::AddText, {one, words(50)})
                    << step(DocumentCommandId::CloseDocument, {one})
                    << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("2")}))
                << QStringList({QStringLiteral("job-1-copy-1-page-1.txt"),
                                QStringLiteral("job-1-copy-1-page-2.txt"),
                                QStringLiteral("job-1-copy-1-page-3.txt"),
                                QStringLiteral("job-1-copy-2-page-1.txt"),
                                QStringLiteral("job-1-copy-2-page-2.txt"),
                                QStringLiteral("job-1-copy-2-page-3.txt")})
                << firstOfDocument;
    }

    void pageFiles()
    {
        QFETCH(Steps, setup);
        QFETCH(QStringList, files);
        QFETCH(QString, firstPage);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        DeviceOptions options = stepping();
        options.outputDirectory = dir.filePath(QStringLiteral("pages"));
        Device device(options);
        QVERIFY(runSteps(device, setup));
        for (int i = 0; i < files.size(); ++i)
            run(device, ls::EmbossCommandId::GetEmbossStatus);
        QCOMPARE(run(device, ls::EmbossCommandId::GetEmbossStatus).value(QStringLiteral("outcome")),
                 QVariant(QStringLiteral("Completed")));
        const QDir pages(options.outputDirectory);
        QCOMPARE(pages.entryList({QStringLiteral("*.txt")}, QDir::Files, QDir::Name), files);
        QCOMPARE(QString::fromUtf8(readAll(pages.filePath(files.first()))), firstPage);
        // Beside them, in simplex, a picture of each page's sheet and the page that lists them
        // (tst_simulator_pictures reads them).
        QStringList pictures = files;
        pictures.replaceInStrings(QStringLiteral("-page-"), QStringLiteral("-sheet-"));
        pictures.replaceInStrings(QStringLiteral(".txt"), QStringLiteral(".svg"));
        QCOMPARE(pages.entryList({QStringLiteral("*.svg")}, QDir::Files, QDir::Name), pictures);
        QVERIFY(pages.exists(QStringLiteral("index.html")));
    }
};

QTEST_GUILESS_MAIN(JobTest)
#include "tst_job.moc"
