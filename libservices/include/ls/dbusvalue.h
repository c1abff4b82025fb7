// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef LS_DBUSVALUE_H
#define LS_DBUSVALUE_H

#include <ls/libservices_export.h>

#include <QMetaType>
#include <QString>
#include <QVariant>

// sd-bus's message, for peers that serve or call on sd-bus themselves; the library's own proxy
// needs nothing of this header.
struct sd_bus_message;

namespace ls {

// How a value fared on its way into or out of a message.
enum class WireStatus {
    Ok,
    // Nested deeper than maximumNestingDepth: the bus would drop the sender's connection.
    TooDeep,
    // A Qt value with no D-Bus form, or a received one (a file descriptor) with no plain form.
    NoDBusForm,
    // Text with a NUL or a lone surrogate, which would not arrive as it was.
    BadText,
    // A typed value whose signature or content does not fit, or sd-bus refused the message.
    Malformed,
};

// A value sent as the D-Bus type its signature names instead of the one its Qt type would choose:
// an object path {"o", "/a/b"}, a signature {"g", "a{sv}"}, a variant {"v", 5} wrapped once more,
// an array of ints {"ai", QVariantList{1, 2}}, a struct {"(is)", QVariantList{7, "seven"}}, a
// dictionary {"a{is}", QVariantMap{{"1", "one"}}} whose text keys are read as the key type.
// readTypedValue() gives the same form for what it reads, with every element typed too.
struct DBusTyped
{
    QString signature;
    QVariant value;
};

// Appends one value as one complete D-Bus value: QString "s", bool "b", uchar "y", short "n",
// ushort "q", int "i", uint "u", qlonglong "x", qulonglong "t", double "d", QStringList "as",
// QByteArray "ay", QVariantList "av", QVariantMap "a{sv}", DBusTyped its own signature. A
// message argument counts as level 0 for the nesting limit. On any status but Ok the message is
// left half-built: the caller drops it. typeName receives the offending Qt type for NoDBusForm.
LIBSERVICES_EXPORT WireStatus appendValue(sd_bus_message *message, const QVariant &value,
                                          QString *typeName = nullptr);

// Reads the complete value at the message's read position into plain Qt types: every
// dictionary a QVariantMap keyed by text (integer keys as their decimal number, booleans as
// "true" and "false"), every array a QVariantList (of QString for "as", of uchar for "ay"), a
// struct a QVariantList of its fields, a variant its content, "o" and "g" a QString, the basic
// types their Qt type as above. A file descriptor gives NoDBusForm, a value deeper than
// maximumNestingDepth TooDeep; *out is then invalid. The value counts as level 0.
LIBSERVICES_EXPORT WireStatus readValue(sd_bus_message *message, QVariant *out);

// Reads the complete value at the read position keeping every D-Bus type: a DBusTyped whose
// value is, for a basic type, its Qt value ("o" and "g" as QString, "h" an invalid QVariant);
// for a variant a DBusTyped; for an array or struct a QVariantList of DBusTyped; for a
// dictionary a QVariantList of two-element QVariantLists, key and value, each a DBusTyped, in the
// order received. For a record of what arrived exactly as it arrived; applies no limit.
LIBSERVICES_EXPORT WireStatus readTypedValue(sd_bus_message *message, DBusTyped *out);

// Whether text is one complete D-Bus type, or a sequence of them with sequence set, as the
// rules of D-Bus signatures allow (at most 255 characters, 32 nested arrays and 32
// nested structs).
LIBSERVICES_EXPORT bool isValidSignature(const QString &signature, bool sequence = false);
// Whether text is a D-Bus object path: "/" or "/"-separated elements of [A-Za-z0-9_].
LIBSERVICES_EXPORT bool isValidObjectPath(const QString &path);

} // namespace ls

Q_DECLARE_METATYPE(ls::DBusTyped)

#endif // LS_DBUSVALUE_H
