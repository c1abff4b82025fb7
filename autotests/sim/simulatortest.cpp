// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "simulatortest.h"

#include "requests.h"

#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QFile>
#include <QMap>
#include <QTest>
#include <QThread>

namespace SimulatorTest {

QString simulatorPath()
{
    return QStringLiteral(SIMULATOR_PATH);
}

QString serviceName()
{
    return ls::busName(ls::ServiceId::CommandHandler);
}

QVariantMap process(const QVariantMap &request)
{
    return ls::DBusService(ls::ServiceId::CommandHandler).process(request);
}

QVariantMap execute(const QString &line)
{
    return process(Requests::commandLine(line));
}

QDBusMessage processCall(const QVariantList &arguments, const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(
            serviceName(), ls::objectPath(ls::ServiceId::CommandHandler), ls::serviceInterface,
            method.isEmpty() ? ls::processMethod : method);
    call.setArguments(arguments);
    return QDBusConnection::systemBus().call(call, QDBus::Block, timeoutMs);
}

QVariantMap failure(const QString &errorId, const QString &errorMessage)
{
    return {{ls::resultIdKey, ls::ResultId::Failure},
            {ls::errorIdKey, errorId},
            {ls::errorMessageKey, errorMessage}};
}

QVariantMap exhausted()
{
    return failure(QStringLiteral("ScriptExhausted"),
                   QStringLiteral("The script has no response left for this request"));
}

QString typeDump(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantList) {
        QStringList parts;
        for (const QVariant &element : value.toList())
            parts.append(typeDump(element));
        return QStringLiteral("QVariantList[%1]").arg(parts.join(QStringLiteral(", ")));
    }
    if (value.userType() == QMetaType::QVariantMap) {
        QStringList parts;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            parts.append(it.key() + QLatin1Char('=') + typeDump(it.value()));
        return QStringLiteral("QVariantMap{%1}").arg(parts.join(QStringLiteral(", ")));
    }
    const QString text = value.userType() == QMetaType::UChar ? QString::number(value.toUInt())
                                                              : value.toString();
    return QStringLiteral("%1(%2)").arg(QString::fromLatin1(value.typeName()), text);
}

QVariantMap pick(const QVariantMap &map, const QVariantMap &expected)
{
    QVariantMap picked;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it) {
        if (map.contains(it.key()))
            picked.insert(it.key(), map.value(it.key()));
    }
    return picked;
}

QVariant detail(const QVariantMap &answer, const QString &key)
{
    return answer.value(ls::detailsMapKey).toMap().value(key);
}

QString endOf(QProcess &process)
{
    if (!process.waitForFinished(timeoutMs) && process.state() != QProcess::NotRunning)
        return QStringLiteral("still running");
    if (process.exitStatus() == QProcess::CrashExit)
        return QStringLiteral("crashed");
    return QStringLiteral("exit status %1").arg(process.exitCode());
}

bool waitForProcessGone(qint64 pid)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
        if (!stat.open(QIODevice::ReadOnly))
            return true;
        const QByteArray fields = stat.readAll();
        if (fields.mid(fields.lastIndexOf(')') + 2, 1) == "Z")
            return true;
        QThread::msleep(10);
    }
    return false;
}

void verifyExchanges(const QList<Exchange> &exchanges)
{
    for (const Exchange &exchange : exchanges) {
        const QVariantMap answer = process(exchange.request);
        QVERIFY2(answer == exchange.answer,
                 qPrintable(QStringLiteral("%1: answered %2, expected %3")
                                    .arg(QString::fromUtf8(exchange.step), typeDump(answer),
                                         typeDump(exchange.answer))));
    }
}

void verifySteps(const QList<Step> &steps)
{
    for (const Step &step : steps) {
        const QVariantMap answer = execute(step.line);
        const QString actual
                = typeDump(pick(answer.value(ls::detailsMapKey).toMap(), step.details));
        QVERIFY2(actual == typeDump(step.details),
                 qPrintable(QStringLiteral("%1: answered %2, expected %3")
                                    .arg(step.line, typeDump(answer), typeDump(step.details))));
    }
}

} // namespace SimulatorTest

SimulatorTestCase::SimulatorTestCase() : m_simulator(m_bus, SimulatorTest::simulatorPath()) { }

SimulatorTestCase::~SimulatorTestCase() = default;

QString SimulatorTestCase::directory() const
{
    return m_dir->path();
}

QString SimulatorTestCase::filePath(const QString &name) const
{
    return m_dir->filePath(name);
}

QString SimulatorTestCase::writeFile(const QString &name, const QByteArray &content) const
{
    const QString path = filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("cannot write %s", qPrintable(path));
    return path;
}

QByteArray SimulatorTestCase::readFile(const QString &name) const
{
    QFile file(filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

bool SimulatorTestCase::startScript(const QByteArray &script, const QStringList &moreArguments)
{
    return m_simulator.start(QStringList{QStringLiteral("--script"),
                                         writeFile(QStringLiteral("script.json"), script)}
                             + moreArguments);
}

void SimulatorTestCase::initTestCase()
{
    const QString program = SimulatorTest::simulatorPath();
    QVERIFY2(QFile::exists(program), qPrintable(program));
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
    m_simulator.setForwardedOutput(true);
    qDBusRegisterMetaType<QMap<uchar, QDBusVariant>>();
}

void SimulatorTestCase::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void SimulatorTestCase::cleanup()
{
    QVERIFY(m_simulator.stop());
    m_dir.reset();
}
