// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SIMCORETEST_H
#define SIMCORETEST_H

// What the tests of the simulator's units share: requests, the device under test, steps and
// their expectations, and the fields that many rows expect.

#include "device/device.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QtTest>

// One command: its number, then its words.
using Step = QStringList;
// Commands that must all succeed, run before the command a row is about.
using Steps = QList<Step>;

// What one step of a scenario must give: success with these fields (any others may come too; none
// checked when empty), or the failure of errorId.
struct Expectation
{
    QVariantMap fields;
    QString errorId;
};

// One step of a scenario and what it must give.
struct ScenarioStep
{
    Step command;
    Expectation expect;
};
using Scenario = QList<ScenarioStep>;
Q_DECLARE_METATYPE(ScenarioStep)

namespace SimTest {

// Words that many rows use: the first document or job, and the errors rows expect.
const QString one = QStringLiteral("1");
const QString argument = QStringLiteral("InvalidArgument");
const QString count = QStringLiteral("InvalidArgumentCount");
const QString busy = QStringLiteral("DeviceBusy");
const QString paper = QStringLiteral("OutOfPaper");
const QString state = QStringLiteral("InvalidState");
const QString noDocument = QStringLiteral("NoSuchDocument");

inline QVariantMap catalogueRequest(const QString &commandId)
{
    return {{ls::commandIdKey, commandId},
            {ls::subCommandIdKey, QStringLiteral("Undefined")},
            {ls::senderIdKey, ls::ServiceId::CommandHandler}};
}

inline QVariantMap commandRequest(int id, const QStringList &words)
{
    QVariantList args;
    for (const QString &w : words)
        args.append(w);
    return {{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
            {ls::subCommandIdKey, id},
            {ls::argsKey, args},
            {ls::senderIdKey, ls::ServiceId::CommandHandler}};
}

inline QVariantMap request(const Step &step)
{
    return commandRequest(step.first().toInt(), step.mid(1));
}

// A device whose pages advance one per request.
inline DeviceOptions stepping()
{
    DeviceOptions options;
    options.stepPerRequest = true;
    return options;
}

inline Step step(int id, const QStringList &words = {})
{
    return QStringList(QString::number(id)) + words;
}

// Runs a command that must succeed and returns its details.
inline QVariantMap run(Device &device, int id, const QStringList &words = {})
{
    const QVariantMap response = device.handle(commandRequest(id, words));
    if (response.value(ls::resultIdKey) != ls::ResultId::Success) {
        qWarning() << "command" << id << words << "failed:" << response;
        return {};
    }
    return response.value(ls::detailsMapKey).toMap();
}

// Runs commands that must all succeed.
inline bool runSteps(Device &device, const Steps &steps)
{
    for (const Step &s : steps) {
        const QVariantMap response = device.handle(request(s));
        if (response.value(ls::resultIdKey) != ls::ResultId::Success) {
            qWarning() << "step" << s << "failed:" << response;
            return false;
        }
    }
    return true;
}

inline Expectation succeeds()
{
    return {};
}

inline Expectation fields(std::initializer_list<std::pair<QString, QVariant>> list)
{
    return {QVariantMap(list), QString()};
}

inline Expectation fails(const char *errorId)
{
    return {{}, QString::fromLatin1(errorId)};
}

inline QString blanks(int n)
{
    return QString(n, QChar(0x2800));
}

// A closed document 1 holding the text, with paper in the tray.
inline Steps closedDocument(const QString &text, int sheets = 10)
{
    using namespace ls;
    return {step(DocumentCommandId::OpenDocument, {QStringLiteral("Report")}),
            step(DocumentCommandId::AddText, {QStringLiteral("1"), text}),
            step(DocumentCommandId::CloseDocument, {QStringLiteral("1")}),
            step(PaperFeedCommandId::LoadPaper, {QString::number(sheets)})};
}

// Words of a text that lays out as two words per line at 10 cells: "abc abc" and so on.
inline QString words(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(QStringLiteral("abc"));
    return list.join(QLatin1Char(' '));
}

// A job of one copy of a long text, started: still embossing when the row's command comes.
inline Steps embossingJob()
{
    return closedDocument(words(300)) << step(ls::EmbossCommandId::StartEmbossing, {one, one});
}

// The same job, paused by the user.
inline Steps pausedJob()
{
    return embossingJob() << step(ls::EmbossCommandId::PauseEmbossing);
}

inline QVariantMap job(int id, const QString &state, int document, int copies, int done, int total,
                       int sheets, const QString &pauseReason = QStringLiteral("None"),
                       const QString &outcome = QStringLiteral("None"))
{
    return {{QStringLiteral("jobId"), id},
            {QStringLiteral("state"), state},
            {QStringLiteral("documentId"), document},
            {QStringLiteral("copies"), copies},
            {QStringLiteral("pagesDone"), done},
            {QStringLiteral("pagesTotal"), total},
            {QStringLiteral("sheetsUsed"), sheets},
            {QStringLiteral("pauseReason"), pauseReason},
            {QStringLiteral("outcome"), outcome}};
}

inline QVariantMap idleJob()
{
    return job(0, QStringLiteral("Idle"), 0, 0, 0, 0, 0);
}

inline QVariantMap defaultConfiguration()
{
    return {{QStringLiteral("paperFormat"), QStringLiteral("Braille-11x11.5")},
            {QStringLiteral("cellsPerLine"), 40},
            {QStringLiteral("linesPerPage"), 25},
            {QStringLiteral("duplex"), false},
            {QStringLiteral("brailleTable"), QStringLiteral("en-us-g1.ctb")},
            {QStringLiteral("dotStrength"), 3}};
}

inline QVariantMap documentInfo(int id, const QString &title, const QString &state, int characters,
                                int cells, int lines, int pages)
{
    return {{QStringLiteral("documentId"), id}, {QStringLiteral("title"), title},
            {QStringLiteral("state"), state},   {QStringLiteral("characters"), characters},
            {QStringLiteral("cells"), cells},   {QStringLiteral("lines"), lines},
            {QStringLiteral("pages"), pages},   {QStringLiteral("sheets"), pages}};
}

inline QByteArray readAll(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

inline bool writeAll(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

inline QString describe(const QVariantMap &map)
{
    QString text;
    QDebug(&text) << map;
    return text;
}

// The command, after the setup, succeeds with exactly the expected details, each of the expected
// type.
inline void verifyResult(const Steps &setup, const Step &command, const QVariantMap &expected)
{
    Device device(stepping());
    QVERIFY(runSteps(device, setup));
    const QVariantMap response = device.handle(request(command));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Success);
    QCOMPARE(response.value(ls::errorIdKey).toString(), ls::ErrorId::NoError);
    const QVariantMap details = response.value(ls::detailsMapKey).toMap();
    QCOMPARE(details.keys(), expected.keys());
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        QVERIFY2(details.value(it.key()).userType() == it.value().userType(), qPrintable(it.key()));
        QCOMPARE(details.value(it.key()), it.value());
    }
}

// The command, after the setup, fails with errorId, a message and no details.
inline void verifyError(const Steps &setup, const Step &command, const QString &errorId)
{
    Device device(stepping());
    QVERIFY(runSteps(device, setup));
    const QVariantMap response = device.handle(request(command));
    QCOMPARE(response.value(ls::resultIdKey).toString(), ls::ResultId::Failure);
    QCOMPARE(response.value(ls::errorIdKey).toString(), errorId);
    QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
    QVERIFY(!response.contains(ls::detailsMapKey));
}

// The columns of a table of commands that succeed: the steps run first, the command and the
// details it must give.
inline void addResultColumns()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QVariantMap>("expected");
}

// The columns of a table of commands that fail: the steps run first, the command and its error.
inline void addErrorColumns()
{
    QTest::addColumn<Steps>("setup");
    QTest::addColumn<QStringList>("command");
    QTest::addColumn<QString>("errorId");
}

// verifyResult() on the current row of a table made by addResultColumns().
inline void verifyResultRow()
{
    QFETCH(Steps, setup);
    QFETCH(QStringList, command);
    QFETCH(QVariantMap, expected);
    verifyResult(setup, command, expected);
}

// verifyError() on the current row of a table made by addErrorColumns().
inline void verifyErrorRow()
{
    QFETCH(Steps, setup);
    QFETCH(QStringList, command);
    QFETCH(QString, errorId);
    verifyError(setup, command, errorId);
}

// Each step of the scenario, on one device, gives what it expects.
inline void verifyScenario(const Scenario &scenario)
{
    Device device(stepping());
    for (int i = 0; i < scenario.size(); ++i) {
        const ScenarioStep &s = scenario.at(i);
        const QVariantMap response = device.handle(request(s.command));
        const QByteArray where
                = QByteArray::number(i + 1) + ": " + s.command.join(QLatin1Char(' ')).toUtf8();
        if (!s.expect.errorId.isEmpty()) {
            QVERIFY2(response.value(ls::errorIdKey) == s.expect.errorId, where.constData());
            QVERIFY2(response.value(ls::resultIdKey) == ls::ResultId::Failure, where.constData());
            continue;
        }
        QVERIFY2(response.value(ls::resultIdKey) == ls::ResultId::Success, where.constData());
        const QVariantMap details = response.value(ls::detailsMapKey).toMap();
        for (auto it = s.expect.fields.cbegin(); it != s.expect.fields.cend(); ++it) {
            QVERIFY2(details.value(it.key()) == it.value(),
                     (where + " " + it.key().toUtf8() + " = "
                      + details.value(it.key()).toString().toUtf8())
                             .constData());
        }
    }
}

} // namespace SimTest

#endif // SIMCORETEST_H
