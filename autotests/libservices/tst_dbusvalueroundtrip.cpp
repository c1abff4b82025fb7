// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"

#include <QTest>

#include <limits>

// Values written into a message and read back from it, plain and keeping every D-Bus type.
class TestDBusValueRoundTrip : public DBusValueTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void plainRoundTrip_data()
    {
        addColumns<QVariant, QString, QVariant>("value", "signature", "expected");

        QTest::newRow("bool true") << QVariant(true) << "b" << QVariant(true);
        QTest::newRow("bool false") << QVariant(false) << "b" << QVariant(false);
        QTest::newRow("uchar 0") << byte(0) << "y" << byte(0);
        QTest::newRow("uchar 255") << byte(255) << "y" << byte(255);
        QTest::newRow("short min") << QVariant::fromValue(std::numeric_limits<short>::min()) << "n"
                                   << QVariant::fromValue(std::numeric_limits<short>::min());
        QTest::newRow("short max") << QVariant::fromValue(std::numeric_limits<short>::max()) << "n"
                                   << QVariant::fromValue(std::numeric_limits<short>::max());
        QTest::newRow("ushort max")
                << QVariant::fromValue(std::numeric_limits<ushort>::max()) << "q"
                << QVariant::fromValue(std::numeric_limits<ushort>::max());
        QTest::newRow("int 0") << QVariant(0) << "i" << QVariant(0);
        QTest::newRow("int -7") << QVariant(-7) << "i" << QVariant(-7);
        QTest::newRow("int min") << QVariant(std::numeric_limits<int>::min()) << "i"
                                 << QVariant(std::numeric_limits<int>::min());
        QTest::newRow("int max") << QVariant(std::numeric_limits<int>::max()) << "i"
                                 << QVariant(std::numeric_limits<int>::max());
        QTest::newRow("uint max") << QVariant(std::numeric_limits<uint>::max()) << "u"
                                  << QVariant(std::numeric_limits<uint>::max());
        QTest::newRow("qlonglong min") << QVariant(std::numeric_limits<qlonglong>::min()) << "x"
                                       << QVariant(std::numeric_limits<qlonglong>::min());
        QTest::newRow("qlonglong max") << QVariant(std::numeric_limits<qlonglong>::max()) << "x"
                                       << QVariant(std::numeric_limits<qlonglong>::max());
        QTest::newRow("qulonglong 2^63")
                << QVariant(qulonglong(1) << 63) << "t" << QVariant(qulonglong(1) << 63);
        QTest::newRow("qulonglong max") << QVariant(std::numeric_limits<qulonglong>::max()) << "t"
                                        << QVariant(std::numeric_limits<qulonglong>::max());
        QTest::newRow("double 0.5") << QVariant(0.5) << "d" << QVariant(0.5);
        QTest::newRow("whole double 2.0 stays double") << QVariant(2.0) << "d" << QVariant(2.0);
        QTest::newRow("double -1e300") << QVariant(-1e300) << "d" << QVariant(-1e300);
        QTest::newRow("double -0.0") << QVariant(-0.0) << "d" << QVariant(-0.0);
        QTest::newRow("double smallest denormal")
                << QVariant(std::numeric_limits<double>::denorm_min()) << "d"
                << QVariant(std::numeric_limits<double>::denorm_min());

        const QString controls
                = QStringLiteral("tab\there\nnew line \"double\" 'single' back\\slash");
        QTest::newRow("string with tab, newline, quotes")
                << QVariant(controls) << "s" << QVariant(controls);
        const QString nonAscii = QStringLiteral("åäö ß €, ключ, 中文");
        QTest::newRow("non-ASCII string") << QVariant(nonAscii) << "s" << QVariant(nonAscii);
        const QString emoji = QStringLiteral("smile \U0001F600 end");
        QTest::newRow("string with emoji") << QVariant(emoji) << "s" << QVariant(emoji);
        QTest::newRow("empty string") << QVariant(QString()) << "s" << QVariant(QString());

        QTest::newRow("string list becomes list of strings")
                << QVariant(QStringList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")})
                << "as"
                << QVariant(QVariantList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")});
        QTest::newRow("empty string list becomes empty list")
                << QVariant(QStringList()) << "as" << QVariant(QVariantList());
        QTest::newRow("bytes with 0x00 and 0xff become list of uchar")
                << QVariant(QByteArray("\x00\x41\xff", 3)) << "ay"
                << QVariant(QVariantList{byte(0), byte(0x41), byte(0xff)});
        QTest::newRow("empty bytes become empty list")
                << QVariant(QByteArray()) << "ay" << QVariant(QVariantList());

        const QVariantList mixed{1,
                                 QStringLiteral("two"),
                                 3.0,
                                 true,
                                 byte(5),
                                 QVariant::fromValue(short(-6)),
                                 QVariant::fromValue(ushort(7)),
                                 8u,
                                 qlonglong(-9),
                                 qulonglong(10),
                                 QVariantList{},
                                 QVariantMap{}};
        QTest::newRow("list of mixed kinds") << QVariant(mixed) << "av" << QVariant(mixed);
        QTest::newRow("empty list") << QVariant(QVariantList()) << "av" << QVariant(QVariantList());
        QTest::newRow("empty map") << QVariant(QVariantMap()) << "a{sv}" << QVariant(QVariantMap());

        const QVariantMap nested{
                {QStringLiteral("outer"),
                 QVariantList{QVariantMap{{QStringLiteral("inner"),
                                           QVariantList{1, QStringLiteral("x"), QVariantMap{}}}},
                              2.5}},
                {QStringLiteral("flag"), false}};
        QTest::newRow("maps in lists in maps") << QVariant(nested) << "a{sv}" << QVariant(nested);
        QTest::newRow("string list and bytes inside a map")
                << QVariant(QVariantMap{
                           {QStringLiteral("strings"), QStringList{QStringLiteral("a")}},
                           {QStringLiteral("bytes"), QByteArray("\xff", 1)}})
                << "a{sv}"
                << QVariant(QVariantMap{
                           {QStringLiteral("strings"), QVariantList{QStringLiteral("a")}},
                           {QStringLiteral("bytes"), QVariantList{byte(0xff)}}});
        const QVariantMap emptyKey{{QString(), 1}};
        QTest::newRow("empty key") << QVariant(emptyKey) << "a{sv}" << QVariant(emptyKey);
        const QVariantMap nonAsciiKey{{QStringLiteral("ключ \U0001F600"), QStringLiteral("v")}};
        QTest::newRow("non-ASCII key") << QVariant(nonAsciiKey) << "a{sv}" << QVariant(nonAsciiKey);
    }

    void plainRoundTrip()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, signature);
        QFETCH(QVariant, expected);

        checkRoundTrip(value, signature, expected, QVariant());
    }

    void typedRoundTrip_data()
    {
        addColumns<QVariant, QString, QVariant, QVariant>("value", "signature", "expected",
                                                          "expectedTyped");

        const QString k = QStringLiteral("k");

        QTest::newRow("object path")
                << typed("o", QStringLiteral("/a/b")) << "o" << QVariant(QStringLiteral("/a/b"))
                << typed("o", QStringLiteral("/a/b"));
        QTest::newRow("root object path")
                << typed("o", QStringLiteral("/")) << "o" << QVariant(QStringLiteral("/"))
                << typed("o", QStringLiteral("/"));
        QTest::newRow("signature")
                << typed("g", QStringLiteral("a{sv}")) << "g" << QVariant(QStringLiteral("a{sv}"))
                << typed("g", QStringLiteral("a{sv}"));
        QTest::newRow("signature of several types")
                << typed("g", QStringLiteral("sia{sv}")) << "g"
                << QVariant(QStringLiteral("sia{sv}")) << typed("g", QStringLiteral("sia{sv}"));
        QTest::newRow("empty signature")
                << typed("g", QString()) << "g" << QVariant(QString()) << typed("g", QString());
        // The longest sd-bus reads back: it writes a signature value of 255 characters, but refuses
        // to read one.
        QTest::newRow("signature value of 254 characters")
                << typed("g", repeated('i', 254)) << "g" << QVariant(repeated('i', 254))
                << typed("g", repeated('i', 254));
        QTest::newRow("variant as argument")
                << typed("v", 5) << "v" << QVariant(5) << typed("v", typed("i", 5));
        QTest::newRow("variant holding a variant as argument")
                << typed("v", typed("v", 5)) << "v" << QVariant(5)
                << typed("v", typed("v", typed("i", 5)));
        QTest::newRow("variant holding a variant in a map value")
                << QVariant(QVariantMap{{k, typed("v", 5)}}) << "a{sv}"
                << QVariant(QVariantMap{{k, 5}})
                << typed("a{sv}",
                         QVariantList{entry(typed("s", k), typed("v", typed("v", typed("i", 5))))});
        QTest::newRow("variant holding a map")
                << typed("v", QVariantMap{{k, 1}}) << "v" << QVariant(QVariantMap{{k, 1}})
                << typed("v", typed("a{sv}",
                                    QVariantList{entry(typed("s", k), typed("v", typed("i", 1)))}));
        QTest::newRow("ai") << typed("ai", QVariantList{1, -2}) << "ai"
                            << QVariant(QVariantList{1, -2})
                            << typed("ai", QVariantList{typed("i", 1), typed("i", -2)});
        QTest::newRow("au from other integer types")
                << typed("au", QVariantList{1, qlonglong(4294967295LL)}) << "au"
                << QVariant(QVariantList{1u, 4294967295u})
                << typed("au", QVariantList{typed("u", 1u), typed("u", 4294967295u)});
        QTest::newRow("ad with a whole number")
                << typed("ad", QVariantList{2, -0.5}) << "ad" << QVariant(QVariantList{2.0, -0.5})
                << typed("ad", QVariantList{typed("d", 2.0), typed("d", -0.5)});
        QTest::newRow("ab") << typed("ab", QVariantList{true, false}) << "ab"
                            << QVariant(QVariantList{true, false})
                            << typed("ab", QVariantList{typed("b", true), typed("b", false)});
        QTest::newRow("ao") << typed("ao", QVariantList{QStringLiteral("/"), QStringLiteral("/a")})
                            << "ao"
                            << QVariant(QVariantList{QStringLiteral("/"), QStringLiteral("/a")})
                            << typed("ao", QVariantList{typed("o", QStringLiteral("/")),
                                                        typed("o", QStringLiteral("/a"))});
        QTest::newRow("ag") << typed("ag",
                                     QVariantList{QStringLiteral("s"), QStringLiteral("a{sv}")})
                            << "ag"
                            << QVariant(QVariantList{QStringLiteral("s"), QStringLiteral("a{sv}")})
                            << typed("ag", QVariantList{typed("g", QStringLiteral("s")),
                                                        typed("g", QStringLiteral("a{sv}"))});
        QTest::newRow("as from a string list")
                << typed("as", QStringList{QStringLiteral("a")}) << "as"
                << QVariant(QVariantList{QStringLiteral("a")})
                << typed("as", QVariantList{typed("s", QStringLiteral("a"))});
        QTest::newRow("ay from bytes")
                << typed("ay", QByteArray("\x00\xff", 2)) << "ay"
                << QVariant(QVariantList{byte(0), byte(0xff)})
                << typed("ay", QVariantList{typed("y", byte(0)), typed("y", byte(0xff))});
        QTest::newRow("empty ai") << typed("ai", QVariantList()) << "ai" << QVariant(QVariantList())
                                  << typed("ai", QVariantList());
        QTest::newRow("aai") << typed("aai", QVariantList{QVariantList{1}, QVariantList{}}) << "aai"
                             << QVariant(QVariantList{QVariantList{1}, QVariantList{}})
                             << typed("aai", QVariantList{typed("ai", QVariantList{typed("i", 1)}),
                                                          typed("ai", QVariantList())});
        QTest::newRow("av of typed elements")
                << typed("av", QVariantList{5, typed("o", QStringLiteral("/x"))}) << "av"
                << QVariant(QVariantList{5, QStringLiteral("/x")})
                << typed("av", QVariantList{typed("v", typed("i", 5)),
                                            typed("v", typed("o", QStringLiteral("/x")))});
        QTest::newRow("struct (is) reads back as list")
                << typed("(is)", QVariantList{7, QStringLiteral("seven")}) << "(is)"
                << QVariant(QVariantList{7, QStringLiteral("seven")})
                << typed("(is)", QVariantList{typed("i", 7), typed("s", QStringLiteral("seven"))});
        QTest::newRow("struct in a struct")
                << typed("((y)v)", QVariantList{QVariantList{byte(1)}, 2.5}) << "((y)v)"
                << QVariant(QVariantList{QVariantList{byte(1)}, 2.5})
                << typed("((y)v)", QVariantList{typed("(y)", QVariantList{typed("y", byte(1))}),
                                                typed("v", typed("d", 2.5))});
        QTest::newRow("array of structs")
                << typed("a(sv)", QVariantList{QVariantList{k, 1}}) << "a(sv)"
                << QVariant(QVariantList{QVariantList{k, 1}})
                << typed("a(sv)",
                         QVariantList{typed(
                                 "(sv)", QVariantList{typed("s", k), typed("v", typed("i", 1))})});
        QTest::newRow("dictionary a{is}")
                << typed("a{is}", QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                              {QStringLiteral("-2"), QStringLiteral("minus two")}})
                << "a{is}"
                << QVariant(QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                        {QStringLiteral("-2"), QStringLiteral("minus two")}})
                << typed("a{is}",
                         QVariantList{
                                 entry(typed("i", -2), typed("s", QStringLiteral("minus two"))),
                                 entry(typed("i", 1), typed("s", QStringLiteral("one")))});
        QTest::newRow("dictionary a{is} from a list of pairs")
                << typed("a{is}", QVariantList{QVariantList{3, QStringLiteral("three")},
                                               QVariantList{1, QStringLiteral("one")}})
                << "a{is}"
                << QVariant(QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                        {QStringLiteral("3"), QStringLiteral("three")}})
                << typed("a{is}",
                         QVariantList{entry(typed("i", 3), typed("s", QStringLiteral("three"))),
                                      entry(typed("i", 1), typed("s", QStringLiteral("one")))});
        QTest::newRow("byte keys come back as decimal text")
                << typed("a{ys}", QVariantMap{{QStringLiteral("65"), QStringLiteral("A")}})
                << "a{ys}" << QVariant(QVariantMap{{QStringLiteral("65"), QStringLiteral("A")}})
                << typed("a{ys}", QVariantList{entry(typed("y", byte(65)),
                                                     typed("s", QStringLiteral("A")))});
        QTest::newRow("boolean keys come back as true and false")
                << typed("a{bs}", QVariantMap{{QStringLiteral("true"), QStringLiteral("yes")},
                                              {QStringLiteral("false"), QStringLiteral("no")}})
                << "a{bs}"
                << QVariant(QVariantMap{{QStringLiteral("true"), QStringLiteral("yes")},
                                        {QStringLiteral("false"), QStringLiteral("no")}})
                << typed("a{bs}",
                         QVariantList{entry(typed("b", false), typed("s", QStringLiteral("no"))),
                                      entry(typed("b", true), typed("s", QStringLiteral("yes")))});
        QTest::newRow("short keys a{ns}")
                << typed("a{ns}", QVariantMap{{QStringLiteral("-32768"), QStringLiteral("min")}})
                << "a{ns}"
                << QVariant(QVariantMap{{QStringLiteral("-32768"), QStringLiteral("min")}})
                << typed("a{ns}", QVariantList{entry(typed("n", QVariant::fromValue(short(-32768))),
                                                     typed("s", QStringLiteral("min")))});
        QTest::newRow("ushort keys a{qs}")
                << typed("a{qs}", QVariantMap{{QStringLiteral("65535"), QStringLiteral("max")}})
                << "a{qs}"
                << QVariant(QVariantMap{{QStringLiteral("65535"), QStringLiteral("max")}})
                << typed("a{qs}", QVariantList{entry(typed("q", QVariant::fromValue(ushort(65535))),
                                                     typed("s", QStringLiteral("max")))});
        QTest::newRow("uint keys a{us}")
                << typed("a{us}",
                         QVariantMap{{QStringLiteral("4294967295"), QStringLiteral("max")}})
                << "a{us}"
                << QVariant(QVariantMap{{QStringLiteral("4294967295"), QStringLiteral("max")}})
                << typed("a{us}", QVariantList{entry(typed("u", 4294967295u),
                                                     typed("s", QStringLiteral("max")))});
        QTest::newRow("qlonglong keys a{xs}")
                << typed("a{xs}", QVariantMap{{QStringLiteral("-9223372036854775808"),
                                               QStringLiteral("min")}})
                << "a{xs}"
                << QVariant(QVariantMap{
                           {QStringLiteral("-9223372036854775808"), QStringLiteral("min")}})
                << typed("a{xs}",
                         QVariantList{entry(typed("x", std::numeric_limits<qlonglong>::min()),
                                            typed("s", QStringLiteral("min")))});
        QTest::newRow("qulonglong keys a{ts} up to 18446744073709551615")
                << typed("a{ts}", QVariantMap{{QStringLiteral("18446744073709551615"),
                                               QStringLiteral("max")},
                                              {QStringLiteral("0"), QStringLiteral("zero")}})
                << "a{ts}"
                << QVariant(QVariantMap{
                           {QStringLiteral("18446744073709551615"), QStringLiteral("max")},
                           {QStringLiteral("0"), QStringLiteral("zero")}})
                << typed("a{ts}",
                         QVariantList{entry(typed("t", qulonglong(0)),
                                            typed("s", QStringLiteral("zero"))),
                                      entry(typed("t", std::numeric_limits<qulonglong>::max()),
                                            typed("s", QStringLiteral("max")))});
        QTest::newRow("object path keys a{os}")
                << typed("a{os}", QVariantMap{{QStringLiteral("/a"), QStringLiteral("x")}})
                << "a{os}" << QVariant(QVariantMap{{QStringLiteral("/a"), QStringLiteral("x")}})
                << typed("a{os}", QVariantList{entry(typed("o", QStringLiteral("/a")),
                                                     typed("s", QStringLiteral("x")))});
        QTest::newRow("signature keys a{gs}")
                << typed("a{gs}", QVariantMap{{QStringLiteral("a{sv}"), QStringLiteral("x")}})
                << "a{gs}" << QVariant(QVariantMap{{QStringLiteral("a{sv}"), QStringLiteral("x")}})
                << typed("a{gs}", QVariantList{entry(typed("g", QStringLiteral("a{sv}")),
                                                     typed("s", QStringLiteral("x")))});
        QTest::newRow("dictionary of dictionaries a{sa{is}}")
                << typed("a{sa{is}}", QVariantMap{{k, QVariantMap{{QStringLiteral("1"),
                                                                   QStringLiteral("one")}}}})
                << "a{sa{is}}"
                << QVariant(QVariantMap{
                           {k, QVariantMap{{QStringLiteral("1"), QStringLiteral("one")}}}})
                << typed("a{sa{is}}",
                         QVariantList{entry(
                                 typed("s", k),
                                 typed("a{is}",
                                       QVariantList{entry(typed("i", 1),
                                                          typed("s", QStringLiteral("one")))}))});
        QTest::newRow("typed values inside a plain map")
                << QVariant(QVariantMap{{QStringLiteral("path"), typed("o", QStringLiteral("/p"))},
                                        {QStringLiteral("ints"), typed("ai", QVariantList{1})}})
                << "a{sv}"
                << QVariant(QVariantMap{{QStringLiteral("path"), QStringLiteral("/p")},
                                        {QStringLiteral("ints"), QVariantList{1}}})
                << typed("a{sv}",
                         QVariantList{entry(typed("s", QStringLiteral("ints")),
                                            typed("v", typed("ai", QVariantList{typed("i", 1)}))),
                                      entry(typed("s", QStringLiteral("path")),
                                            typed("v", typed("o", QStringLiteral("/p"))))});
    }

    void typedRoundTrip()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, signature);
        QFETCH(QVariant, expected);
        QFETCH(QVariant, expectedTyped);

        checkRoundTrip(value, signature, expected, expectedTyped);
    }
};

QTEST_GUILESS_MAIN(TestDBusValueRoundTrip)

#include "tst_dbusvalueroundtrip.moc"
