// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_METAENUM_H
#define LS_METAENUM_H

#include <ls/libservices_export.h>

#include <QHash>
#include <QList>
#include <QMap>
#include <QSharedDataPointer>
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

    MetaEnum();
    explicit MetaEnum(const Map &map);
    MetaEnum(const MetaEnum &other);
    MetaEnum &operator=(const MetaEnum &other);
    ~MetaEnum();
    // Pairs names[i] with values[i]. Both are arrays of the same size, so a list of values longer
    // or shorter than the names does not compile.
    template<std::size_t N>
    MetaEnum(const QString (&names)[N], const int (&values)[N]) : MetaEnum(names, values, N)
    { }

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

    const Map &map() const;
    bool isEmpty() const { return map().isEmpty(); }
    int count() const { return map().size(); }

private:
    struct Data;

    MetaEnum(const QString *names, const int *values, std::size_t count);
    const Data &data() const;

    // Shared by copies. The map and its look-ups are built on first use, not when the library
    // loads: a tool uses one or two of the catalogue's enums in a run.
    QExplicitlySharedDataPointer<Data> d;
};

} // namespace ls

#endif // LS_METAENUM_H
