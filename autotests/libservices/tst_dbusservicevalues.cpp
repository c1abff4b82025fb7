// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"
#include "servicetest.h"

#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include <QDBusConnection>
#include <QTest>

#include <limits>

namespace {

// One map holding 29 lists holding the bottom value: under the request's map, the bottom value
// sits at level 3 + 3 + 2 * 29 = 64, the deepest allowed.
QVariant atLevel64(const QVariant &bottom)
{
    return QVariantMap{{QStringLiteral("inner"), nestedLists(29, bottom)}};
}

} // namespace

// Values through the proxy and back, as a peer on the bus sends them.
class TestDBusServiceValues : public ServiceTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data()
    {
        addColumns<QVariantMap, QVariantMap>("request", "expected");

        auto same = [](const char *name, const QVariantMap &request) {
            QTest::newRow(name) << request << request;
        };
        same("just the command id", QVariantMap());
        same("int", {{QStringLiteral("n"), 601}});
        same("smallest, largest and negative int",
             {{QStringLiteral("min"), std::numeric_limits<int>::min()},
              {QStringLiteral("max"), std::numeric_limits<int>::max()},
              {QStringLiteral("minusOne"), -1}});
        same("bools", {{QStringLiteral("yes"), true}, {QStringLiteral("no"), false}});
        same("doubles, a whole one stays double", {{QStringLiteral("half"), 0.5},
                                                   {QStringLiteral("huge"), -1e300},
                                                   {QStringLiteral("whole"), 2.0}});
        same("string with tab, newline, quotes and non-ASCII",
             {{QStringLiteral("text"),
               QStringLiteral("a\tb\nc \"quoted\" 'single' åäö € 漢字 🙂")}});
        same("empty string", {{QStringLiteral("text"), QString()}});
        same("non-ASCII key with blanks", {{QStringLiteral("nyckel åäö\t1"), 1}});
        same("empty key", {{QString(), 1}});
        same("empty list", {{ls::argsKey, QVariantList()}});
        same("empty map", {{ls::detailsMapKey, QVariantMap()}});
        same("list of every value kind",
             {{ls::argsKey,
               QVariantList{QStringLiteral("a"), 1, true, 1.5, QVariantList(), QVariantMap()}}});
        same("maps inside lists inside maps",
             {{ls::detailsMapKey,
               QVariantMap{
                       {QStringLiteral("list"),
                        QVariantList{QVariantMap{{QStringLiteral("a"), 1}},
                                     QVariantMap{{QStringLiteral("b"),
                                                  QVariantList{QVariantMap(), QVariantList()}}}}},
                       {QStringLiteral("empty"), QVariantMap()}}}});
        same("other basic types keep their type",
             {{QStringLiteral("u"), 4000000000u},
              {QStringLiteral("x"), -(qlonglong(1) << 40)},
              {QStringLiteral("t"), qulonglong(1) << 63},
              {QStringLiteral("n"), QVariant::fromValue(short(-2))},
              {QStringLiteral("q"), QVariant::fromValue(ushort(65535))},
              {QStringLiteral("y"), QVariant::fromValue(uchar(255))}});
        QTest::newRow("bytes come back as list of bytes")
                << QVariantMap{{ls::argsKey, QByteArray("\x00\xff", 2)}}
                << QVariantMap{{ls::argsKey, QVariantList{QVariant::fromValue(uchar(0)),
                                                          QVariant::fromValue(uchar(255))}}};
        QTest::newRow("string list goes as as, comes back as list")
                << QVariantMap{{ls::argsKey, QStringList{QStringLiteral("a"), QString()}}}
                << QVariantMap{{ls::argsKey, QVariantList{QStringLiteral("a"), QString()}}};
        QTest::newRow("empty string list comes back as empty list")
                << QVariantMap{{ls::argsKey, QStringList()}}
                << QVariantMap{{ls::argsKey, QVariantList()}};
    }

    void roundTrip()
    {
        QFETCH(QVariantMap, request);
        QFETCH(QVariantMap, expected);
        request = withCommand(QStringLiteral("Echo"), request);
        expected = withCommand(QStringLiteral("Echo"), expected);

        const QVariantMap response = commandHandler()->process(request);

        QCOMPARE(dbusArgumentPath(response), QString());
        QCOMPARE(describe(response), describe(expected));
    }

    void stringListAnswerComesBackAsList()
    {
        const QVariantMap response
                = commandHandler()->process(withCommand(QStringLiteral("StringList")));

        QCOMPARE(dbusArgumentPath(response), QString());
        const QVariantMap expected{
                {ls::resultIdKey, ls::ResultId::Success},
                {QStringLiteral("strings"),
                 QVariantList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")}}};
        QCOMPARE(describe(response), describe(expected));
    }

    void otherTypesComeBackPlain()
    {
        const QVariantMap response
                = commandHandler()->process(withCommand(QStringLiteral("Exotic")));

        QCOMPARE(dbusArgumentPath(response), QString());
        const QVariantMap expected{
                {QStringLiteral("struct"), QVariantList{7, QStringLiteral("seven")}},
                {QStringLiteral("intDict"),
                 QVariantMap{{QStringLiteral("1"), QStringLiteral("one")}}},
                {QStringLiteral("ints"), QVariantList{1, -2}},
                {QStringLiteral("path"), QStringLiteral("/a/b")},
                {QStringLiteral("signature"), QStringLiteral("a{sv}")},
                {QStringLiteral("variantInVariant"), 5}};
        QCOMPARE(describe(response), describe(expected));
    }

    void dictionaryKeysComeBackAsText_data()
    {
        addColumns<QString, QVariantMap>("keyType", "expected");

        QTest::newRow("byte keys are numbers, not characters")
                << QStringLiteral("y")
                << QVariantMap{{QStringLiteral("65"), 1}, {QStringLiteral("10"), 2}};
        QTest::newRow("negative int16 key")
                << QStringLiteral("n") << QVariantMap{{QStringLiteral("-3"), 1}};
        QTest::newRow("largest uint16 key")
                << QStringLiteral("q") << QVariantMap{{QStringLiteral("65535"), 1}};
        QTest::newRow("smallest int32 key")
                << QStringLiteral("i") << QVariantMap{{QStringLiteral("-2147483648"), 1}};
        QTest::newRow("largest uint32 key")
                << QStringLiteral("u") << QVariantMap{{QStringLiteral("4294967295"), 1}};
        QTest::newRow("int64 key beyond 32 bits")
                << QStringLiteral("x") << QVariantMap{{QStringLiteral("-5000000000"), 1}};
        QTest::newRow("largest uint64 key")
                << QStringLiteral("t") << QVariantMap{{QStringLiteral("18446744073709551615"), 1}};
        QTest::newRow("boolean keys as true and false")
                << QStringLiteral("b")
                << QVariantMap{{QStringLiteral("true"), 1}, {QStringLiteral("false"), 2}};
        QTest::newRow("string key of digits unchanged")
                << QStringLiteral("s") << QVariantMap{{QStringLiteral("65"), 1}};
        QTest::newRow("object path key as its path")
                << QStringLiteral("o") << QVariantMap{{QStringLiteral("/a/b"), 1}};
        QTest::newRow("signature key as its text")
                << QStringLiteral("g") << QVariantMap{{QStringLiteral("a{yv}"), 1}};
    }

    void dictionaryKeysComeBackAsText()
    {
        QFETCH(QString, keyType);
        QFETCH(QVariantMap, expected);

        const QVariantMap response
                = commandHandler()->process(withCommand(QStringLiteral("KeyedDictionaries")));

        QCOMPARE(dbusArgumentPath(response), QString());
        QCOMPARE(describe(response.value(keyType)), describe(expected));
    }

    void requestNesting_data()
    {
        addColumns<QVariant, QVariant, bool>("value", "expected", "fits");

        const QVariant text = QStringLiteral("bottom");
        const QVariant strings = QStringList{QStringLiteral("x")};
        const QVariant bytes = QByteArray("xy");
        const QVariant bytesBack
                = QVariantList{QVariant::fromValue(uchar('x')), QVariant::fromValue(uchar('y'))};

        QTest::newRow("20 maps, string at level 63")
                << nestedMaps(20, text) << nestedMaps(20, text) << true;
        QTest::newRow("21 maps, string at level 66") << nestedMaps(21, text) << QVariant() << false;
        QTest::newRow("21 maps, the innermost empty at level 63")
                << nestedMaps(20, QVariantMap()) << nestedMaps(20, QVariantMap()) << true;
        QTest::newRow("30 lists, string at level 63")
                << nestedLists(30, text) << nestedLists(30, text) << true;
        QTest::newRow("31 lists, string at level 65")
                << nestedLists(31, text) << QVariant() << false;
        QTest::newRow("string right at level 64") << atLevel64(text) << atLevel64(text) << true;
        QTest::newRow("empty list at level 64")
                << atLevel64(QVariantList()) << atLevel64(QVariantList()) << true;
        QTest::newRow("empty map at level 64")
                << atLevel64(QVariantMap()) << atLevel64(QVariantMap()) << true;
        QTest::newRow("empty string list at level 64")
                << atLevel64(QStringList()) << atLevel64(QVariantList()) << true;
        QTest::newRow("bytes at level 64, fixed-size elements add no level")
                << atLevel64(bytes) << atLevel64(bytesBack) << true;
        QTest::newRow("string list at level 64, its strings at 65")
                << atLevel64(strings) << QVariant() << false;
        QTest::newRow("list at level 64, its string at 66")
                << atLevel64(QVariantList{text}) << QVariant() << false;
        QTest::newRow("map at level 64, its string at 67")
                << atLevel64(QVariantMap{{QStringLiteral("k"), text}}) << QVariant() << false;
        QTest::newRow("too deep in the second of two entries") << QVariant(
                QVariantMap{{QStringLiteral("a"), 1}, {QStringLiteral("b"), nestedLists(31, text)}})
                                                               << QVariant() << false;
    }

    void requestNesting()
    {
        QFETCH(QVariant, value);
        QFETCH(QVariant, expected);
        QFETCH(bool, fits);
        const QVariantMap request
                = withCommand(QStringLiteral("Echo"), {{QStringLiteral("v"), value}});
        const int receivedBefore = receivedByPeer();
        QVERIFY(receivedBefore >= 0);

        const QVariantMap response = commandHandler()->process(request);

        if (fits) {
            QCOMPARE(dbusArgumentPath(response), QString());
            QCOMPARE(describe(response), describe(withCommand(QStringLiteral("Echo"),
                                                              {{QStringLiteral("v"), expected}})));
            QCOMPARE(receivedByPeer(), receivedBefore + 2);
        } else {
            QCOMPARE(response, failure(QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded"),
                                       QStringLiteral("Request nested deeper than 64 levels")));
            // Refused before sending: the peer saw nothing, and the bus kept our connection.
            QCOMPARE(receivedByPeer(), receivedBefore + 1);
        }
    }

    void replyNesting_data()
    {
        addColumns<QString, int, bool>("shape", "depth", "fits");

        QTest::newRow("20 maps, string at level 63") << QStringLiteral("map") << 20 << true;
        QTest::newRow("21 maps, string at level 66") << QStringLiteral("map") << 21 << false;
        QTest::newRow("30 lists, string at level 63") << QStringLiteral("list") << 30 << true;
        QTest::newRow("31 lists, string at level 65") << QStringLiteral("list") << 31 << false;
    }

    void replyNesting()
    {
        QFETCH(QString, shape);
        QFETCH(int, depth);
        QFETCH(bool, fits);

        const QVariantMap response = commandHandler()->process(
                withCommand(QStringLiteral("Nested"),
                            {{QStringLiteral("shape"), shape}, {QStringLiteral("depth"), depth}}));

        if (fits) {
            const QVariant bottom = QStringLiteral("bottom");
            const QVariant value = shape == QLatin1String("map") ? nestedMaps(depth, bottom)
                                                                 : nestedLists(depth, bottom);
            QCOMPARE(dbusArgumentPath(response), QString());
            QCOMPARE(describe(response), describe(QVariantMap{{QStringLiteral("value"), value}}));
        } else {
            // The bus drops the peer that sends it; the call fails like any unanswered one, and
            // this process keeps its connection.
            QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
            QCOMPARE(response.value(ls::errorIdKey),
                     QVariant(QStringLiteral("org.freedesktop.DBus.Error.NoReply")));
            QCOMPARE(response.size(), 3);
            QVERIFY(QDBusConnection::systemBus().isConnected());
        }
    }
};

QTEST_GUILESS_MAIN(TestDBusServiceValues)

#include "tst_dbusservicevalues.moc"
