// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include <ls/metaenum.h>

#include <QTest>

#include <limits>

namespace {

// Names of the test enums, each enum in one array so that its iteration order is the array's.
// "Beta" stands twice, and Alpha and Gamma share a value.
const QString letters[] = {
        QStringLiteral("Alpha"), QStringLiteral("Beta"), QStringLiteral("Gamma"),
        QStringLiteral("Delta"), QStringLiteral("Beta"),
};
const QString lonely[] = {QStringLiteral("Only")};
// Same texts as some of letters, but other objects.
const QString lookalike[] = {QStringLiteral("Alpha"), QStringLiteral("Beta")};

const ls::MetaEnum &lettersMeta()
{
    static const ls::MetaEnum meta(letters, {10, 20, 10, -5, 30});
    return meta;
}

const ls::MetaEnum &lonelyMeta()
{
    static const ls::MetaEnum meta(lonely, {0});
    return meta;
}

// The same as lettersMeta, but its map filled back to front.
const ls::MetaEnum &reversedMeta()
{
    static const ls::MetaEnum meta([] {
        ls::MetaEnum::Map map;
        const int values[] = {10, 20, 10, -5, 30};
        for (int i = 4; i >= 0; --i)
            map.insert(&letters[i], values[i]);
        return map;
    }());
    return meta;
}

// A larger enum, all its names in one array: the texts repeat every 250 entries and the values
// every 300, so most look-ups have four candidates of which only the first may answer.
const int largeCount = 1000;

struct LargeEnum
{
    QString names[largeCount];
    int values[largeCount];
};

const LargeEnum &largeEnum()
{
    static const LargeEnum large = [] {
        LargeEnum filled;
        for (int i = 0; i < largeCount; ++i) {
            filled.names[i] = QStringLiteral("Entry%1").arg(i % 250);
            filled.values[i] = 1000 - i % 300;
        }
        return filled;
    }();
    return large;
}

const ls::MetaEnum &largeMeta()
{
    static const ls::MetaEnum meta(largeEnum().names, largeEnum().values);
    return meta;
}

// The same as largeMeta, but its map filled in a scrambled order.
const ls::MetaEnum &largeScrambledMeta()
{
    static const ls::MetaEnum meta([] {
        ls::MetaEnum::Map map;
        for (int i = 0; i < largeCount; ++i) {
            const int at = i * 337 % largeCount;
            map.insert(&largeEnum().names[at], largeEnum().values[at]);
        }
        return map;
    }());
    return meta;
}

const ls::MetaEnum &emptyMeta()
{
    static const ls::MetaEnum meta;
    return meta;
}

const ls::MetaEnum &metaNamed(const QString &which)
{
    if (which == QLatin1String("letters"))
        return lettersMeta();
    if (which == QLatin1String("reversed"))
        return reversedMeta();
    if (which == QLatin1String("lonely"))
        return lonelyMeta();
    if (which == QLatin1String("large"))
        return largeMeta();
    if (which == QLatin1String("large scrambled"))
        return largeScrambledMeta();
    return emptyMeta();
}

const int noValue = std::numeric_limits<int>::min();

} // namespace

Q_DECLARE_METATYPE(const QString *)

class TestMetaEnum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void names_data()
    {
        addColumns<QString, QList<const QString *>>("which", "expected");

        const QList<const QString *> inArrayOrder{&letters[0], &letters[1], &letters[2],
                                                  &letters[3], &letters[4]};
        QTest::newRow("array order, which is address order")
                << QStringLiteral("letters") << inArrayOrder;
        QTest::newRow("filled back to front, still address order")
                << QStringLiteral("reversed") << inArrayOrder;
        QTest::newRow("one enumerator")
                << QStringLiteral("lonely") << QList<const QString *>{&lonely[0]};
        QTest::newRow("empty enum") << QStringLiteral("empty") << QList<const QString *>();
    }

    void names()
    {
        QFETCH(QString, which);
        QFETCH(QList<const QString *>, expected);
        const ls::MetaEnum &meta = metaNamed(which);

        const QList<const QString *> names = meta.names();

        QCOMPARE(names, expected);
        QCOMPARE(meta.count(), expected.size());
        QCOMPARE(meta.isEmpty(), expected.isEmpty());
        // Ascending by address, as the map iterates.
        for (int i = 1; i < names.size(); ++i)
            QVERIFY(std::less<const QString *>()(names.at(i - 1), names.at(i)));
        QCOMPARE(names, meta.map().keys());
    }

    void value_data()
    {
        addColumns<QString, const QString *, int>("which", "name", "expected");

        QTest::newRow("first name") << QStringLiteral("letters") << &letters[0] << 10;
        QTest::newRow("negative value") << QStringLiteral("letters") << &letters[3] << -5;
        QTest::newRow("second of two names with one text, by its own pointer")
                << QStringLiteral("letters") << &letters[4] << 30;
        QTest::newRow("value 0 of a present name") << QStringLiteral("lonely") << &lonely[0] << 0;
        QTest::newRow("same text, other object: absent")
                << QStringLiteral("letters") << &lookalike[0] << 0;
        QTest::newRow("name of another enum: absent")
                << QStringLiteral("letters") << &lonely[0] << 0;
        QTest::newRow("null pointer: absent")
                << QStringLiteral("letters") << static_cast<const QString *>(nullptr) << 0;
        QTest::newRow("empty enum: absent") << QStringLiteral("empty") << &letters[0] << 0;
    }

    void value()
    {
        QFETCH(QString, which);
        QFETCH(const QString *, name);
        QFETCH(int, expected);

        QCOMPARE(metaNamed(which).value(name), expected);
    }

    void name_data()
    {
        addColumns<QString, int, QString>("which", "value", "expected");

        QTest::newRow("unique value") << QStringLiteral("letters") << 20 << QStringLiteral("Beta");
        QTest::newRow("negative value")
                << QStringLiteral("letters") << -5 << QStringLiteral("Delta");
        QTest::newRow("duplicate value: first in iteration order wins")
                << QStringLiteral("letters") << 10 << QStringLiteral("Alpha");
        QTest::newRow("duplicate value, map filled back to front: still the first address")
                << QStringLiteral("reversed") << 10 << QStringLiteral("Alpha");
        QTest::newRow("value of the repeated text")
                << QStringLiteral("letters") << 30 << QStringLiteral("Beta");
        QTest::newRow("value 0 present") << QStringLiteral("lonely") << 0 << QStringLiteral("Only");
        QTest::newRow("unknown value")
                << QStringLiteral("letters") << 11 << QStringLiteral("Undefined");
        QTest::newRow("value 0 absent")
                << QStringLiteral("letters") << 0 << QStringLiteral("Undefined");
        QTest::newRow("smallest int")
                << QStringLiteral("letters") << noValue << QStringLiteral("Undefined");
        QTest::newRow("empty enum") << QStringLiteral("empty") << 10 << QStringLiteral("Undefined");

        for (const QString &which : {QStringLiteral("large"), QStringLiteral("large scrambled")}) {
            QTest::addRow("%s: value of entries 17, 317, 617, 917: the first wins",
                          qPrintable(which))
                    << which << 983 << QStringLiteral("Entry17");
            QTest::addRow("%s: value of entries 299, 599, 899: the first wins", qPrintable(which))
                    << which << 701 << QStringLiteral("Entry49");
            QTest::addRow("%s: value of the very first entry", qPrintable(which))
                    << which << 1000 << QStringLiteral("Entry0");
            QTest::addRow("%s: value of the last entry, first at 99", qPrintable(which))
                    << which << 901 << QStringLiteral("Entry99");
            QTest::addRow("%s: value just below the range", qPrintable(which))
                    << which << 700 << QStringLiteral("Undefined");
            QTest::addRow("%s: value just above the range", qPrintable(which))
                    << which << 1001 << QStringLiteral("Undefined");
        }
    }

    void name()
    {
        QFETCH(QString, which);
        QFETCH(int, value);
        QFETCH(QString, expected);

        QCOMPARE(metaNamed(which).name(value), expected);
    }

    void valueOf_data()
    {
        addColumns<QString, QString, int>("which", "name", "expected");

        QTest::newRow("exact text") << QStringLiteral("letters") << QStringLiteral("Gamma") << 10;
        QTest::newRow("repeated text: first in iteration order wins")
                << QStringLiteral("letters") << QStringLiteral("Beta") << 20;
        QTest::newRow("repeated text, map filled back to front: still the first address")
                << QStringLiteral("reversed") << QStringLiteral("Beta") << 20;
        QTest::newRow("text of another object than the enum's")
                << QStringLiteral("letters") << lookalike[0] << 10;
        QTest::newRow("value 0 present") << QStringLiteral("lonely") << QStringLiteral("Only") << 0;
        QTest::newRow("other letter case")
                << QStringLiteral("letters") << QStringLiteral("alpha") << noValue;
        QTest::newRow("trailing blank")
                << QStringLiteral("letters") << QStringLiteral("Alpha ") << noValue;
        QTest::newRow("prefix") << QStringLiteral("letters") << QStringLiteral("Alp") << noValue;
        QTest::newRow("unknown text")
                << QStringLiteral("letters") << QStringLiteral("Omega") << noValue;
        QTest::newRow("\"Undefined\"")
                << QStringLiteral("letters") << QStringLiteral("Undefined") << noValue;
        QTest::newRow("empty text") << QStringLiteral("letters") << QString() << noValue;
        QTest::newRow("empty enum")
                << QStringLiteral("empty") << QStringLiteral("Alpha") << noValue;

        for (const QString &which : {QStringLiteral("large"), QStringLiteral("large scrambled")}) {
            QTest::addRow("%s: text of entries 17, 267, 517, 767: the first wins",
                          qPrintable(which))
                    << which << QStringLiteral("Entry17") << 983;
            QTest::addRow("%s: text of entries 249, 499, 749, 999: the first wins",
                          qPrintable(which))
                    << which << QStringLiteral("Entry249") << 751;
            QTest::addRow("%s: text of the very first entry", qPrintable(which))
                    << which << QStringLiteral("Entry0") << 1000;
            QTest::addRow("%s: text past the last one", qPrintable(which))
                    << which << QStringLiteral("Entry250") << noValue;
            QTest::addRow("%s: other letter case", qPrintable(which))
                    << which << QStringLiteral("entry17") << noValue;
        }
    }

    void valueOf()
    {
        QFETCH(QString, which);
        QFETCH(QString, name);
        QFETCH(int, expected);

        QCOMPARE(metaNamed(which).valueOf(name), expected);
    }

    void copiesShareTheMap()
    {
        const ls::MetaEnum copy = lettersMeta();
        QVERIFY(copy.map().isSharedWith(lettersMeta().map()));
        QCOMPARE(copy.names(), lettersMeta().names());

        ls::MetaEnum assigned;
        QVERIFY(!assigned.map().isSharedWith(lettersMeta().map()));
        assigned = lettersMeta();
        QVERIFY(assigned.map().isSharedWith(lettersMeta().map()));
        QCOMPARE(assigned.name(10), QStringLiteral("Alpha"));
    }
};

QTEST_GUILESS_MAIN(TestMetaEnum)

#include "tst_metaenum.moc"
