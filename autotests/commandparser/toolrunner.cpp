// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "toolrunner.h"

#include "messagelog.h"
#include "testbus.h"

#include <QDebug>
#include <QFile>
#include <QTest>
#include <QTextCodec>

namespace {
const char toolProgram[] = COMMAND_PARSER_PATH;
const char simulatorProgram[] = COMMAND_HANDLER_SIM_PATH;

constexpr int startTimeoutMs = 10000;
// Long enough for the bus's own reply time-out to pass first on a peer that never answers.
constexpr int runTimeoutMs = 30000;
constexpr int stopTimeoutMs = 5000;
} // namespace

const QString contextPattern = QStringLiteral("%{type}|%{category}|%{function}|%{message}");
const QString fileLinePattern = QStringLiteral("%{file}|%{line}|%{function}");

LogMessage debugMessage(const QString &function, const QString &text)
{
    return {QtDebugMsg, function, text};
}

LogMessage criticalMessage(const QString &function, const QString &text)
{
    return {QtCriticalMsg, function, text};
}

QByteArray rendering(const LogMessages &messages, MessagePattern pattern)
{
    QString out;
    for (const LogMessage &message : messages) {
        if (pattern == MessagePattern::Context)
            out += MessageLog::typeName(message.type) + QStringLiteral("|default|")
                   + message.function + QLatin1Char('|');
        out += message.text + QLatin1Char('\n');
    }
    return out.toUtf8();
}

ToolRunner::ToolRunner(const TestBus &bus)
    : m_bus(bus),
      m_toolPath(toolPath()),
      m_dir(std::make_unique<QTemporaryDir>()),
      m_simulator(bus, QString::fromUtf8(simulatorProgram))
{ }

ToolRunner::~ToolRunner() = default;

QString ToolRunner::toolPath()
{
    return QString::fromUtf8(toolProgram);
}

bool ToolRunner::prepareSimulator()
{
    if (!m_dir->isValid()) {
        m_error = QStringLiteral("no temporary folder: ") + m_dir->errorString();
        return false;
    }
    m_simulator.setEnvironment(cleanEnvironment());
    m_requestsTaken = 0;
    return true;
}

bool ToolRunner::startScripted(const QByteArray &script)
{
    if (!prepareSimulator())
        return false;
    if (m_simulator.startScripted(script))
        return true;
    m_error = m_simulator.errorString();
    return false;
}

bool ToolRunner::startDevice()
{
    if (!prepareSimulator())
        return false;
    if (m_simulator.startDevice())
        return true;
    m_error = m_simulator.errorString();
    return false;
}

void ToolRunner::stopSimulator()
{
    m_simulator.stop();
}

QProcessEnvironment ToolRunner::cleanEnvironment() const
{
    QProcessEnvironment env = m_bus.environment();
    // Nothing of the user's logging set-up may change what the tool writes.
    for (const char *name :
         {"QT_LOGGING_RULES", "QT_LOGGING_CONF", "QT_MESSAGE_PATTERN", "QT_FATAL_WARNINGS",
          "QT_FATAL_CRITICALS", "QT_LOGGING_TO_CONSOLE", "QT_ASSUME_STDERR_HAS_CONSOLE",
          "QT_FORCE_STDERR_LOGGING", "QT_LOGGING_DEBUG", "LANG", "LANGUAGE"}) {
        env.remove(QString::fromLatin1(name));
    }
    const QString emptyConfig = m_dir->filePath(QStringLiteral("config"));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), emptyConfig);
    env.insert(QStringLiteral("XDG_CONFIG_DIRS"), emptyConfig);
    // One locale for every run, whatever the user's shell sets, so that runs are repeatable. Qt
    // here takes UTF-8 for the locale's codec under any LC_ALL, so this shows nothing about the
    // tool's own choice of codec.
    env.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    return env;
}

ToolRun ToolRunner::run(const QStringList &arguments, MessagePattern pattern,
                        const QProcessEnvironment &extraEnvironment) const
{
    ToolRun result;
    QProcessEnvironment env = cleanEnvironment();
    if (pattern == MessagePattern::Context)
        env.insert(QStringLiteral("QT_MESSAGE_PATTERN"), contextPattern);
    else if (pattern == MessagePattern::FileLine)
        env.insert(QStringLiteral("QT_MESSAGE_PATTERN"), fileLinePattern);
    for (const QString &name : extraEnvironment.keys())
        env.insert(name, extraEnvironment.value(name));

    QProcess tool;
    tool.setProgram(m_toolPath);
    tool.setArguments(arguments);
    tool.setProcessEnvironment(env);
    tool.setProcessChannelMode(QProcess::SeparateChannels);
    tool.start();
    if (!tool.waitForStarted(startTimeoutMs)) {
        result.failure = QStringLiteral("command-parser did not start: ") + tool.errorString();
        return result;
    }
    tool.closeWriteChannel();
    if (!tool.waitForFinished(runTimeoutMs)) {
        tool.kill();
        tool.waitForFinished(stopTimeoutMs);
        result.failure
                = QStringLiteral("command-parser did not end within %1 ms").arg(runTimeoutMs);
    } else if (tool.exitStatus() != QProcess::NormalExit) {
        result.failure = QStringLiteral("command-parser crashed");
    }
    result.exitCode = tool.exitCode();
    result.standardOutput = tool.readAllStandardOutput();
    result.standardError = tool.readAllStandardError();
    const QStringList recorded = m_simulator.requests();
    result.requests = recorded.mid(m_requestsTaken);
    m_requestsTaken = recorded.size();
    return result;
}

void verifyLoggedRuns(const ToolRunner &runner, const QStringList &arguments,
                      const LogMessages &messages, const QStringList &requests,
                      const QProcessEnvironment &extraEnvironment)
{
    for (MessagePattern pattern : {MessagePattern::Default, MessagePattern::Context}) {
        const ToolRun run = runner.run(arguments, pattern, extraEnvironment);
        QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
        if (run.standardError != rendering(messages, pattern)) {
            qWarning().noquote() << (pattern == MessagePattern::Default ? "default" : "context")
                                 << "pattern, whole standard error:\n"
                                 << QString::fromUtf8(run.standardError);
        }
        // Compared line by line so that a failure names the first line that differs; the split
        // keeps every byte.
        QCOMPARE(run.standardError.split('\n'), rendering(messages, pattern).split('\n'));
        QCOMPARE(run.standardOutput, QByteArray());
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.requests, requests);
    }
}

void startToolTestBus(TestBus &bus)
{
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    QVERIFY2(bus.start(), qPrintable(bus.errorString()));
}

void ToolBusTestCase::initTestCase()
{
    startToolTestBus(m_bus);
}

void ToolBusTestCase::cleanupTestCase()
{
    m_bus.stop();
}

void addScriptedRowColumns()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<LogMessages>("messages");
    QTest::addColumn<QStringList>("requests");
}

void verifyScriptedRow(const TestBus &bus, const QProcessEnvironment &extraEnvironment,
                       const QString &toolPath)
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, script);
    QFETCH(LogMessages, messages);
    QFETCH(QStringList, requests);

    ToolRunner runner(bus);
    if (!toolPath.isEmpty())
        runner.setToolPath(toolPath);
    QVERIFY2(runner.startScripted(script), qPrintable(runner.errorString()));
    verifyLoggedRuns(runner, arguments, messages, requests, extraEnvironment);
}
