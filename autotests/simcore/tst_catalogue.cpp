// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The catalogue the device serves (device/catalogue.cpp, device/commandtable.cpp).

#include "datatable.h"
#include "simcoretest.h"

#include "device/commandtable.h"

using namespace SimTest;

class CatalogueTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void categories()
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
        QCOMPARE(
                ids,
                QStringList({QStringLiteral("ConfigurationCommandId"),
                             QStringLiteral("PaperFeedCommandId"),
                             QStringLiteral("DocumentCommandId"), QStringLiteral("EmbossCommandId"),
                             QStringLiteral("TestingCommandId"), QStringLiteral("IpcCommandId")}));
        QCOMPARE(descriptions,
                 QStringList({QStringLiteral("Configuration"), QStringLiteral("Paper feed"),
                              QStringLiteral("Document"), QStringLiteral("Emboss"),
                              QStringLiteral("Testing"),
                              QStringLiteral("Inter-process communication")}));
    }

    // The platform library's catalogue names and numbers every command; the device has a row for
    // each, and none beyond.
    void everyCommandHasARow()
    {
        int commands = 0;
        for (const CategoryRow &category : CommandTable::categories()) {
            for (const QString *name : category.commands->names()) {
                const CommandRow *row = CommandTable::row(category.commands->value(name));
                QVERIFY2(row, qPrintable(*name));
                QCOMPARE(row->name, *name);
                QCOMPARE(row->category, category.name);
                QVERIFY2(row->handler, qPrintable(*name));
                QVERIFY2(!row->description.isEmpty(), qPrintable(*name));
                ++commands;
            }
        }
        QCOMPARE(CommandTable::rows().size(), commands);
        QCOMPARE(CommandTable::categories().size(), ls::CommandCategories::meta.names().size());
    }

    void commandsOfCategory_data()
    {
        addColumns<QString, QStringList>("category", "ids");

        QTest::newRow("configuration, eight commands")
                << QStringLiteral("ConfigurationCommandId")
                << QStringList({QStringLiteral("GetConfiguration"),
                                QStringLiteral("SetPaperFormat"), QStringLiteral("SetCellsPerLine"),
                                QStringLiteral("SetLinesPerPage"), QStringLiteral("SetDuplex"),
                                QStringLiteral("SetBrailleTable"), QStringLiteral("SetDotStrength"),
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
                                QStringLiteral("GetDocumentInfo"),
                                QStringLiteral("DeleteDocument")});
        QTest::newRow("emboss, six commands")
                << QStringLiteral("EmbossCommandId")
                << QStringList({QStringLiteral("StartEmbossing"), QStringLiteral("PauseEmbossing"),
                                QStringLiteral("ResumeEmbossing"),
                                QStringLiteral("CancelEmbossing"),
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

    void commandsOfCategory()
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

    void argumentRecords_data()
    {
        addColumns<QString, QString, QString>("category", "command", "signature");

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

    void argumentRecords()
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

    void unknownCategory_data()
    {
        QTest::addColumn<QString>("category");
        QTest::newRow("empty name") << QString();
        QTest::newRow("other letter case") << QStringLiteral("ipccommandid");
        QTest::newRow("command name, not a category") << QStringLiteral("Ping");
        QTest::newRow("trailing blank") << QStringLiteral("IpcCommandId ");
    }

    void unknownCategory()
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
};

QTEST_GUILESS_MAIN(CatalogueTest)
#include "tst_catalogue.moc"
