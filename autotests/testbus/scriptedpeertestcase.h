// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SCRIPTEDPEERTESTCASE_H
#define SCRIPTEDPEERTESTCASE_H

#include "scriptedsimulator.h"
#include "testbus.h"

#include <QObject>
#include <QString>

// The fixture of the tests that call the tool's classes in their own process against
// command-handler-sim answering from scripts: one private bus for the test case, which this
// process uses as its system bus, and the peer on it. Every test function and row records the
// messages it logs (MessageLog) and ends with the peer stopped, so that the next row's peer is
// the one that answers.
class ScriptedPeerTestCase : public QObject
{
    Q_OBJECT

public:
    explicit ScriptedPeerTestCase(const QString &simulatorProgram);
    ~ScriptedPeerTestCase() override;

protected:
    // The objects under test, made once the bus is up and this process uses it, and deleted
    // before the bus stops. May report through QTest.
    virtual void createObjects() { }
    virtual void deleteObjects() { }

    TestBus m_bus;
    ScriptedSimulator m_peer;

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
};

#endif // SCRIPTEDPEERTESTCASE_H
