// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/commandids.h>

// One array of names per enum: the array's elements ascend in address, so each meta, which
// iterates by address, lists its enumerators in declaration order.
namespace ls {

namespace {
const QString categoryNames[] = {
        QStringLiteral("ConfigurationCommandId"), QStringLiteral("PaperFeedCommandId"),
        QStringLiteral("DocumentCommandId"),      QStringLiteral("EmbossCommandId"),
        QStringLiteral("TestingCommandId"),       QStringLiteral("IpcCommandId"),
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
} // namespace

const QString &CommandCategories::ConfigurationCommandId = categoryNames[0];
const QString &CommandCategories::PaperFeedCommandId = categoryNames[1];
const QString &CommandCategories::DocumentCommandId = categoryNames[2];
const QString &CommandCategories::EmbossCommandId = categoryNames[3];
const QString &CommandCategories::TestingCommandId = categoryNames[4];
const QString &CommandCategories::IpcCommandId = categoryNames[5];
const MetaEnum CommandCategories::meta(categoryNames, {1, 2, 3, 4, 5, 6});

const MetaEnum ConfigurationCommandId::meta(configurationNames,
                                            {GetConfiguration, SetPaperFormat, SetCellsPerLine,
                                             SetLinesPerPage, SetDuplex, SetBrailleTable,
                                             SetDotStrength, ResetConfiguration});

const MetaEnum PaperFeedCommandId::meta(paperFeedNames, {GetPaperStatus, LoadPaper, FeedSheet,
                                                         EjectSheet, SetFeedMode});

const MetaEnum DocumentCommandId::meta(documentNames,
                                       {OpenDocument, AddText, CloseDocument, ListDocuments,
                                        GetDocumentInfo, DeleteDocument});

const MetaEnum EmbossCommandId::meta(embossNames, {StartEmbossing, PauseEmbossing, ResumeEmbossing,
                                                   CancelEmbossing, GetEmbossStatus, EmbossText});

const MetaEnum TestingCommandId::meta(testingNames, {RunSelfTest, EmbossTestPage, TestSensors,
                                                     GetErrorLog, ClearErrorLog, InjectFault});

const MetaEnum IpcCommandId::meta(ipcNames, {Ping, GetServiceInfo, Echo, GetDeviceState});

} // namespace ls
