#include <ls/metaenum.h>

#include <limits>

namespace ls {

MetaEnum::MetaEnum(const Map &map) : m_map(map) { }

void MetaEnum::insert(const QString *names, const int *values, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        m_map.insert(names + i, values[i]);
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
    for (auto it = m_map.cbegin(); it != m_map.cend(); ++it) {
        if (it.value() == value)
            return *it.key();
    }
    return QStringLiteral("Undefined");
}

int MetaEnum::valueOf(const QString &name) const
{
    for (auto it = m_map.cbegin(); it != m_map.cend(); ++it) {
        if (*it.key() == name)
            return it.value();
    }
    return std::numeric_limits<int>::min();
}

} // namespace ls
