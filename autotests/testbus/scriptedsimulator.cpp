// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "scriptedsimulator.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>

namespace {
constexpr int timeoutMs = 10000;

QString serviceName()
{
    return ls::busName(ls::ServiceId::CommandHandler);
}
} // namespace

ScriptedSimulator::ScriptedSimulator(const TestBus &bus, const QString &program)
    : m_bus(bus), m_program(program)
{ }

ScriptedSimulator::~ScriptedSimulator()
{
    stop();
}

QString ScriptedSimulator::recordPath() const
{
    return m_dir.filePath(QStringLiteral("record.jsonl"));
}

QString ScriptedSimulator::logPath() const
{
    return m_dir.filePath(QStringLiteral("simulator.log"));
}

bool ScriptedSimulator::startScripted(const QByteArray &script)
{
    // The running one still reads its script and writes its record.
    stopRunning();
    const QString scriptPath = m_dir.filePath(QStringLiteral("script.json"));
    QFile file(scriptPath);
    if (!m_dir.isValid() || !file.open(QIODevice::WriteOnly)
        || file.write(script) != script.size()) {
        m_error = QStringLiteral("cannot write the script ") + scriptPath;
        return false;
    }
    file.close();
    QFile::remove(recordPath());
    return launch({QStringLiteral("--script"), scriptPath, QStringLiteral("--record"), recordPath(),
                   QStringLiteral("--bus-address"), m_bus.address()});
}

bool ScriptedSimulator::startDevice(const QStringList &moreArguments)
{
    stopRunning();
    QFile::remove(recordPath());
    return launch(QStringList{QStringLiteral("--step"), QStringLiteral("--record"), recordPath(),
                              QStringLiteral("--bus-address"), m_bus.address()}
                  + moreArguments);
}

bool ScriptedSimulator::start(const QStringList &arguments)
{
    stopRunning();
    return launch(arguments);
}

void ScriptedSimulator::stopRunning()
{
    if (m_process.state() != QProcess::NotRunning)
        stop();
}

bool ScriptedSimulator::launch(const QStringList &arguments)
{
    m_error.clear();
    if (!m_dir.isValid()) {
        m_error = QStringLiteral("no temporary folder: ") + m_dir.errorString();
        return false;
    }
    m_process.setProgram(m_program);
    m_process.setArguments(arguments);
    m_process.setProcessEnvironment(m_environment.isEmpty() ? m_bus.environment() : m_environment);
    if (m_forwardedOutput) {
        m_process.setProcessChannelMode(QProcess::ForwardedChannels);
    } else {
        // To a file rather than a pipe, so that a talkative simulator can never block on a full
        // pipe.
        QFile::remove(logPath());
        m_process.setStandardOutputFile(logPath());
        m_process.setStandardErrorFile(logPath(), QIODevice::Append);
    }
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs)) {
        m_error = QStringLiteral("command-handler-sim did not start: ") + m_process.errorString();
        return false;
    }
    // A simulator that refuses its arguments ends at once; its reason is then the error.
    bool owned = false;
    QDeadlineTimer deadline(timeoutMs);
    while (!owned && !deadline.hasExpired() && !m_process.waitForFinished(0))
        owned = m_bus.waitForService(serviceName(), 200);
    if (!owned) {
        stop();
        QFile log(logPath());
        m_error = QStringLiteral("command-handler-sim did not take its name: ")
                  + (log.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(log.readAll())
                                                   : QStringLiteral("(see its output)"));
        return false;
    }
    return true;
}

bool ScriptedSimulator::stop()
{
    bool terminated = true;
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(timeoutMs)) {
            terminated = false;
            m_process.kill();
            m_process.waitForFinished(timeoutMs);
        }
    }
    return m_bus.waitForServiceReleased(serviceName(), timeoutMs) && terminated;
}

QStringList ScriptedSimulator::requests() const
{
    QStringList lines;
    QFile record(recordPath());
    if (!record.open(QIODevice::ReadOnly))
        return lines;
    while (!record.atEnd()) {
        const QByteArray line = record.readLine().trimmed();
        if (!line.isEmpty())
            lines.append(normalised(line));
    }
    return lines;
}

QString ScriptedSimulator::normalised(const QByteArray &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject())
        return QStringLiteral("<not a JSON object: %1>").arg(QString::fromUtf8(json));
    return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
}
