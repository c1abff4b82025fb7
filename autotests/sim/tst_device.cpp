#include "device.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QtTest>

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
    // The error id of a command that must fail.
    static QString fail(Device &device, int id, const QStringList &words = {})
    {
        const QVariantMap response = device.handle(commandRequest(id, words));
        if (response.value(ls::resultIdKey) != ls::ResultId::Failure
            || response.value(ls::errorMessageKey).toString().isEmpty()) {
            return QStringLiteral("unexpected answer");
        }
        return response.value(ls::errorIdKey).toString();
    }

private Q_SLOTS:
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
    QCOMPARE(info.value(QStringLiteral("uptime")).userType(), int(QMetaType::Int));
    QVERIFY(info.value(QStringLiteral("uptime")).toInt() >= 0);
    QCOMPARE(info.value(QStringLiteral("requestsServed")).toInt(), 3);
    QCOMPARE(info.value(QStringLiteral("pageTiming")).toString(), QStringLiteral("per second"));
    QCOMPARE(run(*std::make_unique<Device>(stepping()), ls::IpcCommandId::GetServiceInfo)
                     .value(QStringLiteral("pageTiming"))
                     .toString(),
             QStringLiteral("per request"));
}

QTEST_GUILESS_MAIN(DeviceTest)
#include "tst_device.moc"
