#include "device/device.h"
#include "state/devicestate.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QtTest>

#include <sys/stat.h>

using Steps = QList<QStringList>;
using Expectations = QList<QVariantMap>;

namespace {

QVariantMap catalogueRequest(const QString &commandId)
{
    return {{ls::commandIdKey, commandId},
            {ls::subCommandIdKey, QStringLiteral("Undefined")},
            {ls::senderIdKey, ls::ServiceId::CommandHandler}};
}

QVariantMap commandRequest(int id, const QStringList &words)
{
    QVariantList args;
    for (const QString &w : words)
        args.append(w);
    return {{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
            {ls::subCommandIdKey, id},
            {ls::argsKey, args},
            {ls::senderIdKey, ls::ServiceId::CommandHandler}};
}

DeviceOptions stepping()
{
    DeviceOptions options;
    options.stepPerRequest = true;
    return options;
}

} // namespace

class DeviceTest : public QObject
{
    Q_OBJECT

private:
    // Runs a command that must succeed and returns its details.
    static QVariantMap run(Device &device, int id, const QStringList &words = {})
    {
        const QVariantMap response = device.handle(commandRequest(id, words));
        if (response.value(ls::resultIdKey) != ls::ResultId::Success) {
            qWarning() << "command" << id << words << "failed:" << response;
            return {};
        }
        return response.value(ls::detailsMapKey).toMap();
    }
    // Runs commands that must all succeed; each step is the number followed by the words.
    static bool runSteps(Device &device, const Steps &steps);

    QtMessageHandler m_previousHandler = nullptr;

private Q_SLOTS:
    void init();
    void cleanup();
    void categories();
    void commandsOfCategory_data();
    void commandsOfCategory();
    void argumentRecords_data();
    void argumentRecords();
    void unknownCategory_data();
    void unknownCategory();
    void invalidRequest_data();
    void invalidRequest();
    void ipcCommands_data();
    void ipcCommands();
    void serviceInfoCountsRequests();
    void commandResults_data();
    void commandResults();
    void commandErrors_data();
    void commandErrors();
    void scenario_data();
    void scenario();
    void errorLogEntry();
    void pagesAdvanceWithTime_data();
    void pagesAdvanceWithTime();
    void braille_data();
    void braille();
    void pageFiles_data();
    void pageFiles();
    void stateSurvivesRestart();
    void stateFileRewrittenOnlyOnChange_data();
    void stateFileRewrittenOnlyOnChange();
    void changeSurvivesImmediateRestart_data();
    void changeSurvivesImmediateRestart();
    void damagedStateFile_data();
    void damagedStateFile();
    void missingTableFailsTranslation();
};

void DeviceTest::categories()
{
    Device device(DeviceOptions{});
    const QVariantMap response
            = device.handle(catalogueRequest(ls::CommandHandlerCmdId::GetCommandCategories));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    const QVariantList entries = response.value(ls::commandCategoriesKey).toList();
    QStringList ids;
    QStringList descriptions;
    for (const QVariant &entry : entries) {
        ids.append(entry.toMap().value(ls::idKey).toString());
        descriptions.append(entry.toMap().value(ls::descriptionKey).toString());
    }
    QCOMPARE(ids,
             QStringList({QStringLiteral("ConfigurationCommandId"),
                          QStringLiteral("PaperFeedCommandId"), QStringLiteral("DocumentCommandId"),
                          QStringLiteral("EmbossCommandId"), QStringLiteral("TestingCommandId"),
                          QStringLiteral("IpcCommandId")}));
    QCOMPARE(descriptions, QStringList({QStringLiteral("Configuration"),
                                        QStringLiteral("Paper feed"), QStringLiteral("Document"),
                                        QStringLiteral("Emboss"), QStringLiteral("Testing"),
                                        QStringLiteral("Inter-process communication")}));
}

void DeviceTest::commandsOfCategory_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QStringList>("ids");

    QTest::newRow("configuration, eight commands")
            << QStringLiteral("ConfigurationCommandId")
            << QStringList({QStringLiteral("GetConfiguration"), QStringLiteral("SetPaperFormat"),
                            QStringLiteral("SetCellsPerLine"), QStringLiteral("SetLinesPerPage"),
                            QStringLiteral("SetDuplex"), QStringLiteral("SetBrailleTable"),
                            QStringLiteral("SetDotStrength"),
                            QStringLiteral("ResetConfiguration")});
    QTest::newRow("paper feed, five commands")
            << QStringLiteral("PaperFeedCommandId")
            << QStringList({QStringLiteral("GetPaperStatus"), QStringLiteral("LoadPaper"),
                            QStringLiteral("FeedSheet"), QStringLiteral("EjectSheet"),
                            QStringLiteral("SetFeedMode")});
    QTest::newRow("document, six commands")
            << QStringLiteral("DocumentCommandId")
            << QStringList({QStringLiteral("OpenDocument"), QStringLiteral("AddText"),
                            QStringLiteral("CloseDocument"), QStringLiteral("ListDocuments"),
                            QStringLiteral("GetDocumentInfo"), QStringLiteral("DeleteDocument")});
    QTest::newRow("emboss, six commands")
            << QStringLiteral("EmbossCommandId")
            << QStringList({QStringLiteral("StartEmbossing"), QStringLiteral("PauseEmbossing"),
                            QStringLiteral("ResumeEmbossing"), QStringLiteral("CancelEmbossing"),
                            QStringLiteral("GetEmbossStatus"), QStringLiteral("EmbossText")});
    QTest::newRow("testing, six commands")
            << QStringLiteral("TestingCommandId")
            << QStringList({QStringLiteral("RunSelfTest"), QStringLiteral("EmbossTestPage"),
                            QStringLiteral("TestSensors"), QStringLiteral("GetErrorLog"),
                            QStringLiteral("ClearErrorLog"), QStringLiteral("InjectFault")});
    QTest::newRow("ipc, four commands")
            << QStringLiteral("IpcCommandId")
            << QStringList({QStringLiteral("Ping"), QStringLiteral("GetServiceInfo"),
                            QStringLiteral("Echo"), QStringLiteral("GetDeviceState")});
}

void DeviceTest::commandsOfCategory()
{
    QFETCH(QString, category);
    QFETCH(QStringList, ids);

    Device device(DeviceOptions{});
    QVariantMap request = catalogueRequest(ls::CommandHandlerCmdId::GetCommands);
    request.insert(ls::categoryKey, category);
    const QVariantMap response = device.handle(request);
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    QStringList found;
    for (const QVariant &entry : response.value(ls::commandsKey).toList()) {
        const QVariantMap map = entry.toMap();
        found.append(map.value(ls::idKey).toString());
        QVERIFY2(!map.value(ls::descriptionKey).toString().isEmpty(),
                 qPrintable(map.value(ls::idKey).toString()));
        QCOMPARE(map.value(ls::argumentCountKey).userType(), int(QMetaType::Int));
        QCOMPARE(map.value(ls::argumentCountKey).toInt(),
                 map.value(ls::argumentTypesKey).toList().size());
    }
    QCOMPARE(found, ids);
}

void DeviceTest::argumentRecords_data()
{
    QTest::addColumn<QString>("category");
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("signature");

    const auto row = [](const char *name, const QString &category, const char *command,
                        const char *signature) {
        QTest::newRow(name) << category << QString::fromLatin1(command)
                            << QString::fromLatin1(signature);
    };
    using namespace ls::CommandCategories;
    row("no argument", ConfigurationCommandId, "GetConfiguration", "");
    row("paper format string", ConfigurationCommandId, "SetPaperFormat", "format:string");
    row("cells int", ConfigurationCommandId, "SetCellsPerLine", "cells:int");
    row("lines int", ConfigurationCommandId, "SetLinesPerPage", "lines:int");
    row("duplex bool", ConfigurationCommandId, "SetDuplex", "enabled:bool");
    row("table string", ConfigurationCommandId, "SetBrailleTable", "table:string");
    row("dot strength int", ConfigurationCommandId, "SetDotStrength", "level:int");
    row("sheets int", PaperFeedCommandId, "LoadPaper", "sheets:int");
    row("feed mode string", PaperFeedCommandId, "SetFeedMode", "mode:string");
    row("title string", DocumentCommandId, "OpenDocument", "title:string");
    row("document and text", DocumentCommandId, "AddText", "document:int,text:string");
    row("close document", DocumentCommandId, "CloseDocument", "document:int");
    row("document info", DocumentCommandId, "GetDocumentInfo", "document:int");
    row("delete document", DocumentCommandId, "DeleteDocument", "document:int");
    row("document and copies", EmbossCommandId, "StartEmbossing", "document:int,copies:int");
    row("emboss text", EmbossCommandId, "EmbossText", "text:string");
    row("test pattern", TestingCommandId, "EmbossTestPage", "pattern:string");
    row("fault", TestingCommandId, "InjectFault", "fault:string");
    row("echo text", IpcCommandId, "Echo", "text:string");
    row("ping takes none", IpcCommandId, "Ping", "");
}

void DeviceTest::argumentRecords()
{
    QFETCH(QString, category);
    QFETCH(QString, command);
    QFETCH(QString, signature);

    Device device(DeviceOptions{});
    QVariantMap request = catalogueRequest(ls::CommandHandlerCmdId::GetCommands);
    request.insert(ls::categoryKey, category);
    const QVariantList entries = device.handle(request).value(ls::commandsKey).toList();
    QVariantMap entry;
    for (const QVariant &e : entries) {
        if (e.toMap().value(ls::idKey).toString() == command)
            entry = e.toMap();
    }
    QVERIFY(!entry.isEmpty());
    QStringList items;
    for (const QVariant &record : entry.value(ls::argumentTypesKey).toList()) {
        const QVariantMap map = record.toMap();
        QCOMPARE(map.size(), 2);
        items.append(map.value(ls::argumentNameKey).toString() + QLatin1Char(':')
                     + map.value(ls::argumentTypeKey).toString());
    }
    QCOMPARE(items.join(QLatin1Char(',')), signature);
    QCOMPARE(entry.value(ls::argumentCountKey).toInt(), items.size());
    QCOMPARE(entry.value(ls::argumentTypesKey).userType(), int(QMetaType::QVariantList));
}

void DeviceTest::unknownCategory_data()
{
    QTest::addColumn<QString>("category");
    QTest::newRow("empty name") << QString();
    QTest::newRow("other letter case") << QStringLiteral("ipccommandid");
    QTest::newRow("command name, not a category") << QStringLiteral("Ping");
    QTest::newRow("trailing blank") << QStringLiteral("IpcCommandId ");
}

void DeviceTest::unknownCategory()
{
    QFETCH(QString, category);
    Device device(DeviceOptions{});
    QVariantMap request = catalogueRequest(ls::CommandHandlerCmdId::GetCommands);
    request.insert(ls::categoryKey, category);
    const QVariantMap response = device.handle(request);
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
    QCOMPARE(response.value(ls::errorIdKey).toString(), QStringLiteral("UnknownCategory"));
    QVERIFY(response.value(ls::errorMessageKey).toString().contains(category));
    QVERIFY(!response.contains(ls::commandsKey));
}

void DeviceTest::invalidRequest_data()
{
    QTest::addColumn<QVariantMap>("request");
    QTest::addColumn<QString>("errorId");

    const QVariantMap handle = commandRequest(601, {});
    QVariantMap r;

    QTest::newRow("empty request") << QVariantMap() << QStringLiteral("InvalidRequest");
    r = handle;
    r.insert(ls::commandIdKey, QStringLiteral("Reboot"));
    QTest::newRow("unknown command id") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.insert(ls::commandIdKey, 5);
    QTest::newRow("command id a number") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.insert(ls::subCommandIdKey, QStringLiteral("601"));
    QTest::newRow("sub-command id as text") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.insert(ls::subCommandIdKey, 601.5);
    QTest::newRow("sub-command id a fraction") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.remove(ls::subCommandIdKey);
    QTest::newRow("sub-command id missing") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.insert(ls::argsKey, QStringLiteral("7 Hello"));
    QTest::newRow("args not a list") << r << QStringLiteral("InvalidRequest");
    r = handle;
    r.remove(ls::argsKey);
    QTest::newRow("args missing") << r << QStringLiteral("InvalidRequest");
    r = commandRequest(603, {});
    r.insert(ls::argsKey, QVariantList({QVariantMap{{QStringLiteral("a"), 1}}}));
    QTest::newRow("argument a map") << r << QStringLiteral("InvalidRequest");
    r = catalogueRequest(ls::CommandHandlerCmdId::GetCommands);
    QTest::newRow("category missing") << r << QStringLiteral("InvalidRequest");
    r.insert(ls::categoryKey, 3);
    QTest::newRow("category a number") << r << QStringLiteral("InvalidRequest");
    QTest::newRow("command number unknown")
            << commandRequest(999, {}) << QStringLiteral("UnknownCommand");
    QTest::newRow("command number zero")
            << commandRequest(0, {}) << QStringLiteral("UnknownCommand");
    QTest::newRow("category number, not a command")
            << commandRequest(6, {}) << QStringLiteral("UnknownCommand");
}

void DeviceTest::invalidRequest()
{
    QFETCH(QVariantMap, request);
    QFETCH(QString, errorId);
    Device device(DeviceOptions{});
    const QVariantMap response = device.handle(request);
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
    QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
    QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
    QVERIFY(!response.contains(ls::detailsMapKey));
}

void DeviceTest::ipcCommands_data()
{
    QTest::addColumn<int>("command");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QVariantMap>("expected");

    QTest::newRow("ping") << int(ls::IpcCommandId::Ping) << QStringList()
                          << QVariantMap{{QStringLiteral("reply"), QStringLiteral("pong")}};
    QTest::newRow("echo one word")
            << int(ls::IpcCommandId::Echo) << QStringList({QStringLiteral("hello")})
            << QVariantMap{{QStringLiteral("text"), QStringLiteral("hello")}};
    QTest::newRow("echo keeps double blank")
            << int(ls::IpcCommandId::Echo)
            << QStringList({QStringLiteral("Hello"), QString(), QStringLiteral("world")})
            << QVariantMap{{QStringLiteral("text"), QStringLiteral("Hello  world")}};
    QTest::newRow("echo leading blank")
            << int(ls::IpcCommandId::Echo) << QStringList({QString(), QStringLiteral("x")})
            << QVariantMap{{QStringLiteral("text"), QStringLiteral(" x")}};
    QTest::newRow("echo empty word") << int(ls::IpcCommandId::Echo) << QStringList({QString()})
                                     << QVariantMap{{QStringLiteral("text"), QString()}};
    QTest::newRow("echo non-ascii")
            << int(ls::IpcCommandId::Echo)
            << QStringList({QStringLiteral("grüß"), QStringLiteral("⠁")})
            << QVariantMap{{QStringLiteral("text"), QStringLiteral("grüß ⠁")}};
}

void DeviceTest::ipcCommands()
{
    QFETCH(int, command);
    QFETCH(QStringList, words);
    QFETCH(QVariantMap, expected);
    Device device(DeviceOptions{});
    const QVariantMap response = device.handle(commandRequest(command, words));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    QVERIFY(!response.contains(ls::errorMessageKey));
    QCOMPARE(response.value(ls::detailsMapKey).toMap(), expected);
}

void DeviceTest::serviceInfoCountsRequests()
{
    Device device(DeviceOptions{});
    run(device, ls::IpcCommandId::Ping);
    device.handle(QVariantMap());
    const QVariantMap info = run(device, ls::IpcCommandId::GetServiceInfo);
    QCOMPARE(info.value(QStringLiteral("service")).toString(), QStringLiteral("CommandHandler"));
    QCOMPARE(info.value(QStringLiteral("version")).toString(), QStringLiteral("1.0.0"));
    QVERIFY(!info.value(QStringLiteral("liblouisVersion")).toString().isEmpty());
    QCOMPARE(info.value(QStringLiteral("uptimeSeconds")).userType(), int(QMetaType::Int));
    QVERIFY(info.value(QStringLiteral("uptimeSeconds")).toInt() >= 0);
    QCOMPARE(info.value(QStringLiteral("requestsServed")).toInt(), 3);
    QCOMPARE(info.value(QStringLiteral("pageTiming")).toString(), QStringLiteral("per second"));

    Device stepped(stepping());
    QCOMPARE(run(stepped, ls::IpcCommandId::GetServiceInfo).value(QStringLiteral("pageTiming")),
             QVariant(QStringLiteral("per request")));
}

namespace {

QStringList step(int id, const QStringList &words = {})
{
    return QStringList(QString::number(id)) + words;
}

QString blanks(int n)
{
    return QString(n, QChar(0x2800));
}

// A closed document 1 holding the text, with paper in the tray.
Steps closedDocument(const QString &text, int sheets = 10)
{
    using namespace ls;
    return {step(DocumentCommandId::OpenDocument, {QStringLiteral("Report")}),
            step(DocumentCommandId::AddText, {QStringLiteral("1"), text}),
            step(DocumentCommandId::CloseDocument, {QStringLiteral("1")}),
            step(PaperFeedCommandId::LoadPaper, {QString::number(sheets)})};
}

// Words of a text that lays out as two words per line at 10 cells: "abc abc" and so on.
QString words(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(QStringLiteral("abc"));
    return list.join(QLatin1Char(' '));
}

QVariantMap idleJob()
{
    return {{QStringLiteral("jobId"), 0},
            {QStringLiteral("state"), QStringLiteral("Idle")},
            {QStringLiteral("documentId"), 0},
            {QStringLiteral("copies"), 0},
            {QStringLiteral("pagesDone"), 0},
            {QStringLiteral("pagesTotal"), 0},
            {QStringLiteral("sheetsUsed"), 0},
            {QStringLiteral("pauseReason"), QStringLiteral("None")},
            {QStringLiteral("outcome"), QStringLiteral("None")}};
}

QVariantMap job(int id, const QString &state, int document, int copies, int done, int total,
                int sheets, const QString &pauseReason = QStringLiteral("None"),
                const QString &outcome = QStringLiteral("None"))
{
    return {{QStringLiteral("jobId"), id},
            {QStringLiteral("state"), state},
            {QStringLiteral("documentId"), document},
            {QStringLiteral("copies"), copies},
            {QStringLiteral("pagesDone"), done},
            {QStringLiteral("pagesTotal"), total},
            {QStringLiteral("sheetsUsed"), sheets},
            {QStringLiteral("pauseReason"), pauseReason},
            {QStringLiteral("outcome"), outcome}};
}

QVariantMap defaultConfiguration()
{
    return {{QStringLiteral("paperFormat"), QStringLiteral("A4")},
            {QStringLiteral("cellsPerLine"), 40},
            {QStringLiteral("linesPerPage"), 25},
            {QStringLiteral("duplex"), false},
            {QStringLiteral("brailleTable"), QStringLiteral("en-us-g1.ctb")},
            {QStringLiteral("dotStrength"), 3}};
}

QVariantMap documentInfo(int id, const QString &title, const QString &state, int characters,
                         int cells, int lines, int pages)
{
    return {{QStringLiteral("documentId"), id}, {QStringLiteral("title"), title},
            {QStringLiteral("state"), state},   {QStringLiteral("characters"), characters},
            {QStringLiteral("cells"), cells},   {QStringLiteral("lines"), lines},
            {QStringLiteral("pages"), pages},   {QStringLiteral("sheets"), pages}};
}

struct Captured
{
    QtMsgType type;
    QString category;
    QString message;
};

QList<Captured> capturedMessages;

void captureMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    capturedMessages.append({type, QString::fromLatin1(context.category), message});
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

QString describe(const QVariantMap &map)
{
    QString text;
    QDebug(&text) << map;
    return text;
}

bool writeAll(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

bool DeviceTest::runSteps(Device &device, const Steps &steps)
{
    for (const QStringList &s : steps) {
        const QVariantMap response = device.handle(commandRequest(s.first().toInt(), s.mid(1)));
        if (response.value(ls::resultIdKey) != ls::ResultId::Success) {
            qWarning() << "step" << s << "failed:" << response;
            return false;
        }
    }
    return true;
}

void DeviceTest::init()
{
    capturedMessages.clear();
    m_previousHandler = qInstallMessageHandler(captureMessage);
}

void DeviceTest::cleanup()
{
    qInstallMessageHandler(m_previousHandler);
}

void DeviceTest::commandResults_data()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QVariantMap>("expected");

    using namespace ls;
    const QString one = QStringLiteral("1");
    QVariantMap config = defaultConfiguration();

    QTest::newRow("GetConfiguration, factory defaults")
            << Steps() << step(ConfigurationCommandId::GetConfiguration) << config;
    config.insert(QStringLiteral("cellsPerLine"), 30);
    config.insert(QStringLiteral("duplex"), true);
    QTest::newRow("GetConfiguration, after changes")
            << Steps({step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("30")}),
                      step(ConfigurationCommandId::SetDuplex, {QStringLiteral("true")})})
            << step(ConfigurationCommandId::GetConfiguration) << config;
    QTest::newRow("SetPaperFormat Letter")
            << Steps() << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Letter")})
            << QVariantMap{{QStringLiteral("paperFormat"), QStringLiteral("Letter")}};
    QTest::newRow("SetPaperFormat braille paper")
            << Steps()
            << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Braille-11x11.5")})
            << QVariantMap{{QStringLiteral("paperFormat"), QStringLiteral("Braille-11x11.5")}};
    QTest::newRow("SetCellsPerLine lowest")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")})
            << QVariantMap{{QStringLiteral("cellsPerLine"), 10}};
    QTest::newRow("SetCellsPerLine highest")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("48")})
            << QVariantMap{{QStringLiteral("cellsPerLine"), 48}};
    QTest::newRow("SetCellsPerLine with plus sign")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("+12")})
            << QVariantMap{{QStringLiteral("cellsPerLine"), 12}};
    QTest::newRow("SetLinesPerPage highest")
            << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("32")})
            << QVariantMap{{QStringLiteral("linesPerPage"), 32}};
    QTest::newRow("SetDuplex true")
            << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("true")})
            << QVariantMap{{QStringLiteral("duplex"), true}};
    QTest::newRow("SetDuplex 1") << Steps() << step(ConfigurationCommandId::SetDuplex, {one})
                                 << QVariantMap{{QStringLiteral("duplex"), true}};
    QTest::newRow("SetDuplex 0 after true")
            << Steps({step(ConfigurationCommandId::SetDuplex, {one})})
            << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("0")})
            << QVariantMap{{QStringLiteral("duplex"), false}};
    QTest::newRow("SetDuplex false")
            << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("false")})
            << QVariantMap{{QStringLiteral("duplex"), false}};
    QTest::newRow("SetBrailleTable, a table of another language")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("de-g1.ctb")})
            << QVariantMap{{QStringLiteral("brailleTable"), QStringLiteral("de-g1.ctb")}};
    QTest::newRow("SetBrailleTable grade 2")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("en-us-g2.ctb")})
            << QVariantMap{{QStringLiteral("brailleTable"), QStringLiteral("en-us-g2.ctb")}};
    QTest::newRow("SetDotStrength lowest")
            << Steps() << step(ConfigurationCommandId::SetDotStrength, {one})
            << QVariantMap{{QStringLiteral("dotStrength"), 1}};
    QTest::newRow("ResetConfiguration after changes")
            << Steps({step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20")}),
                      step(ConfigurationCommandId::SetBrailleTable,
                           {QStringLiteral("en-us-g2.ctb")}),
                      step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Letter")})})
            << step(ConfigurationCommandId::ResetConfiguration) << defaultConfiguration();

    QTest::newRow("GetPaperStatus, empty tray")
            << Steps() << step(PaperFeedCommandId::GetPaperStatus)
            << QVariantMap{{QStringLiteral("sheetsLoaded"), 0},
                           {QStringLiteral("trayCapacity"), 500},
                           {QStringLiteral("sheetInPosition"), false},
                           {QStringLiteral("feedMode"), QStringLiteral("sheet")},
                           {QStringLiteral("paperFormat"), QStringLiteral("A4")}};
    QTest::newRow("GetPaperStatus, sheet fed in tractor mode")
            << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("4")}),
                      step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")}),
                      step(PaperFeedCommandId::FeedSheet)})
            << step(PaperFeedCommandId::GetPaperStatus)
            << QVariantMap{{QStringLiteral("sheetsLoaded"), 3},
                           {QStringLiteral("trayCapacity"), 500},
                           {QStringLiteral("sheetInPosition"), true},
                           {QStringLiteral("feedMode"), QStringLiteral("tractor")},
                           {QStringLiteral("paperFormat"), QStringLiteral("A4")}};
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
    QTest::newRow("EjectSheet") << Steps(
            {step(PaperFeedCommandId::LoadPaper, {QStringLiteral("3")}),
             step(PaperFeedCommandId::FeedSheet)})
                                << step(PaperFeedCommandId::EjectSheet)
                                << QVariantMap{{QStringLiteral("sheetInPosition"), false},
                                               {QStringLiteral("sheetsLoaded"), 2}};
    QTest::newRow("SetFeedMode tractor")
            << Steps() << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")})
            << QVariantMap{{QStringLiteral("feedMode"), QStringLiteral("tractor")}};

    QTest::newRow("OpenDocument, title of three words")
            << Steps()
            << step(DocumentCommandId::OpenDocument,
                    {QStringLiteral("Letter"), QStringLiteral("to"), QStringLiteral("Anna")})
            << QVariantMap{{QStringLiteral("documentId"), 1},
                           {QStringLiteral("title"), QStringLiteral("Letter to Anna")},
                           {QStringLiteral("state"), QStringLiteral("open")}};
    QTest::newRow("OpenDocument, second gets the next id")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::DeleteDocument, {one})})
            << step(DocumentCommandId::OpenDocument, {QString()})
            << QVariantMap{{QStringLiteral("documentId"), 2},
                           {QStringLiteral("title"), QString()},
                           {QStringLiteral("state"), QStringLiteral("open")}};
    QTest::newRow("AddText abc") << Steps(
            {step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
                                 << step(DocumentCommandId::AddText, {one, QStringLiteral("abc")})
                                 << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 3,
                                                 3, 1, 1);
    QTest::newRow("AddText appends, double blank kept")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::AddText, {one, QStringLiteral("ab")})})
            << step(DocumentCommandId::AddText, {one, QString(), QString(), QStringLiteral("cd")})
            << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 6, 6, 1, 1);
    // U+1F642, two UTF-16 units, one character.
    const QString smiley = QString::fromUcs4(U"\U0001F642");
    QTest::newRow("AddText, a character beyond the BMP counts once")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
            << step(DocumentCommandId::AddText, {one, QStringLiteral("Hello"), smiley})
            // The smiley has no braille of its own: liblouis spells out its code in 9 cells.
            << documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 7, 16, 1, 1);
    QTest::newRow("OpenDocument, 200 characters beyond the BMP")
            << Steps() << step(DocumentCommandId::OpenDocument, {smiley.repeated(200)})
            << QVariantMap{{QStringLiteral("documentId"), 1},
                           {QStringLiteral("title"), smiley.repeated(200)},
                           {QStringLiteral("state"), QStringLiteral("open")}};
    QTest::newRow("CloseDocument")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::AddText, {one, QStringLiteral("abc")})})
            << step(DocumentCommandId::CloseDocument, {one})
            << documentInfo(1, QStringLiteral("A"), QStringLiteral("closed"), 3, 3, 1, 1);
    QTest::newRow("CloseDocument, empty")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")})})
            << step(DocumentCommandId::CloseDocument, {one})
            << documentInfo(1, QStringLiteral("A"), QStringLiteral("closed"), 0, 0, 0, 0);
    QTest::newRow("ListDocuments, none") << Steps() << step(DocumentCommandId::ListDocuments)
                                         << QVariantMap{{QStringLiteral("documentCount"), 0},
                                                        {QStringLiteral("openDocuments"), 0},
                                                        {QStringLiteral("documentIds"), QString()}};
    QTest::newRow("ListDocuments, one closed and one open")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("First")}),
                      step(DocumentCommandId::CloseDocument, {one}),
                      step(DocumentCommandId::OpenDocument,
                           {QStringLiteral("Second"), QStringLiteral("one")})})
            << step(DocumentCommandId::ListDocuments)
            << QVariantMap{{QStringLiteral("documentCount"), 2},
                           {QStringLiteral("openDocuments"), 1},
                           {QStringLiteral("documentIds"), QStringLiteral("1,2")},
                           {QStringLiteral("document1"), QStringLiteral("First (closed)")},
                           {QStringLiteral("document2"), QStringLiteral("Second one (open)")}};
    QVariantMap info = documentInfo(1, QStringLiteral("A"), QStringLiteral("open"), 7, 7, 1, 1);
    info.insert(QStringLiteral("text"), QStringLiteral("abc def"));
    info.insert(QStringLiteral("braille"), QStringLiteral("⠁⠃⠉⠀⠙⠑⠋"));
    QTest::newRow("GetDocumentInfo") << Steps(
            {step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
             step(DocumentCommandId::AddText, {one, QStringLiteral("abc"), QStringLiteral("def")})})
                                     << step(DocumentCommandId::GetDocumentInfo, {one}) << info;
    QTest::newRow("DeleteDocument")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::OpenDocument, {QStringLiteral("B")})})
            << step(DocumentCommandId::DeleteDocument, {one})
            << QVariantMap{{QStringLiteral("documentId"), 1},
                           {QStringLiteral("deleted"), true},
                           {QStringLiteral("documentCount"), 1}};

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

    QTest::newRow("RunSelfTest, all good")
            << Steps() << step(TestingCommandId::RunSelfTest)
            << QVariantMap{{QStringLiteral("passed"), true},
                           {QStringLiteral("checksRun"), 5},
                           {QStringLiteral("checksFailed"), 0},
                           {QStringLiteral("report"),
                            QStringLiteral("print head ok; paper path clear; cover closed; braille "
                                           "table ok; state storage not used")}};
    QTest::newRow("RunSelfTest, paper jam found")
            << Steps({step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
            << step(TestingCommandId::RunSelfTest)
            << QVariantMap{
                       {QStringLiteral("passed"), false},
                       {QStringLiteral("checksRun"), 5},
                       {QStringLiteral("checksFailed"), 1},
                       {QStringLiteral("report"),
                        QStringLiteral("print head ok; paper path jammed; cover closed; braille "
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

    QTest::newRow("GetDeviceState, fresh")
            << Steps() << step(IpcCommandId::GetDeviceState)
            << QVariantMap{{QStringLiteral("state"), QStringLiteral("Idle")},
                           {QStringLiteral("jobId"), 0},
                           {QStringLiteral("pagesDone"), 0},
                           {QStringLiteral("pagesTotal"), 0},
                           {QStringLiteral("documentCount"), 0},
                           {QStringLiteral("openDocuments"), 0},
                           {QStringLiteral("sheetsLoaded"), 0},
                           {QStringLiteral("sheetInPosition"), false},
                           {QStringLiteral("pendingFault"), QStringLiteral("none")},
                           {QStringLiteral("errorLogEntries"), 0}};
    QTest::newRow("GetDeviceState, embossing")
            << (closedDocument(words(300), 5)
                << step(DocumentCommandId::OpenDocument, {QStringLiteral("Draft")})
                << step(EmbossCommandId::StartEmbossing, {one, one}))
            << step(IpcCommandId::GetDeviceState)
            << QVariantMap{{QStringLiteral("state"), QStringLiteral("Embossing")},
                           {QStringLiteral("jobId"), 1},
                           {QStringLiteral("pagesDone"), 1},
                           {QStringLiteral("pagesTotal"), 2},
                           {QStringLiteral("documentCount"), 2},
                           {QStringLiteral("openDocuments"), 1},
                           {QStringLiteral("sheetsLoaded"), 4},
                           {QStringLiteral("sheetInPosition"), false},
                           {QStringLiteral("pendingFault"), QStringLiteral("none")},
                           {QStringLiteral("errorLogEntries"), 0}};
}

void DeviceTest::commandResults()
{
    QFETCH(Steps, setup);
    QFETCH(QStringList, command);
    QFETCH(QVariantMap, expected);

    Device device(stepping());
    QVERIFY(runSteps(device, setup));
    const QVariantMap response
            = device.handle(commandRequest(command.first().toInt(), command.mid(1)));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    const QVariantMap details = response.value(ls::detailsMapKey).toMap();
    QCOMPARE(details.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        QVERIFY2(details.value(it.key()).userType() == it.value().userType(), qPrintable(it.key()));
        QCOMPARE(details.value(it.key()), it.value());
    }
}

void DeviceTest::commandErrors_data()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QString>("errorId");

    using namespace ls;
    const QString one = QStringLiteral("1");
    const QString count = QStringLiteral("InvalidArgumentCount");
    const QString argument = QStringLiteral("InvalidArgument");
    const QString smiley = QString::fromUcs4(U"\U0001F642");
    const QString busy = QStringLiteral("DeviceBusy");
    const QString paper = QStringLiteral("OutOfPaper");
    const QString state = QStringLiteral("InvalidState");
    const QString noDocument = QStringLiteral("NoSuchDocument");
    const Steps embossing = closedDocument(words(300))
                            << step(EmbossCommandId::StartEmbossing, {one, one});
    const Steps paused = Steps(embossing) << step(EmbossCommandId::PauseEmbossing);

    QTest::newRow("argument to a command without one")
            << Steps() << step(IpcCommandId::Ping, {QString()}) << count;
    QTest::newRow("no argument where one is needed")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine) << count;
    QTest::newRow("text command without any word") << Steps() << step(IpcCommandId::Echo) << count;
    QTest::newRow("one word short of two")
            << Steps() << step(EmbossCommandId::StartEmbossing, {one}) << count;
    QTest::newRow("extra word after an int")
            << Steps()
            << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20"), QString()})
            << count;

    QTest::newRow("int in hex") << Steps()
                                << step(ConfigurationCommandId::SetCellsPerLine,
                                        {QStringLiteral("0x14")})
                                << argument;
    QTest::newRow("int with a blank")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral(" 20")})
            << argument;
    QTest::newRow("int empty") << Steps()
                               << step(ConfigurationCommandId::SetCellsPerLine, {QString()})
                               << argument;
    QTest::newRow("int with a fraction")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20.0")})
            << argument;
    QTest::newRow("int beyond int range")
            << Steps() << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("99999999999")})
            << argument;
    QTest::newRow("cells below range")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("9")})
            << argument;
    QTest::newRow("cells above range")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("49")})
            << argument;
    QTest::newRow("lines above range")
            << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("33")})
            << argument;
    QTest::newRow("dot strength zero")
            << Steps() << step(ConfigurationCommandId::SetDotStrength, {QStringLiteral("0")})
            << argument;
    QTest::newRow("sheets zero") << Steps()
                                 << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("0")})
                                 << argument;
    QTest::newRow("sheets beyond the tray's room")
            << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("450")})})
            << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("51")}) << argument;
    QTest::newRow("copies zero") << closedDocument(QStringLiteral("abc"))
                                 << step(EmbossCommandId::StartEmbossing,
                                         {one, QStringLiteral("0")})
                                 << argument;
    QTest::newRow("document negative")
            << Steps() << step(DocumentCommandId::GetDocumentInfo, {QStringLiteral("-1")})
            << argument;
    QTest::newRow("bool yes") << Steps()
                              << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("yes")})
                              << argument;
    QTest::newRow("bool in capitals")
            << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("TRUE")})
            << argument;
    QTest::newRow("paper format in other case")
            << Steps() << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("a4")})
            << argument;
    QTest::newRow("paper format of two words") << Steps()
                                               << step(ConfigurationCommandId::SetPaperFormat,
                                                       {QStringLiteral("A4"), QStringLiteral("x")})
                                               << argument;
    QTest::newRow("feed mode unknown")
            << Steps() << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("roll")})
            << argument;
    QTest::newRow("test pattern unknown")
            << Steps() << step(TestingCommandId::EmbossTestPage, {QStringLiteral("logo")})
            << argument;
    QTest::newRow("fault unknown")
            << Steps() << step(TestingCommandId::InjectFault, {QStringLiteral("fire")}) << argument;
    QTest::newRow("table that loads but only shows braille: unicode.dis")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("unicode.dis")})
            << argument;
    QTest::newRow("table that loads but defines no letters: braille-patterns.cti")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable,
                    {QStringLiteral("braille-patterns.cti")})
            << argument;
    QTest::newRow("table not installed")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("xx-none.ctb")})
            << argument;
    QTest::newRow("table as a path")
            << Steps()
            << step(ConfigurationCommandId::SetBrailleTable,
                    {QStringLiteral("/usr/share/liblouis/tables/en-us-g1.ctb")})
            << argument;
    QTest::newRow("table as a list") << Steps()
                                     << step(ConfigurationCommandId::SetBrailleTable,
                                             {QStringLiteral("en-us-g1.ctb,en-us-g2.ctb")})
                                     << argument;
    QTest::newRow("emboss empty text")
            << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
            << step(EmbossCommandId::EmbossText, {QString()}) << argument;

    QTest::newRow("title too long")
            << Steps() << step(DocumentCommandId::OpenDocument, {QString(201, QLatin1Char('t'))})
            << argument;
    QTest::newRow("title of 201 characters beyond the BMP too long")
            << Steps() << step(DocumentCommandId::OpenDocument, {smiley.repeated(201)}) << argument;
    QTest::newRow("document would grow too long")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::AddText, {one, QString(65536, QLatin1Char('a'))})})
            << step(DocumentCommandId::AddText, {one, QStringLiteral("a")}) << argument;
    QTest::newRow("text too long to emboss")
            << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
            << step(EmbossCommandId::EmbossText, {QString(65537, QLatin1Char('a'))}) << argument;

    QTest::newRow("configuration while embossing")
            << embossing << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20")})
            << busy;
    QTest::newRow("configuration while paused")
            << paused << step(ConfigurationCommandId::SetDuplex, {one}) << busy;
    QTest::newRow("reset while embossing")
            << embossing << step(ConfigurationCommandId::ResetConfiguration) << busy;
    QTest::newRow("table while embossing")
            << embossing
            << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("en-us-g2.ctb")})
            << busy;
    QTest::newRow("second job") << embossing
                                << step(EmbossCommandId::EmbossText, {QStringLiteral("abc")})
                                << busy;
    QTest::newRow("feed while embossing")
            << embossing << step(PaperFeedCommandId::FeedSheet) << busy;
    QTest::newRow("feed mode while embossing")
            << embossing << step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")})
            << busy;
    QTest::newRow("delete the document being embossed")
            << embossing << step(DocumentCommandId::DeleteDocument, {one}) << busy;
    QTest::newRow("self-test while embossing")
            << embossing << step(TestingCommandId::RunSelfTest) << busy;

    QTest::newRow("emboss with an empty tray")
            << closedDocument(QStringLiteral("abc"), 1)
                       + Steps({step(TestingCommandId::InjectFault,
                                     {QStringLiteral("out-of-paper")})})
            << step(EmbossCommandId::StartEmbossing, {one, one}) << paper;
    QTest::newRow("feed with an empty tray")
            << Steps() << step(PaperFeedCommandId::FeedSheet) << paper;
    QTest::newRow("text with an empty tray")
            << Steps() << step(EmbossCommandId::EmbossText, {QStringLiteral("abc")}) << paper;
    QTest::newRow("test page with an empty tray")
            << Steps() << step(TestingCommandId::EmbossTestPage, {QStringLiteral("full-cell")})
            << paper;
    QTest::newRow("resume after running out, tray still empty")
            << closedDocument(QStringLiteral("abc"), 1)
                       + Steps({step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("2")}),
                                step(EmbossCommandId::GetEmbossStatus)})
            << step(EmbossCommandId::ResumeEmbossing) << paper;

    QTest::newRow("jam on feed") << Steps(
            {step(PaperFeedCommandId::LoadPaper, {one}),
             step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                                 << step(PaperFeedCommandId::FeedSheet)
                                 << QStringLiteral("PaperJam");
    QTest::newRow("jam on eject") << Steps(
            {step(PaperFeedCommandId::LoadPaper, {one}), step(PaperFeedCommandId::FeedSheet),
             step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})})
                                  << step(PaperFeedCommandId::EjectSheet)
                                  << QStringLiteral("PaperJam");
    QTest::newRow("jam on start") << closedDocument(QStringLiteral("abc"))
                                             + Steps({step(TestingCommandId::InjectFault,
                                                           {QStringLiteral("paper-jam")})})
                                  << step(EmbossCommandId::StartEmbossing, {one, one})
                                  << QStringLiteral("PaperJam");
    QTest::newRow("cover open on start")
            << closedDocument(QStringLiteral("abc"))
                       + Steps({step(TestingCommandId::InjectFault,
                                     {QStringLiteral("cover-open")})})
            << step(EmbossCommandId::StartEmbossing, {one, one}) << QStringLiteral("CoverOpen");
    QTest::newRow("cover open on test page")
            << Steps({step(PaperFeedCommandId::LoadPaper, {one}),
                      step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})})
            << step(TestingCommandId::EmbossTestPage, {QStringLiteral("alphabet")})
            << QStringLiteral("CoverOpen");
    QTest::newRow("cover open on resume")
            << Steps(paused)
                       + Steps({step(TestingCommandId::InjectFault,
                                     {QStringLiteral("cover-open")})})
            << step(EmbossCommandId::ResumeEmbossing) << QStringLiteral("CoverOpen");

    QTest::newRow("text to a document never opened")
            << Steps()
            << step(DocumentCommandId::AddText, {QStringLiteral("7"), QStringLiteral("x")})
            << noDocument;
    QTest::newRow("close unknown")
            << Steps() << step(DocumentCommandId::CloseDocument, {one}) << noDocument;
    QTest::newRow("info of a deleted document")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::DeleteDocument, {one})})
            << step(DocumentCommandId::GetDocumentInfo, {one}) << noDocument;
    QTest::newRow("delete unknown")
            << Steps() << step(DocumentCommandId::DeleteDocument, {one}) << noDocument;
    QTest::newRow("emboss unknown")
            << Steps({step(PaperFeedCommandId::LoadPaper, {one})})
            << step(EmbossCommandId::StartEmbossing, {QStringLiteral("2"), one}) << noDocument;

    QTest::newRow("text to a closed document")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::CloseDocument, {one})})
            << step(DocumentCommandId::AddText, {one, QStringLiteral("x")}) << state;
    QTest::newRow("close twice") << Steps(
            {step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
             step(DocumentCommandId::CloseDocument, {one})})
                                 << step(DocumentCommandId::CloseDocument, {one}) << state;
    QTest::newRow("emboss an open document")
            << Steps({step(DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                      step(DocumentCommandId::AddText, {one, QStringLiteral("x")}),
                      step(PaperFeedCommandId::LoadPaper, {one})})
            << step(EmbossCommandId::StartEmbossing, {one, one}) << state;
    QTest::newRow("emboss an empty document")
            << closedDocument(QString()) << step(EmbossCommandId::StartEmbossing, {one, one})
            << state;
    QTest::newRow("pause with no job") << Steps() << step(EmbossCommandId::PauseEmbossing) << state;
    QTest::newRow("pause when paused") << paused << step(EmbossCommandId::PauseEmbossing) << state;
    QTest::newRow("resume while embossing")
            << embossing << step(EmbossCommandId::ResumeEmbossing) << state;
    QTest::newRow("cancel with no job")
            << Steps() << step(EmbossCommandId::CancelEmbossing) << state;
    QTest::newRow("feed with a sheet in position")
            << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                      step(PaperFeedCommandId::FeedSheet)})
            << step(PaperFeedCommandId::FeedSheet) << state;
    QTest::newRow("eject with no sheet")
            << Steps() << step(PaperFeedCommandId::EjectSheet) << state;
}

void DeviceTest::commandErrors()
{
    QFETCH(Steps, setup);
    QFETCH(QStringList, command);
    QFETCH(QString, errorId);

    Device device(stepping());
    QVERIFY(runSteps(device, setup));
    const QVariantMap response
            = device.handle(commandRequest(command.first().toInt(), command.mid(1)));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
    QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
    QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
    QVERIFY(!response.contains(ls::detailsMapKey));
}

void DeviceTest::scenario_data()
{
    QTest::addColumn<Steps>("commands");
    QTest::addColumn<Expectations>("expectations");

    using namespace ls;
    const QString one = QStringLiteral("1");
    const auto fields = [](std::initializer_list<std::pair<QString, QVariant>> list) {
        return QVariantMap(list);
    };
    const auto error = [](const char *id) {
        return QVariantMap{{QStringLiteral("errorId"), QString::fromLatin1(id)}};
    };
    const Steps smallPages
            = {step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")}),
               step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("10")})};
    const Expectations smallPagesDone = {fields({{QStringLiteral("cellsPerLine"), 10}}),
                                         fields({{QStringLiteral("linesPerPage"), 10}})};

    QTest::newRow("document to paper, running out on the way")
            << (Steps(smallPages)
                << step(DocumentCommandId::OpenDocument, {QStringLiteral("Notes")})
                << step(DocumentCommandId::AddText, {one, words(50)})
                << step(DocumentCommandId::GetDocumentInfo, {one})
                << step(DocumentCommandId::CloseDocument, {one})
                << step(DocumentCommandId::AddText, {one, QStringLiteral("x")})
                << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")})
                << step(EmbossCommandId::StartEmbossing, {one, one})
                << step(EmbossCommandId::GetEmbossStatus)
                << step(ConfigurationCommandId::SetDuplex, {one})
                << step(EmbossCommandId::GetEmbossStatus) << step(EmbossCommandId::ResumeEmbossing)
                << step(PaperFeedCommandId::LoadPaper, {QStringLiteral("5")})
                << step(EmbossCommandId::ResumeEmbossing) << step(EmbossCommandId::GetEmbossStatus)
                << step(PaperFeedCommandId::GetPaperStatus) << step(TestingCommandId::GetErrorLog)
                << step(DocumentCommandId::DeleteDocument, {one})
                << step(DocumentCommandId::ListDocuments))
            << (Expectations(smallPagesDone)
                << fields({{QStringLiteral("documentId"), 1},
                           {QStringLiteral("state"), QStringLiteral("open")}})
                << fields({{QStringLiteral("lines"), 25},
                           {QStringLiteral("pages"), 3},
                           {QStringLiteral("cells"), 199},
                           {QStringLiteral("characters"), 199}})
                << fields({{QStringLiteral("state"), QStringLiteral("open")},
                           {QStringLiteral("pages"), 3},
                           {QStringLiteral("text"), words(50)}})
                << fields({{QStringLiteral("state"), QStringLiteral("closed")}})
                << error("InvalidState") << fields({{QStringLiteral("sheetsLoaded"), 2}})
                << fields({{QStringLiteral("jobId"), 1},
                           {QStringLiteral("pagesTotal"), 3},
                           {QStringLiteral("pagesDone"), 0},
                           {QStringLiteral("state"), QStringLiteral("Embossing")}})
                << fields({{QStringLiteral("pagesDone"), 1}, {QStringLiteral("sheetsUsed"), 1}})
                << error("DeviceBusy")
                << fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                           {QStringLiteral("pauseReason"), QStringLiteral("OutOfPaper")},
                           {QStringLiteral("pagesDone"), 2}})
                << error("OutOfPaper") << fields({{QStringLiteral("sheetsLoaded"), 5}})
                << fields({{QStringLiteral("state"), QStringLiteral("Embossing")},
                           {QStringLiteral("pagesDone"), 2}})
                << fields({{QStringLiteral("state"), QStringLiteral("Idle")},
                           {QStringLiteral("outcome"), QStringLiteral("Completed")},
                           {QStringLiteral("pagesDone"), 3},
                           {QStringLiteral("sheetsUsed"), 3}})
                << fields({{QStringLiteral("sheetsLoaded"), 4}})
                << fields({{QStringLiteral("entryCount"), 2}})
                << fields({{QStringLiteral("deleted"), true}, {QStringLiteral("documentCount"), 0}})
                << fields({{QStringLiteral("documentCount"), 0}}));

    QTest::newRow("duplex, two copies, each copy on fresh sheets")
            << (Steps(smallPages)
                << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("true")})
                << closedDocument(words(50))
                << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("2")})
                << step(EmbossCommandId::GetEmbossStatus) << step(EmbossCommandId::GetEmbossStatus)
                << step(EmbossCommandId::GetEmbossStatus) << step(EmbossCommandId::GetEmbossStatus)
                << step(EmbossCommandId::GetEmbossStatus) << step(EmbossCommandId::GetEmbossStatus)
                << step(PaperFeedCommandId::GetPaperStatus))
            << (Expectations(smallPagesDone)
                << fields({{QStringLiteral("duplex"), true}}) << QVariantMap()
                << fields({{QStringLiteral("pages"), 3}, {QStringLiteral("sheets"), 2}})
                << QVariantMap() << QVariantMap() << fields({{QStringLiteral("pagesTotal"), 6}})
                << fields({{QStringLiteral("pagesDone"), 1}, {QStringLiteral("sheetsUsed"), 1}})
                << fields({{QStringLiteral("pagesDone"), 2}, {QStringLiteral("sheetsUsed"), 1}})
                << fields({{QStringLiteral("pagesDone"), 3}, {QStringLiteral("sheetsUsed"), 2}})
                << fields({{QStringLiteral("pagesDone"), 4}, {QStringLiteral("sheetsUsed"), 3}})
                << fields({{QStringLiteral("pagesDone"), 5}, {QStringLiteral("sheetsUsed"), 3}})
                << fields({{QStringLiteral("pagesDone"), 6},
                           {QStringLiteral("sheetsUsed"), 4},
                           {QStringLiteral("state"), QStringLiteral("Idle")}})
                << fields({{QStringLiteral("sheetsLoaded"), 6}}));

    QTest::newRow("paused before a back page, resumes without paper")
            << (Steps(smallPages) << step(ConfigurationCommandId::SetDuplex, {one})
                                  << closedDocument(words(50), 1)
                                  << step(EmbossCommandId::StartEmbossing, {one, one})
                                  << step(EmbossCommandId::PauseEmbossing)
                                  << step(EmbossCommandId::ResumeEmbossing)
                                  << step(EmbossCommandId::GetEmbossStatus)
                                  << step(EmbossCommandId::GetEmbossStatus))
            << (Expectations(smallPagesDone)
                << QVariantMap() << QVariantMap() << QVariantMap() << QVariantMap()
                << fields({{QStringLiteral("sheetsLoaded"), 1}}) << QVariantMap()
                << fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                           {QStringLiteral("pauseReason"), QStringLiteral("User")},
                           {QStringLiteral("pagesDone"), 1}})
                << fields({{QStringLiteral("state"), QStringLiteral("Embossing")}})
                << fields({{QStringLiteral("pagesDone"), 2}, {QStringLiteral("sheetsUsed"), 1}})
                << fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                           {QStringLiteral("pauseReason"), QStringLiteral("OutOfPaper")},
                           {QStringLiteral("pagesDone"), 2}}));

    QTest::newRow("jam pauses a running job until resumed")
            << (Steps(smallPages)
                << closedDocument(words(50)) << step(EmbossCommandId::StartEmbossing, {one, one})
                << step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})
                << step(EmbossCommandId::GetEmbossStatus) << step(TestingCommandId::GetErrorLog)
                << step(EmbossCommandId::ResumeEmbossing) << step(EmbossCommandId::GetEmbossStatus)
                << step(IpcCommandId::GetDeviceState))
            << (Expectations(smallPagesDone)
                << QVariantMap() << QVariantMap() << QVariantMap() << QVariantMap()
                << fields({{QStringLiteral("state"), QStringLiteral("Embossing")}})
                << fields({{QStringLiteral("pendingFault"), QStringLiteral("paper-jam")}})
                << fields({{QStringLiteral("state"), QStringLiteral("Paused")},
                           {QStringLiteral("pauseReason"), QStringLiteral("PaperJam")},
                           {QStringLiteral("pagesDone"), 1}})
                << fields({{QStringLiteral("entryCount"), 1}})
                << fields({{QStringLiteral("state"), QStringLiteral("Embossing")}})
                << fields({{QStringLiteral("pagesDone"), 2}})
                << fields({{QStringLiteral("pagesDone"), 3},
                           {QStringLiteral("state"), QStringLiteral("Idle")},
                           {QStringLiteral("pendingFault"), QStringLiteral("none")}}));

    QTest::newRow("an injected fault fails one command only")
            << Steps({step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")}),
                      step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                      step(PaperFeedCommandId::FeedSheet), step(PaperFeedCommandId::FeedSheet),
                      step(TestingCommandId::GetErrorLog)})
            << Expectations(
                       {fields({{QStringLiteral("pendingFault"), QStringLiteral("paper-jam")}}),
                        fields({{QStringLiteral("sheetsLoaded"), 2}}), error("PaperJam"),
                        fields({{QStringLiteral("sheetInPosition"), true},
                                {QStringLiteral("sheetsLoaded"), 1}}),
                        fields({{QStringLiteral("entryCount"), 1}})});

    QTest::newRow("the sheet in position is embossed first")
            << Steps({step(PaperFeedCommandId::LoadPaper, {QStringLiteral("2")}),
                      step(PaperFeedCommandId::FeedSheet),
                      step(EmbossCommandId::EmbossText, {QStringLiteral("abc")}),
                      step(EmbossCommandId::GetEmbossStatus),
                      step(PaperFeedCommandId::GetPaperStatus),
                      step(ConfigurationCommandId::SetDuplex, {one})})
            << Expectations({fields({{QStringLiteral("sheetsLoaded"), 2}}),
                             fields({{QStringLiteral("sheetsLoaded"), 1}}),
                             fields({{QStringLiteral("state"), QStringLiteral("Embossing")}}),
                             fields({{QStringLiteral("state"), QStringLiteral("Idle")},
                                     {QStringLiteral("sheetsUsed"), 1}}),
                             fields({{QStringLiteral("sheetsLoaded"), 1},
                                     {QStringLiteral("sheetInPosition"), false}}),
                             fields({{QStringLiteral("duplex"), true}})});

    QTest::newRow("cancel frees the device for the next job")
            << (closedDocument(words(300))
                << step(EmbossCommandId::StartEmbossing, {one, QStringLiteral("5")})
                << step(EmbossCommandId::CancelEmbossing)
                << step(EmbossCommandId::StartEmbossing, {one, one})
                << step(EmbossCommandId::GetEmbossStatus))
            << (Expectations()
                << QVariantMap() << QVariantMap() << QVariantMap() << QVariantMap()
                << fields({{QStringLiteral("jobId"), 1}, {QStringLiteral("pagesTotal"), 10}})
                << fields({{QStringLiteral("outcome"), QStringLiteral("Cancelled")},
                           {QStringLiteral("pagesDone"), 1}})
                << fields({{QStringLiteral("jobId"), 2},
                           {QStringLiteral("pagesDone"), 0},
                           {QStringLiteral("outcome"), QStringLiteral("None")}})
                << fields({{QStringLiteral("jobId"), 2}, {QStringLiteral("pagesDone"), 1}}));
}

void DeviceTest::scenario()
{
    QFETCH(Steps, commands);
    QFETCH(Expectations, expectations);
    QCOMPARE(commands.size(), expectations.size());

    Device device(stepping());
    for (int i = 0; i < commands.size(); ++i) {
        const QStringList &c = commands.at(i);
        const QVariantMap response = device.handle(commandRequest(c.first().toInt(), c.mid(1)));
        const QVariantMap &expected = expectations.at(i);
        const QByteArray where
                = QByteArray::number(i + 1) + ": " + c.join(QLatin1Char(' ')).toUtf8();
        if (expected.contains(QStringLiteral("errorId"))) {
            QVERIFY2(response.value(ls::errorIdKey) == expected.value(QStringLiteral("errorId")),
                     where.constData());
            QVERIFY2(response.value(ls::resultIdKey) == ls::ResultId::Failure, where.constData());
            continue;
        }
        QVERIFY2(response.value(ls::resultIdKey) == ls::ResultId::Success, where.constData());
        const QVariantMap details = response.value(ls::detailsMapKey).toMap();
        for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
            QVERIFY2(details.value(it.key()) == it.value(),
                     (where + " " + it.key().toUtf8() + " = "
                      + details.value(it.key()).toString().toUtf8())
                             .constData());
        }
    }
}

void DeviceTest::errorLogEntry()
{
    Device device(stepping());
    QVERIFY(runSteps(device,
                     {step(ls::TestingCommandId::InjectFault, {QStringLiteral("cover-open")}),
                      step(ls::PaperFeedCommandId::LoadPaper, {QStringLiteral("1")})}));
    QCOMPARE(device.handle(commandRequest(ls::EmbossCommandId::EmbossText, {QStringLiteral("a")}))
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

void DeviceTest::pagesAdvanceWithTime_data()
{
    QTest::addColumn<QList<qint64>>("clocks");
    QTest::addColumn<QList<int>>("pagesDone");

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

void DeviceTest::pagesAdvanceWithTime()
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

void DeviceTest::braille_data()
{
    QTest::addColumn<QString>("table");
    QTest::addColumn<int>("cellsPerLine");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("braille");
    QTest::addColumn<int>("cells");

    const QString g1 = QStringLiteral("en-us-g1.ctb");
    QTest::newRow("abc in grade 1")
            << g1 << 40 << QStringList({QStringLiteral("abc")}) << QStringLiteral("⠁⠃⠉") << 3;
    QTest::newRow("capital sign") << g1 << 40 << QStringList({QStringLiteral("Hello")})
                                  << QStringLiteral("⠠⠓⠑⠇⠇⠕") << 6;
    QTest::newRow("number sign") << g1 << 40 << QStringList({QStringLiteral("12")})
                                 << QStringLiteral("⠼⠁⠃") << 3;
    QTest::newRow("blank between words is a blank cell")
            << g1 << 40 << QStringList({QStringLiteral("ab"), QStringLiteral("cd")})
            << QStringLiteral("⠁⠃⠀⠉⠙") << 5;
    QTest::newRow("single letters take the letter sign")
            << g1 << 40 << QStringList({QStringLiteral("a"), QStringLiteral("b")})
            << QStringLiteral("⠰⠁⠀⠰⠃") << 5;
    QTest::newRow("the contracted in grade 2")
            << QStringLiteral("en-us-g2.ctb") << 40 << QStringList({QStringLiteral("the")})
            << QStringLiteral("⠮") << 1;
    QTest::newRow("the spelled out in grade 1")
            << g1 << 40 << QStringList({QStringLiteral("the")}) << QStringLiteral("⠞⠓⠑") << 3;
    QTest::newRow("line breaks at the last blank that fits")
            << g1 << 10
            << QStringList(
                       {QStringLiteral("abcde"), QStringLiteral("fghij"), QStringLiteral("klm")})
            << QStringLiteral("⠁⠃⠉⠙⠑\n⠋⠛⠓⠊⠚⠀⠅⠇⠍") << 15;
    QTest::newRow("word longer than a line is cut at the width")
            << g1 << 10 << QStringList({QStringLiteral("abcdefghijkl")})
            << QStringLiteral("⠁⠃⠉⠙⠑⠋⠛⠓⠊⠚\n⠅⠇") << 12;
    QTest::newRow("exactly a line") << g1 << 10 << QStringList({QStringLiteral("abcdefghij")})
                                    << QStringLiteral("⠁⠃⠉⠙⠑⠋⠛⠓⠊⠚") << 10;
    QTest::newRow("line break in the text starts a line")
            << g1 << 40 << QStringList({QStringLiteral("ab\ncd")}) << QStringLiteral("⠁⠃\n⠉⠙") << 4;
}

void DeviceTest::braille()
{
    QFETCH(QString, table);
    QFETCH(int, cellsPerLine);
    QFETCH(QStringList, words);
    QFETCH(QString, braille);
    QFETCH(int, cells);

    Device device(stepping());
    QVERIFY(runSteps(
            device,
            {step(ls::ConfigurationCommandId::SetBrailleTable, {table}),
             step(ls::ConfigurationCommandId::SetCellsPerLine, {QString::number(cellsPerLine)}),
             step(ls::DocumentCommandId::OpenDocument, {QStringLiteral("B")}),
             step(ls::DocumentCommandId::AddText, QStringList(QStringLiteral("1")) + words)}));
    const QVariantMap info
            = run(device, ls::DocumentCommandId::GetDocumentInfo, {QStringLiteral("1")});
    QCOMPARE(info.value(QStringLiteral("braille")).toString(), braille);
    QCOMPARE(info.value(QStringLiteral("lines")).toInt(), braille.count(QLatin1Char('\n')) + 1);
    QCOMPARE(info.value(QStringLiteral("cells")).toInt(), cells);
    for (QChar c : braille)
        QVERIFY(c == QLatin1Char('\n') || (c.unicode() >= 0x2800 && c.unicode() <= 0x28ff));
}

void DeviceTest::pageFiles_data()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("firstPage");

    using namespace ls;
    const QString one = QStringLiteral("1");
    const Steps smallPages = {step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")}),
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
            << (Steps(smallPages) << step(TestingCommandId::EmbossTestPage,
                                          {QStringLiteral("full-cell")}))
            << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << fullCellPage;
    QTest::newRow("grid test page")
            << (Steps(smallPages) << step(TestingCommandId::EmbossTestPage,
                                          {QStringLiteral("grid")}))
            << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << gridPage;
    QTest::newRow("alphabet test page, each line one letter on")
            << (Steps(smallPages) << step(TestingCommandId::EmbossTestPage,
                                          {QStringLiteral("alphabet")}))
            << QStringList({QStringLiteral("job-1-copy-1-page-1.txt")}) << alphabetPage;
    QTest::newRow("three pages, two copies")
            << (Steps(smallPages) << step(DocumentCommandId::OpenDocument, {QStringLiteral("D")})
                                  << step(DocumentCommandId::AddText, {one, words(50)})
                                  << step(DocumentCommandId::CloseDocument, {one})
                                  << step(EmbossCommandId::StartEmbossing,
                                          {one, QStringLiteral("2")}))
            << QStringList({QStringLiteral("job-1-copy-1-page-1.txt"),
                            QStringLiteral("job-1-copy-1-page-2.txt"),
                            QStringLiteral("job-1-copy-1-page-3.txt"),
                            QStringLiteral("job-1-copy-2-page-1.txt"),
                            QStringLiteral("job-1-copy-2-page-2.txt"),
                            QStringLiteral("job-1-copy-2-page-3.txt")})
            << firstOfDocument;
}

void DeviceTest::pageFiles()
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
    QCOMPARE(pages.entryList(QDir::Files, QDir::Name), files);
    QCOMPARE(QString::fromUtf8(readAll(pages.filePath(files.first()))), firstPage);
}

void DeviceTest::stateFileRewrittenOnlyOnChange_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<bool>("rewritten");

    using namespace ls;
    const QString one = QStringLiteral("1");
    QTest::newRow("GetConfiguration") << step(ConfigurationCommandId::GetConfiguration) << false;
    QTest::newRow("GetPaperStatus") << step(PaperFeedCommandId::GetPaperStatus) << false;
    QTest::newRow("ListDocuments") << step(DocumentCommandId::ListDocuments) << false;
    QTest::newRow("GetDocumentInfo") << step(DocumentCommandId::GetDocumentInfo, {one}) << false;
    QTest::newRow("GetEmbossStatus") << step(EmbossCommandId::GetEmbossStatus) << false;
    QTest::newRow("RunSelfTest") << step(TestingCommandId::RunSelfTest) << false;
    QTest::newRow("TestSensors") << step(TestingCommandId::TestSensors) << false;
    QTest::newRow("GetErrorLog") << step(TestingCommandId::GetErrorLog) << false;
    QTest::newRow("Ping") << step(IpcCommandId::Ping) << false;
    QTest::newRow("GetServiceInfo") << step(IpcCommandId::GetServiceInfo) << false;
    QTest::newRow("Echo") << step(IpcCommandId::Echo, {QStringLiteral("hi")}) << false;
    QTest::newRow("GetDeviceState") << step(IpcCommandId::GetDeviceState) << false;
    QTest::newRow("a failed read-only request")
            << step(DocumentCommandId::GetDocumentInfo, {QStringLiteral("9")}) << false;
    QTest::newRow("a change is written") << step(ConfigurationCommandId::SetDuplex, {one}) << true;
    QTest::newRow("an error logged is written") << step(PaperFeedCommandId::FeedSheet) << true;
}

void DeviceTest::stateFileRewrittenOnlyOnChange()
{
    QFETCH(QStringList, command);
    QFETCH(bool, rewritten);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    DeviceOptions options = stepping();
    options.stateFile = dir.filePath(QStringLiteral("state.json"));
    Device device(options);
    QVERIFY(runSteps(device, {step(ls::DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                              step(ls::DocumentCommandId::AddText,
                                   {QStringLiteral("1"), QStringLiteral("abc")})}));
    // Every write replaces the file with a new one, made before the old one goes.
    const auto inode = [&options] {
        struct stat status;
        return ::stat(QFile::encodeName(options.stateFile).constData(), &status) == 0
                       ? qint64(status.st_ino)
                       : qint64(-1);
    };
    const qint64 before = inode();
    QVERIFY(before != -1);
    device.handle(commandRequest(command.first().toInt(), command.mid(1)));
    QCOMPARE(inode() != before, rewritten);
    const qint64 after = inode();
    for (int i = 0; i < 3; ++i)
        device.handle(commandRequest(ls::IpcCommandId::Ping, {}));
    QCOMPARE(inode(), after);
}

void DeviceTest::changeSurvivesImmediateRestart_data()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QString>("errorId");
    QTest::addColumn<QStringList>("probe");
    QTest::addColumn<QVariantMap>("expected");

    using namespace ls;
    const QString one = QStringLiteral("1");
    const QString noError = ls::ErrorId::NoError;
    const auto s = [](const char *text) {
        return QString::fromUtf8(text);
    };
    const QStringList configuration = step(ConfigurationCommandId::GetConfiguration);
    const QStringList paper = step(PaperFeedCommandId::GetPaperStatus);
    const QStringList deviceState = step(IpcCommandId::GetDeviceState);
    // A new job's id shows the job numbering that the state keeps.
    const QStringList nextJob = step(EmbossCommandId::EmbossText, {s("x")});
    // Three copies of a page, so that the job still runs after its first page.
    const Steps job = closedDocument(s("abc"))
                      + Steps{step(EmbossCommandId::StartEmbossing, {one, s("3")})};

    QTest::newRow("SetPaperFormat")
            << Steps() << step(ConfigurationCommandId::SetPaperFormat, {s("Letter")}) << noError
            << configuration << QVariantMap{{s("paperFormat"), s("Letter")}};
    QTest::newRow("SetCellsPerLine")
            << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {s("30")}) << noError
            << configuration << QVariantMap{{s("cellsPerLine"), 30}};
    QTest::newRow("SetLinesPerPage")
            << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {s("20")}) << noError
            << configuration << QVariantMap{{s("linesPerPage"), 20}};
    QTest::newRow("SetDuplex") << Steps() << step(ConfigurationCommandId::SetDuplex, {s("true")})
                               << noError << configuration << QVariantMap{{s("duplex"), true}};
    QTest::newRow("SetBrailleTable")
            << Steps() << step(ConfigurationCommandId::SetBrailleTable, {s("en-us-g2.ctb")})
            << noError << configuration << QVariantMap{{s("brailleTable"), s("en-us-g2.ctb")}};
    QTest::newRow("SetDotStrength")
            << Steps() << step(ConfigurationCommandId::SetDotStrength, {s("5")}) << noError
            << configuration << QVariantMap{{s("dotStrength"), 5}};
    QTest::newRow("ResetConfiguration")
            << Steps{step(ConfigurationCommandId::SetCellsPerLine, {s("30")}),
                     step(ConfigurationCommandId::SetDuplex, {s("true")})}
            << step(ConfigurationCommandId::ResetConfiguration) << noError << configuration
            << QVariantMap{{s("cellsPerLine"), 40}, {s("duplex"), false}};
    QTest::newRow("LoadPaper") << Steps() << step(PaperFeedCommandId::LoadPaper, {s("7")})
                               << noError << paper << QVariantMap{{s("sheetsLoaded"), 7}};
    QTest::newRow("FeedSheet") << Steps{step(PaperFeedCommandId::LoadPaper, {s("3")})}
                               << step(PaperFeedCommandId::FeedSheet) << noError << paper
                               << QVariantMap{{s("sheetsLoaded"), 2}, {s("sheetInPosition"), true}};
    QTest::newRow("EjectSheet") << Steps{step(PaperFeedCommandId::LoadPaper, {s("3")}),
                                         step(PaperFeedCommandId::FeedSheet)}
                                << step(PaperFeedCommandId::EjectSheet) << noError << paper
                                << QVariantMap{{s("sheetsLoaded"), 2},
                                               {s("sheetInPosition"), false}};
    QTest::newRow("FeedSheet refused by an empty tray, the error logged")
            << Steps() << step(PaperFeedCommandId::FeedSheet) << s("OutOfPaper")
            << step(TestingCommandId::GetErrorLog) << QVariantMap{{s("entryCount"), 1}};
    QTest::newRow("SetFeedMode") << Steps() << step(PaperFeedCommandId::SetFeedMode, {s("tractor")})
                                 << noError << paper << QVariantMap{{s("feedMode"), s("tractor")}};
    QTest::newRow("OpenDocument") << Steps() << step(DocumentCommandId::OpenDocument, {s("Notes")})
                                  << noError << step(DocumentCommandId::ListDocuments)
                                  << QVariantMap{{s("documentIds"), one}, {s("openDocuments"), 1}};
    QTest::newRow("AddText") << Steps{step(DocumentCommandId::OpenDocument, {s("Notes")})}
                             << step(DocumentCommandId::AddText, {one, s("abc")}) << noError
                             << step(DocumentCommandId::GetDocumentInfo, {one})
                             << QVariantMap{{s("text"), s("abc")}};
    QTest::newRow("CloseDocument") << Steps{step(DocumentCommandId::OpenDocument, {s("Notes")}),
                                            step(DocumentCommandId::AddText, {one, s("abc")})}
                                   << step(DocumentCommandId::CloseDocument, {one}) << noError
                                   << step(DocumentCommandId::GetDocumentInfo, {one})
                                   << QVariantMap{{s("state"), s("closed")}, {s("text"), s("abc")}};
    QTest::newRow("DeleteDocument")
            << Steps{step(DocumentCommandId::OpenDocument, {s("A")}),
                     step(DocumentCommandId::OpenDocument, {s("B")})}
            << step(DocumentCommandId::DeleteDocument, {one}) << noError
            << step(DocumentCommandId::ListDocuments) << QVariantMap{{s("documentIds"), s("2")}};
    QTest::newRow("StartEmbossing")
            << closedDocument(s("abc")) << step(EmbossCommandId::StartEmbossing, {one, one})
            << noError << nextJob << QVariantMap{{s("jobId"), 2}};
    QTest::newRow("StartEmbossing refused by a jam, the jam cleared and logged")
            << closedDocument(s("abc"))
                       + Steps{step(TestingCommandId::InjectFault, {s("paper-jam")})}
            << step(EmbossCommandId::StartEmbossing, {one, one}) << s("PaperJam") << deviceState
            << QVariantMap{{s("pendingFault"), s("none")}, {s("errorLogEntries"), 1}};
    // With a page per request, the request embosses a page before it pauses or cancels.
    QTest::newRow("PauseEmbossing, after the page it embossed")
            << job << step(EmbossCommandId::PauseEmbossing) << noError << deviceState
            << QVariantMap{{s("sheetsLoaded"), 9}};
    QTest::newRow("ResumeEmbossing refused by an open cover, the cover logged")
            << job
                       + Steps{step(EmbossCommandId::PauseEmbossing),
                               step(TestingCommandId::InjectFault, {s("cover-open")})}
            << step(EmbossCommandId::ResumeEmbossing) << s("CoverOpen") << deviceState
            << QVariantMap{{s("pendingFault"), s("none")}, {s("errorLogEntries"), 1}};
    QTest::newRow("CancelEmbossing, after the page it embossed")
            << job << step(EmbossCommandId::CancelEmbossing) << noError << deviceState
            << QVariantMap{{s("sheetsLoaded"), 9}};
    QTest::newRow("EmbossText") << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
                                << step(EmbossCommandId::EmbossText, {s("hello")}) << noError
                                << nextJob << QVariantMap{{s("jobId"), 2}};
    QTest::newRow("EmbossTestPage") << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
                                    << step(TestingCommandId::EmbossTestPage, {s("grid")})
                                    << noError << nextJob << QVariantMap{{s("jobId"), 2}};
    QTest::newRow("ClearErrorLog")
            << Steps{step(PaperFeedCommandId::FeedSheet), step(PaperFeedCommandId::FeedSheet)}
            << step(TestingCommandId::ClearErrorLog) << noError
            << step(TestingCommandId::GetErrorLog) << QVariantMap{{s("entryCount"), 0}};
    QTest::newRow("InjectFault paper-jam")
            << Steps() << step(TestingCommandId::InjectFault, {s("paper-jam")}) << noError
            << deviceState << QVariantMap{{s("pendingFault"), s("paper-jam")}};
    QTest::newRow("InjectFault out-of-paper")
            << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
            << step(TestingCommandId::InjectFault, {s("out-of-paper")}) << noError << paper
            << QVariantMap{{s("sheetsLoaded"), 0}};
    QTest::newRow("InjectFault none")
            << Steps{step(TestingCommandId::InjectFault, {s("cover-open")})}
            << step(TestingCommandId::InjectFault, {s("none")}) << noError << deviceState
            << QVariantMap{{s("pendingFault"), s("none")}};
}

void DeviceTest::changeSurvivesImmediateRestart()
{
    QFETCH(Steps, setup);
    QFETCH(QStringList, command);
    QFETCH(QString, errorId);
    QFETCH(QStringList, probe);
    QFETCH(QVariantMap, expected);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const auto request = [](const QStringList &s) {
        return commandRequest(s.first().toInt(), s.mid(1));
    };
    // The probe's fields that the row names, as a restarted device on the file answers; as text,
    // so that a failure shows them.
    const auto afterRestart = [&](const DeviceOptions &options) {
        Device device(options);
        const QVariantMap details = run(device, probe.first().toInt(), probe.mid(1));
        QVariantMap picked;
        for (auto it = expected.cbegin(); it != expected.cend(); ++it)
            picked.insert(it.key(), details.value(it.key()));
        return describe(picked);
    };
    // Some setups fail on purpose, to log an error or leave a fault.
    const auto runSetup = [&](Device &device) {
        for (const QStringList &s : setup)
            device.handle(request(s));
    };

    // The setup alone does not leave what the row expects: the command makes the change.
    DeviceOptions options = stepping();
    options.stateFile = dir.filePath(QStringLiteral("setup-only.json"));
    {
        Device device(options);
        runSetup(device);
    }
    QVERIFY(afterRestart(options) != describe(expected));

    options.stateFile = dir.filePath(QStringLiteral("state.json"));
    {
        Device device(options);
        runSetup(device);
        QCOMPARE(device.handle(request(command)).value(ls::errorIdKey).toString(), errorId);
    }
    QCOMPARE(afterRestart(options), describe(expected));
}

void DeviceTest::stateSurvivesRestart()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    DeviceOptions options = stepping();
    // The folder does not exist yet: the device makes it.
    options.stateFile = dir.filePath(QStringLiteral("device/state.json"));
    using namespace ls;
    const QString one = QStringLiteral("1");
    {
        Device device(options);
        QVERIFY(runSteps(
                device,
                {step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("30")}),
                 step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("en-us-g2.ctb")}),
                 step(PaperFeedCommandId::LoadPaper, {QStringLiteral("7")}),
                 step(PaperFeedCommandId::FeedSheet),
                 step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")}),
                 step(DocumentCommandId::OpenDocument, {QStringLiteral("Kept")}),
                 step(DocumentCommandId::AddText,
                      {one, QStringLiteral("the"), QString(), QStringLiteral("end")}),
                 step(DocumentCommandId::CloseDocument, {one}),
                 step(DocumentCommandId::OpenDocument, {QStringLiteral("Draft")}),
                 step(EmbossCommandId::EmbossText, {QStringLiteral("x")}),
                 step(EmbossCommandId::GetEmbossStatus), step(PaperFeedCommandId::FeedSheet),
                 step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})}));
        QCOMPARE(device.handle(commandRequest(EmbossCommandId::EmbossText, {QStringLiteral("x")}))
                         .value(ls::errorIdKey)
                         .toString(),
                 QStringLiteral("PaperJam"));
        QVERIFY(runSteps(device,
                         {step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})}));
        // Written after each change, while the device still runs.
        const QJsonObject saved = QJsonDocument::fromJson(readAll(options.stateFile)).object();
        QCOMPARE(saved.value(QStringLiteral("pendingFault")).toString(),
                 QStringLiteral("cover-open"));
    }
    QCOMPARE(QDir(dir.filePath(QStringLiteral("device"))).entryList(QDir::Files | QDir::Hidden),
             QStringList(QStringLiteral("state.json")));

    Device device(options);
    QVariantMap config = defaultConfiguration();
    config.insert(QStringLiteral("cellsPerLine"), 30);
    config.insert(QStringLiteral("brailleTable"), QStringLiteral("en-us-g2.ctb"));
    QCOMPARE(run(device, ConfigurationCommandId::GetConfiguration), config);
    const QVariantMap paper = run(device, PaperFeedCommandId::GetPaperStatus);
    QCOMPARE(paper.value(QStringLiteral("sheetsLoaded")), QVariant(5));
    QCOMPARE(paper.value(QStringLiteral("sheetInPosition")), QVariant(true));
    QCOMPARE(paper.value(QStringLiteral("feedMode")), QVariant(QStringLiteral("tractor")));
    const QVariantMap info = run(device, DocumentCommandId::GetDocumentInfo, {one});
    QCOMPARE(info.value(QStringLiteral("text")), QVariant(QStringLiteral("the  end")));
    QCOMPARE(info.value(QStringLiteral("state")), QVariant(QStringLiteral("closed")));
    QCOMPARE(run(device, DocumentCommandId::ListDocuments).value(QStringLiteral("documentIds")),
             QVariant(QStringLiteral("1,2")));
    QCOMPARE(run(device, TestingCommandId::TestSensors).value(QStringLiteral("coverClosed")),
             QVariant(false));
    const QVariantMap log = run(device, TestingCommandId::GetErrorLog);
    QCOMPARE(log.value(QStringLiteral("entryCount")), QVariant(1));
    QVERIFY(log.value(QStringLiteral("entry1")).toString().contains(QStringLiteral(" PaperJam: ")));
    QCOMPARE(run(device, DocumentCommandId::OpenDocument, {QStringLiteral("New")})
                     .value(QStringLiteral("documentId")),
             QVariant(3));
    QVERIFY(runSteps(device, {step(TestingCommandId::InjectFault, {QStringLiteral("none")})}));
    QCOMPARE(run(device, EmbossCommandId::EmbossText, {QStringLiteral("x")})
                     .value(QStringLiteral("jobId")),
             QVariant(2));
    for (const Captured &m : qAsConst(capturedMessages))
        QVERIFY2(m.type < QtWarningMsg, qPrintable(m.message));
}

void DeviceTest::damagedStateFile_data()
{
    QTest::addColumn<QByteArray>("content");

    DeviceState state;
    state.documents.append({1, QStringLiteral("A"), QStringLiteral("abc"), false});
    state.nextDocumentId = 2;
    const QJsonObject good = state.toJson();
    const auto changed
            = [&good](const QString &section, const QString &key, const QJsonValue &value) {
                  QJsonObject o = good;
                  if (section.isEmpty()) {
                      o.insert(key, value);
                  } else {
                      QJsonObject inner = o.value(section).toObject();
                      inner.insert(key, value);
                      o.insert(section, inner);
                  }
                  return QJsonDocument(o).toJson();
              };
    const QByteArray whole = QJsonDocument(good).toJson();

    QTest::newRow("empty file") << QByteArray();
    QTest::newRow("cut short") << whole.left(whole.size() / 2);
    QTest::newRow("not JSON") << QByteArray("sheets=5\n");
    QTest::newRow("JSON list") << QByteArray("[1, 2]");
    QTest::newRow("unknown version") << changed(QString(), QStringLiteral("version"), 99);
    QTest::newRow("cells per line as text") << changed(
            QStringLiteral("configuration"), QStringLiteral("cellsPerLine"), QStringLiteral("40"));
    QTest::newRow("cells per line out of range")
            << changed(QStringLiteral("configuration"), QStringLiteral("cellsPerLine"), 200);
    QTest::newRow("more sheets than the tray holds")
            << changed(QStringLiteral("paper"), QStringLiteral("sheetsLoaded"), 501);
    QTest::newRow("document id not below the next one")
            << changed(QString(), QStringLiteral("nextDocumentId"), 1);
    QTest::newRow("documents missing") << [&good] {
        QJsonObject o = good;
        o.remove(QStringLiteral("documents"));
        return QJsonDocument(o).toJson();
    }();
}

void DeviceTest::damagedStateFile()
{
    QFETCH(QByteArray, content);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    DeviceOptions options = stepping();
    options.stateFile = dir.filePath(QStringLiteral("state.json"));
    QVERIFY(writeAll(options.stateFile, content));

    Device device(options);
    const QStringList aside
            = QDir(dir.path()).entryList({QStringLiteral("state.json.damaged-*")}, QDir::Files);
    QCOMPARE(aside.size(), 1);
    QCOMPARE(readAll(dir.filePath(aside.first())), content);
    QVERIFY(!QFile::exists(options.stateFile));

    QCOMPARE(capturedMessages.size(), 1);
    QCOMPARE(capturedMessages.first().type, QtWarningMsg);
    QCOMPARE(capturedMessages.first().category, QStringLiteral("sim.device"));
    QVERIFY2(capturedMessages.first().message.contains(options.stateFile
                                                       + QStringLiteral(" is damaged")),
             qPrintable(capturedMessages.first().message));
    QVERIFY(capturedMessages.first().message.contains(dir.filePath(aside.first())));

    // The device starts from the factory state and saves anew, leaving the damaged file be.
    QCOMPARE(run(device, ls::DocumentCommandId::ListDocuments)
                     .value(QStringLiteral("documentCount")),
             QVariant(0));
    QCOMPARE(run(device, ls::ConfigurationCommandId::GetConfiguration), defaultConfiguration());
    run(device, ls::PaperFeedCommandId::LoadPaper, {QStringLiteral("3")});
    QVERIFY(QFile::exists(options.stateFile));
    QCOMPARE(readAll(dir.filePath(aside.first())), content);
    Device restarted(options);
    QCOMPARE(run(restarted, ls::PaperFeedCommandId::GetPaperStatus)
                     .value(QStringLiteral("sheetsLoaded")),
             QVariant(3));
    QCOMPARE(capturedMessages.size(), 1);
}

void DeviceTest::missingTableFailsTranslation()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    DeviceOptions options = stepping();
    options.stateFile = dir.filePath(QStringLiteral("state.json"));
    DeviceState state;
    state.configuration.brailleTable = QStringLiteral("xx-removed.ctb");
    QVERIFY(writeAll(options.stateFile, QJsonDocument(state.toJson()).toJson()));

    Device device(options);
    run(device, ls::DocumentCommandId::OpenDocument, {QStringLiteral("A")});
    const QVariantMap response = device.handle(commandRequest(
            ls::DocumentCommandId::AddText, {QStringLiteral("1"), QStringLiteral("abc")}));
    QCOMPARE(response.value(ls::errorIdKey).toString(), QStringLiteral("TranslationFailed"));
    QVERIFY(response.value(ls::errorMessageKey)
                    .toString()
                    .contains(QStringLiteral("xx-removed.ctb")));
    QCOMPARE(run(device, ls::DocumentCommandId::GetDocumentInfo, {QStringLiteral("1")})
                     .value(QStringLiteral("text")),
             QVariant(QString()));
    const QVariantMap selfTest = run(device, ls::TestingCommandId::RunSelfTest);
    QCOMPARE(selfTest.value(QStringLiteral("passed")), QVariant(false));
    QVERIFY(selfTest.value(QStringLiteral("report"))
                    .toString()
                    .contains(QStringLiteral("braille table does not load")));
}

QTEST_GUILESS_MAIN(DeviceTest)
#include "tst_device.moc"
