#include <ls/commandids.h>

#include <QByteArray>

#include <cstdio>
#include <cstdlib>
#include <limits>

// The catalogue of a test build of the platform library: the same symbols as the device's, with
// their data chosen when the library is loaded, by LS_TEST_CATALOGUE, so that the tool can be run
// on catalogue shapes the device's own never takes. Unset or empty, it is the device's catalogue.
//
//   nocategories  a category enum without enumerators
//   spare         the six categories and SpareCommandId = 7, which has no command enum
//   shared        PaperFeedCommandId = 1 like ConfigurationCommandId; Echo = 601 like Ping
//   minimum       PaperFeedCommandId and TestingCommandId missing, MinimumCommandId = -2147483648
//   zero          ConfigurationCommandId = 0
//   order         categories declared as 3, 1, 2, 6, 4, 5; commands as 603, 601, 604, 602
//   nocommands    EmbossCommandId's command enum without enumerators
//
// As in the device's catalogue, each enum's names lie in one array, so each meta iterates in
// declaration order, and a category name that the category enum has is the very string its meta
// points to.
namespace ls {

namespace {
constexpr int minimum = std::numeric_limits<int>::min();

const QString categoryNames[] = {
        QStringLiteral("ConfigurationCommandId"), QStringLiteral("PaperFeedCommandId"),
        QStringLiteral("DocumentCommandId"),      QStringLiteral("EmbossCommandId"),
        QStringLiteral("TestingCommandId"),       QStringLiteral("IpcCommandId"),
};

const QString spareCategoryNames[] = {
        QStringLiteral("ConfigurationCommandId"), QStringLiteral("PaperFeedCommandId"),
        QStringLiteral("DocumentCommandId"),      QStringLiteral("EmbossCommandId"),
        QStringLiteral("TestingCommandId"),       QStringLiteral("IpcCommandId"),
        QStringLiteral("SpareCommandId"),
};

const QString minimumCategoryNames[] = {
        QStringLiteral("ConfigurationCommandId"), QStringLiteral("DocumentCommandId"),
        QStringLiteral("EmbossCommandId"),        QStringLiteral("IpcCommandId"),
        QStringLiteral("MinimumCommandId"),
};
// The names that the minimum category enum lacks.
const QString missingCategoryNames[] = {
        QStringLiteral("PaperFeedCommandId"),
        QStringLiteral("TestingCommandId"),
};

const QString orderCategoryNames[] = {
        QStringLiteral("DocumentCommandId"),  QStringLiteral("ConfigurationCommandId"),
        QStringLiteral("PaperFeedCommandId"), QStringLiteral("IpcCommandId"),
        QStringLiteral("EmbossCommandId"),    QStringLiteral("TestingCommandId"),
};

const QString configurationNames[] = {
        QStringLiteral("GetConfiguration"), QStringLiteral("SetPaperFormat"),
        QStringLiteral("SetCellsPerLine"),  QStringLiteral("SetLinesPerPage"),
        QStringLiteral("SetDuplex"),        QStringLiteral("SetBrailleTable"),
        QStringLiteral("SetDotStrength"),   QStringLiteral("ResetConfiguration"),
};

const QString paperFeedNames[] = {
        QStringLiteral("GetPaperStatus"), QStringLiteral("LoadPaper"),
        QStringLiteral("FeedSheet"),      QStringLiteral("EjectSheet"),
        QStringLiteral("SetFeedMode"),
};

const QString documentNames[] = {
        QStringLiteral("OpenDocument"),    QStringLiteral("AddText"),
        QStringLiteral("CloseDocument"),   QStringLiteral("ListDocuments"),
        QStringLiteral("GetDocumentInfo"), QStringLiteral("DeleteDocument"),
};

const QString embossNames[] = {
        QStringLiteral("StartEmbossing"),  QStringLiteral("PauseEmbossing"),
        QStringLiteral("ResumeEmbossing"), QStringLiteral("CancelEmbossing"),
        QStringLiteral("GetEmbossStatus"), QStringLiteral("EmbossText"),
};

const QString testingNames[] = {
        QStringLiteral("RunSelfTest"),   QStringLiteral("EmbossTestPage"),
        QStringLiteral("TestSensors"),   QStringLiteral("GetErrorLog"),
        QStringLiteral("ClearErrorLog"), QStringLiteral("InjectFault"),
};

const QString ipcNames[] = {
        QStringLiteral("Ping"),
        QStringLiteral("GetServiceInfo"),
        QStringLiteral("Echo"),
        QStringLiteral("GetDeviceState"),
};

const QString orderIpcNames[] = {
        QStringLiteral("Echo"),
        QStringLiteral("Ping"),
        QStringLiteral("GetDeviceState"),
        QStringLiteral("GetServiceInfo"),
};

// The six category names, in the header's order, and the seven metas.
struct Catalogue
{
    const QString *configuration = &categoryNames[0];
    const QString *paperFeed = &categoryNames[1];
    const QString *document = &categoryNames[2];
    const QString *emboss = &categoryNames[3];
    const QString *testing = &categoryNames[4];
    const QString *ipc = &categoryNames[5];
    MetaEnum categories{categoryNames, {1, 2, 3, 4, 5, 6}};
    MetaEnum configurationCommands{configurationNames, {101, 102, 103, 104, 105, 106, 107, 108}};
    MetaEnum paperFeedCommands{paperFeedNames, {201, 202, 203, 204, 205}};
    MetaEnum documentCommands{documentNames, {301, 302, 303, 304, 305, 306}};
    MetaEnum embossCommands{embossNames, {401, 402, 403, 404, 405, 406}};
    MetaEnum testingCommands{testingNames, {501, 502, 503, 504, 505, 506}};
    MetaEnum ipcCommands{ipcNames, {601, 602, 603, 604}};
};

Catalogue load()
{
    const QByteArray shape = qgetenv("LS_TEST_CATALOGUE");
    Catalogue catalogue;
    if (shape.isEmpty())
        return catalogue;
    if (shape == "nocategories") {
        catalogue.categories = MetaEnum();
    } else if (shape == "spare") {
        catalogue.configuration = &spareCategoryNames[0];
        catalogue.paperFeed = &spareCategoryNames[1];
        catalogue.document = &spareCategoryNames[2];
        catalogue.emboss = &spareCategoryNames[3];
        catalogue.testing = &spareCategoryNames[4];
        catalogue.ipc = &spareCategoryNames[5];
        catalogue.categories = MetaEnum(spareCategoryNames, {1, 2, 3, 4, 5, 6, 7});
    } else if (shape == "shared") {
        catalogue.categories = MetaEnum(categoryNames, {1, 1, 3, 4, 5, 6});
        catalogue.ipcCommands = MetaEnum(ipcNames, {601, 602, 601, 604});
    } else if (shape == "minimum") {
        catalogue.configuration = &minimumCategoryNames[0];
        catalogue.paperFeed = &missingCategoryNames[0];
        catalogue.document = &minimumCategoryNames[1];
        catalogue.emboss = &minimumCategoryNames[2];
        catalogue.testing = &missingCategoryNames[1];
        catalogue.ipc = &minimumCategoryNames[3];
        catalogue.categories = MetaEnum(minimumCategoryNames, {1, 3, 4, 6, minimum});
    } else if (shape == "zero") {
        catalogue.categories = MetaEnum(categoryNames, {0, 2, 3, 4, 5, 6});
    } else if (shape == "order") {
        catalogue.document = &orderCategoryNames[0];
        catalogue.configuration = &orderCategoryNames[1];
        catalogue.paperFeed = &orderCategoryNames[2];
        catalogue.ipc = &orderCategoryNames[3];
        catalogue.emboss = &orderCategoryNames[4];
        catalogue.testing = &orderCategoryNames[5];
        catalogue.categories = MetaEnum(orderCategoryNames, {3, 1, 2, 6, 4, 5});
        catalogue.ipcCommands = MetaEnum(orderIpcNames, {603, 601, 604, 602});
    } else if (shape == "nocommands") {
        catalogue.embossCommands = MetaEnum();
    } else {
        // A mistyped shape must not pass for the device's catalogue.
        std::fprintf(stderr, "LS_TEST_CATALOGUE: no catalogue named \"%s\"\n", shape.constData());
        std::exit(2);
    }
    return catalogue;
}

const Catalogue catalogue = load();
} // namespace

const QString &CommandCategories::ConfigurationCommandId = *catalogue.configuration;
const QString &CommandCategories::PaperFeedCommandId = *catalogue.paperFeed;
const QString &CommandCategories::DocumentCommandId = *catalogue.document;
const QString &CommandCategories::EmbossCommandId = *catalogue.emboss;
const QString &CommandCategories::TestingCommandId = *catalogue.testing;
const QString &CommandCategories::IpcCommandId = *catalogue.ipc;
const MetaEnum CommandCategories::meta = catalogue.categories;

const MetaEnum ConfigurationCommandId::meta = catalogue.configurationCommands;
const MetaEnum PaperFeedCommandId::meta = catalogue.paperFeedCommands;
const MetaEnum DocumentCommandId::meta = catalogue.documentCommands;
const MetaEnum EmbossCommandId::meta = catalogue.embossCommands;
const MetaEnum TestingCommandId::meta = catalogue.testingCommands;
const MetaEnum IpcCommandId::meta = catalogue.ipcCommands;

} // namespace ls
