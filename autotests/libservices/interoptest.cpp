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

// A reply printout and what was expected of it, in full: QCOMPARE cuts long texts short.
QString mismatch(const QByteArray &actual, const QByteArray &expected, const QByteArray &err)
{
    return QStringLiteral("expected:\n%1\ngot:\n%2\nstderr:\n%3")
            .arg(QString::fromUtf8(expected), QString::fromUtf8(actual), QString::fromUtf8(err));
}

} // namespace

void EchoPeerForTool::initTestCase()
{
    m_program = QStandardPaths::findExecutable(m_tool == Tool::Gdbus ? QStringLiteral("gdbus")
                                                                     : QStringLiteral("busctl"));

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

void EchoPeerForTool::cleanupTestCase()
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

bool EchoPeerForTool::skipWithoutTool() const
{
    if (!m_program.isEmpty())
        return false;
    if (m_tool == Tool::Gdbus)
        QTest::qSkip("gdbus not found in PATH (Debian package libglib2.0-bin)", __FILE__, __LINE__);
    else
        QTest::qSkip("busctl not found in PATH (Debian package systemd)", __FILE__, __LINE__);
    return true;
}

EchoPeerForTool::ToolRun EchoPeerForTool::run(EchoMethod method, const QStringList &arguments,
                                              bool json) const
{
    const QString methodName = method == EchoMethod::Process ? QStringLiteral("Process")
                                                             : QStringLiteral("EchoTyped");
    QStringList command;
    if (m_tool == Tool::Gdbus) {
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
    process.start(m_program, command);
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

void EchoPeerForTool::addRows(EchoMethod method) const
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("json");

    for (const InteropRow &row : interopRows()) {
        // Process takes exactly one argument.
        if (method == EchoMethod::Process && row.gvariant.size() != 1)
            continue;
        if (m_tool == Tool::Gdbus) {
            const QString typed = row.gvariant.size() == 1
                                          ? QStringLiteral("(%1,)").arg(row.gvariant.constFirst())
                                          : QLatin1Char('(')
                                                    + row.gvariant.join(QStringLiteral(", "))
                                                    + QLatin1Char(')');
            QTest::newRow(row.name)
                    << row.gvariant << (method == EchoMethod::Process ? row.gdbusProcess : typed)
                    << false;
        } else {
            // An empty signature is no argument at all.
            const QStringList arguments
                    = row.busctl == QStringList{QString()} ? QStringList() : row.busctl;
            if (method == EchoMethod::Process)
                QTest::newRow(row.name) << arguments << row.busctlProcess << true;
            else
                QTest::newRow(row.name) << arguments << row.busctlTyped << !row.typedAsText;
        }
    }
}

void EchoPeerForTool::checkReply(EchoMethod method)
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, expected);
    QFETCH(bool, json);
    if (skipWithoutTool())
        return;

    const ToolRun result = run(method, arguments, json);
    QVERIFY2(result.problem.isEmpty(), qPrintable(result.problem));
    QVERIFY2(result.exitCode == 0, qPrintable(QStringLiteral("exit code %1, stderr:\n%2")
                                                      .arg(result.exitCode)
                                                      .arg(QString::fromUtf8(result.err))));
    // Both tools end their printout with a line break; a reply of no values prints nothing.
    const QByteArray wanted = expected.isEmpty() ? QByteArray() : expected.toUtf8() + '\n';
    if (result.out != wanted)
        qWarning().noquote() << mismatch(result.out, wanted, result.err);
    QCOMPARE(result.out, wanted);
}

void EchoPeerForTool::addRefusedRows() const
{
    QTest::addColumn<int>("method");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expectedError");

    const auto process = int(EchoMethod::Process);
    const auto echoTyped = int(EchoMethod::EchoTyped);
    const QString readRefused = QStringLiteral("reading of argument 1: NoDBusForm");
    const QString writeRefused = QStringLiteral("writing of argument 1: NoDBusForm");

    if (m_tool == Tool::Gdbus) {
        const QString error
                = QStringLiteral("Error: GDBus.Error:org.freedesktop.DBus.Error.InvalidArgs: %1\n");
        // gdbus sends its own descriptor 0 for "handle 0".
        QTest::newRow("gdbus: h to Process, no plain form")
                << process << QStringList{QStringLiteral("handle 0")} << error.arg(readRefused);
        // gdbus attaches descriptors for arguments of type h only: a nested handle refers to
        // none.
        QTest::newRow("gdbus: h inside a{sv} to Process, no descriptor attached")
                << process << QStringList{QStringLiteral("{'fd': <handle 0>}")}
                << error.arg(QStringLiteral("reading of argument 1: Malformed"));
        // Read as a record, but a descriptor cannot be sent on.
        QTest::newRow("gdbus: h to EchoTyped, not sent on")
                << echoTyped << QStringList{QStringLiteral("handle 0")} << error.arg(writeRefused);
    } else {
        const QString error = QStringLiteral("Call failed: %1\n");
        QTest::newRow("busctl: h to Process, no plain form")
                << process << QStringList{QStringLiteral("h"), QStringLiteral("0")}
                << error.arg(readRefused);
        QTest::newRow("busctl: h to EchoTyped, not sent on")
                << echoTyped << QStringList{QStringLiteral("h"), QStringLiteral("0")}
                << error.arg(writeRefused);
    }
}

void EchoPeerForTool::checkRefused()
{
    QFETCH(int, method);
    QFETCH(QStringList, arguments);
    QFETCH(QString, expectedError);
    if (skipWithoutTool())
        return;

    const ToolRun result = run(EchoMethod(method), arguments, false);
    QVERIFY2(result.problem.isEmpty(), qPrintable(result.problem));
    const QString err = QString::fromUtf8(result.err);
    if (m_tool == Tool::Busctl && result.exitCode != 0
        && err.contains(QLatin1String("not supported"))) {
        QSKIP(qPrintable(QStringLiteral("this busctl cannot send a file descriptor: ")
                         + err.trimmed()));
    }
    QVERIFY2(result.exitCode != 0,
             qPrintable(QStringLiteral("accepted, printed: ") + QString::fromUtf8(result.out)));
    QVERIFY2(result.out.isEmpty(), result.out.constData());
    QCOMPARE(err, expectedError);
}
