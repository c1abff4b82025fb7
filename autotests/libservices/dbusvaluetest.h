// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DBUSVALUETEST_H
#define DBUSVALUETEST_H

#include <ls/dbusvalue.h>

#include <systemd/sd-bus.h>

#include <QObject>
#include <QString>
#include <QVariant>

#include <memory>

// What the tests of the conversion between Qt values and D-Bus messages share: values built and
// described for comparison (the service tests compare theirs the same way), and messages built
// and read in memory.

// Types and values, recursively: QVariant's own == would call 2 and 2.0 equal, and cannot compare
// DBusTyped at all.
QString describe(const QVariant &value);

QVariant typed(const char *signature, const QVariant &value);
// A dictionary entry as readTypedValue() gives it.
QVariant entry(const QVariant &key, const QVariant &value);
QVariant byte(uchar value);
// levels maps, each holding the next under "inner", around bottom.
QVariant nestedMaps(int levels, const QVariant &bottom);
// levels lists of one element each around bottom.
QVariant nestedLists(int levels, const QVariant &bottom);
// "a", NUL, "b": text that D-Bus cannot carry.
QString withNul();
QString repeated(char c, int count);

QString statusName(ls::WireStatus status);

struct MessageUnref
{
    void operator()(sd_bus_message *message) const;
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

QString signatureOf(sd_bus_message *message);

// The base of the tests that build messages: a bus on one end of a socket pair that nobody
// answers, enough to create messages.
class DBusValueTestCase : public QObject
{
    Q_OBJECT

protected:
    Message newMessage();
    // Seals the message as sending would, and puts the read position at its first argument.
    bool seal(sd_bus_message *message);
    // A descriptor of the unanswered end, for messages that carry one.
    int peerDescriptor() const { return m_peer; }

    // Writes value, reads it back plain and typed, then writes the typed form again: it must give
    // the same message. expectedTyped is not compared when invalid.
    void checkRoundTrip(const QVariant &value, const QString &signature, const QVariant &expected,
                        const QVariant &expectedTyped);

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

private:
    sd_bus *m_bus = nullptr;
    int m_peer = -1;
    quint64 m_cookie = 0;
};

#endif // DBUSVALUETEST_H
