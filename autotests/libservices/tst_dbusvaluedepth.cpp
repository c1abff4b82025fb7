// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"

#include <QTest>

// The 64 levels of nesting D-Bus allows, on the way into a message and out of it.
class TestDBusValueDepth : public DBusValueTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void nesting_data()
    {
        addColumns<QVariant, QString>("value", "signature");
        // Invalid when the value is too deep to be sent.
        QTest::addColumn<QVariant>("expected");

        const QVariant text = QStringLiteral("x");
        const QVariant tooDeep;

        // As a message argument: a map at level 0 holds its values at level 3, a list its elements
        // at level 2.
        QTest::newRow("21 maps, string at level 63")
                << nestedMaps(21, text) << "a{sv}" << nestedMaps(21, text);
        QTest::newRow("22 maps, string at level 66") << nestedMaps(22, text) << "a{sv}" << tooDeep;
        QTest::newRow("22 maps, innermost empty at level 63")
                << nestedMaps(21, QVariantMap()) << "a{sv}" << nestedMaps(21, QVariantMap());
        QTest::newRow("21 maps, list with a string at level 65")
                << nestedMaps(21, QVariantList{text}) << "a{sv}" << tooDeep;
        QTest::newRow("32 lists, string at level 64")
                << nestedLists(32, text) << "av" << nestedLists(32, text);
        QTest::newRow("33 lists, string at level 66") << nestedLists(33, text) << "av" << tooDeep;
        QTest::newRow("33 lists, innermost empty at level 64")
                << nestedLists(32, QVariantList()) << "av" << nestedLists(32, QVariantList());
        QTest::newRow("34 lists, innermost empty at level 66")
                << nestedLists(33, QVariantList()) << "av" << tooDeep;
        QTest::newRow("32 lists, empty string list at level 64")
                << nestedLists(32, QStringList()) << "av" << nestedLists(32, QVariantList());
        QTest::newRow("32 lists, string list with one string at level 65")
                << nestedLists(32, QStringList{QStringLiteral("a")}) << "av" << tooDeep;
        QTest::newRow("32 lists, bytes at level 64")
                << nestedLists(32, QByteArray("ab")) << "av"
                << nestedLists(32, QVariantList{byte('a'), byte('b')});
        QTest::newRow("32 lists, empty map at level 64")
                << nestedLists(32, QVariantMap()) << "av" << nestedLists(32, QVariantMap());
        QTest::newRow("32 lists, map with a string at level 67")
                << nestedLists(32, QVariantMap{{QStringLiteral("k"), text}}) << "av" << tooDeep;
        QTest::newRow("too deep in the second of two map entries") << QVariant(QVariantMap{
                {QStringLiteral("a"), text}, {QStringLiteral("b"), nestedMaps(21, text)}})
                                                                   << "a{sv}" << tooDeep;
        QTest::newRow("too deep in the second of two list elements")
                << QVariant(QVariantList{text, nestedLists(32, text)}) << "av" << tooDeep;
        QTest::newRow("typed v at the limit, string at level 64")
                << nestedMaps(21, typed("v", text)) << "a{sv}" << nestedMaps(21, text);
        QTest::newRow("typed v holding a v, string at level 65")
                << nestedMaps(21, typed("v", typed("v", text))) << "a{sv}" << tooDeep;
        QTest::newRow("typed v as argument around 21 maps, string at level 64")
                << typed("v", nestedMaps(21, text)) << "v" << nestedMaps(21, text);
        QTest::newRow("typed v as argument around 32 lists, string at level 65")
                << typed("v", nestedLists(32, text)) << "v" << tooDeep;
        QTest::newRow("32 lists, typed ai at level 64")
                << nestedLists(32, typed("ai", QVariantList{1, 2})) << "av"
                << nestedLists(32, QVariantList{1, 2});
        QTest::newRow("32 lists, typed as with a string at level 65")
                << nestedLists(32, typed("as", QVariantList{text})) << "av" << tooDeep;
        QTest::newRow("32 lists, typed aai with an empty ai at level 65")
                << nestedLists(32, typed("aai", QVariantList{QVariantList()})) << "av" << tooDeep;
        QTest::newRow("32 lists, typed (i) with its field at level 65")
                << nestedLists(32, typed("(i)", QVariantList{1})) << "av" << tooDeep;
        QTest::newRow("32 lists, empty typed a{is} at level 64")
                << nestedLists(32, typed("a{is}", QVariantMap())) << "av"
                << nestedLists(32, QVariantMap());
        QTest::newRow("32 lists, typed a{is} with a key at level 66")
                << nestedLists(32, typed("a{is}", QVariantMap{{QStringLiteral("1"), text}})) << "av"
                << tooDeep;
    }

    void nesting()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, signature);
        QFETCH(QVariant, expected);

        if (expected.isValid()) {
            checkRoundTrip(value, signature, expected, QVariant());
            return;
        }
        const Message message = newMessage();
        QVERIFY(message);
        QCOMPARE(statusName(ls::appendValue(message.get(), value)), QStringLiteral("TooDeep"));
    }

    void readTooDeep_data()
    {
        addColumns<bool, int, QVariant, bool>("inMap", "variants", "inner", "passes");

        const QVariant text = QStringLiteral("x");
        QTest::newRow("variant around 21 maps, string at level 64")
                << false << 1 << nestedMaps(21, text) << true;
        QTest::newRow("variant around 32 lists, string at level 65")
                << false << 1 << nestedLists(32, text) << false;
        QTest::newRow("two variants around 32 lists, string at level 66")
                << false << 2 << nestedLists(32, text) << false;
        QTest::newRow("variant around 32 lists, bytes at level 65")
                << false << 1 << nestedLists(32, QByteArray("a")) << false;
        QTest::newRow("variant around 33 lists, innermost empty at level 65")
                << false << 1 << nestedLists(32, QVariantList()) << false;
        QTest::newRow("map value around 20 maps, string at level 63")
                << true << 1 << nestedMaps(20, text) << true;
        QTest::newRow("map value around 21 maps, string at level 66")
                << true << 1 << nestedMaps(21, text) << false;
    }

    void readTooDeep()
    {
        QFETCH(bool, inMap);
        QFETCH(int, variants);
        QFETCH(QVariant, inner);
        QFETCH(bool, passes);

        // The inner value alone fits; what the wrapping makes of it is expected to read back.
        const Message alone = newMessage();
        QVERIFY(alone);
        QCOMPARE(statusName(ls::appendValue(alone.get(), inner)), QStringLiteral("Ok"));
        QVERIFY(seal(alone.get()));
        const QByteArray innerSignature = sd_bus_message_get_signature(alone.get(), 1);
        QVariant innerPlain;
        QCOMPARE(statusName(ls::readValue(alone.get(), &innerPlain)), QStringLiteral("Ok"));
        QVERIFY(sd_bus_message_rewind(alone.get(), 1) >= 0);
        ls::DBusTyped innerTyped;
        QCOMPARE(statusName(ls::readTypedValue(alone.get(), &innerTyped)), QStringLiteral("Ok"));

        const Message message = newMessage();
        QVERIFY(message);
        sd_bus_message *m = message.get();
        if (inMap) {
            QVERIFY(sd_bus_message_open_container(m, 'a', "{sv}") >= 0);
            QVERIFY(sd_bus_message_open_container(m, 'e', "sv") >= 0);
            QVERIFY(sd_bus_message_append_basic(m, 's', "k") >= 0);
        }
        for (int i = 0; i < variants; ++i) {
            const char *contents = i + 1 < variants ? "v" : innerSignature.constData();
            QVERIFY(sd_bus_message_open_container(m, 'v', contents) >= 0);
        }
        QCOMPARE(statusName(ls::appendValue(m, inner)), QStringLiteral("Ok"));
        for (int i = 0; i < variants + (inMap ? 2 : 0); ++i)
            QVERIFY(sd_bus_message_close_container(m) >= 0);
        QVERIFY(seal(m));

        QVariant expectedTyped = QVariant::fromValue(innerTyped);
        for (int i = 0; i < variants; ++i)
            expectedTyped = typed("v", expectedTyped);
        QVariant expected = innerPlain;
        if (inMap) {
            expectedTyped = typed(
                    "a{sv}", QVariantList{entry(typed("s", QStringLiteral("k")), expectedTyped)});
            expected = QVariantMap{{QStringLiteral("k"), expected}};
        }

        QVariant plain = QStringLiteral("unread");
        QCOMPARE(statusName(ls::readValue(m, &plain)),
                 passes ? QStringLiteral("Ok") : QStringLiteral("TooDeep"));
        QCOMPARE(describe(plain), describe(passes ? expected : QVariant()));

        QVERIFY(sd_bus_message_rewind(m, 1) >= 0);
        ls::DBusTyped typedValue;
        QCOMPARE(statusName(ls::readTypedValue(m, &typedValue)), QStringLiteral("Ok"));
        QCOMPARE(describe(QVariant::fromValue(typedValue)), describe(expectedTyped));
        QVERIFY(sd_bus_message_at_end(m, 1) > 0);
    }
};

QTEST_GUILESS_MAIN(TestDBusValueDepth)

#include "tst_dbusvaluedepth.moc"
