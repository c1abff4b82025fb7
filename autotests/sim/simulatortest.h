// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SIMULATORTEST_H
#define SIMULATORTEST_H

#include "scriptedsimulator.h"
#include "testbus.h"

#include <QByteArray>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>
#include <QVariantMap>

#include <memory>

// What the end-to-end tests of command-handler-sim share: the program, calls of its service
// through the library and through QtDBus, and the answers they compare with.
namespace SimulatorTest {

constexpr int timeoutMs = 10000;

QString simulatorPath();
QString serviceName();

// One exchange through the library, on this process's system bus.
QVariantMap process(const QVariantMap &request);
// A command line as the operator types it ("302 1 Hello world"), through the library.
QVariantMap execute(const QString &line);
// A call through QtDBus with any arguments, of any method of the service's interface.
QDBusMessage processCall(const QVariantList &arguments, const QString &method = QString());

QVariantMap failure(const QString &errorId, const QString &errorMessage);
// What the scripted simulator answers once its responses are used up.
QVariantMap exhausted();

// A value with the Qt type of every part, so that a test sees int from uint and a list of
// strings from a list of variants: "uint(7)", "QVariantList[int(1), QString(a)]".
QString typeDump(const QVariant &value);
// The entries of the map that the expected one names, so that a test can leave out the ones
// that change from run to run (times, versions).
QVariantMap pick(const QVariantMap &map, const QVariantMap &expected);
// The result field of a HandleCommand answer.
QVariant detail(const QVariantMap &answer, const QString &key);

// Waits for the process to end: "exit status N" once it has ended on its own, "crashed" or
// "still running".
QString endOf(QProcess &process);

// True once the process is gone; a zombie left to a parent that does not reap counts as gone.
bool waitForProcessGone(qint64 pid);

// One request of a scenario and the whole answer it must get.
struct Exchange
{
    const char *step;
    QVariantMap request;
    QVariantMap answer;
};
// Sends the exchanges in order; the first answer that differs fails the test, naming its step.
void verifyExchanges(const QList<Exchange> &exchanges);

// One command line of a scenario on the simulated device and the result fields its answer must
// hold (others may be there too).
struct Step
{
    QString line;
    QVariantMap details;
};
// Executes the steps in order; the first whose result fields differ fails the test.
void verifySteps(const QList<Step> &steps);

} // namespace SimulatorTest

// The fixture of the end-to-end tests: one private bus for the test case, which this process
// uses as its system bus, command-handler-sim on it with its output forwarded to the test's, and
// a fresh folder for every test function and row. The simulator is stopped after each.
class SimulatorTestCase : public QObject
{
    Q_OBJECT

public:
    SimulatorTestCase();
    ~SimulatorTestCase() override;

protected:
    // The test's folder, new for every test function and row.
    QString directory() const;
    QString filePath(const QString &name) const;
    QString writeFile(const QString &name, const QByteArray &content) const;
    QByteArray readFile(const QString &name) const;
    // The simulator answering from the script (JSON text), with more options after it.
    bool startScript(const QByteArray &script, const QStringList &moreArguments = {});

    TestBus m_bus;
    ScriptedSimulator m_simulator;

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_bus.stop(); }
    void init();
    void cleanup();

private:
    std::unique_ptr<QTemporaryDir> m_dir;
};

#endif // SIMULATORTEST_H
