// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"

#include <QDateTime>
#include <QTest>

#include <limits>

#include <unistd.h>

// Values that have no form on the other side: refused when written, or read only typed.
class TestDBusValueRefused : public DBusValueTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void refused_data()
    {
        addColumns<QVariant, QString, QString>("value", "status", "typeName");

        const QString badText = QStringLiteral("BadText");
        const QString noForm = QStringLiteral("NoDBusForm");
        const QString malformed = QStringLiteral("Malformed");
        const QString k = QStringLiteral("k");

        QTest::newRow("NUL in a string") << QVariant(withNul()) << badText << QString();
        QTest::newRow("NUL in a map key")
                << QVariant(QVariantMap{{withNul(), 1}}) << badText << QString();
        QTest::newRow("NUL in a string list")
                << QVariant(QStringList{QStringLiteral("ok"), withNul()}) << badText << QString();
        QTest::newRow("NUL in a string deep in a list")
                << QVariant(QVariantList{QVariantMap{{k, QVariantList{withNul()}}}}) << badText
                << QString();
        QTest::newRow("NUL in a typed string list")
                << typed("as", QVariantList{withNul()}) << badText << QString();
        QTest::newRow("NUL in a text key of a typed dictionary")
                << typed("a{ss}", QVariantMap{{withNul(), k}}) << badText << QString();
        QTest::newRow("noncharacter U+FFFF, which sd-bus refuses")
                << QVariant(QStringLiteral("a") + QChar(0xffff)) << badText << QString();
        QTest::newRow("noncharacter U+FDD0 in a map key")
                << QVariant(QVariantMap{{QString(QChar(0xfdd0)), 1}}) << badText << QString();
        QTest::newRow("noncharacter U+FDEF, the last of its block")
                << QVariant(QString(QChar(0xfdef))) << badText << QString();
        QTest::newRow("noncharacter U+1FFFE as a surrogate pair")
                << QVariant(QString(QChar(0xd83f)) + QChar(0xdffe)) << badText << QString();
        QTest::newRow("variant of a 255-character type, which sd-bus does not read back")
                << typed("v",
                         QVariant::fromValue(ls::DBusTyped{
                                 QLatin1Char('(') + QString(253, QLatin1Char('i'))
                                         + QLatin1Char(')'),
                                 QVariant(QVariantList::fromVector(QVector<QVariant>(253, 1)))}))
                << malformed << QString();
        QTest::newRow("signature value of 255 characters, which sd-bus does not read back")
                << typed("g", QString(255, QLatin1Char('i'))) << malformed << QString();
        QTest::newRow("number key with a blank, which would not read back as written")
                << typed("a{ys}", QVariantMap{{QStringLiteral(" 65"), k}}) << malformed
                << QString();
        QTest::newRow("number key with a plus sign")
                << typed("a{is}", QVariantMap{{QStringLiteral("+1"), k}}) << malformed << QString();
        QTest::newRow("number key with a leading zero")
                << typed("a{is}", QVariantMap{{QStringLiteral("01"), k}}) << malformed << QString();
        QTest::newRow("boolean key other than true and false")
                << typed("a{bs}", QVariantMap{{QStringLiteral("yes"), k}}) << malformed
                << QString();
        QTest::newRow("double from bytes")
                << typed("d", QByteArray("1.5")) << malformed << QString();
        QTest::newRow("double from a bool") << typed("d", true) << malformed << QString();
        QTest::newRow("file descriptor is never sent")
                << typed("h", 1) << noForm << QStringLiteral("file descriptor");
        QTest::newRow("lone high surrogate at end")
                << QVariant(QStringLiteral("a") + QChar(0xd800)) << badText << QString();
        QTest::newRow("high surrogate before a letter")
                << QVariant(QString(QChar(0xd83d)) + QStringLiteral("a")) << badText << QString();
        QTest::newRow("lone low surrogate")
                << QVariant(QStringLiteral("a") + QChar(0xde00) + QStringLiteral("b")) << badText
                << QString();
        QTest::newRow("low surrogate before high surrogate")
                << QVariant(QString(QChar(0xde00)) + QChar(0xd83d)) << badText << QString();
        QTest::newRow("lone surrogate in a map key")
                << QVariant(QVariantMap{{QString(QChar(0xd800)), 1}}) << badText << QString();
        QTest::newRow("lone surrogate in a string list")
                << QVariant(QStringList{QString(QChar(0xdfff))}) << badText << QString();

        QTest::newRow("invalid QVariant") << QVariant() << noForm << "invalid";
        QTest::newRow("invalid QVariant in a map")
                << QVariant(QVariantMap{{k, QVariant()}}) << noForm << "invalid";
        const QDateTime when(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
        QTest::newRow("QDateTime") << QVariant(when) << noForm << "QDateTime";
        QTest::newRow("QDateTime in a list")
                << QVariant(QVariantList{1, when}) << noForm << "QDateTime";
        QTest::newRow("QDateTime in a map in a list")
                << QVariant(QVariantList{QVariantMap{{k, when}}}) << noForm << "QDateTime";
        QTest::newRow("QDateTime in a typed variant") << typed("v", when) << noForm << "QDateTime";

        QTest::newRow("signature a") << typed("a", QVariantList()) << malformed << QString();
        QTest::newRow("signature (") << typed("(", QVariantList()) << malformed << QString();
        QTest::newRow("signature a{vs}") << typed("a{vs}", QVariantMap()) << malformed << QString();
        QTest::newRow("signature {sv}")
                << typed("{sv}", QVariantList{k, 1}) << malformed << QString();
        QTest::newRow("signature ()") << typed("()", QVariantList()) << malformed << QString();
        QTest::newRow("signature of two types") << typed("ii", 1) << malformed << QString();
        QTest::newRow("empty signature") << typed("", 1) << malformed << QString();
        QTest::newRow("empty signature in a list")
                << QVariant(QVariantList{typed("", 1)}) << malformed << QString();
        QTest::newRow("empty signature in a map value")
                << QVariant(QVariantMap{{k, typed("", 1)}}) << malformed << QString();
        QTest::newRow("bad signature in a map value")
                << QVariant(QVariantMap{{k, typed("a", QVariantList())}}) << malformed << QString();
        QTest::newRow("object path a/b")
                << typed("o", QStringLiteral("a/b")) << malformed << QString();
        QTest::newRow("object path /a/")
                << typed("o", QStringLiteral("/a/")) << malformed << QString();
        QTest::newRow("object path //")
                << typed("o", QStringLiteral("//")) << malformed << QString();
        QTest::newRow("empty object path") << typed("o", QString()) << malformed << QString();
        QTest::newRow("object path in a list")
                << typed("ao", QVariantList{QStringLiteral("/a-b")}) << malformed << QString();
        QTest::newRow("object path not text") << typed("o", 5) << malformed << QString();
        QTest::newRow("signature value a{vs}")
                << typed("g", QStringLiteral("a{vs}")) << malformed << QString();
        QTest::newRow("signature value of 256 characters")
                << typed("g", repeated('i', 256)) << malformed << QString();
        QTest::newRow("y 256") << typed("y", 256) << malformed << QString();
        QTest::newRow("y -1") << typed("y", -1) << malformed << QString();
        QTest::newRow("n 32768") << typed("n", 32768) << malformed << QString();
        QTest::newRow("n -32769") << typed("n", -32769) << malformed << QString();
        QTest::newRow("q 65536") << typed("q", 65536) << malformed << QString();
        QTest::newRow("q -1") << typed("q", -1) << malformed << QString();
        QTest::newRow("i 2147483648")
                << typed("i", qlonglong(2147483648LL)) << malformed << QString();
        QTest::newRow("i -2147483649")
                << typed("i", qlonglong(-2147483649LL)) << malformed << QString();
        QTest::newRow("i from qulonglong max")
                << typed("i", std::numeric_limits<qulonglong>::max()) << malformed << QString();
        QTest::newRow("u -1") << typed("u", -1) << malformed << QString();
        QTest::newRow("u 4294967296")
                << typed("u", qlonglong(4294967296LL)) << malformed << QString();
        QTest::newRow("t -1") << typed("t", -1) << malformed << QString();
        QTest::newRow("t qlonglong min")
                << typed("t", std::numeric_limits<qlonglong>::min()) << malformed << QString();
        QTest::newRow("x 2^63") << typed("x", qulonglong(1) << 63) << malformed << QString();
        QTest::newRow("y out of range in ay")
                << typed("ay", QVariantList{1, 300}) << malformed << QString();
        QTest::newRow("string for i") << typed("i", QStringLiteral("5")) << malformed << QString();
        QTest::newRow("double for i") << typed("i", 5.0) << malformed << QString();
        QTest::newRow("string for d")
                << typed("d", QStringLiteral("1.5")) << malformed << QString();
        QTest::newRow("int for b") << typed("b", 1) << malformed << QString();
        QTest::newRow("int for s") << typed("s", 1) << malformed << QString();
        QTest::newRow("struct with too few fields")
                << typed("(is)", QVariantList{7}) << malformed << QString();
        QTest::newRow("struct with no fields")
                << typed("(is)", QVariantList()) << malformed << QString();
        QTest::newRow("struct with too many fields")
                << typed("(is)", QVariantList{7, QStringLiteral("seven"), 8}) << malformed
                << QString();
        QTest::newRow("struct not a list") << typed("(is)", 7) << malformed << QString();
        QTest::newRow("array not a list") << typed("ai", 5) << malformed << QString();
        QTest::newRow("string in ai")
                << typed("ai", QVariantList{QStringLiteral("x")}) << malformed << QString();
        QTest::newRow("int key not a number")
                << typed("a{is}", QVariantMap{{QStringLiteral("one"), k}}) << malformed
                << QString();
        QTest::newRow("byte key a letter")
                << typed("a{ys}", QVariantMap{{QStringLiteral("A"), k}}) << malformed << QString();
        QTest::newRow("byte key out of range")
                << typed("a{ys}", QVariantMap{{QStringLiteral("256"), k}}) << malformed
                << QString();
        QTest::newRow("boolean key yes") << typed("a{bs}", QVariantMap{{QStringLiteral("yes"), k}})
                                         << malformed << QString();
        QTest::newRow("dictionary pair of one")
                << typed("a{is}", QVariantList{QVariantList{1}}) << malformed << QString();
        QTest::newRow("dictionary not a map or list")
                << typed("a{is}", 1) << malformed << QString();
    }

    void refused()
    {
        QFETCH(QVariant, value);
        QFETCH(QString, status);
        QFETCH(QString, typeName);

        const Message message = newMessage();
        QVERIFY(message);
        QString reported;
        QCOMPARE(statusName(ls::appendValue(message.get(), value, &reported)), status);
        QCOMPARE(reported, typeName);
    }

    void fileDescriptor_data()
    {
        addColumns<QString, QString, QVariant>("around", "signature", "expectedTyped");

        const QVariant fd = typed("h", QVariant());
        const QString k = QStringLiteral("k");
        QTest::newRow("file descriptor as argument") << QString() << "h" << fd;
        QTest::newRow("file descriptor in a map value")
                << "map"
                << "a{sv}" << typed("a{sv}", QVariantList{entry(typed("s", k), typed("v", fd))});
        QTest::newRow("file descriptor in an array") << "array"
                                                     << "ah" << typed("ah", QVariantList{fd});
    }

    void fileDescriptor()
    {
        QFETCH(QString, around);
        QFETCH(QString, signature);
        QFETCH(QVariant, expectedTyped);

        const Message message = newMessage();
        QVERIFY(message);
        sd_bus_message *m = message.get();
        if (around == QLatin1String("map")) {
            QVERIFY(sd_bus_message_open_container(m, 'a', "{sv}") >= 0);
            QVERIFY(sd_bus_message_open_container(m, 'e', "sv") >= 0);
            QVERIFY(sd_bus_message_append_basic(m, 's', "k") >= 0);
            QVERIFY(sd_bus_message_open_container(m, 'v', "h") >= 0);
        } else if (around == QLatin1String("array")) {
            QVERIFY(sd_bus_message_open_container(m, 'a', "h") >= 0);
        }
        // sd-bus keeps a duplicate of its own.
        const int fd = dup(peerDescriptor());
        QVERIFY(fd >= 0);
        const int appended = sd_bus_message_append_basic(m, 'h', &fd);
        close(fd);
        QVERIFY(appended >= 0);
        const int containers = around == QLatin1String("map") ? 3 : around.isEmpty() ? 0 : 1;
        for (int i = 0; i < containers; ++i)
            QVERIFY(sd_bus_message_close_container(m) >= 0);
        QVERIFY(seal(m));
        QCOMPARE(signatureOf(m), signature);

        QVariant plain = QStringLiteral("unread");
        QCOMPARE(statusName(ls::readValue(m, &plain)), QStringLiteral("NoDBusForm"));
        QCOMPARE(describe(plain), describe(QVariant()));

        QVERIFY(sd_bus_message_rewind(m, 1) >= 0);
        ls::DBusTyped typedValue;
        QCOMPARE(statusName(ls::readTypedValue(m, &typedValue)), QStringLiteral("Ok"));
        QCOMPARE(describe(QVariant::fromValue(typedValue)), describe(expectedTyped));
    }
};

QTEST_GUILESS_MAIN(TestDBusValueRefused)

#include "tst_dbusvaluerefused.moc"
