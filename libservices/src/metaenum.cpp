// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include <ls/metaenum.h>

#include <QHash>
#include <QMutex>
#include <QVector>

#include <limits>

namespace ls {

struct MetaEnum::Data : QSharedData
{
    // What the enum was made of, until the first use turns it into the map.
    const QString *names = nullptr;
    QVector<int> values;

    QAtomicInt built;
    Map map;
    // For each value and for each name text, the first entry in iteration order that has it.
    QHash<int, const QString *> firstNameOfValue;
    QHash<QString, int> firstValueOfText;
};

namespace {
// Held only while an enum is built, once per enum; uncontended it costs two atomic operations.
QBasicMutex buildLock;
} // namespace

MetaEnum::MetaEnum() : d(new Data) { }

MetaEnum::MetaEnum(const Map &map) : d(new Data)
{
    d->map = map;
}

MetaEnum::MetaEnum(const QString *names, const int *values, std::size_t count) : d(new Data)
{
    d->names = names;
    d->values = QVector<int>(values, values + count);
}

MetaEnum::MetaEnum(const MetaEnum &other) = default;
MetaEnum &MetaEnum::operator=(const MetaEnum &other) = default;
MetaEnum::~MetaEnum() = default;

const MetaEnum::Data &MetaEnum::data() const
{
    Data *data = d.data();
    if (data->built.loadAcquire())
        return *data;
    QMutexLocker locker(&buildLock);
    if (data->built.loadRelaxed())
        return *data;
    for (int i = 0; i < data->values.size(); ++i)
        data->map.insert(data->names + i, data->values.at(i));
    data->values.clear();
    if (!data->map.isEmpty()) {
        data->firstNameOfValue.reserve(data->map.size());
        data->firstValueOfText.reserve(data->map.size());
        // Back to front: of the entries that share a value or a text, the first in iteration
        // order is inserted last and so is the one kept.
        auto it = data->map.cend();
        do {
            --it;
            data->firstNameOfValue.insert(it.value(), it.key());
            // A null name has no text to find.
            if (it.key())
                data->firstValueOfText.insert(*it.key(), it.value());
        } while (it != data->map.cbegin());
    }
    data->built.storeRelease(1);
    return *data;
}

const MetaEnum::Map &MetaEnum::map() const
{
    return data().map;
}

QList<const QString *> MetaEnum::names() const
{
    return data().map.keys();
}

int MetaEnum::value(const QString *name) const
{
    return data().map.value(name, 0);
}

QString MetaEnum::name(int value) const
{
    const QString *first = data().firstNameOfValue.value(value, nullptr);
    return first ? *first : QStringLiteral("Undefined");
}

int MetaEnum::valueOf(const QString &name) const
{
    return data().firstValueOfText.value(name, std::numeric_limits<int>::min());
}

} // namespace ls
