// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "CommandParser.h"
#include "Common.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDebug>
#include <QStringList>
#include <QTextCodec>

void printHelp()
{
    qDebug() << "================= Help =================";
    qDebug() << "Command line control for command-handler service";
    qDebug() << "-e [Command]    execute command";
    qDebug() << "-l    lists command categories";
    qDebug() << "-c [CommandsCategory]    lists commands for a category";
    qDebug() << "========================================" << Qt::endl;
}

int main(int argc, char *argv[])
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));

    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Tarnvik AB"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("tarnvik.se"));
    QCoreApplication::setApplicationName(QStringLiteral("command-parser"));

    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addVersionOption();

    QCommandLineOption executeCommandOption(
            QStringList{QStringLiteral("e"), QStringLiteral("executeCommand")},
            QStringLiteral("Execute command"), QStringLiteral("command"), QString());
    parser.addOption(executeCommandOption);
    QCommandLineOption argumentsOption(
            QStringList{QStringLiteral("a"), QStringLiteral("arguments")},
            QStringLiteral("Command arguments"), QStringLiteral("args"), QString());
    parser.addOption(argumentsOption);
    QCommandLineOption listCategoriesOption(
            QStringList{QStringLiteral("l"), QStringLiteral("listCategories")},
            QStringLiteral("List commands categories"), QString(), QString());
    parser.addOption(listCategoriesOption);
    QCommandLineOption listCommandsOption(
            QStringList{QStringLiteral("c"), QStringLiteral("listCommands")},
            QStringLiteral("List commands for a category"), QStringLiteral("category"), QString());
    parser.addOption(listCommandsOption);

    parser.process(app);

    // Owned by the application object, which deletes it on the way out.
    auto *commandParser = new CommandParser(&app);

    // A bad value is reported and the run goes on with 0.
    if (parser.isSet(executeCommandOption)) {
        if (parser.value(executeCommandOption).isEmpty())
            qCritical() << "ERROR:"
                        << "No command specified.";
        bool ok = false;
        const int commandId = parser.value(executeCommandOption).toInt(&ok, 10);
        if (!ok)
            qCritical() << "ERROR:"
                        << "Invalid command specified.";
        QList<QVariant> args;
        if (parser.isSet(argumentsOption)) {
            const QStringList words
                    = parser.value(argumentsOption)
                              .split(QStringLiteral(" "), Qt::KeepEmptyParts, Qt::CaseSensitive);
            for (const QString &word : words)
                args.append(QVariant(word));
        }
        commandParser->executeCommand(commandId, args);
    } else if (parser.isSet(listCategoriesOption)) {
        commandParser->listCategories();
    } else if (parser.isSet(listCommandsOption)) {
        if (parser.value(listCommandsOption).isEmpty())
            qCritical() << "ERROR:"
                        << "No category specified.";
        bool ok = false;
        const int category = parser.value(listCommandsOption).toInt(&ok, 10);
        if (!ok)
            qCritical() << "ERROR:"
                        << "Invalid category specified.";
        commandParser->listCommands(category);
    } else {
        qCritical() << "ERROR:"
                    << "No options specified.";
        printHelp();
    }

    return 0;
}
