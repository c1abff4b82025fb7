// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef TOOLRUNNER_H
#define TOOLRUNNER_H

#include "requests.h"
#include "scriptedsimulator.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QtGlobal>

#include <memory>

// One message the tool logs: its severity, the function as the message pattern's %{function}
// names it, and its text.
struct LogMessage
{
    QtMsgType type = QtDebugMsg;
    QString function;
    QString text;
};
Q_DECLARE_METATYPE(LogMessage)
using LogMessages = QList<LogMessage>;

LogMessage debugMessage(const QString &function, const QString &text);
LogMessage criticalMessage(const QString &function, const QString &text);

// How the tool's log reaches standard error.
enum class MessagePattern {
    // QT_MESSAGE_PATTERN unset: Qt's default handler writes the bare text.
    Default,
    // contextPattern: severity, category, function and text of each message.
    Context,
    // fileLinePattern: where each message comes from, one line per message.
    FileLine,
};

extern const QString contextPattern;
extern const QString fileLinePattern;

// The bytes Qt's default handler writes for the messages under the pattern (not for FileLine,
// whose file and line are the build's).
QByteArray rendering(const LogMessages &messages, MessagePattern pattern);

struct ToolRun
{
    // Empty when the tool ran and ended on its own within the time; otherwise what went wrong.
    QString failure;
    int exitCode = -1;
    QByteArray standardOutput;
    QByteArray standardError;
    // The requests recorded during this run, in canonical compact JSON; a line that is no JSON
    // object is marked as such (ScriptedSimulator::normalised).
    QStringList requests;
};

// Runs the built command-parser against a command-handler-sim on the test's private bus. One
// runner serves one peer: start it, run the tool as often as needed, and the destructor stops the
// peer and waits until its bus name is free again.
class ToolRunner
{
public:
    explicit ToolRunner(const TestBus &bus);
    ~ToolRunner();
    ToolRunner(const ToolRunner &) = delete;
    ToolRunner &operator=(const ToolRunner &) = delete;

    // The scripted peer, answering from the JSON script.
    bool startScripted(const QByteArray &script);
    // The simulated device, in its repeatable mode.
    bool startDevice();
    void stopSimulator();
    QString errorString() const { return m_error; }

    // extraEnvironment is applied last, over the cleaned environment.
    ToolRun run(const QStringList &arguments, MessagePattern pattern = MessagePattern::Default,
                const QProcessEnvironment &extraEnvironment = QProcessEnvironment()) const;

    // The path the tool was started with, as its own usage line shows it.
    static QString toolPath();
    // Runs another build of the tool from now on; the built command-parser until then.
    void setToolPath(const QString &path) { m_toolPath = path; }

private:
    bool prepareSimulator();
    QProcessEnvironment cleanEnvironment() const;

    const TestBus &m_bus;
    QString m_toolPath;
    std::unique_ptr<QTemporaryDir> m_dir;
    ScriptedSimulator m_simulator;
    // How many of the simulator's recorded requests earlier runs have returned.
    mutable int m_requestsTaken = 0;
    QString m_error;
};

// Runs the tool with the arguments once under each of Default and Context and compares, byte for
// byte, the whole standard error with the messages, standard output with nothing, the exit status
// with 0 and the recorded requests with the expected ones. Reports through QTest.
void verifyLoggedRuns(const ToolRunner &runner, const QStringList &arguments,
                      const LogMessages &messages, const QStringList &requests,
                      const QProcessEnvironment &extraEnvironment = QProcessEnvironment());

// Starts the test case's bus, after making the test's own locale UTF-8 so that row data with
// non-ASCII text reaches the tool as UTF-8. Reports through QTest.
void startToolTestBus(TestBus &bus);

// A test case whose runs all share one bus, started with startToolTestBus() before the first
// function and stopped after the last.
class ToolBusTestCase : public QObject
{
    Q_OBJECT

protected:
    TestBus m_bus;

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
};

// The columns verifyScriptedRow() reads: the tool's arguments, the peer's script, and the
// messages and requests the runs must give.
void addScriptedRowColumns();
// Starts a scripted peer on the bus with the row's script and checks the row's runs with
// verifyLoggedRuns(); toolPath, when given, names another build of the tool to run.
void verifyScriptedRow(const TestBus &bus,
                       const QProcessEnvironment &extraEnvironment = QProcessEnvironment(),
                       const QString &toolPath = QString());

#endif // TOOLRUNNER_H
