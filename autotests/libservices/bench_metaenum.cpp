// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/metaenum.h>

#include <QElapsedTimer>
#include <QTest>
#include <QVector>

#include <algorithm>
#include <memory>

namespace {

// An enum of a given size whose names live in one array, so that iteration order is array order.
// Every third entry repeats the value of the one before it, and every fourth repeats the text of
// the one before it, so both look-ups have to pick the first of several candidates.
class GeneratedEnum
{
public:
    explicit GeneratedEnum(int count) : m_count(count), m_names(new QString[count])
    {
        ls::MetaEnum::Map map;
        for (int i = 0; i < count; ++i) {
            m_names[i] = QStringLiteral("Enumerator%1").arg(firstWithText(i));
            map.insert(&m_names[i], valueAt(i));
        }
        m_meta = ls::MetaEnum(map);
    }

    static int valueAt(int i) { return i % 3 == 2 ? i - 1 : i; }
    static int firstWithValue(int i) { return i % 3 == 2 ? i - 1 : i; }
    static int firstWithText(int i) { return i % 4 == 3 ? i - 1 : i; }

    int count() const { return m_count; }
    const QString &nameAt(int i) const { return m_names[i]; }
    const ls::MetaEnum &meta() const { return m_meta; }

private:
    int m_count;
    std::unique_ptr<QString[]> m_names;
    ls::MetaEnum m_meta;
};

// What a listing of the enum does: every name pointer, its value, and the name shown for it.
void listing(const ls::MetaEnum &meta, QVector<QString> &shown)
{
    const QList<const QString *> names = meta.names();
    for (int i = 0; i < names.size(); ++i)
        shown[i] = meta.name(meta.value(names.at(i)));
}

void lookUpByText(const GeneratedEnum &generated, QVector<int> &found)
{
    const ls::MetaEnum &meta = generated.meta();
    for (int i = 0; i < generated.count(); ++i)
        found[i] = meta.valueOf(generated.nameAt(i));
}

bool listingIsRight(const GeneratedEnum &generated, const QVector<QString> &shown)
{
    for (int i = 0; i < generated.count(); ++i) {
        if (shown.at(i) != generated.nameAt(GeneratedEnum::firstWithValue(i)))
            return false;
    }
    return true;
}

bool lookUpByTextIsRight(const GeneratedEnum &generated, const QVector<int> &found)
{
    for (int i = 0; i < generated.count(); ++i) {
        if (found.at(i) != GeneratedEnum::valueAt(GeneratedEnum::firstWithText(i)))
            return false;
    }
    return true;
}

// Nanoseconds per enumerator, the median of several runs so that one disturbed run does not count.
// Each run repeats the pass so that a small enum is not lost in the timer's resolution.
template<typename Pass>
double medianNanosPerEnumerator(int count, int passes, Pass pass)
{
    const int runs = 5;
    QVector<double> perEnumerator;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < passes; ++i)
            pass();
        perEnumerator.append(double(timer.nsecsElapsed()) / (double(count) * passes));
    }
    std::sort(perEnumerator.begin(), perEnumerator.end());
    return perEnumerator.at(runs / 2);
}

} // namespace

class BenchMetaEnum : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listing_data();
    void listing();
    void valueOf_data();
    void valueOf();
    void growth();

private:
    void sizes();
};

void BenchMetaEnum::sizes()
{
    QTest::addColumn<int>("count");
    QTest::newRow("10") << 10;
    QTest::newRow("1000") << 1000;
    QTest::newRow("100000") << 100000;
}

void BenchMetaEnum::listing_data()
{
    sizes();
}

void BenchMetaEnum::listing()
{
    QFETCH(int, count);
    const GeneratedEnum generated(count);
    QVector<QString> shown(count);

    QBENCHMARK
    {
        ::listing(generated.meta(), shown);
    }

    QVERIFY(listingIsRight(generated, shown));
}

void BenchMetaEnum::valueOf_data()
{
    sizes();
}

void BenchMetaEnum::valueOf()
{
    QFETCH(int, count);
    const GeneratedEnum generated(count);
    QVector<int> found(count);

    QBENCHMARK
    {
        lookUpByText(generated, found);
    }

    QVERIFY(lookUpByTextIsRight(generated, found));
}

// Per-enumerator cost of a large enum against a small one. Timing on a shared machine is noisy,
// so the ratios are only printed; what is checked is that the answers are right.
void BenchMetaEnum::growth()
{
    const int small = 1000;
    const int large = 100000;
    const GeneratedEnum smallEnum(small);
    const GeneratedEnum largeEnum(large);
    QVector<QString> smallShown(small);
    QVector<QString> largeShown(large);
    QVector<int> smallFound(small);
    QVector<int> largeFound(large);

    // Both sizes do the same number of look-ups per run.
    const int smallPasses = large / small;
    const double smallListing = medianNanosPerEnumerator(
            small, smallPasses, [&] { ::listing(smallEnum.meta(), smallShown); });
    const double largeListing
            = medianNanosPerEnumerator(large, 1, [&] { ::listing(largeEnum.meta(), largeShown); });
    const double smallValueOf = medianNanosPerEnumerator(
            small, smallPasses, [&] { lookUpByText(smallEnum, smallFound); });
    const double largeValueOf
            = medianNanosPerEnumerator(large, 1, [&] { lookUpByText(largeEnum, largeFound); });

    qInfo("listing: %.1f ns per enumerator at %d, %.1f ns at %d, ratio %.2f", smallListing, small,
          largeListing, large, largeListing / smallListing);
    qInfo("valueOf: %.1f ns per enumerator at %d, %.1f ns at %d, ratio %.2f", smallValueOf, small,
          largeValueOf, large, largeValueOf / smallValueOf);
    if (largeListing > 2 * smallListing || largeValueOf > 2 * smallValueOf)
        qWarning("per-enumerator cost at %d is more than twice that at %d", large, small);

    QVERIFY(listingIsRight(smallEnum, smallShown));
    QVERIFY(listingIsRight(largeEnum, largeShown));
    QVERIFY(lookUpByTextIsRight(smallEnum, smallFound));
    QVERIFY(lookUpByTextIsRight(largeEnum, largeFound));
}

QTEST_GUILESS_MAIN(BenchMetaEnum)

#include "bench_metaenum.moc"
