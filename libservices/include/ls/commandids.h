// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_COMMANDIDS_H
#define LS_COMMANDIDS_H

#include <ls/libservices_export.h>
#include <ls/metaenum.h>

#include <QString>

// The command catalogue of the command-handler service: the category enum and one command enum
// per category. Each meta iterates in declaration order, and every enumerator's name text is its
// C++ name. Command numbers are unique across categories and none is 0, so a mistyped number can
// never reach the device as a real command.
namespace ls {

namespace CommandCategories {
// Each category name is the very string the category meta points to, so a name found through the
// meta and the constant are one object.
LIBSERVICES_EXPORT extern const QString &ConfigurationCommandId;
LIBSERVICES_EXPORT extern const QString &PaperFeedCommandId;
LIBSERVICES_EXPORT extern const QString &DocumentCommandId;
LIBSERVICES_EXPORT extern const QString &EmbossCommandId;
LIBSERVICES_EXPORT extern const QString &TestingCommandId;
LIBSERVICES_EXPORT extern const QString &IpcCommandId;
// ConfigurationCommandId = 1, PaperFeedCommandId = 2, DocumentCommandId = 3, EmbossCommandId = 4,
// TestingCommandId = 5, IpcCommandId = 6.
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace CommandCategories

namespace ConfigurationCommandId {
enum Value : int {
    GetConfiguration = 101,
    SetPaperFormat = 102,
    SetCellsPerLine = 103,
    SetLinesPerPage = 104,
    SetDuplex = 105,
    SetBrailleTable = 106,
    SetDotStrength = 107,
    ResetConfiguration = 108,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace ConfigurationCommandId

namespace PaperFeedCommandId {
enum Value : int {
    GetPaperStatus = 201,
    LoadPaper = 202,
    FeedSheet = 203,
    EjectSheet = 204,
    SetFeedMode = 205,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace PaperFeedCommandId

namespace DocumentCommandId {
enum Value : int {
    OpenDocument = 301,
    AddText = 302,
    CloseDocument = 303,
    ListDocuments = 304,
    GetDocumentInfo = 305,
    DeleteDocument = 306,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace DocumentCommandId

namespace EmbossCommandId {
enum Value : int {
    StartEmbossing = 401,
    PauseEmbossing = 402,
    ResumeEmbossing = 403,
    CancelEmbossing = 404,
    GetEmbossStatus = 405,
    EmbossText = 406,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace EmbossCommandId

namespace TestingCommandId {
enum Value : int {
    RunSelfTest = 501,
    EmbossTestPage = 502,
    TestSensors = 503,
    GetErrorLog = 504,
    ClearErrorLog = 505,
    InjectFault = 506,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace TestingCommandId

namespace IpcCommandId {
enum Value : int {
    Ping = 601,
    GetServiceInfo = 602,
    Echo = 603,
    GetDeviceState = 604,
};
LIBSERVICES_EXPORT extern const MetaEnum meta;
} // namespace IpcCommandId

} // namespace ls

#endif // LS_COMMANDIDS_H
