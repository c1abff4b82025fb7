// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "simulatortest.h"
#include "testbus.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

namespace {
const char fakeBusProgram[] = FAKEBUS_BIN;
}

// A bus whose policy leaves the simulator out, or that never answers it: the simulator must say
// why in one line and end with status 1 within a second or so, never wait out a call's time-out
// nor abort.
class TestSimulatorBusPolicy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refused_data()
    {
        // A bus with the policy rules, or else the fake bus in the given mode.
        addColumns<QString, QString, QByteArray>("policyRules", "fakeBusMode",
                                                 "standardErrorStart");

        const QByteArray cannotOwn("command-handler-sim: cannot own se.tarnvik.CommandHandler: ");
        const QByteArray noAnswer = cannotOwn + "the bus did not answer within 1000 ms\n";
        QTest::newRow("the bus lets nobody own the name")
                << QStringLiteral("<deny own=\"se.tarnvik.CommandHandler\"/>") << QString()
                << cannotOwn + "Connection \":1.0\" is not allowed to own the service";
        QTest::newRow("the bus keeps its replies from the simulator")
                << QStringLiteral("<deny receive_type=\"method_return\" "
                                  "receive_requested_reply=\"true\"/>")
                << QString() << QByteArray("command-handler-sim: cannot connect to the bus at ");
        QTest::newRow("a bus that never authenticates")
                << QString() << QStringLiteral("silent") << noAnswer;
        QTest::newRow("a bus that never answers hello")
                << QString() << QStringLiteral("auth") << noAnswer;
        QTest::newRow("a bus that never answers the name request")
                << QString() << QStringLiteral("hello") << noAnswer;
    }

    void refused()
    {
        QFETCH(QString, policyRules);
        QFETCH(QString, fakeBusMode);
        QFETCH(QByteArray, standardErrorStart);

        TestBus bus;
        TiedProcess fakeBus;
        QTemporaryDir directory;
        QString address;
        if (fakeBusMode.isEmpty()) {
            TestBus::Options options;
            options.policyRules = policyRules;
            QVERIFY2(bus.start(options), qPrintable(bus.errorString()));
            address = bus.address();
        } else {
            QVERIFY(directory.isValid());
            const QString socket = directory.filePath(QStringLiteral("bus"));
            fakeBus.start(QString::fromUtf8(fakeBusProgram), {socket, fakeBusMode});
            QVERIFY(fakeBus.waitForReadyRead(5000));
            QCOMPARE(fakeBus.readLine(), QByteArray("ready\n"));
            address = QStringLiteral("unix:path=") + socket;
        }

        TiedProcess simulator;
        QElapsedTimer clock;
        clock.start();
        simulator.start(SimulatorTest::simulatorPath(), {QStringLiteral("--bus-address"), address});
        QVERIFY2(simulator.waitForStarted(), qPrintable(simulator.errorString()));
        // Far below a call's 25 s time-out; the start-up itself allows 1 s.
        QVERIFY2(simulator.waitForFinished(5000), "the simulator is still running");
        const qint64 elapsedMs = clock.elapsed();

        QCOMPARE(simulator.exitStatus(), QProcess::NormalExit);
        QCOMPARE(simulator.exitCode(), 1);
        const QByteArray standardError = simulator.readAllStandardError();
        QVERIFY2(standardError.startsWith(standardErrorStart), standardError.constData());
        QCOMPARE(standardError.count('\n'), 1);
        QVERIFY2(standardError.endsWith('\n'), standardError.constData());
        QCOMPARE(simulator.readAllStandardOutput(), QByteArray());
        qInfo("ended after %lld ms", elapsedMs);
    }
};

QTEST_GUILESS_MAIN(TestSimulatorBusPolicy)
#include "tst_simulator_buspolicy.moc"
