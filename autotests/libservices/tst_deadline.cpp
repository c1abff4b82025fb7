// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The exchange's one deadline, over connecting, authentication, Hello and the reply, and the way
// the caller waits for it: on its own thread, asleep. Every run here is a process of its own
// (processclient or the tool), on a bus whose reply_timeout is far above the deadline, so that
// only the library can end a wait.
#include "datatable.h"
#include "servicetest.h"

#include <ls/dbuscontract.h>
#include <ls/messagekeys.h>

#include <testbus.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString fakeBusProgram = QStringLiteral(FAKEBUS_BIN);
const QString toolProgram = QStringLiteral(COMMAND_PARSER_BIN);
const QString noReply = QStringLiteral("org.freedesktop.DBus.Error.NoReply");
// Far above every deadline below: the bus never ends a call itself.
constexpr int busReplyTimeoutMs = 120000;
// Start-up and scheduling allowance on a loaded machine, past a deadline.
constexpr int slackMs = 3000;

struct Finished
{
    QByteArray out;
    QByteArray err;
    qint64 elapsedMs = 0;
};

QProcessEnvironment environmentFor(const QString &address, int deadlineMs)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    env.remove(QStringLiteral("QT_LOGGING_RULES"));
    env.remove(QStringLiteral("QT_MESSAGE_PATTERN"));
    if (deadlineMs > 0)
        env.insert(QStringLiteral("LS_DBUS_TIMEOUT_MS"), QString::number(deadlineMs));
    else
        env.remove(QStringLiteral("LS_DBUS_TIMEOUT_MS"));
    return env;
}

QVariantMap responseOf(const Finished &run)
{
    return QJsonDocument::fromJson(run.out).toVariant().toMap();
}

// A value from /proc/PID/status, e.g. "voluntary_ctxt_switches".
qint64 statusField(qint64 pid, const QByteArray &field)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(field + ':'))
            return line.mid(field.size() + 1).trimmed().toLongLong();
    }
    return -1;
}

// Ends a helper at the end of a test, before its QProcess goes.
void stop(QProcess *process)
{
    process->kill();
    process->waitForFinished(5000);
}

int threadCount(qint64 pid)
{
    return int(QDir(QStringLiteral("/proc/%1/task").arg(pid))
                       .entryList(QDir::Dirs | QDir::NoDotAndDotDot)
                       .size());
}

} // namespace

class TestDeadline : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        TestBus::Options options;
        options.replyTimeoutMs = busReplyTimeoutMs;
        QVERIFY2(m_bus.start(options), qPrintable(m_bus.errorString()));
        QVERIFY(m_dir.isValid());
    }

    void cleanupTestCase() { m_bus.stop(); }

    void peerAnsweringBeforeTheDeadline()
    {
        TiedProcess peer;
        QVERIFY(startPeer(&peer, {ls::ServiceId::CommandHandler}));

        const Finished run = runClient(m_bus.address(), 4000,
                                       {clientProgram(), ls::ServiceId::CommandHandler,
                                        QStringLiteral("Slow"), QStringLiteral("--delay-ms=1500")});

        QCOMPARE(responseOf(run).value(ls::resultIdKey), QVariant(ls::ResultId::Success));
        QVERIFY2(run.elapsedMs >= 1500, qPrintable(QString::number(run.elapsedMs)));
        QCOMPARE(run.err, QByteArray());
        stop(&peer);
    }

    void silentPeerEndsAtTheDeadline_data()
    {
        addColumns<int, int>("deadlineMs", "expectedMs");

        QTest::newRow("deadline shortened to 2 s") << 2000 << 2000;
        // The variable only ever shortens the wait: a longer value leaves the 25 s.
        QTest::newRow("25 s, a longer deadline is not taken") << 90000 << 25000;
    }

    void silentPeerEndsAtTheDeadline()
    {
        QFETCH(int, deadlineMs);
        QFETCH(int, expectedMs);
        TiedProcess peer;
        QVERIFY(startPeer(&peer, {ls::ServiceId::CommandHandler}));

        const Finished run = runClient(
                m_bus.address(), deadlineMs,
                {clientProgram(), ls::ServiceId::CommandHandler, QStringLiteral("NoReply")});

        const QVariantMap response = responseOf(run);
        QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
        QCOMPARE(response.value(ls::errorIdKey), QVariant(noReply));
        QCOMPARE(response.value(ls::errorMessageKey),
                 QVariant(QStringLiteral(
                                  "No reply within %1 ms while waiting for the service's reply")
                                  .arg(expectedMs)));
        QVERIFY2(run.elapsedMs >= expectedMs, qPrintable(QString::number(run.elapsedMs)));
        QVERIFY2(run.elapsedMs < expectedMs + slackMs, qPrintable(QString::number(run.elapsedMs)));
        stop(&peer);
    }

    void stalledBusEndsAtTheDeadline_data()
    {
        addColumns<QString, QString>("mode", "phase");

        QTest::newRow("bus accepts and never authenticates")
                << QStringLiteral("silent") << QStringLiteral("authenticating with the bus");
        QTest::newRow("bus authenticates and never answers Hello")
                << QStringLiteral("auth") << QStringLiteral("waiting for the bus to answer Hello");
        QTest::newRow("bus answers Hello and never delivers the call")
                << QStringLiteral("hello") << QStringLiteral("waiting for the service's reply");
    }

    void stalledBusEndsAtTheDeadline()
    {
        QFETCH(QString, mode);
        QFETCH(QString, phase);
        TiedProcess fake;
        QString address;
        QVERIFY(startFakeBus(&fake, mode, &address));

        const Finished run = runClient(
                address, 2000,
                {clientProgram(), ls::ServiceId::CommandHandler, QStringLiteral("Echo")});

        const QVariantMap response = responseOf(run);
        QCOMPARE(response.value(ls::errorIdKey), QVariant(noReply));
        QCOMPARE(response.value(ls::errorMessageKey),
                 QVariant(QStringLiteral("No reply within 2000 ms while ") + phase));
        QVERIFY2(run.elapsedMs >= 2000, qPrintable(QString::number(run.elapsedMs)));
        QVERIFY2(run.elapsedMs < 2000 + slackMs, qPrintable(QString::number(run.elapsedMs)));
        stop(&fake);
    }

    void toolOnAStalledBus_data()
    {
        addColumns<QString, QStringList>("mode", "arguments");

        const QStringList list{QStringLiteral("-l")};
        const QStringList execute{QStringLiteral("-e"), QStringLiteral("601")};
        QTest::newRow("-l, bus never authenticates") << QStringLiteral("silent") << list;
        QTest::newRow("-l, bus never answers Hello") << QStringLiteral("auth") << list;
        QTest::newRow("-l, bus never delivers the call") << QStringLiteral("hello") << list;
        QTest::newRow("-e 601, bus never authenticates") << QStringLiteral("silent") << execute;
        QTest::newRow("-e 601, bus never delivers the call") << QStringLiteral("hello") << execute;
    }

    // Whatever stalls, the tool prints what it prints for any failed exchange: the lines of a run
    // on a bus where nobody owns the service's name, byte for byte.
    void toolOnAStalledBus()
    {
        QFETCH(QString, mode);
        QFETCH(QStringList, arguments);
        const Finished reference
                = runClient(m_bus.address(), 0, QStringList{toolProgram} + arguments);
        QVERIFY(!reference.err.isEmpty());
        TiedProcess fake;
        QString address;
        QVERIFY(startFakeBus(&fake, mode, &address));

        const Finished run = runClient(address, 2000, QStringList{toolProgram} + arguments);

        QCOMPARE(run.err, reference.err);
        QCOMPARE(run.out, QByteArray());
        QVERIFY2(run.elapsedMs >= 2000, qPrintable(QString::number(run.elapsedMs)));
        QVERIFY2(run.elapsedMs < 2000 + slackMs, qPrintable(QString::number(run.elapsedMs)));
        stop(&fake);
    }

    void toolHasOneThreadDuringACall()
    {
        TiedProcess peer;
        peer.setReadChannel(QProcess::StandardOutput);
        QVERIFY(startPeer(&peer, {ls::ServiceId::CommandHandler, QStringLiteral("--silent")}));
        TiedProcess tool;
        tool.setProcessEnvironment(environmentFor(m_bus.address(), 4000));
        tool.start(toolProgram, {QStringLiteral("-l")});
        QVERIFY(tool.waitForStarted(10000));

        // The peer says when it holds the call: the tool is then inside its wait.
        QVERIFY(peer.waitForReadyRead(10000));
        QCOMPARE(peer.readLine(), QByteArray("waiting\n"));
        const int threads = threadCount(tool.processId());

        QVERIFY(tool.waitForFinished(10000));
        QCOMPARE(threads, 1);
        stop(&peer);
    }

    void waitDoesNotSpin()
    {
        TiedProcess peer;
        peer.setReadChannel(QProcess::StandardOutput);
        QVERIFY(startPeer(&peer, {ls::ServiceId::CommandHandler}));
        TiedProcess client;
        client.setProcessEnvironment(environmentFor(m_bus.address(), 7000));
        client.start(clientProgram(), {ls::ServiceId::CommandHandler, QStringLiteral("NoReply")});
        QVERIFY(peer.waitForReadyRead(10000));
        QCOMPARE(peer.readLine(), QByteArray("waiting\n"));

        const qint64 pid = client.processId();
        const qint64 voluntaryBefore = statusField(pid, "voluntary_ctxt_switches");
        const qint64 involuntaryBefore = statusField(pid, "nonvoluntary_ctxt_switches");
        QTest::qSleep(5000);
        const qint64 voluntary = statusField(pid, "voluntary_ctxt_switches") - voluntaryBefore;
        const qint64 involuntary
                = statusField(pid, "nonvoluntary_ctxt_switches") - involuntaryBefore;
        QVERIFY(voluntaryBefore >= 0);
        QVERIFY(client.waitForFinished(10000));

        // A blocking wait wakes only when the bus speaks; a polling one wakes thousands of times.
        QVERIFY2(
                voluntary + involuntary < 50,
                qPrintable(QStringLiteral("%1 voluntary and %2 involuntary context switches in 5 s")
                                   .arg(voluntary)
                                   .arg(involuntary)));
        stop(&peer);
    }

private:
    Finished runClient(const QString &address, int deadlineMs, const QStringList &arguments)
    {
        TiedProcess client;
        client.setProcessEnvironment(environmentFor(address, deadlineMs));
        QElapsedTimer timer;
        timer.start();
        client.start(arguments.constFirst(), arguments.mid(1));
        Finished run;
        if (!client.waitForFinished(60000)) {
            qWarning() << "still running after 60 s:" << arguments;
            client.kill();
            client.waitForFinished(5000);
        }
        run.elapsedMs = timer.elapsed();
        run.out = client.readAllStandardOutput();
        run.err = client.readAllStandardError();
        return run;
    }

    bool startPeer(TiedProcess *peer, const QStringList &arguments)
    {
        peer->setProcessEnvironment(m_bus.environment());
        peer->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        peer->start(peerProgram(), arguments);
        return peer->waitForStarted(10000)
               && m_bus.waitForService(ls::busName(ls::ServiceId::CommandHandler));
    }

    bool startFakeBus(TiedProcess *fake, const QString &mode, QString *address)
    {
        const QString socket = m_dir.filePath(QStringLiteral("fake-%1").arg(mode));
        QFile::remove(socket);
        fake->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        fake->start(fakeBusProgram, {socket, mode});
        if (!fake->waitForReadyRead(10000) || fake->readLine() != "ready\n")
            return false;
        *address = QStringLiteral("unix:path=") + socket;
        return true;
    }

    TestBus m_bus;
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestDeadline)

#include "tst_deadline.moc"
