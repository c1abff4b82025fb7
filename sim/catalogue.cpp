#include "catalogue.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QHash>
#include <QVariantMap>

namespace Catalogue {

namespace {

using Type = ArgumentType;

Argument intArgument(const QString &name, int minimum = INT_MIN, int maximum = INT_MAX)
{
    Argument a;
    a.name = name;
    a.type = Type::Int;
    a.minimum = minimum;
    a.maximum = maximum;
    return a;
}

Argument boolArgument(const QString &name)
{
    Argument a;
    a.name = name;
    a.type = Type::Bool;
    return a;
}

Argument stringArgument(const QString &name, const QStringList &choices = {})
{
    Argument a;
    a.name = name;
    a.type = Type::String;
    a.choices = choices;
    return a;
}

struct Definition
{
    QString description;
    QVector<Argument> arguments;
};

// Keyed by command number; the platform library's enums say which numbers exist.
QHash<int, Definition> definitions()
{
    using namespace ls;
    const Argument document = intArgument(QStringLiteral("document"), 1);
    return {
            {ConfigurationCommandId::GetConfiguration,
             {QStringLiteral("Show the current configuration"), {}}},
            {ConfigurationCommandId::SetPaperFormat,
             {QStringLiteral("Set the paper format (A4, Letter, Braille-11x11.5)"),
              {stringArgument(QStringLiteral("format"),
                              {QStringLiteral("A4"), QStringLiteral("Letter"),
                               QStringLiteral("Braille-11x11.5")})}}},
            {ConfigurationCommandId::SetCellsPerLine,
             {QStringLiteral("Set the braille cells per line (10 to 48)"),
              {intArgument(QStringLiteral("cells"), 10, 48)}}},
            {ConfigurationCommandId::SetLinesPerPage,
             {QStringLiteral("Set the braille lines per page (10 to 32)"),
              {intArgument(QStringLiteral("lines"), 10, 32)}}},
            {ConfigurationCommandId::SetDuplex,
             {QStringLiteral("Emboss on both sides of the sheet"),
              {boolArgument(QStringLiteral("enabled"))}}},
            {ConfigurationCommandId::SetBrailleTable,
             {QStringLiteral("Set the braille translation table (e.g. en-us-g1.ctb)"),
              {stringArgument(QStringLiteral("table"))}}},
            {ConfigurationCommandId::SetDotStrength,
             {QStringLiteral("Set the dot strength (1 to 5)"),
              {intArgument(QStringLiteral("level"), 1, 5)}}},
            {ConfigurationCommandId::ResetConfiguration,
             {QStringLiteral("Restore the factory configuration"), {}}},

            {PaperFeedCommandId::GetPaperStatus,
             {QStringLiteral("Show the paper tray and feed state"), {}}},
            {PaperFeedCommandId::LoadPaper,
             {QStringLiteral("Load sheets into the paper tray (1 to 500)"),
              {intArgument(QStringLiteral("sheets"), 1, 500)}}},
            {PaperFeedCommandId::FeedSheet,
             {QStringLiteral("Feed one sheet from the tray into position"), {}}},
            {PaperFeedCommandId::EjectSheet, {QStringLiteral("Eject the sheet in position"), {}}},
            {PaperFeedCommandId::SetFeedMode,
             {QStringLiteral("Set the feed mode (sheet, tractor)"),
              {stringArgument(QStringLiteral("mode"),
                              {QStringLiteral("sheet"), QStringLiteral("tractor")})}}},

            {DocumentCommandId::OpenDocument,
             {QStringLiteral("Open a new document for text"),
              {stringArgument(QStringLiteral("title"))}}},
            {DocumentCommandId::AddText,
             {QStringLiteral("Append text to an open document"),
              {document, stringArgument(QStringLiteral("text"))}}},
            {DocumentCommandId::CloseDocument,
             {QStringLiteral("Close a document so it can be embossed"), {document}}},
            {DocumentCommandId::ListDocuments, {QStringLiteral("List the stored documents"), {}}},
            {DocumentCommandId::GetDocumentInfo,
             {QStringLiteral("Show a document's text, braille and page count"), {document}}},
            {DocumentCommandId::DeleteDocument,
             {QStringLiteral("Delete a stored document"), {document}}},

            {EmbossCommandId::StartEmbossing,
             {QStringLiteral("Emboss copies of a closed document (1 to 100 copies)"),
              {document, intArgument(QStringLiteral("copies"), 1, 100)}}},
            {EmbossCommandId::PauseEmbossing, {QStringLiteral("Pause the running job"), {}}},
            {EmbossCommandId::ResumeEmbossing, {QStringLiteral("Resume the paused job"), {}}},
            {EmbossCommandId::CancelEmbossing, {QStringLiteral("Cancel the current job"), {}}},
            {EmbossCommandId::GetEmbossStatus,
             {QStringLiteral("Show the progress of the job"), {}}},
            {EmbossCommandId::EmbossText,
             {QStringLiteral("Emboss a line of text at once, without a document"),
              {stringArgument(QStringLiteral("text"))}}},

            {TestingCommandId::RunSelfTest, {QStringLiteral("Run the self-test and report"), {}}},
            {TestingCommandId::EmbossTestPage,
             {QStringLiteral("Emboss a test page (full-cell, grid, alphabet)"),
              {stringArgument(QStringLiteral("pattern"),
                              {QStringLiteral("full-cell"), QStringLiteral("grid"),
                               QStringLiteral("alphabet")})}}},
            {TestingCommandId::TestSensors,
             {QStringLiteral("Read the paper, cover and head sensors"), {}}},
            {TestingCommandId::GetErrorLog, {QStringLiteral("Show the error log"), {}}},
            {TestingCommandId::ClearErrorLog, {QStringLiteral("Clear the error log"), {}}},
            {TestingCommandId::InjectFault,
             {QStringLiteral("Make the next paper operation fail (paper-jam, out-of-paper, "
                             "cover-open, none)"),
              {stringArgument(QStringLiteral("fault"),
                              {QStringLiteral("paper-jam"), QStringLiteral("out-of-paper"),
                               QStringLiteral("cover-open"), QStringLiteral("none")})}}},

            {IpcCommandId::Ping, {QStringLiteral("Check that the service answers"), {}}},
            {IpcCommandId::GetServiceInfo,
             {QStringLiteral("Show the service version, uptime and requests served"), {}}},
            {IpcCommandId::Echo,
             {QStringLiteral("Answer with the given text"),
              {stringArgument(QStringLiteral("text"))}}},
            {IpcCommandId::GetDeviceState,
             {QStringLiteral("Show a summary of the device state"), {}}},
    };
}

const QString categoryDescription(const QString &category)
{
    using namespace ls::CommandCategories;
    if (category == ConfigurationCommandId)
        return QStringLiteral("Configuration");
    if (category == PaperFeedCommandId)
        return QStringLiteral("Paper feed");
    if (category == DocumentCommandId)
        return QStringLiteral("Document");
    if (category == EmbossCommandId)
        return QStringLiteral("Emboss");
    if (category == TestingCommandId)
        return QStringLiteral("Testing");
    if (category == IpcCommandId)
        return QStringLiteral("Inter-process communication");
    return QString();
}

const ls::MetaEnum *commandMeta(const QString &category)
{
    using namespace ls;
    if (category == CommandCategories::ConfigurationCommandId)
        return &ConfigurationCommandId::meta;
    if (category == CommandCategories::PaperFeedCommandId)
        return &PaperFeedCommandId::meta;
    if (category == CommandCategories::DocumentCommandId)
        return &DocumentCommandId::meta;
    if (category == CommandCategories::EmbossCommandId)
        return &EmbossCommandId::meta;
    if (category == CommandCategories::TestingCommandId)
        return &TestingCommandId::meta;
    if (category == CommandCategories::IpcCommandId)
        return &IpcCommandId::meta;
    return nullptr;
}

struct Table
{
    QHash<int, Command> commands;
    // Per category, the numbers in enum order.
    QHash<QString, QVector<int>> order;
};

Table buildTable()
{
    Table table;
    const QHash<int, Definition> defs = definitions();
    for (const QString *category : ls::CommandCategories::meta.names()) {
        const ls::MetaEnum *meta = commandMeta(*category);
        if (!meta)
            continue;
        for (const QString *name : meta->names()) {
            Command c;
            c.id = meta->value(name);
            c.name = *name;
            c.category = *category;
            const Definition def = defs.value(c.id);
            c.description = def.description;
            c.arguments = def.arguments;
            table.commands.insert(c.id, c);
            table.order[*category].append(c.id);
        }
    }
    return table;
}

const Table &table()
{
    static const Table t = buildTable();
    return t;
}

QVariantMap commandEntry(const Command &c)
{
    QVariantList records;
    for (const Argument &a : c.arguments) {
        records.append(QVariantMap{{ls::argumentNameKey, a.name},
                                   {ls::argumentTypeKey, typeName(a.type)}});
    }
    return {{ls::idKey, c.name},
            {ls::descriptionKey, c.description},
            {ls::argumentCountKey, int(c.arguments.size())},
            {ls::argumentTypesKey, records}};
}

} // namespace

QString typeName(ArgumentType type)
{
    switch (type) {
    case ArgumentType::Int:
        return QStringLiteral("int");
    case ArgumentType::Bool:
        return QStringLiteral("bool");
    case ArgumentType::String:
        break;
    }
    return QStringLiteral("string");
}

const Command *command(int id)
{
    const auto &commands = table().commands;
    const auto it = commands.constFind(id);
    return it == commands.constEnd() ? nullptr : &it.value();
}

QVariantList categoryEntries()
{
    QVariantList entries;
    for (const QString *category : ls::CommandCategories::meta.names()) {
        entries.append(QVariantMap{{ls::idKey, *category},
                                   {ls::descriptionKey, categoryDescription(*category)}});
    }
    return entries;
}

QVariantList commandEntries(const QString &category, bool *known)
{
    const auto &order = table().order;
    const auto it = order.constFind(category);
    *known = it != order.constEnd();
    QVariantList entries;
    if (!*known)
        return entries;
    for (int id : it.value())
        entries.append(commandEntry(*command(id)));
    return entries;
}

} // namespace Catalogue
