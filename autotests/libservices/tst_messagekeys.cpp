// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QSet>
#include <QTest>

namespace {

struct Constant
{
    const char *symbol;
    const QString *value;
    QString text;
};

// Every key and id of the wire contract with the text a peer must spell exactly so.
const QList<Constant> &constants()
{
    static const QList<Constant> all{
            {"senderIdKey", &ls::senderIdKey, QStringLiteral("senderId")},
            {"commandIdKey", &ls::commandIdKey, QStringLiteral("commandId")},
            {"subCommandIdKey", &ls::subCommandIdKey, QStringLiteral("subCommandId")},
            {"argsKey", &ls::argsKey, QStringLiteral("args")},
            {"categoryKey", &ls::categoryKey, QStringLiteral("category")},
            {"resultIdKey", &ls::resultIdKey, QStringLiteral("resultId")},
            {"errorIdKey", &ls::errorIdKey, QStringLiteral("errorId")},
            {"errorMessageKey", &ls::errorMessageKey, QStringLiteral("errorMessage")},
            {"detailsMapKey", &ls::detailsMapKey, QStringLiteral("details")},
            {"commandCategoriesKey", &ls::commandCategoriesKey,
             QStringLiteral("commandCategories")},
            {"commandsKey", &ls::commandsKey, QStringLiteral("commands")},
            {"idKey", &ls::idKey, QStringLiteral("id")},
            {"descriptionKey", &ls::descriptionKey, QStringLiteral("description")},
            {"argumentCountKey", &ls::argumentCountKey, QStringLiteral("argumentCount")},
            {"argumentTypesKey", &ls::argumentTypesKey, QStringLiteral("argumentTypes")},
            {"argumentNameKey", &ls::argumentNameKey, QStringLiteral("name")},
            {"argumentTypeKey", &ls::argumentTypeKey, QStringLiteral("type")},
            {"ServiceId::CommandHandler", &ls::ServiceId::CommandHandler,
             QStringLiteral("CommandHandler")},
            {"ResultId::Success", &ls::ResultId::Success, QStringLiteral("Success")},
            {"ResultId::Failure", &ls::ResultId::Failure, QStringLiteral("Failure")},
            {"ErrorId::NoError", &ls::ErrorId::NoError, QStringLiteral("NoError")},
            {"CommandHandlerCmdId::GetCommandCategories",
             &ls::CommandHandlerCmdId::GetCommandCategories,
             QStringLiteral("GetCommandCategories")},
            {"CommandHandlerCmdId::GetCommands", &ls::CommandHandlerCmdId::GetCommands,
             QStringLiteral("GetCommands")},
            {"CommandHandlerCmdId::HandleCommand", &ls::CommandHandlerCmdId::HandleCommand,
             QStringLiteral("HandleCommand")},
    };
    return all;
}

} // namespace

Q_DECLARE_METATYPE(const QString *)

class TestMessageKeys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void text_data()
    {
        addColumns<const QString *, QString>("value", "text");

        for (const Constant &constant : constants())
            QTest::newRow(constant.symbol) << constant.value << constant.text;
        QTest::newRow("serviceInterface")
                << &ls::serviceInterface << QStringLiteral("se.tarnvik.Service1");
        QTest::newRow("processMethod") << &ls::processMethod << QStringLiteral("Process");
    }

    void text()
    {
        QFETCH(const QString *, value);
        QFETCH(QString, text);

        QCOMPARE(*value, text);
    }

    void allDistinct()
    {
        QSet<QString> texts;
        QSet<const QString *> objects;
        for (const Constant &constant : constants()) {
            QVERIFY2(!texts.contains(*constant.value), constant.symbol);
            texts.insert(*constant.value);
            objects.insert(constant.value);
        }
        QCOMPARE(texts.size(), 24);
        QCOMPARE(objects.size(), 24);
    }

    void busNames_data()
    {
        addColumns<QString, QString, QString>("serviceId", "busName", "objectPath");

        QTest::newRow("command handler")
                << ls::ServiceId::CommandHandler << QStringLiteral("se.tarnvik.CommandHandler")
                << QStringLiteral("/se/tarnvik/CommandHandler");
        QTest::newRow("any other id")
                << QStringLiteral("Other") << QStringLiteral("se.tarnvik.Other")
                << QStringLiteral("/se/tarnvik/Other");
    }

    void busNames()
    {
        QFETCH(QString, serviceId);
        QFETCH(QString, busName);
        QFETCH(QString, objectPath);

        QCOMPARE(ls::busName(serviceId), busName);
        QCOMPARE(ls::objectPath(serviceId), objectPath);
    }
};

QTEST_GUILESS_MAIN(TestMessageKeys)

#include "tst_messagekeys.moc"
