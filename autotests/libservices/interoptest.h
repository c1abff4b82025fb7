#ifndef INTEROPTEST_H
#define INTEROPTEST_H

#include <testbus.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

// Our conversion module against two D-Bus stacks that share no code with it: gdbus (GLib) and
// busctl (sd-bus's own tool, whose argument parser and printer are its own). Each tool calls the
// echo peer, which reads the value with our module and writes it back, and the tool's printout of
// the reply is compared with the text expected for it.

// One value in both tools' notations with what each must print back.
struct InteropRow
{
    const char *name;
    // The arguments as gdbus prints them, so that EchoTyped must print them back unchanged.
    QStringList gvariant;
    // gdbus's printout of Process's reply, the value's plain conversion.
    QString gdbusProcess;
    // The signature and the arguments in busctl's notation.
    QStringList busctl;
    // busctl's JSON printout of Process's reply.
    QString busctlProcess;
    // busctl's printout of EchoTyped's reply: JSON, or its text notation when typedAsText.
    QString busctlTyped;
    // busctl's JSON has no form for a dictionary whose keys are not text.
    bool typedAsText = false;
};

QVector<InteropRow> interopRows();

// Process reads its argument plain, EchoTyped keeping every D-Bus type.
enum class EchoMethod { Process, EchoTyped };
enum class Tool { Gdbus, Busctl };

// The echo peer on a private bus, called by one of the tools. Call initTestCase() and
// cleanupTestCase() from the test slots of the same name, the others from data-driven slots.
class EchoPeerForTool
{
public:
    explicit EchoPeerForTool(Tool tool) : m_tool(tool) { }

    void initTestCase();
    void cleanupTestCase();

    // The rows of interopRows() in the tool's notation, and the check of one of them.
    void addRows(EchoMethod method) const;
    void checkReply(EchoMethod method);
    // Values the peer answers with an error, and the check of one of them.
    void addRefusedRows() const;
    void checkRefused();

private:
    struct ToolRun
    {
        // Empty when the tool ran to its end.
        QString problem;
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };

    bool skipWithoutTool() const;
    ToolRun run(EchoMethod method, const QStringList &arguments, bool json) const;

    const Tool m_tool;
    QString m_program;
    TestBus m_bus;
    TiedProcess m_peer;
};

#endif // INTEROPTEST_H
