#ifndef SCRIPTEDPEER_H
#define SCRIPTEDPEER_H

#include "testbus.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

// The simulated command-handler service in its scripted mode, one per test row: it answers from
// the script and records every request it receives.
class ScriptedPeer
{
public:
    ScriptedPeer(const TestBus &bus, const QString &program) : m_bus(bus), m_program(program) { }
    ~ScriptedPeer() { stop(); }
    ScriptedPeer(const ScriptedPeer &) = delete;
    ScriptedPeer &operator=(const ScriptedPeer &) = delete;

    // Starts the peer with the script (JSON text) and waits until it owns the service's name.
    bool start(const QByteArray &script)
    {
        if (!m_dir.isValid()) {
            m_error = QStringLiteral("no temporary folder");
            return false;
        }
        QFile scriptFile(m_dir.filePath(QStringLiteral("script.json")));
        if (!scriptFile.open(QIODevice::WriteOnly) || scriptFile.write(script) != script.size()) {
            m_error = QStringLiteral("cannot write the script");
            return false;
        }
        scriptFile.close();

        m_process.setProgram(m_program);
        m_process.setArguments({QStringLiteral("--script"), scriptFile.fileName(),
                                QStringLiteral("--record"), recordPath(),
                                QStringLiteral("--bus-address"), m_bus.address()});
        m_process.setProcessEnvironment(m_bus.environment());
        m_process.start();
        if (!m_process.waitForStarted(10000)) {
            m_error = QStringLiteral("simulator did not start: ") + m_process.errorString();
            return false;
        }
        if (!m_bus.waitForService(serviceName())) {
            m_error = QStringLiteral("simulator did not take its name: ")
                      + QString::fromLocal8Bit(m_process.readAllStandardError());
            return false;
        }
        return true;
    }

    // Stops the peer and waits until the bus has released its name, so the next row's peer is
    // the one that answers.
    void stop()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.terminate();
            if (!m_process.waitForFinished(5000)) {
                m_process.kill();
                m_process.waitForFinished(5000);
            }
        }
        QDBusConnection bus = QDBusConnection::systemBus();
        QDeadlineTimer deadline(5000);
        while (bus.isConnected() && !deadline.hasExpired()
               && bus.interface()->isServiceRegistered(serviceName()))
            QThread::msleep(10);
    }

    // Every request received so far, one compact JSON object each, keys sorted.
    QStringList requests() const
    {
        QStringList lines;
        QFile record(recordPath());
        if (!record.open(QIODevice::ReadOnly))
            return lines;
        while (!record.atEnd()) {
            const QByteArray line = record.readLine().trimmed();
            if (line.isEmpty())
                continue;
            lines.append(normalised(line));
        }
        return lines;
    }

    static QString normalised(const QByteArray &json)
    {
        const QJsonDocument document = QJsonDocument::fromJson(json);
        if (!document.isObject())
            return QStringLiteral("<not a JSON object: %1>").arg(QString::fromUtf8(json));
        return QString::fromUtf8(document.toJson(QJsonDocument::Compact));
    }

    QString errorString() const { return m_error; }

private:
    QString recordPath() const { return m_dir.filePath(QStringLiteral("record.jsonl")); }
    static QString serviceName() { return ls::busName(ls::ServiceId::CommandHandler); }

    const TestBus &m_bus;
    const QString m_program;
    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_error;
};

#endif // SCRIPTEDPEER_H
