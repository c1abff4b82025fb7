// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "testbus.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <csignal>
#include <sys/prctl.h>

namespace {
const char configTemplate[] = TESTBUS_CONFIG_TEMPLATE;
}

void TiedProcess::setupChildProcess()
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
}

TestBus::TestBus() = default;

TestBus::~TestBus()
{
    stop();
}

bool TestBus::start(const Options &options)
{
    stop();
    m_error.clear();
    m_dir = std::make_unique<QTemporaryDir>();
    if (!m_dir->isValid()) {
        m_error = QStringLiteral("cannot create a temporary folder: ") + m_dir->errorString();
        return false;
    }

    QFile in(QString::fromUtf8(configTemplate));
    if (!in.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("cannot read ") + in.fileName() + QStringLiteral(": ")
                  + in.errorString();
        return false;
    }
    QString config = QString::fromUtf8(in.readAll());
    config.replace(QStringLiteral("@DIRECTORY@"), m_dir->path());
    config.replace(QStringLiteral("@SERVICEDIR@"),
                   options.serviceDirectory.isEmpty()
                           ? QString()
                           : QStringLiteral("<servicedir>%1</servicedir>")
                                     .arg(options.serviceDirectory.toHtmlEscaped()));
    config.replace(QStringLiteral("@REPLY_TIMEOUT@"), QString::number(options.replyTimeoutMs));
    config.replace(QStringLiteral("@POLICY_RULES@"), options.policyRules);

    const QString configPath = m_dir->filePath(QStringLiteral("bus.conf"));
    QFile out(configPath);
    if (!out.open(QIODevice::WriteOnly) || out.write(config.toUtf8()) != config.toUtf8().size()) {
        m_error = QStringLiteral("cannot write ") + configPath;
        return false;
    }
    out.close();

    m_daemon.setProgram(QStringLiteral("dbus-daemon"));
    m_daemon.setArguments({QStringLiteral("--config-file=") + configPath,
                           QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    m_daemon.setProcessChannelMode(QProcess::SeparateChannels);
    m_daemon.start();
    if (!m_daemon.waitForStarted(10000)) {
        m_error = QStringLiteral("dbus-daemon did not start: ") + m_daemon.errorString();
        return false;
    }
    while (!m_daemon.canReadLine()) {
        if (!m_daemon.waitForReadyRead(10000)) {
            m_error = QStringLiteral("dbus-daemon gave no address: ")
                      + QString::fromLocal8Bit(m_daemon.readAllStandardError());
            stop();
            return false;
        }
    }
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    return true;
}

void TestBus::stop()
{
    if (m_daemon.state() != QProcess::NotRunning) {
        m_daemon.terminate();
        if (!m_daemon.waitForFinished(5000)) {
            m_daemon.kill();
            m_daemon.waitForFinished(5000);
        }
    }
    m_address.clear();
    m_dir.reset();
}

QProcessEnvironment TestBus::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), m_address);
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), m_address);
    return env;
}

void TestBus::exportToProcess() const
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_address.toUtf8());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_address.toUtf8());
}

bool TestBus::waitForService(const QString &name, int timeoutMs) const
{
    return waitForOwnership(name, true, timeoutMs);
}

bool TestBus::waitForServiceReleased(const QString &name, int timeoutMs) const
{
    return waitForOwnership(name, false, timeoutMs);
}

bool TestBus::waitForOwnership(const QString &name, bool owned, int timeoutMs) const
{
    // A connection of its own, so that the process's system bus connection is left untouched.
    const QString connectionName = QStringLiteral("testbus-watch-") + m_address;
    bool reached = false;
    {
        QDBusConnection bus = QDBusConnection::connectToBus(m_address, connectionName);
        QDeadlineTimer deadline(timeoutMs);
        while (bus.isConnected() && !deadline.hasExpired()) {
            if (bus.interface()->isServiceRegistered(name) == owned) {
                reached = true;
                break;
            }
            QThread::msleep(10);
        }
    }
    QDBusConnection::disconnectFromBus(connectionName);
    return reached;
}
