// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef REQUESTS_H
#define REQUESTS_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVariantMap>

// The requests the tool sends to the command handler and the scripts its peers answer from, built
// in one place for every test.
namespace Requests {

// A request of the command id from the command handler, with more entries; an entry of more with
// the same key as a built one wins.
QVariantMap request(const QString &commandId, const QVariantMap &more = {});
// A catalogue request as the tool sends it: subCommandId "Undefined".
QVariantMap catalogue(const QString &commandId);
// HandleCommand of the command number with the words as its arguments.
QVariantMap command(int number, const QStringList &words);
// A command line as the operator types it after -e and -a: "302 1 Hello world". Words are split
// at every blank, so two blanks give an empty word.
QVariantMap commandLine(const QString &line);

// The same requests as command-handler-sim records them (every value a one-key object naming its
// D-Bus type), in the canonical compact JSON form of ScriptedSimulator::normalised().
QString recordedCategories();
QString recordedCommands(const QString &category);
QString recordedCommand(int number, const QStringList &arguments);

} // namespace Requests

// Scripts of the scripted simulator.
namespace Scripts {

// The members of a successful answer, for a response object: "{" + success + ", ...}".
extern const QByteArray success;

// A successful response object with more members: successful(R"("details": {"a": 1})").
QByteArray successful(const QByteArray &members);

// A script answering the first request with the response object.
QByteArray answer(const QByteArray &response);
// A script whose every request of the command id gets the response, however often it comes.
QByteArray answering(const QString &commandId, const QByteArray &response);

// A script whose every HandleCommand gets a success with the details (a JSON object).
QByteArray answeringDetails(const QByteArray &details);
// A script whose every catalogue query (GetCommandCategories or GetCommands) gets a success with
// the entries (a JSON array, or anything else a test sends instead) under the query's key.
QByteArray answeringCatalogue(const QString &query, const QByteArray &entries);

} // namespace Scripts

#endif // REQUESTS_H
