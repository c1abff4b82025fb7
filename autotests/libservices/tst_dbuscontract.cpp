#include <ls/dbuscontract.h>

#include <QDBusObjectPath>
#include <QDBusSignature>
#include <QDBusUnixFileDescriptor>
#include <QDBusVariant>
#include <QTest>

namespace {

QVariant nestedMaps(int levels)
{
    QVariant value = QStringLiteral("bottom");
    for (int i = 0; i < levels; ++i)
        value = QVariantMap{{QStringLiteral("inner"), value}};
    return value;
}

QVariant nestedLists(int levels, const QVariant &bottom)
{
    QVariant value = bottom;
    for (int i = 0; i < levels; ++i)
        value = QVariantList{value};
    return value;
}

} // namespace

// fromDBusValue() on values as QtDBus hands them over without a bus in between; the round trip
// over a real bus is tst_dbusservice's.
class TestDBusContract : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fromDBusValue_data();
    void fromDBusValue();
};

void TestDBusContract::fromDBusValue_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QVariant>("expected");
    QTest::addColumn<bool>("ok");

    const QVariant text = QStringLiteral("x");
    QTest::newRow("int stays int") << QVariant(7) << QVariant(7) << true;
    QTest::newRow("unsigned stays unsigned") << QVariant(7u) << QVariant(7u) << true;
    QTest::newRow("string list becomes list")
            << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})
            << QVariant(QVariantList{QStringLiteral("a"), QStringLiteral("b")}) << true;
    QTest::newRow("bytes become list of bytes")
            << QVariant(QByteArray("\x01\xff", 2))
            << QVariant(
                       QVariantList{QVariant::fromValue(uchar(1)), QVariant::fromValue(uchar(255))})
            << true;
    QTest::newRow("variant unwrapped") << QVariant::fromValue(QDBusVariant(text)) << text << true;
    QTest::newRow("variant inside map unwrapped")
            << QVariant(QVariantMap{{QStringLiteral("k"), QVariant::fromValue(QDBusVariant(1))}})
            << QVariant(QVariantMap{{QStringLiteral("k"), 1}}) << true;
    QTest::newRow("object path becomes string")
            << QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a/b")))
            << QVariant(QStringLiteral("/a/b")) << true;
    QTest::newRow("signature becomes string")
            << QVariant::fromValue(QDBusSignature(QStringLiteral("a{sv}")))
            << QVariant(QStringLiteral("a{sv}")) << true;
    QTest::newRow("file descriptor has no plain form")
            << QVariant::fromValue(QDBusUnixFileDescriptor()) << QVariant() << false;
    QTest::newRow("file descriptor deep in a list")
            << QVariant(QVariantList{1, QVariant::fromValue(QDBusUnixFileDescriptor())})
            << QVariant() << false;
    // As a message argument: a map at level 0 holds its values at level 3.
    QTest::newRow("21 maps, string at level 63") << nestedMaps(21) << nestedMaps(21) << true;
    QTest::newRow("22 maps, string at level 66") << nestedMaps(22) << QVariant() << false;
    QTest::newRow("32 lists, string at level 64")
            << nestedLists(32, text) << nestedLists(32, text) << true;
    QTest::newRow("33 lists, string at level 66") << nestedLists(33, text) << QVariant() << false;
    QTest::newRow("32 lists, empty string list at level 64")
            << nestedLists(32, QStringList()) << nestedLists(32, QVariantList()) << true;
    QTest::newRow("32 lists, string list at level 64, its string at 65")
            << nestedLists(32, QStringList{QStringLiteral("a")}) << QVariant() << false;
    QTest::newRow("32 lists, bytes at level 64")
            << nestedLists(32, QByteArray("a"))
            << nestedLists(32, QVariantList{QVariant::fromValue(uchar('a'))}) << true;
}

void TestDBusContract::fromDBusValue()
{
    QFETCH(QVariant, value);
    QFETCH(QVariant, expected);
    QFETCH(bool, ok);

    bool converted = !ok;
    const QVariant result = ls::fromDBusValue(value, &converted);

    QCOMPARE(converted, ok);
    QCOMPARE(result.userType(), expected.userType());
    QCOMPARE(result, expected);
}

QTEST_GUILESS_MAIN(TestDBusContract)

#include "tst_dbuscontract.moc"
