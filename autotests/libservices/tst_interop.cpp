// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Our conversion module against two D-Bus stacks that share no code with it: gdbus (GLib) and
// busctl (sd-bus's own tool, whose argument parser and printer are its own). Each tool calls the
// echo peer, which reads the value with our module and writes it back, and the tool's printout of
// the reply is compared with the text expected for it.
#include "datatable.h"
#include "interoptest.h"

#include <QStringList>
#include <QTest>
#include <QVector>

namespace {

// One value in both tools' notations with what each must print back.
struct Row
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

// 21 maps, each inside the other, a string at the bottom: the string sits at level 63.
Row mapsToLevel63()
{
    const int maps = 21;
    Row row{"a{sv}: 21 maps deep, a string at level 63", {}, {}, {}, {}, {}};
    QString text = QStringLiteral("'bottom'");
    QString json = QStringLiteral(R"({"type":"s","data":"bottom"})");
    row.busctl = QStringList{QStringLiteral("a{sv}")};
    for (int i = 0; i < maps; ++i) {
        text = QStringLiteral("{'inner': <%1>}").arg(text);
        if (i < maps - 1)
            json = QStringLiteral(R"({"type":"a{sv}","data":{"inner":%1}})").arg(json);
        // busctl writes a variant as its content's signature and the content.
        row.busctl << (i == 0 ? QStringList() : QStringList{QStringLiteral("a{sv}")})
                   << QStringLiteral("1") << QStringLiteral("inner");
    }
    row.busctl << QStringLiteral("s") << QStringLiteral("bottom");
    row.gvariant = QStringList{text};
    row.gdbusProcess = QStringLiteral("(%1,)").arg(text);
    row.busctlProcess = QStringLiteral(R"({"type":"a{sv}","data":[{"inner":%1}]})").arg(json);
    row.busctlTyped = row.busctlProcess;
    return row;
}

// A map inside the top-level map, holding 29 lists each inside the other, a string at the bottom:
// the string sits at level 64, the deepest the bus lets through.
Row listsToLevel64()
{
    const int lists = 29;
    Row row{"a{sv}: a map of 29 lists, a string at level 64", {}, {}, {}, {}, {}};
    QString text = QStringLiteral("'bottom'");
    QString json = QStringLiteral(R"({"type":"s","data":"bottom"})");
    QStringList listArguments;
    for (int i = 0; i < lists; ++i) {
        text = QStringLiteral("[<%1>]").arg(text);
        json = QStringLiteral(R"({"type":"av","data":[%1]})").arg(json);
        listArguments << QStringLiteral("av") << QStringLiteral("1");
    }
    text = QStringLiteral("{'inner': <{'inner': <%1>}>}").arg(text);
    json = QStringLiteral(R"({"inner":{"type":"a{sv}","data":{"inner":%1}}})").arg(json);
    row.gvariant = QStringList{text};
    row.gdbusProcess = QStringLiteral("(%1,)").arg(text);
    row.busctl = QStringList{QStringLiteral("a{sv}"), QStringLiteral("1"), QStringLiteral("inner"),
                             QStringLiteral("a{sv}"), QStringLiteral("1"), QStringLiteral("inner")}
                 + listArguments + QStringList{QStringLiteral("s"), QStringLiteral("bottom")};
    row.busctlProcess = QStringLiteral(R"({"type":"a{sv}","data":[%1]})").arg(json);
    row.busctlTyped = row.busctlProcess;
    return row;
}

QVector<Row> rows()
{
    const QString awkward = QString::fromUtf8("a\tb\n\"q\" it's åäö 😀 \\");
    const QString awkwardGVariant = QString::fromUtf8("\"a\\tb\\n\\\"q\\\" it's åäö 😀 \\\\\"");
    const QString awkwardJson = QString::fromUtf8(
            "{\"type\":\"s\",\"data\":[\"a\\tb\\n\\\"q\\\" it's åäö 😀 \\\\\"]}");
    return {
            {"s: tab, line break, quotes, non-ASCII, emoji, backslash",
             {awkwardGVariant},
             QStringLiteral("(%1,)").arg(awkwardGVariant),
             {QStringLiteral("s"), awkward},
             awkwardJson,
             awkwardJson},
            {"s: empty",
             {QStringLiteral("''")},
             QStringLiteral("('',)"),
             {QStringLiteral("s"), QString()},
             QStringLiteral(R"({"type":"s","data":[""]})"),
             QStringLiteral(R"({"type":"s","data":[""]})")},
            {"i: minimum",
             {QStringLiteral("-2147483648")},
             QStringLiteral("(-2147483648,)"),
             {QStringLiteral("i"), QStringLiteral("-2147483648")},
             QStringLiteral(R"({"type":"i","data":[-2147483648]})"),
             QStringLiteral(R"({"type":"i","data":[-2147483648]})")},
            {"i: maximum",
             {QStringLiteral("2147483647")},
             QStringLiteral("(2147483647,)"),
             {QStringLiteral("i"), QStringLiteral("2147483647")},
             QStringLiteral(R"({"type":"i","data":[2147483647]})"),
             QStringLiteral(R"({"type":"i","data":[2147483647]})")},
            {"b: true",
             {QStringLiteral("true")},
             QStringLiteral("(true,)"),
             {QStringLiteral("b"), QStringLiteral("true")},
             QStringLiteral(R"({"type":"b","data":[true]})"),
             QStringLiteral(R"({"type":"b","data":[true]})")},
            {"b: false",
             {QStringLiteral("false")},
             QStringLiteral("(false,)"),
             {QStringLiteral("b"), QStringLiteral("false")},
             QStringLiteral(R"({"type":"b","data":[false]})"),
             QStringLiteral(R"({"type":"b","data":[false]})")},
            {"d: whole number stays a double",
             {QStringLiteral("2.0")},
             QStringLiteral("(2.0,)"),
             {QStringLiteral("d"), QStringLiteral("2.0")},
             QStringLiteral(R"({"type":"d","data":[2.000000000000000000000e+00]})"),
             QStringLiteral(R"({"type":"d","data":[2.000000000000000000000e+00]})")},
            // Printed with all 17 digits by gdbus: every bit must have come back.
            {"d: -0.1",
             {QStringLiteral("-0.10000000000000001")},
             QStringLiteral("(-0.10000000000000001,)"),
             {QStringLiteral("d"), QStringLiteral("-0.1")},
             QStringLiteral(R"({"type":"d","data":[-1.000000000000000055511e-01]})"),
             QStringLiteral(R"({"type":"d","data":[-1.000000000000000055511e-01]})")},
            {"u: maximum",
             {QStringLiteral("uint32 4294967295")},
             QStringLiteral("(uint32 4294967295,)"),
             {QStringLiteral("u"), QStringLiteral("4294967295")},
             QStringLiteral(R"({"type":"u","data":[4294967295]})"),
             QStringLiteral(R"({"type":"u","data":[4294967295]})")},
            {"x: minimum",
             {QStringLiteral("int64 -9223372036854775808")},
             QStringLiteral("(int64 -9223372036854775808,)"),
             {QStringLiteral("x"), QStringLiteral("-9223372036854775808")},
             QStringLiteral(R"({"type":"x","data":[-9223372036854775808]})"),
             QStringLiteral(R"({"type":"x","data":[-9223372036854775808]})")},
            {"x: maximum",
             {QStringLiteral("int64 9223372036854775807")},
             QStringLiteral("(int64 9223372036854775807,)"),
             {QStringLiteral("x"), QStringLiteral("9223372036854775807")},
             QStringLiteral(R"({"type":"x","data":[9223372036854775807]})"),
             QStringLiteral(R"({"type":"x","data":[9223372036854775807]})")},
            {"t: maximum",
             {QStringLiteral("uint64 18446744073709551615")},
             QStringLiteral("(uint64 18446744073709551615,)"),
             {QStringLiteral("t"), QStringLiteral("18446744073709551615")},
             QStringLiteral(R"({"type":"t","data":[18446744073709551615]})"),
             QStringLiteral(R"({"type":"t","data":[18446744073709551615]})")},
            {"n: minimum",
             {QStringLiteral("int16 -32768")},
             QStringLiteral("(int16 -32768,)"),
             {QStringLiteral("n"), QStringLiteral("-32768")},
             QStringLiteral(R"({"type":"n","data":[-32768]})"),
             QStringLiteral(R"({"type":"n","data":[-32768]})")},
            {"q: maximum",
             {QStringLiteral("uint16 65535")},
             QStringLiteral("(uint16 65535,)"),
             {QStringLiteral("q"), QStringLiteral("65535")},
             QStringLiteral(R"({"type":"q","data":[65535]})"),
             QStringLiteral(R"({"type":"q","data":[65535]})")},
            {"y: 255",
             {QStringLiteral("byte 0xff")},
             QStringLiteral("(byte 0xff,)"),
             {QStringLiteral("y"), QStringLiteral("255")},
             QStringLiteral(R"({"type":"y","data":[255]})"),
             QStringLiteral(R"({"type":"y","data":[255]})")},
            {"as: read as a list, written back as av",
             {QStringLiteral("['a', 'b c', '']")},
             QStringLiteral("([<'a'>, <'b c'>, <''>],)"),
             {QStringLiteral("as"), QStringLiteral("3"), QStringLiteral("a"), QStringLiteral("b c"),
              QString()},
             QStringLiteral(R"({"type":"av","data":[[{"type":"s","data":"a"},)"
                            R"({"type":"s","data":"b c"},{"type":"s","data":""}]]})"),
             QStringLiteral(R"({"type":"as","data":[["a","b c",""]]})")},
            {"as: empty",
             {QStringLiteral("@as []")},
             QStringLiteral("(@av [],)"),
             {QStringLiteral("as"), QStringLiteral("0")},
             QStringLiteral(R"({"type":"av","data":[[]]})"),
             QStringLiteral(R"({"type":"as","data":[[]]})")},
            {"ay: bytes read as a list, written back as av",
             {QStringLiteral("[byte 0x00, 0x41, 0xff]")},
             QStringLiteral("([<byte 0x00>, <byte 0x41>, <byte 0xff>],)"),
             {QStringLiteral("ay"), QStringLiteral("3"), QStringLiteral("0"), QStringLiteral("65"),
              QStringLiteral("255")},
             QStringLiteral(R"({"type":"av","data":[[{"type":"y","data":0},)"
                            R"({"type":"y","data":65},{"type":"y","data":255}]]})"),
             QStringLiteral(R"({"type":"ay","data":[[0,65,255]]})")},
            {"av: mixed kinds",
             {QStringLiteral("[<1>, <'two'>, <3.0>, <true>, <['x']>, <{'k': <int64 5>}>, "
                             "<byte 0x07>]")},
             QStringLiteral("([<1>, <'two'>, <3.0>, <true>, <[<'x'>]>, <{'k': <int64 5>}>, "
                            "<byte 0x07>],)"),
             {QStringLiteral("av"),   QStringLiteral("7"),     QStringLiteral("i"),
              QStringLiteral("1"),    QStringLiteral("s"),     QStringLiteral("two"),
              QStringLiteral("d"),    QStringLiteral("3.0"),   QStringLiteral("b"),
              QStringLiteral("true"), QStringLiteral("as"),    QStringLiteral("1"),
              QStringLiteral("x"),    QStringLiteral("a{sv}"), QStringLiteral("1"),
              QStringLiteral("k"),    QStringLiteral("x"),     QStringLiteral("5"),
              QStringLiteral("y"),    QStringLiteral("7")},
             QStringLiteral(
                     R"({"type":"av","data":[[{"type":"i","data":1},{"type":"s","data":"two"},)"
                     R"({"type":"d","data":3.000000000000000000000e+00},)"
                     R"({"type":"b","data":true},{"type":"av","data":[{"type":"s","data":"x"}]},)"
                     R"({"type":"a{sv}","data":{"k":{"type":"x","data":5}}},)"
                     R"({"type":"y","data":7}]]})"),
             QStringLiteral(
                     R"({"type":"av","data":[[{"type":"i","data":1},{"type":"s","data":"two"},)"
                     R"({"type":"d","data":3.000000000000000000000e+00},)"
                     R"({"type":"b","data":true},{"type":"as","data":["x"]},)"
                     R"({"type":"a{sv}","data":{"k":{"type":"x","data":5}}},)"
                     R"({"type":"y","data":7}]]})")},
            {"av: empty",
             {QStringLiteral("@av []")},
             QStringLiteral("(@av [],)"),
             {QStringLiteral("av"), QStringLiteral("0")},
             QStringLiteral(R"({"type":"av","data":[[]]})"),
             QStringLiteral(R"({"type":"av","data":[[]]})")},
            // Process answers with the keys in order; EchoTyped keeps the order they came in.
            {"a{sv}: a map in a list in a map",
             {QStringLiteral("{'list': <[<{'inner': <'deep'>, 'n': <7>}>, <2>]>, 'a': <false>}")},
             QStringLiteral("({'a': <false>, 'list': <[<{'inner': <'deep'>, 'n': <7>}>, <2>]>},)"),
             {QStringLiteral("a{sv}"), QStringLiteral("2"), QStringLiteral("list"),
              QStringLiteral("av"), QStringLiteral("2"), QStringLiteral("a{sv}"),
              QStringLiteral("2"), QStringLiteral("inner"), QStringLiteral("s"),
              QStringLiteral("deep"), QStringLiteral("n"), QStringLiteral("i"), QStringLiteral("7"),
              QStringLiteral("i"), QStringLiteral("2"), QStringLiteral("a"), QStringLiteral("b"),
              QStringLiteral("false")},
             QStringLiteral(R"({"type":"a{sv}","data":[{"a":{"type":"b","data":false},)"
                            R"("list":{"type":"av","data":[{"type":"a{sv}","data":)"
                            R"({"inner":{"type":"s","data":"deep"},"n":{"type":"i","data":7}}},)"
                            R"({"type":"i","data":2}]}}]})"),
             QStringLiteral(R"({"type":"a{sv}","data":[{"list":{"type":"av","data":[)"
                            R"({"type":"a{sv}","data":{"inner":{"type":"s","data":"deep"},)"
                            R"("n":{"type":"i","data":7}}},{"type":"i","data":2}]},)"
                            R"("a":{"type":"b","data":false}}]})")},
            {"a{sv}: the contract's example request",
             {QStringLiteral("{'commandId': <'HandleCommand'>, 'subCommandId': <603>, "
                             "'senderId': <'CommandHandler'>, 'args': <[<'hello'>]>}")},
             QStringLiteral("({'args': <[<'hello'>]>, 'commandId': <'HandleCommand'>, "
                            "'senderId': <'CommandHandler'>, 'subCommandId': <603>},)"),
             {QStringLiteral("a{sv}"), QStringLiteral("4"), QStringLiteral("commandId"),
              QStringLiteral("s"), QStringLiteral("HandleCommand"), QStringLiteral("subCommandId"),
              QStringLiteral("i"), QStringLiteral("603"), QStringLiteral("senderId"),
              QStringLiteral("s"), QStringLiteral("CommandHandler"), QStringLiteral("args"),
              QStringLiteral("av"), QStringLiteral("1"), QStringLiteral("s"),
              QStringLiteral("hello")},
             QStringLiteral(R"({"type":"a{sv}","data":[{"args":{"type":"av","data":)"
                            R"([{"type":"s","data":"hello"}]},)"
                            R"("commandId":{"type":"s","data":"HandleCommand"},)"
                            R"("senderId":{"type":"s","data":"CommandHandler"},)"
                            R"("subCommandId":{"type":"i","data":603}}]})"),
             QStringLiteral(R"({"type":"a{sv}","data":[{)"
                            R"("commandId":{"type":"s","data":"HandleCommand"},)"
                            R"("subCommandId":{"type":"i","data":603},)"
                            R"("senderId":{"type":"s","data":"CommandHandler"},)"
                            R"("args":{"type":"av","data":[{"type":"s","data":"hello"}]}}]})")},
            {"a{sv}: empty",
             {QStringLiteral("@a{sv} {}")},
             QStringLiteral("(@a{sv} {},)"),
             {QStringLiteral("a{sv}"), QStringLiteral("0")},
             QStringLiteral(R"({"type":"a{sv}","data":[{}]})"),
             QStringLiteral(R"({"type":"a{sv}","data":[{}]})")},
            mapsToLevel63(),
            listsToLevel64(),
            {"o: read as text",
             {QStringLiteral("objectpath '/a/b_1'")},
             QStringLiteral("('/a/b_1',)"),
             {QStringLiteral("o"), QStringLiteral("/a/b_1")},
             QStringLiteral(R"({"type":"s","data":["/a/b_1"]})"),
             QStringLiteral(R"({"type":"o","data":["/a/b_1"]})")},
            {"g: read as text",
             {QStringLiteral("signature 'a{sv}(is)'")},
             QStringLiteral("('a{sv}(is)',)"),
             {QStringLiteral("g"), QStringLiteral("a{sv}(is)")},
             QStringLiteral(R"j({"type":"s","data":["a{sv}(is)"]})j"),
             QStringLiteral(R"j({"type":"g","data":["a{sv}(is)"]})j")},
            {"(is): a struct, read as a list",
             {QStringLiteral("(7, 'seven')")},
             QStringLiteral("([<7>, <'seven'>],)"),
             {QStringLiteral("(is)"), QStringLiteral("7"), QStringLiteral("seven")},
             QStringLiteral(
                     R"({"type":"av","data":[[{"type":"i","data":7},{"type":"s","data":"seven"}]]})"),
             QStringLiteral(R"j({"type":"(is)","data":[[7,"seven"]]})j")},
            {"a{is}: keys read as their decimal number",
             {QStringLiteral("{1: 'one', -5: 'minus'}")},
             QStringLiteral("({'-5': <'minus'>, '1': <'one'>},)"),
             {QStringLiteral("a{is}"), QStringLiteral("2"), QStringLiteral("1"),
              QStringLiteral("one"), QStringLiteral("-5"), QStringLiteral("minus")},
             QStringLiteral(R"({"type":"a{sv}","data":[{"-5":{"type":"s","data":"minus"},)"
                            R"("1":{"type":"s","data":"one"}}]})"),
             QStringLiteral(R"(a{is} 2 1 "one" -5 "minus")"),
             true},
            {"a{ys}: byte keys read as their number, not a character",
             {QStringLiteral("{byte 0x41: 'A', 0x0a: 'newline'}")},
             QStringLiteral("({'10': <'newline'>, '65': <'A'>},)"),
             {QStringLiteral("a{ys}"), QStringLiteral("2"), QStringLiteral("65"),
              QStringLiteral("A"), QStringLiteral("10"), QStringLiteral("newline")},
             QStringLiteral(R"({"type":"a{sv}","data":[{"10":{"type":"s","data":"newline"},)"
                            R"("65":{"type":"s","data":"A"}}]})"),
             QStringLiteral(R"(a{ys} 2 65 "A" 10 "newline")"),
             true},
            {"a{bs}: keys read as true and false",
             {QStringLiteral("{true: 't', false: 'f'}")},
             QStringLiteral("({'false': <'f'>, 'true': <'t'>},)"),
             {QStringLiteral("a{bs}"), QStringLiteral("2"), QStringLiteral("true"),
              QStringLiteral("t"), QStringLiteral("false"), QStringLiteral("f")},
             QStringLiteral(R"({"type":"a{sv}","data":[{"false":{"type":"s","data":"f"},)"
                            R"("true":{"type":"s","data":"t"}}]})"),
             QStringLiteral(R"(a{bs} 2 true "t" false "f")"),
             true},
            {"ai: read as a list",
             {QStringLiteral("[1, -2]")},
             QStringLiteral("([<1>, <-2>],)"),
             {QStringLiteral("ai"), QStringLiteral("2"), QStringLiteral("1"), QStringLiteral("-2")},
             QStringLiteral(
                     R"({"type":"av","data":[[{"type":"i","data":1},{"type":"i","data":-2}]]})"),
             QStringLiteral(R"({"type":"ai","data":[[1,-2]]})")},
            {"v: a variant in a variant, read as its content",
             {QStringLiteral("<<5>>")},
             QStringLiteral("(5,)"),
             {QStringLiteral("v"), QStringLiteral("v"), QStringLiteral("i"), QStringLiteral("5")},
             QStringLiteral(R"({"type":"i","data":[5]})"),
             QStringLiteral(R"({"type":"v","data":[{"type":"v","data":{"type":"i","data":5}}]})")},
            {"a(sa{sv}): typed containers inside each other",
             {QStringLiteral("[('k', {'x': <[[byte 0x01], []]>})]")},
             QStringLiteral("([<[<'k'>, <{'x': <[<[<byte 0x01>]>, <@av []>]>}>]>],)"),
             {QStringLiteral("a(sa{sv})"), QStringLiteral("1"), QStringLiteral("k"),
              QStringLiteral("1"), QStringLiteral("x"), QStringLiteral("aay"), QStringLiteral("2"),
              QStringLiteral("1"), QStringLiteral("1"), QStringLiteral("0")},
             QStringLiteral(R"({"type":"av","data":[[{"type":"av","data":[{"type":"s","data":"k"},)"
                            R"({"type":"a{sv}","data":{"x":{"type":"av","data":[{"type":"av",)"
                            R"("data":[{"type":"y","data":1}]},{"type":"av","data":[]}]}}}]}]]})"),
             QStringLiteral(R"j({"type":"a(sa{sv})","data":[[["k",{"x":{"type":"aay",)j"
                            R"("data":[[1],[]]}}]]]})")},
            {"several arguments",
             {QStringLiteral("'x'"), QStringLiteral("7"), QStringLiteral("objectpath '/'")},
             QString(),
             {QStringLiteral("sio"), QStringLiteral("x"), QStringLiteral("7"), QStringLiteral("/")},
             QString(),
             QStringLiteral(R"({"type":"sio","data":["x",7,"/"]})")},
            {"no arguments", {}, QString(), {QString()}, QString(), QString()},
    };
}

} // namespace

class TestInterop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_peer.initTestCase(); }
    void cleanupTestCase() { m_peer.cleanupTestCase(); }

    void gdbusProcess_data() { addRows(EchoMethod::Process, Tool::Gdbus); }
    void gdbusProcess() { checkReply(EchoMethod::Process, Tool::Gdbus); }
    void gdbusEchoTyped_data() { addRows(EchoMethod::EchoTyped, Tool::Gdbus); }
    void gdbusEchoTyped() { checkReply(EchoMethod::EchoTyped, Tool::Gdbus); }
    void busctlProcess_data() { addRows(EchoMethod::Process, Tool::Busctl); }
    void busctlProcess() { checkReply(EchoMethod::Process, Tool::Busctl); }
    void busctlEchoTyped_data() { addRows(EchoMethod::EchoTyped, Tool::Busctl); }
    void busctlEchoTyped() { checkReply(EchoMethod::EchoTyped, Tool::Busctl); }

    void refused_data()
    {
        addColumns<int, int, QStringList, QString>("tool", "method", "arguments", "expectedError");

        const auto gdbus = int(Tool::Gdbus);
        const auto busctl = int(Tool::Busctl);
        const auto process = int(EchoMethod::Process);
        const auto echoTyped = int(EchoMethod::EchoTyped);
        const QString gdbusError
                = QStringLiteral("Error: GDBus.Error:org.freedesktop.DBus.Error.InvalidArgs: %1\n");
        const QString busctlError = QStringLiteral("Call failed: %1\n");
        const QString readRefused = QStringLiteral("reading of argument 1: NoDBusForm");
        const QString writeRefused = QStringLiteral("writing of argument 1: NoDBusForm");

        // gdbus sends its own descriptor 0 for "handle 0".
        QTest::newRow("gdbus: h to Process, no plain form")
                << gdbus << process << QStringList{QStringLiteral("handle 0")}
                << gdbusError.arg(readRefused);
        // gdbus attaches descriptors for arguments of type h only: a nested handle refers to none.
        QTest::newRow("gdbus: h inside a{sv} to Process, no descriptor attached")
                << gdbus << process << QStringList{QStringLiteral("{'fd': <handle 0>}")}
                << gdbusError.arg(QStringLiteral("reading of argument 1: Malformed"));
        // Read as a record, but a descriptor cannot be sent on.
        QTest::newRow("gdbus: h to EchoTyped, not sent on")
                << gdbus << echoTyped << QStringList{QStringLiteral("handle 0")}
                << gdbusError.arg(writeRefused);
        QTest::newRow("busctl: h to Process, no plain form")
                << busctl << process << QStringList{QStringLiteral("h"), QStringLiteral("0")}
                << busctlError.arg(readRefused);
        QTest::newRow("busctl: h to EchoTyped, not sent on")
                << busctl << echoTyped << QStringList{QStringLiteral("h"), QStringLiteral("0")}
                << busctlError.arg(writeRefused);
    }

    void refused()
    {
        QFETCH(int, tool);
        QFETCH(int, method);
        QFETCH(QStringList, arguments);
        QFETCH(QString, expectedError);
        if (m_peer.skipWithout(Tool(tool)))
            return;

        const ToolRun result = m_peer.run(Tool(tool), EchoMethod(method), arguments, false);
        QVERIFY2(result.problem.isEmpty(), qPrintable(result.problem));
        const QString err = QString::fromUtf8(result.err);
        if (Tool(tool) == Tool::Busctl && result.exitCode != 0
            && err.contains(QLatin1String("not supported"))) {
            QSKIP(qPrintable(QStringLiteral("this busctl cannot send a file descriptor: ")
                             + err.trimmed()));
        }
        QVERIFY2(result.exitCode != 0,
                 qPrintable(QStringLiteral("accepted, printed: ") + QString::fromUtf8(result.out)));
        QVERIFY2(result.out.isEmpty(), result.out.constData());
        QCOMPARE(err, expectedError);
    }

private:
    void addRows(EchoMethod method, Tool tool)
    {
        addColumns<QStringList, QString, bool>("arguments", "expected", "json");

        for (const Row &row : rows()) {
            // Process takes exactly one argument.
            if (method == EchoMethod::Process && row.gvariant.size() != 1)
                continue;
            if (tool == Tool::Gdbus) {
                const QString typed
                        = row.gvariant.size() == 1
                                  ? QStringLiteral("(%1,)").arg(row.gvariant.constFirst())
                                  : QLatin1Char('(') + row.gvariant.join(QStringLiteral(", "))
                                            + QLatin1Char(')');
                QTest::newRow(row.name)
                        << row.gvariant
                        << (method == EchoMethod::Process ? row.gdbusProcess : typed) << false;
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

    void checkReply(EchoMethod method, Tool tool)
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, expected);
        QFETCH(bool, json);
        if (m_peer.skipWithout(tool))
            return;

        const ToolRun result = m_peer.run(tool, method, arguments, json);
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

    EchoPeer m_peer;
};

QTEST_GUILESS_MAIN(TestInterop)

#include "tst_interop.moc"
