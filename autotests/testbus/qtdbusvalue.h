// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef QTDBUSVALUE_H
#define QTDBUSVALUE_H

#include <QVariant>

// The QtDBus test peers' own reading of what they receive: every QDBusArgument, QDBusVariant,
// object path and signature turned into plain Qt types, with the nesting limit of the bus. It is
// independent of the library's conversion on purpose, so that the two check each other.
QVariant plainFromQtDBus(const QVariant &value, bool *ok = nullptr);

#endif // QTDBUSVALUE_H
