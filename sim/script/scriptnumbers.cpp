// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "scriptnumbers.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ScriptNumbers {

namespace {

// Whether the number a JSON literal writes is exactly n: "1e3" and "1000.0" are 1000,
// "9007199254740993" is not 9007199254740992.
bool literalIs(const QByteArray &literal, qint64 n)
{
    const auto isDigit = [&literal](int i) {
        return i < literal.size() && literal.at(i) >= '0' && literal.at(i) <= '9';
    };
    int i = 0;
    const bool negative = literal.startsWith('-');
    if (negative)
        ++i;
    QByteArray digits;
    qint64 exponent = 0;
    for (; isDigit(i); ++i)
        digits += literal.at(i);
    if (i < literal.size() && literal.at(i) == '.') {
        for (++i; isDigit(i); ++i) {
            digits += literal.at(i);
            --exponent;
        }
    }
    if (i < literal.size() && (literal.at(i) == 'e' || literal.at(i) == 'E')) {
        ++i;
        const bool negativeExponent = i < literal.size() && literal.at(i) == '-';
        if (i < literal.size() && (literal.at(i) == '-' || literal.at(i) == '+'))
            ++i;
        qint64 written = 0;
        // Far beyond any digit count, so that the sum cannot overflow.
        for (; isDigit(i); ++i)
            written = std::min<qint64>(written * 10 + (literal.at(i) - '0'), 1000000);
        exponent += negativeExponent ? -written : written;
    }
    int first = 0;
    while (first < digits.size() && digits.at(first) == '0')
        ++first;
    digits = digits.mid(first);
    if (digits.isEmpty())
        return n == 0;
    while (digits.endsWith('0')) {
        digits.chop(1);
        ++exponent;
    }
    if (exponent < 0 || negative != (n < 0) || digits.size() + exponent > 19)
        return false;
    digits += QByteArray(int(exponent), '0');
    return digits == QByteArray::number(n < 0 ? -n : n);
}

// A literal whose double is a whole number that x and t could take but that is not the number
// written, such as 9007199254740993, which reads as 9007199254740992.
bool readsAsOtherWholeNumber(const QByteArray &literal)
{
    bool ok = false;
    const double d = literal.toDouble(&ok);
    return ok && isWhole(d) && std::fabs(d) <= maximumExactInteger
           && !literalIs(literal, static_cast<qint64>(d));
}

} // namespace

bool isWhole(double d)
{
    return std::isfinite(d) && std::floor(d) == d;
}

// The parsed document keeps only each number's double: the script's text is the one place that
// still shows which numbers a double does not hold. Every such number is wrapped as
// {"<marker>": number}. The text must be valid JSON.
QByteArray markInexactNumbers(const QByteArray &json, const QString &marker)
{
    const QByteArray wrapStart = "{\"" + marker.toUtf8() + "\": ";
    QByteArray out;
    out.reserve(json.size());
    int i = 0;
    while (i < json.size()) {
        const char c = json.at(i);
        int end = i + 1;
        if (c == '"') {
            while (end < json.size() && json.at(end) != '"')
                end += json.at(end) == '\\' ? 2 : 1;
            out += json.mid(i, end + 1 - i);
            i = end + 1;
        } else if (c == '-' || (c >= '0' && c <= '9')) {
            while (end < json.size() && json.at(end) != '\0'
                   && std::strchr("0123456789+-.eE", json.at(end)))
                ++end;
            const QByteArray literal = json.mid(i, end - i);
            if (readsAsOtherWholeNumber(literal))
                out += wrapStart + literal + '}';
            else
                out += literal;
            i = end;
        } else {
            out += c;
            i = end;
        }
    }
    return out;
}

} // namespace ScriptNumbers
