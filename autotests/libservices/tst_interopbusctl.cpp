#include "interoptest.h"

#include <QTest>

// busctl (sd-bus's own tool, with a parser and printer of its own) calls the echo peer: each value
// of interopRows() in its notation, read by our module and written back, and the values the peer
// refuses.
class TestInteropBusctl : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_peer.initTestCase(); }
    void cleanupTestCase() { m_peer.cleanupTestCase(); }

    void busctlProcess_data() { m_peer.addRows(EchoMethod::Process); }
    void busctlProcess() { m_peer.checkReply(EchoMethod::Process); }
    void busctlEchoTyped_data() { m_peer.addRows(EchoMethod::EchoTyped); }
    void busctlEchoTyped() { m_peer.checkReply(EchoMethod::EchoTyped); }

    void refused_data() { m_peer.addRefusedRows(); }
    void refused() { m_peer.checkRefused(); }

private:
    EchoPeerForTool m_peer{Tool::Busctl};
};

QTEST_GUILESS_MAIN(TestInteropBusctl)

#include "tst_interopbusctl.moc"
