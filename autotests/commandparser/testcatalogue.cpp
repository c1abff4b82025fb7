// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/commandids.h>

#include <QByteArray>

#include <cstdio>
#include <cstdlib>
#include <limits>

// The catalogue of a test build of the platform library: the same symbols as the device's, with
// data of its own, chosen when the library is loaded by LS_TEST_CATALOGUE, so that the tool can be
// run on catalogue shapes the device's own never takes. It is a fixture, not the device's
// catalogue: only the six category names are the header's; each command enum holds just the few
// made-up commands the tests list. The variable must name one of:
//
//   base          categories 1 to 6; commands 11, 12 | 21, 22 | 31 | 41 | 51 | 601, 602, 603, 604
//   nocategories  a category enum without enumerators
//   spare         the six categories and SpareCommandId = 7, which has no command enum
//   shared        PaperFeedCommandId = 1 like ConfigurationCommandId; Echo = 601 like Ping
//   minimum       PaperFeedCommandId and TestingCommandId missing, MinimumCommandId = -2147483648
//   zero          ConfigurationCommandId = 0
//   order         categories declared as 3, 1, 2, 6, 4, 5; commands as 603, 601, 604, 602
//   nocommands    EmbossCommandId's command enum without enumerators
//
// Every shape but base is base with the change named. As in the device's catalogue, each enum's
// names lie in one array, so each meta iterates in declaration order, and a category name that the
// category enum has is the very string its meta points to.
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
        QStringLiteral("TestConfigurationOne"),
        QStringLiteral("TestConfigurationTwo"),
};

const QString paperFeedNames[] = {
        QStringLiteral("TestPaperFeedOne"),
        QStringLiteral("TestPaperFeedTwo"),
};

const QString documentNames[] = {QStringLiteral("TestDocumentOne")};

const QString embossNames[] = {QStringLiteral("TestEmbossOne")};

const QString testingNames[] = {QStringLiteral("TestTestingOne")};

// Ping and Echo are the commands whose values the shared shape makes equal.
const QString ipcNames[] = {
        QStringLiteral("Ping"),
        QStringLiteral("TestIpcTwo"),
        QStringLiteral("Echo"),
        QStringLiteral("TestIpcFour"),
};

const QString orderIpcNames[] = {
        QStringLiteral("Echo"),
        QStringLiteral("Ping"),
        QStringLiteral("TestIpcFour"),
        QStringLiteral("TestIpcTwo"),
};

// The six category names, in the header's order, and the seven metas, as the base shape has them.
struct Catalogue
{
    const QString *configuration = &categoryNames[0];
    const QString *paperFeed = &categoryNames[1];
    const QString *document = &categoryNames[2];
    const QString *emboss = &categoryNames[3];
    const QString *testing = &categoryNames[4];
    const QString *ipc = &categoryNames[5];
    MetaEnum categories{categoryNames, {1, 2, 3, 4, 5, 6}};
    MetaEnum configurationCommands{configurationNames, {11, 12}};
    MetaEnum paperFeedCommands{paperFeedNames, {21, 22}};
    MetaEnum documentCommands{documentNames, {31}};
    MetaEnum embossCommands{embossNames, {41}};
    MetaEnum testingCommands{testingNames, {51}};
    MetaEnum ipcCommands{ipcNames, {601, 602, 603, 604}};
};

Catalogue load()
{
    const QByteArray shape = qgetenv("LS_TEST_CATALOGUE");
    Catalogue catalogue;
    if (shape == "base")
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
        // Unset, empty or mistyped: no catalogue is the right one to guess.
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
