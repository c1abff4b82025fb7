// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "requests.h"
#include "simulatortest.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <QFile>
#include <QTest>

using namespace SimulatorTest;
using Requests::request;

// The simulated device: every command's answer, each error id, the requests it refuses, its
// catalogue, and a job embossed page by page into files.
class TestSimulatorDevice : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void deviceCommands_data()
    {
        addColumns<QStringList, QString, QString, QString, QVariantMap>(
                "setup", "command", "errorId", "errorMessage", "details");

        const auto s = [](const char *text) {
            return QString::fromUtf8(text);
        };
        const QString noError = ls::ErrorId::NoError;
        // A closed one-page document 1 and paper for it.
        const QStringList document{s("202 5"), s("301 Notes"), s("302 1 Hello"), s("303 1")};
        // A job of three pages; the next request embosses the first.
        const QStringList job = document + QStringList{s("401 1 3")};

        QTest::newRow("GetConfiguration") << QStringList() << s("101") << noError << QString()
                                          << QVariantMap{{s("paperFormat"), s("Braille-11x11.5")},
                                                         {s("cellsPerLine"), 40},
                                                         {s("linesPerPage"), 25},
                                                         {s("duplex"), false},
                                                         {s("brailleTable"), s("en-us-g1.ctb")},
                                                         {s("dotStrength"), 3}};
        QTest::newRow("SetPaperFormat") << QStringList() << s("102 Letter") << noError << QString()
                                        << QVariantMap{{s("paperFormat"), s("Letter")}};
        QTest::newRow("SetCellsPerLine") << QStringList() << s("103 32") << noError << QString()
                                         << QVariantMap{{s("cellsPerLine"), 32}};
        QTest::newRow("SetLinesPerPage") << QStringList() << s("104 20") << noError << QString()
                                         << QVariantMap{{s("linesPerPage"), 20}};
        QTest::newRow("SetDuplex") << QStringList() << s("105 true") << noError << QString()
                                   << QVariantMap{{s("duplex"), true}};
        QTest::newRow("SetBrailleTable")
                << QStringList() << s("106 en-us-g2.ctb") << noError << QString()
                << QVariantMap{{s("brailleTable"), s("en-us-g2.ctb")}};
        QTest::newRow("SetDotStrength") << QStringList() << s("107 5") << noError << QString()
                                        << QVariantMap{{s("dotStrength"), 5}};
        QTest::newRow("ResetConfiguration")
                << QStringList{s("103 30"), s("105 1")} << s("108") << noError << QString()
                << QVariantMap{{s("cellsPerLine"), 40}, {s("duplex"), false}};
        QTest::newRow("GetPaperStatus") << QStringList() << s("201") << noError << QString()
                                        << QVariantMap{{s("sheetsLoaded"), 0},
                                                       {s("trayCapacity"), 500},
                                                       {s("sheetInPosition"), false},
                                                       {s("feedMode"), s("sheet")},
                                                       {s("paperFormat"), s("Braille-11x11.5")}};
        QTest::newRow("LoadPaper") << QStringList{s("202 3")} << s("202 10") << noError << QString()
                                   << QVariantMap{{s("sheetsAdded"), 10}, {s("sheetsLoaded"), 13}};
        QTest::newRow("FeedSheet")
                << QStringList{s("202 2")} << s("203") << noError << QString()
                << QVariantMap{{s("sheetInPosition"), true}, {s("sheetsLoaded"), 1}};
        QTest::newRow("EjectSheet")
                << QStringList{s("202 2"), s("203")} << s("204") << noError << QString()
                << QVariantMap{{s("sheetInPosition"), false}, {s("sheetsLoaded"), 1}};
        QTest::newRow("SetFeedMode") << QStringList() << s("205 tractor") << noError << QString()
                                     << QVariantMap{{s("feedMode"), s("tractor")}};
        QTest::newRow("OpenDocument: title of several words")
                << QStringList() << s("301 Letter to Anna") << noError << QString()
                << QVariantMap{{s("documentId"), 1},
                               {s("title"), s("Letter to Anna")},
                               {s("state"), s("open")}};
        QTest::newRow("AddText") << QStringList{s("301 Notes")} << s("302 1 Hello world") << noError
                                 << QString()
                                 << QVariantMap{{s("documentId"), 1},
                                                {s("characters"), 11},
                                                {s("lines"), 1},
                                                {s("pages"), 1},
                                                {s("state"), s("open")}};
        QTest::newRow("CloseDocument")
                << QStringList{s("301 Notes"), s("302 1 Hi")} << s("303 1") << noError << QString()
                << QVariantMap{{s("documentId"), 1},
                               {s("state"), s("closed")},
                               {s("pages"), 1},
                               {s("sheets"), 1}};
        QTest::newRow("ListDocuments") << QStringList{s("301 A"), s("301 B"), s("303 1")}
                                       << s("304") << noError << QString()
                                       << QVariantMap{{s("documentCount"), 2},
                                                      {s("openDocuments"), 1},
                                                      {s("documentIds"), s("1,2")},
                                                      {s("document1"), s("A (closed)")},
                                                      {s("document2"), s("B (open)")}};
        QTest::newRow("GetDocumentInfo")
                << QStringList{s("301 Notes"), s("302 1 ab")} << s("305 1") << noError << QString()
                << QVariantMap{{s("text"), s("ab")},
                               {s("characters"), 2},
                               {s("lines"), 1},
                               {s("title"), s("Notes")}};
        QTest::newRow("DeleteDocument")
                << QStringList{s("301 Notes")} << s("306 1") << noError << QString()
                << QVariantMap{{s("documentId"), 1}, {s("deleted"), true}, {s("documentCount"), 0}};
        QTest::newRow("StartEmbossing")
                << document << s("401 1 2") << noError << QString()
                << QVariantMap{{s("jobId"), 1},      {s("state"), s("Embossing")},
                               {s("documentId"), 1}, {s("copies"), 2},
                               {s("pagesDone"), 0},  {s("pagesTotal"), 2}};
        QTest::newRow("PauseEmbossing") << job << s("402") << noError << QString()
                                        << QVariantMap{{s("state"), s("Paused")},
                                                       {s("pauseReason"), s("User")},
                                                       {s("pagesDone"), 1},
                                                       {s("pagesTotal"), 3}};
        QTest::newRow("ResumeEmbossing")
                << job + QStringList{s("402")} << s("403") << noError << QString()
                << QVariantMap{{s("state"), s("Embossing")},
                               {s("pauseReason"), s("None")},
                               {s("pagesDone"), 1}};
        QTest::newRow("CancelEmbossing") << job << s("404") << noError << QString()
                                         << QVariantMap{{s("state"), s("Idle")},
                                                        {s("outcome"), s("Cancelled")},
                                                        {s("pagesDone"), 1}};
        QTest::newRow("GetEmbossStatus without a job")
                << QStringList() << s("405") << noError << QString()
                << QVariantMap{{s("jobId"), 0}, {s("state"), s("Idle")}, {s("outcome"), s("None")}};
        QTest::newRow("EmbossText")
                << QStringList{s("202 1")} << s("406 Hi there") << noError << QString()
                << QVariantMap{{s("jobId"), 1},
                               {s("state"), s("Embossing")},
                               {s("documentId"), 0},
                               {s("copies"), 1},
                               {s("pagesTotal"), 1}};
        QTest::newRow("RunSelfTest")
                << QStringList() << s("501") << noError << QString()
                << QVariantMap{{s("passed"), true},
                               {s("checksRun"), 5},
                               {s("checksFailed"), 0},
                               {s("report"), s("print head ok; paper path clear; cover closed; "
                                               "braille table ok; state storage not used")}};
        QTest::newRow("EmbossTestPage")
                << QStringList{s("202 1")} << s("502 grid") << noError << QString()
                << QVariantMap{{s("pattern"), s("grid")},
                               {s("state"), s("Embossing")},
                               {s("pagesTotal"), 1}};
        QTest::newRow("TestSensors")
                << QStringList{s("506 paper-jam")} << s("503") << noError << QString()
                << QVariantMap{{s("paperPresent"), false},    {s("sheetsLoaded"), 0},
                               {s("sheetInPosition"), false}, {s("coverClosed"), true},
                               {s("paperPathClear"), false},  {s("headTemperature"), 35}};
        QTest::newRow("GetErrorLog after a failed feed")
                << QStringList{s("203")} << s("504") << noError << QString()
                << QVariantMap{{s("entryCount"), 1}};
        QTest::newRow("ClearErrorLog")
                << QStringList{s("203"), s("203")} << s("505") << noError << QString()
                << QVariantMap{{s("entriesCleared"), 2}, {s("entryCount"), 0}};
        QTest::newRow("InjectFault") << QStringList() << s("506 cover-open") << noError << QString()
                                     << QVariantMap{{s("fault"), s("cover-open")},
                                                    {s("pendingFault"), s("cover-open")},
                                                    {s("sheetsLoaded"), 0}};
        QTest::newRow("Ping") << QStringList() << s("601") << noError << QString()
                              << QVariantMap{{s("reply"), s("pong")}};
        QTest::newRow("GetServiceInfo") << QStringList{s("601")} << s("602") << noError << QString()
                                        << QVariantMap{{s("service"), s("CommandHandler")},
                                                       {s("requestsServed"), 2},
                                                       {s("pageTiming"), s("per request")}};
        QTest::newRow("Echo: words joined by single blanks")
                << QStringList() << s("603 hello  world") << noError << QString()
                << QVariantMap{{s("text"), s("hello  world")}};
        QTest::newRow("GetDeviceState")
                << QStringList{s("301 Notes"), s("202 4")} << s("604") << noError << QString()
                << QVariantMap{{s("state"), s("Idle")},  {s("jobId"), 0},
                               {s("documentCount"), 1},  {s("openDocuments"), 1},
                               {s("sheetsLoaded"), 4},   {s("pendingFault"), s("none")},
                               {s("errorLogEntries"), 0}};

        QTest::newRow("UnknownCommand") << QStringList() << s("999") << s("UnknownCommand")
                                        << s("There is no command 999") << QVariantMap();
        QTest::newRow("InvalidArgumentCount")
                << QStringList() << s("103") << s("InvalidArgumentCount")
                << s("SetCellsPerLine takes 1 argument(s), 0 given") << QVariantMap();
        QTest::newRow("InvalidArgument")
                << QStringList() << s("103 9") << s("InvalidArgument")
                << s("cells must be from 10 to 48, not 9") << QVariantMap();
        QTest::newRow("DeviceBusy")
                << job << s("102 Letter") << s("DeviceBusy")
                << s("Job 1 is embossing; wait for it or cancel it first") << QVariantMap();
        QTest::newRow("OutOfPaper") << QStringList() << s("203") << s("OutOfPaper")
                                    << s("The paper tray is empty") << QVariantMap();
        QTest::newRow("PaperJam") << QStringList{s("202 1"), s("506 paper-jam")} << s("203")
                                  << s("PaperJam") << s("Paper jammed in the feed path")
                                  << QVariantMap();
        QTest::newRow("CoverOpen") << QStringList{s("202 1"), s("506 cover-open")} << s("203")
                                   << s("CoverOpen") << s("The cover is open") << QVariantMap();
        QTest::newRow("NoSuchDocument") << QStringList() << s("305 7") << s("NoSuchDocument")
                                        << s("There is no document 7") << QVariantMap();
        QTest::newRow("InvalidState") << QStringList() << s("204") << s("InvalidState")
                                      << s("No sheet is in position") << QVariantMap();
    }

    void deviceCommands()
    {
        QFETCH(QStringList, setup);
        QFETCH(QString, command);
        QFETCH(QString, errorId);
        QFETCH(QString, errorMessage);
        QFETCH(QVariantMap, details);
        QVERIFY(m_simulator.start({QStringLiteral("--step")}));
        for (const QString &line : setup)
            execute(line);
        const QVariantMap response = execute(command);
        QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
        if (errorId == ls::ErrorId::NoError) {
            QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
            const QVariantMap actual = response.value(ls::detailsMapKey).toMap();
            QCOMPARE(typeDump(pick(actual, details)), typeDump(details));
        } else {
            QCOMPARE(response, (QVariantMap{{ls::resultIdKey, ls::ResultId::Failure},
                                            {ls::errorIdKey, errorId},
                                            {ls::errorMessageKey, errorMessage}}));
        }
    }

    void deviceRequestErrors_data()
    {
        addColumns<QVariantMap, QVariantMap>("request", "response");

        const QString invalidRequest = QStringLiteral("InvalidRequest");
        QTest::newRow("no command id")
                << QVariantMap()
                << failure(invalidRequest,
                           QStringLiteral(
                                   "The request has no command id text under \"commandId\""));
        QTest::newRow("command id not a string")
                << QVariantMap{{ls::commandIdKey, 1}}
                << failure(invalidRequest,
                           QStringLiteral(
                                   "The request has no command id text under \"commandId\""));
        QTest::newRow("unknown request")
                << request(QStringLiteral("Bogus"))
                << failure(invalidRequest, QStringLiteral("Unknown request \"Bogus\""));
        QTest::newRow("GetCommands without a category")
                << request(ls::CommandHandlerCmdId::GetCommands)
                << failure(invalidRequest,
                           QStringLiteral("The request has no category name under \"category\""));
        QTest::newRow("GetCommands of an unknown category")
                << request(ls::CommandHandlerCmdId::GetCommands,
                           {{ls::categoryKey, QStringLiteral("ipccommandid")}})
                << failure(QStringLiteral("UnknownCategory"),
                           QStringLiteral("There is no command category \"ipccommandid\""));
        QTest::newRow("GetCommands of an empty category")
                << request(ls::CommandHandlerCmdId::GetCommands, {{ls::categoryKey, QString()}})
                << failure(QStringLiteral("UnknownCategory"),
                           QStringLiteral("There is no command category \"\""));
        QTest::newRow("HandleCommand without a number")
                << request(ls::CommandHandlerCmdId::HandleCommand, {{ls::argsKey, QVariantList()}})
                << failure(invalidRequest,
                           QStringLiteral(
                                   "The request has no command number under \"subCommandId\""));
        QTest::newRow("HandleCommand without arguments")
                << request(ls::CommandHandlerCmdId::HandleCommand, {{ls::subCommandIdKey, 601}})
                << failure(invalidRequest,
                           QStringLiteral("The request has no argument list under \"args\""));
    }

    void deviceRequestErrors()
    {
        QFETCH(QVariantMap, request);
        QFETCH(QVariantMap, response);
        QVERIFY(m_simulator.start({QStringLiteral("--step")}));
        QCOMPARE(process(request), response);
    }

    void deviceCatalogue_data()
    {
        addColumns<QString, QStringList>("category", "commands");

        const auto names = [](const ls::MetaEnum &meta) {
            QStringList list;
            for (const QString *name : meta.names())
                list.append(*name);
            return list;
        };
        QTest::newRow("configuration") << ls::CommandCategories::ConfigurationCommandId
                                       << names(ls::ConfigurationCommandId::meta);
        QTest::newRow("paper feed")
                << ls::CommandCategories::PaperFeedCommandId << names(ls::PaperFeedCommandId::meta);
        QTest::newRow("document") << ls::CommandCategories::DocumentCommandId
                                  << names(ls::DocumentCommandId::meta);
        QTest::newRow("emboss") << ls::CommandCategories::EmbossCommandId
                                << names(ls::EmbossCommandId::meta);
        QTest::newRow("testing") << ls::CommandCategories::TestingCommandId
                                 << names(ls::TestingCommandId::meta);
        QTest::newRow("ipc") << ls::CommandCategories::IpcCommandId
                             << names(ls::IpcCommandId::meta);
    }

    void deviceCatalogue()
    {
        QFETCH(QString, category);
        QFETCH(QStringList, commands);
        QVERIFY(m_simulator.start({QStringLiteral("--step")}));

        const QVariantMap categories
                = process(request(ls::CommandHandlerCmdId::GetCommandCategories,
                                  {{ls::subCommandIdKey, QStringLiteral("Undefined")}}));
        QCOMPARE(categories.value(ls::resultIdKey).toString(), ls::ResultId::Success);
        QCOMPARE(categories.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
        QStringList categoryIds;
        for (const QVariant &entry : categories.value(ls::commandCategoriesKey).toList())
            categoryIds.append(entry.toMap().value(ls::idKey).toString());
        QVERIFY(categoryIds.contains(category));

        const QVariantMap response = process(request(
                ls::CommandHandlerCmdId::GetCommands,
                {{ls::subCommandIdKey, QStringLiteral("Undefined")}, {ls::categoryKey, category}}));
        QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
        QStringList ids;
        for (const QVariant &entry : response.value(ls::commandsKey).toList()) {
            const QVariantMap command = entry.toMap();
            ids.append(command.value(ls::idKey).toString());
            QVERIFY(!command.value(ls::descriptionKey).toString().isEmpty());
            QCOMPARE(command.value(ls::argumentCountKey).toInt(),
                     command.value(ls::argumentTypesKey).toList().size());
        }
        QCOMPARE(ids, commands);
    }

    void deviceStateAcrossRequests()
    {
        const QString pages = filePath(QStringLiteral("pages"));
        QVERIFY(m_simulator.start(
                {QStringLiteral("--step"), QStringLiteral("--output-dir"), pages}));
        const auto s = [](const char *text) {
            return QString::fromUtf8(text);
        };
        verifySteps({
                {s("301 Minutes"), {{s("documentId"), 1}}},
                {s("302 1 Hello"), {{s("characters"), 5}}},
                {s("302 1  world"), {{s("characters"), 11}}},
                {s("303 1"), {{s("state"), s("closed")}}},
                {s("202 3"), {{s("sheetsLoaded"), 3}}},
                {s("401 1 2"), {{s("state"), s("Embossing")}}},
                // One page per request.
                {s("405"), {{s("pagesDone"), 1}, {s("state"), s("Embossing")}}},
                {s("405"),
                 {{s("pagesDone"), 2},
                  {s("state"), s("Idle")},
                  {s("outcome"), s("Completed")},
                  {s("sheetsUsed"), 2}}},
                {s("201"), {{s("sheetsLoaded"), 1}}},
        });

        // Each copy's page: the document's braille, padded with blank cells to a full page of the
        // default 25 lines of 40 cells.
        const QString braille = detail(execute(s("305 1")), s("braille")).toString();
        QCOMPARE(braille.size(), 12);
        const QChar blank(0x2800);
        QString page = braille + QString(40 - braille.size(), blank) + QLatin1Char('\n');
        for (int line = 1; line < 25; ++line)
            page += QString(40, blank) + QLatin1Char('\n');
        for (const char *name : {"job-1-copy-1-page-1.txt", "job-1-copy-2-page-1.txt"}) {
            QFile file(pages + QLatin1Char('/') + QString::fromLatin1(name));
            QVERIFY2(file.open(QIODevice::ReadOnly), name);
            QCOMPARE(QString::fromUtf8(file.readAll()), page);
        }
    }
};

QTEST_GUILESS_MAIN(TestSimulatorDevice)

#include "tst_simulator_device.moc"
