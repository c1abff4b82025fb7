// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "interoptest.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

const QString peerProgram = QStringLiteral(ECHOPEER_BIN);
const QString peerName = QStringLiteral("se.tarnvik.Echo");
const QString peerPath = QStringLiteral("/se/tarnvik/Echo");
const QString peerInterface = QStringLiteral("se.tarnvik.Service1");
const int toolTimeoutMs = 10000;
// The tools' own call time-out, shorter than ours so that they report it themselves.
const QString toolCallTimeoutSeconds = QStringLiteral("8");

} // namespace

QString mismatch(const QByteArray &actual, const QByteArray &expected, const QByteArray &err)
{
    return QStringLiteral("expected:\n%1\ngot:\n%2\nstderr:\n%3")
            .arg(QString::fromUtf8(expected), QString::fromUtf8(actual), QString::fromUtf8(err));
}

void EchoPeer::initTestCase()
{
    m_gdbus = QStandardPaths::findExecutable(QStringLiteral("gdbus"));
    m_busctl = QStandardPaths::findExecutable(QStringLiteral("busctl"));

    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_peer.setProcessEnvironment(m_bus.environment());
    m_peer.setProcessChannelMode(QProcess::SeparateChannels);
    m_peer.start(peerProgram, {peerName});
    QVERIFY2(m_peer.waitForStarted(toolTimeoutMs), qPrintable(m_peer.errorString()));
    while (!m_peer.canReadLine()) {
        QVERIFY2(m_peer.waitForReadyRead(toolTimeoutMs),
                 qPrintable(QStringLiteral("echopeer never became ready: ")
                            + QString::fromLocal8Bit(m_peer.readAllStandardError())));
    }
    QCOMPARE(m_peer.readLine(), QByteArray("ready\n"));
}

void EchoPeer::cleanupTestCase()
{
    if (m_peer.state() != QProcess::NotRunning) {
        // Every refusal was answered, not fatal to the peer.
        m_peer.terminate();
        QVERIFY2(m_peer.waitForFinished(toolTimeoutMs),
                 qPrintable(QString::fromLocal8Bit(m_peer.readAllStandardError())));
        QCOMPARE(m_peer.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_peer.exitCode(), 0);
    }
    m_bus.stop();
}

bool EchoPeer::skipWithout(Tool tool) const
{
    if (tool == Tool::Gdbus && m_gdbus.isEmpty()) {
        QTest::qSkip("gdbus not found in PATH (Debian package libglib2.0-bin)", __FILE__, __LINE__);
        return true;
    }
    if (tool == Tool::Busctl && m_busctl.isEmpty()) {
        QTest::qSkip("busctl not found in PATH (Debian package systemd)", __FILE__, __LINE__);
        return true;
    }
    return false;
}

ToolRun EchoPeer::run(Tool tool, EchoMethod method, const QStringList &arguments, bool json) const
{
    const QString methodName = method == EchoMethod::Process ? QStringLiteral("Process")
                                                             : QStringLiteral("EchoTyped");
    QStringList command;
    if (tool == Tool::Gdbus) {
        command = QStringList{QStringLiteral("call"),
                              QStringLiteral("--address"),
                              m_bus.address(),
                              QStringLiteral("--dest"),
                              peerName,
                              QStringLiteral("--object-path"),
                              peerPath,
                              QStringLiteral("--method"),
                              peerInterface + QLatin1Char('.') + methodName,
                              QStringLiteral("--timeout"),
                              toolCallTimeoutSeconds,
                              QStringLiteral("--")}
                  + arguments;
    } else {
        command = QStringList{QStringLiteral("--address=") + m_bus.address(),
                              QStringLiteral("--no-pager"),
                              QStringLiteral("--timeout=") + toolCallTimeoutSeconds};
        if (json)
            command << QStringLiteral("--json=short");
        // Arguments that start with "-" are values, not options.
        command << QStringLiteral("--") << QStringLiteral("call") << peerName << peerPath
                << peerInterface << methodName;
        command += arguments;
    }

    QProcessEnvironment environment = m_bus.environment();
    // gdbus prints text in the locale's encoding: anything but UTF-8 would mangle non-ASCII.
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("SYSTEMD_COLORS"), QStringLiteral("0"));

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::SeparateChannels);
    process.start(tool == Tool::Gdbus ? m_gdbus : m_busctl, command);
    ToolRun result;
    if (!process.waitForStarted(toolTimeoutMs)) {
        result.problem = QStringLiteral("did not start: ") + process.errorString();
        return result;
    }
    if (!process.waitForFinished(toolTimeoutMs)) {
        process.kill();
        process.waitForFinished(toolTimeoutMs);
        result.problem = QStringLiteral("no end within %1 ms").arg(toolTimeoutMs);
    } else if (process.exitStatus() != QProcess::NormalExit) {
        result.problem = QStringLiteral("crashed");
    }
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    if (!result.problem.isEmpty()) {
        result.problem += QStringLiteral("\ncommand: ") + command.join(QLatin1Char(' '))
                          + QStringLiteral("\nstderr:\n") + QString::fromUtf8(result.err);
    }
    return result;
}
