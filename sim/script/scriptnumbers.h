// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SCRIPTNUMBERS_H
#define SCRIPTNUMBERS_H

#include <QByteArray>
#include <QString>

// The numbers of a script as written: a JSON number is read as a double, and a number counts as
// whole only when that double is exactly the number written.
namespace ScriptNumbers {

// 2^53: beyond it a JSON number no longer holds every whole number.
constexpr double maximumExactInteger = 9007199254740992.0;

bool isWhole(double d);

// The parsed document keeps only each number's double: the script's text is the one place that
// still shows which numbers a double does not hold. Every such number is wrapped as
// {"<marker>": number}. The text must be valid JSON.
QByteArray markInexactNumbers(const QByteArray &json, const QString &marker);

} // namespace ScriptNumbers

#endif // SCRIPTNUMBERS_H
