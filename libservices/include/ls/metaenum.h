#ifndef LS_METAENUM_H
#define LS_METAENUM_H

#include <ls/libservices_export.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QString>

#include <cstddef>

namespace ls {

// Meta-information of one enum: its enumerator names, by the address of the library's own name
// string, mapped to their values. The map iterates by address, so an enum whose names are laid
// out in one array iterates in declaration order.
class LIBSERVICES_EXPORT MetaEnum
{
public:
    using Map = QMap<const QString *, int>;

    MetaEnum() = default;
    explicit MetaEnum(const Map &map);
    // Pairs names[i] with values[i]. Both are arrays of the same size, so a list of values longer
    // or shorter than the names does not compile.
    template<std::size_t N>
    MetaEnum(const QString (&names)[N], const int (&values)[N])
    {
        insert(names, values, N);
    }

    // The name pointers, ascending by address.
    QList<const QString *> names() const;
    // The value of a name pointer of this enum; 0 when the pointer is not one of its names.
    int value(const QString *name) const;
    // The name of the first entry in iteration order that carries the value; "Undefined" when none
    // does.
    QString name(int value) const;
    // The value of the first entry in iteration order whose name equals the text exactly;
    // the smallest int when none does.
    int valueOf(const QString &name) const;

    const Map &map() const { return m_map; }
    bool isEmpty() const { return m_map.isEmpty(); }
    int count() const { return m_map.size(); }

private:
    void insert(const QString *names, const int *values, std::size_t count);
    void buildLookups();

    Map m_map;
    // For each value and for each name text, the first entry in iteration order that has it.
    // Built with the map and never changed after, so copies share them with it.
    QHash<int, const QString *> m_firstNameOfValue;
    QHash<QString, int> m_firstValueOfText;
};

} // namespace ls

#endif // LS_METAENUM_H
