// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "scriptedpeertestcase.h"

#include "messagelog.h"

#include <QTest>

ScriptedPeerTestCase::ScriptedPeerTestCase(const QString &simulatorProgram)
    : m_peer(m_bus, simulatorProgram)
{ }

ScriptedPeerTestCase::~ScriptedPeerTestCase() = default;

void ScriptedPeerTestCase::initTestCase()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_bus.exportToProcess();
    createObjects();
}

void ScriptedPeerTestCase::cleanupTestCase()
{
    deleteObjects();
    m_peer.stop();
    m_bus.stop();
}

void ScriptedPeerTestCase::init()
{
    MessageLog::install();
}

void ScriptedPeerTestCase::cleanup()
{
    MessageLog::reset();
    m_peer.stop();
}
