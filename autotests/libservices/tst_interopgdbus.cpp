#include "interoptest.h"

#include <QTest>

// gdbus (GLib) calls the echo peer: each value of interopRows() in its notation, read
// by our module and written back, and the values the peer refuses.
class TestInteropGdbus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_peer.initTestCase(); }
    void cleanupTestCase() { m_peer.cleanupTestCase(); }

    void gdbusProcess_data() { m_peer.addRows(EchoMethod::Process); }
    void gdbusProcess() { m_peer.checkReply(EchoMethod::Process); }
    void gdbusEchoTyped_data() { m_peer.addRows(EchoMethod::EchoTyped); }
    void gdbusEchoTyped() { m_peer.checkReply(EchoMethod::EchoTyped); }

    void refused_data() { m_peer.addRefusedRows(); }
    void refused() { m_peer.checkRefused(); }

private:
    EchoPeerForTool m_peer{Tool::Gdbus};
};

QTEST_GUILESS_MAIN(TestInteropGdbus)

#include "tst_interopgdbus.moc"
