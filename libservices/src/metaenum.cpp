#include <ls/metaenum.h>

#include <limits>

namespace ls {

MetaEnum::MetaEnum(const Map &map) : m_map(map)
{
    buildLookups();
}

void MetaEnum::insert(const QString *names, const int *values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        m_map.insert(names + i, values[i]);
    buildLookups();
}

void MetaEnum::buildLookups()
{
    if (m_map.isEmpty())
        return;
    m_firstNameOfValue.reserve(m_map.size());
    m_firstValueOfText.reserve(m_map.size());
    // Back to front: of the entries that share a value or a text, the first in iteration order is
    // inserted last and so is the one kept.
    auto it = m_map.cend();
    do {
        --it;
        m_firstNameOfValue.insert(it.value(), it.key());
        // A null name has no text to find.
        if (it.key())
            m_firstValueOfText.insert(*it.key(), it.value());
    } while (it != m_map.cbegin());
}

QList<const QString *> MetaEnum::names() const
{
    return m_map.keys();
}

int MetaEnum::value(const QString *name) const
{
    return m_map.value(name, 0);
}

QString MetaEnum::name(int value) const
{
    const QString *first = m_firstNameOfValue.value(value, nullptr);
    return first ? *first : QStringLiteral("Undefined");
}

int MetaEnum::valueOf(const QString &name) const
{
    return m_firstValueOfText.value(name, std::numeric_limits<int>::min());
}

} // namespace ls
