// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"

namespace {
const QString displayFunction = QStringLiteral("CommandParser::display");
const QString descriptionFunction = QStringLiteral("CommandParser::getDescription");
const QString signatureFunction = QStringLiteral("CommandParser::getArgumentsList");
} // namespace

QList<Enumerator> categoryEnumerators()
{
    return {{1, QStringLiteral("ConfigurationCommandId")},
            {2, QStringLiteral("PaperFeedCommandId")},
            {3, QStringLiteral("DocumentCommandId")},
            {4, QStringLiteral("EmbossCommandId")},
            {5, QStringLiteral("TestingCommandId")},
            {6, QStringLiteral("IpcCommandId")}};
}

QList<Enumerator> commandEnumerators(int category)
{
    switch (category) {
    case 1:
        return {{101, QStringLiteral("GetConfiguration")},
                {102, QStringLiteral("SetPaperFormat")},
                {103, QStringLiteral("SetCellsPerLine")},
                {104, QStringLiteral("SetLinesPerPage")},
                {105, QStringLiteral("SetDuplex")},
                {106, QStringLiteral("SetBrailleTable")},
                {107, QStringLiteral("SetDotStrength")},
                {108, QStringLiteral("ResetConfiguration")}};
    case 2:
        return {{201, QStringLiteral("GetPaperStatus")},
                {202, QStringLiteral("LoadPaper")},
                {203, QStringLiteral("FeedSheet")},
                {204, QStringLiteral("EjectSheet")},
                {205, QStringLiteral("SetFeedMode")}};
    case 3:
        return {{301, QStringLiteral("OpenDocument")},    {302, QStringLiteral("AddText")},
                {303, QStringLiteral("CloseDocument")},   {304, QStringLiteral("ListDocuments")},
                {305, QStringLiteral("GetDocumentInfo")}, {306, QStringLiteral("DeleteDocument")}};
    case 4:
        return {{401, QStringLiteral("StartEmbossing")},  {402, QStringLiteral("PauseEmbossing")},
                {403, QStringLiteral("ResumeEmbossing")}, {404, QStringLiteral("CancelEmbossing")},
                {405, QStringLiteral("GetEmbossStatus")}, {406, QStringLiteral("EmbossText")}};
    case 5:
        return {{501, QStringLiteral("RunSelfTest")},   {502, QStringLiteral("EmbossTestPage")},
                {503, QStringLiteral("TestSensors")},   {504, QStringLiteral("GetErrorLog")},
                {505, QStringLiteral("ClearErrorLog")}, {506, QStringLiteral("InjectFault")}};
    case 6:
        return {{601, QStringLiteral("Ping")},
                {602, QStringLiteral("GetServiceInfo")},
                {603, QStringLiteral("Echo")},
                {604, QStringLiteral("GetDeviceState")}};
    }
    return {};
}

QString categoryName(int category)
{
    for (const Enumerator &enumerator : categoryEnumerators()) {
        if (enumerator.value == category)
            return enumerator.name;
    }
    return QString();
}

LogMessage listedLine(int value, const QString &description, const QString &signature)
{
    return debugMessage(displayFunction, QString::number(value) + QStringLiteral(" \t ")
                                                 + description + QLatin1Char(' ') + signature);
}

LogMessages unlistedEntry(const Enumerator &enumerator)
{
    const QString missing = QStringLiteral(" ERROR: Parameter \"") + enumerator.name
                            + QStringLiteral("\" not found!");
    return {criticalMessage(descriptionFunction, descriptionFunction + missing),
            criticalMessage(signatureFunction, signatureFunction + missing),
            listedLine(enumerator.value, QString())};
}

LogMessages unlistedEntries(const QList<Enumerator> &enumerators)
{
    LogMessages messages;
    for (const Enumerator &enumerator : enumerators)
        messages += unlistedEntry(enumerator);
    return messages;
}

LogMessages helpScreen()
{
    const QString function = QStringLiteral("printHelp");
    return {debugMessage(function, QStringLiteral("================= Help =================")),
            debugMessage(function,
                         QStringLiteral("Command line control for command-handler service")),
            debugMessage(function, QStringLiteral("-e [Command]    execute command")),
            debugMessage(function, QStringLiteral("-l    lists command categories")),
            debugMessage(function,
                         QStringLiteral("-c [CommandsCategory]    lists commands for a category")),
            // The rule is followed by the stream's blank and then by endl's line break.
            debugMessage(function, QStringLiteral("======================================== \n"))};
}

LogMessages noOptions()
{
    return LogMessages{criticalMessage(QStringLiteral("main"),
                                       QStringLiteral("ERROR: No options specified."))}
           + helpScreen();
}

LogMessage resultLine(const QString &key, const QString &value)
{
    return debugMessage(QStringLiteral("CommandParser::executeCommand"),
                        key + QStringLiteral(" \t ") + value);
}

LogMessage unknownCommand(int command)
{
    return debugMessage(QStringLiteral("CommandHandler::executeCommand"),
                        QStringLiteral("\nCommand %1 not found!").arg(command));
}

LogMessage unknownCategory(int category)
{
    return criticalMessage(
            QStringLiteral("CommandParser::listCommands"),
            QStringLiteral("CommandParser::listCommands ERROR: Category %1 not found!")
                    .arg(category));
}
