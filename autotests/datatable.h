// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DATATABLE_H
#define DATATABLE_H

// A data table's columns in one statement, read as a table's head: the types, then the names in
// the same order.

#include <QTest>

template<typename... Types, typename... Names>
void addColumns(const Names &...names)
{
    static_assert(sizeof...(Types) == sizeof...(Names), "one name for each column's type");
    (QTest::addColumn<Types>(names), ...);
}

#endif // DATATABLE_H
