// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "commandtable.h"

#include "rules/rules.h"

#include <ls/commandids.h>

#include <QHash>

// The handlers of the rows below; each category's file in sim/commands/ defines its own.
namespace ConfigurationCommands {
CommandHandler getConfiguration, setPaperFormat, setCellsPerLine, setLinesPerPage, setDuplex,
        setBrailleTable, setDotStrength, resetConfiguration;
}
namespace PaperFeedCommands {
CommandHandler getPaperStatus, loadPaper, feedSheet, ejectSheet, setFeedMode;
}
namespace DocumentCommands {
CommandHandler openDocument, addText, closeDocument, listDocuments, getDocumentInfo, deleteDocument;
}
namespace EmbossCommands {
CommandHandler startEmbossing, pauseEmbossing, resumeEmbossing, cancelEmbossing, getEmbossStatus,
        embossText;
}
namespace TestingCommands {
CommandHandler runSelfTest, embossTestPage, testSensors, getErrorLog, clearErrorLog, injectFault;
}
namespace IpcCommands {
CommandHandler ping, getServiceInfo, echo, getDeviceState;
}

namespace {

QVector<CategoryRow> categoryRows()
{
    using namespace ls;
    return {
            {CommandCategories::ConfigurationCommandId, &ConfigurationCommandId::meta,
             QStringLiteral("Configuration")},
            {CommandCategories::PaperFeedCommandId, &PaperFeedCommandId::meta,
             QStringLiteral("Paper feed")},
            {CommandCategories::DocumentCommandId, &DocumentCommandId::meta,
             QStringLiteral("Document")},
            {CommandCategories::EmbossCommandId, &EmbossCommandId::meta, QStringLiteral("Emboss")},
            {CommandCategories::TestingCommandId, &TestingCommandId::meta,
             QStringLiteral("Testing")},
            {CommandCategories::IpcCommandId, &IpcCommandId::meta,
             QStringLiteral("Inter-process communication")},
    };
}

// One row a command, in catalogue order. A description that names what an argument takes reads
// it from the argument's rule.
QVector<CommandRow> commandRows()
{
    using namespace ls;
    using A = ArgumentRule;
    const Effect looks = Effect::LooksOnly;
    const Effect changes = Effect::ChangesState;

    const A format = A::text(QStringLiteral("format"), Rules::paperFormats());
    const A cells = A::integer(QStringLiteral("cells"), Rules::cellsPerLine);
    const A lines = A::integer(QStringLiteral("lines"), Rules::linesPerPage);
    const A level = A::integer(QStringLiteral("level"), Rules::dotStrength);
    const A sheets = A::integer(QStringLiteral("sheets"), Rules::sheetsPerLoad);
    const A mode = A::text(QStringLiteral("mode"), Rules::feedModes());
    const A document = A::integer(QStringLiteral("document"), Rules::documentIds);
    const A text = A::text(QStringLiteral("text"));
    const A copies = A::integer(QStringLiteral("copies"), Rules::copies);
    const A pattern = A::text(QStringLiteral("pattern"), Rules::testPatterns());
    const A fault = A::text(QStringLiteral("fault"), Rules::faults());
    const auto values = [](const QString &description, const A &argument) {
        return description.arg(argument.valuesText());
    };

    namespace C = ConfigurationCommands;
    namespace P = PaperFeedCommands;
    namespace D = DocumentCommands;
    namespace E = EmbossCommands;
    namespace T = TestingCommands;
    namespace I = IpcCommands;
    return {
            {ConfigurationCommandId::GetConfiguration,
             C::getConfiguration,
             looks,
             QStringLiteral("Show the current configuration"),
             {}},
            {ConfigurationCommandId::SetPaperFormat,
             C::setPaperFormat,
             changes,
             values(QStringLiteral("Set the paper format (%1)"), format),
             {format}},
            {ConfigurationCommandId::SetCellsPerLine,
             C::setCellsPerLine,
             changes,
             values(QStringLiteral("Set the braille cells per line (%1)"), cells),
             {cells}},
            {ConfigurationCommandId::SetLinesPerPage,
             C::setLinesPerPage,
             changes,
             values(QStringLiteral("Set the braille lines per page (%1)"), lines),
             {lines}},
            {ConfigurationCommandId::SetDuplex,
             C::setDuplex,
             changes,
             QStringLiteral("Emboss on both sides of the sheet"),
             {A::boolean(QStringLiteral("enabled"))}},
            {ConfigurationCommandId::SetBrailleTable,
             C::setBrailleTable,
             changes,
             QStringLiteral("Set the braille translation table (e.g. %1)")
                     .arg(Rules::factoryBrailleTable()),
             {A::text(QStringLiteral("table"))}},
            {ConfigurationCommandId::SetDotStrength,
             C::setDotStrength,
             changes,
             values(QStringLiteral("Set the dot strength (%1)"), level),
             {level}},
            {ConfigurationCommandId::ResetConfiguration,
             C::resetConfiguration,
             changes,
             QStringLiteral("Restore the factory configuration"),
             {}},

            {PaperFeedCommandId::GetPaperStatus,
             P::getPaperStatus,
             looks,
             QStringLiteral("Show the paper tray and feed state"),
             {}},
            {PaperFeedCommandId::LoadPaper,
             P::loadPaper,
             changes,
             values(QStringLiteral("Load sheets into the paper tray (%1)"), sheets),
             {sheets}},
            {PaperFeedCommandId::FeedSheet,
             P::feedSheet,
             changes,
             QStringLiteral("Feed one sheet from the tray into position"),
             {}},
            {PaperFeedCommandId::EjectSheet,
             P::ejectSheet,
             changes,
             QStringLiteral("Eject the sheet in position"),
             {}},
            {PaperFeedCommandId::SetFeedMode,
             P::setFeedMode,
             changes,
             values(QStringLiteral("Set the feed mode (%1)"), mode),
             {mode}},

            {DocumentCommandId::OpenDocument,
             D::openDocument,
             changes,
             QStringLiteral("Open a new document for text"),
             {A::text(QStringLiteral("title"))}},
            {DocumentCommandId::AddText,
             D::addText,
             changes,
             QStringLiteral("Append text to an open document"),
             {document, text}},
            {DocumentCommandId::CloseDocument,
             D::closeDocument,
             changes,
             QStringLiteral("Close a document so it can be embossed"),
             {document}},
            {DocumentCommandId::ListDocuments,
             D::listDocuments,
             looks,
             QStringLiteral("List the stored documents"),
             {}},
            {DocumentCommandId::GetDocumentInfo,
             D::getDocumentInfo,
             looks,
             QStringLiteral("Show a document's text, braille and page count"),
             {document}},
            {DocumentCommandId::DeleteDocument,
             D::deleteDocument,
             changes,
             QStringLiteral("Delete a stored document"),
             {document}},

            {EmbossCommandId::StartEmbossing,
             E::startEmbossing,
             changes,
             values(QStringLiteral("Emboss copies of a closed document (%1 copies)"), copies),
             {document, copies}},
            {EmbossCommandId::PauseEmbossing,
             E::pauseEmbossing,
             changes,
             QStringLiteral("Pause the running job"),
             {}},
            {EmbossCommandId::ResumeEmbossing,
             E::resumeEmbossing,
             changes,
             QStringLiteral("Resume the paused job"),
             {}},
            {EmbossCommandId::CancelEmbossing,
             E::cancelEmbossing,
             changes,
             QStringLiteral("Cancel the current job"),
             {}},
            {EmbossCommandId::GetEmbossStatus,
             E::getEmbossStatus,
             looks,
             QStringLiteral("Show the progress of the job"),
             {}},
            {EmbossCommandId::EmbossText,
             E::embossText,
             changes,
             QStringLiteral("Emboss a line of text at once, without a document"),
             {text}},

            {TestingCommandId::RunSelfTest,
             T::runSelfTest,
             looks,
             QStringLiteral("Run the self-test and report"),
             {}},
            {TestingCommandId::EmbossTestPage,
             T::embossTestPage,
             changes,
             values(QStringLiteral("Emboss a test page (%1)"), pattern),
             {pattern}},
            {TestingCommandId::TestSensors,
             T::testSensors,
             looks,
             QStringLiteral("Read the paper, cover and head sensors"),
             {}},
            {TestingCommandId::GetErrorLog,
             T::getErrorLog,
             looks,
             QStringLiteral("Show the error log"),
             {}},
            {TestingCommandId::ClearErrorLog,
             T::clearErrorLog,
             changes,
             QStringLiteral("Clear the error log"),
             {}},
            {TestingCommandId::InjectFault,
             T::injectFault,
             changes,
             values(QStringLiteral("Make the next paper operation fail (%1)"), fault),
             {fault}},

            {IpcCommandId::Ping,
             I::ping,
             looks,
             QStringLiteral("Check that the service answers"),
             {}},
            {IpcCommandId::GetServiceInfo,
             I::getServiceInfo,
             looks,
             QStringLiteral("Show the service version, uptime and requests served"),
             {}},
            {IpcCommandId::Echo,
             I::echo,
             looks,
             QStringLiteral("Answer with the given text"),
             {text}},
            {IpcCommandId::GetDeviceState,
             I::getDeviceState,
             looks,
             QStringLiteral("Show a summary of the device state"),
             {}},
    };
}

struct Table
{
    QVector<CategoryRow> categories = categoryRows();
    QVector<CommandRow> rows = commandRows();
    // Row index by command number.
    QHash<int, int> index;

    Table()
    {
        for (int i = 0; i < rows.size(); ++i)
            index.insert(rows.at(i).number, i);
        for (const CategoryRow &category : qAsConst(categories)) {
            for (const QString *name : category.commands->names()) {
                const auto it = index.constFind(category.commands->value(name));
                if (it == index.constEnd())
                    continue;
                rows[it.value()].name = *name;
                rows[it.value()].category = category.name;
            }
        }
    }
};

const Table &table()
{
    static const Table t;
    return t;
}

} // namespace

namespace CommandTable {

const CommandRow *row(int number)
{
    const Table &t = table();
    const auto it = t.index.constFind(number);
    return it == t.index.constEnd() ? nullptr : &t.rows.at(it.value());
}

const QVector<CommandRow> &rows()
{
    return table().rows;
}

const QVector<CategoryRow> &categories()
{
    return table().categories;
}

} // namespace CommandTable
