// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "Common.h"
#include "datatable.h"

#include <QTest>

#include <string>

class TestLogPrefix : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void prefix_data()
    {
        addColumns<QString, QString, QString, QString>("name", "signature", "tag", "expected");

        QTest::newRow("getArgumentsList") << "getArgumentsList"
                                          << "const QString CommandParser::getArgumentsList(const "
                                             "EnumKey&, const QVariantMap&) "
                                             "const"
                                          << "ERROR:"
                                          << "CommandParser::getArgumentsList ERROR:";
        QTest::newRow("getDescription") << "getDescription"
                                        << "const QString CommandParser::getDescription(const "
                                           "EnumKey&, const QVariantMap&) "
                                           "const"
                                        << "ERROR:"
                                        << "CommandParser::getDescription ERROR:";
        QTest::newRow("listCommands") << "listCommands"
                                      << "void CommandParser::listCommands(int) const"
                                      << "ERROR:"
                                      << "CommandParser::listCommands ERROR:";
        QTest::newRow("getCommandCategories")
                << "getCommandCategories"
                << "const QVariantList CommandHandler::getCommandCategories() const"
                << "ERROR:"
                << "CommandHandler::getCommandCategories ERROR:";
        QTest::newRow("getCommands")
                << "getCommands"
                << "const QVariantList CommandHandler::getCommands(const QString&) "
                   "const"
                << "ERROR:"
                << "CommandHandler::getCommands ERROR:";
        QTest::newRow("executeCommand with FAILED! tag")
                << "executeCommand"
                << "const QVariantMap CommandHandler::executeCommand(int, const QList<QVariant>&) "
                   "const"
                << "FAILED!"
                << "CommandHandler::executeCommand FAILED!";
        QTest::newRow("constructor: no return type, name at position 0")
                << "CommandHandler"
                << "CommandHandler::CommandHandler(QObject*)"
                << "ERROR:"
                << "CommandHandler::CommandHandler ERROR:";
        QTest::newRow("name also in the return type: first occurrence wins")
                << "Map"
                << "const QVariantMap CommandHandler::Map(int) const"
                << "ERROR:"
                << "QVariantMap CommandHandler::Map ERROR:";
        QTest::newRow("name also in a parameter type after the name")
                << "getCommands"
                << "void A::getCommands(getCommands*) const"
                << "ERROR:"
                << "A::getCommands ERROR:";
        QTest::newRow("no parenthesis after the name: runs to the end") << "value"
                                                                        << "int A::value"
                                                                        << "ERROR:"
                                                                        << "A::value ERROR:";
        QTest::newRow("free function") << "printHelp"
                                       << "void printHelp()"
                                       << "ERROR:"
                                       << "printHelp ERROR:";
        QTest::newRow("empty tag keeps the blank") << "listCommands"
                                                   << "void CommandParser::listCommands(int) const"
                                                   << ""
                                                   << "CommandParser::listCommands ";
    }

    void prefix()
    {
        QFETCH(QString, name);
        QFETCH(QString, signature);
        QFETCH(QString, tag);
        QFETCH(QString, expected);

        const std::string result
                = logPrefix(name.toStdString(), signature.toStdString(), tag.toStdString());
        QCOMPARE(QString::fromStdString(result), expected);
    }

    void prefixOfThisFunction()
    {
        // What the compiler gives inside a member function is what the tool's classes pass.
        QCOMPARE(QString::fromStdString(logPrefix(__FUNCTION__, Q_FUNC_INFO, "ERROR:")),
                 QStringLiteral("TestLogPrefix::prefixOfThisFunction ERROR:"));
    }

    void undefinedIdText() { QCOMPARE(undefinedId, QStringLiteral("Undefined")); }
};

QTEST_APPLESS_MAIN(TestLogPrefix)

#include "tst_logprefix.moc"
