// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "dbusvaluetest.h"

#include <QStringList>
#include <QTest>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// Everything but printable ASCII escaped, so that failures show which code units differ.
QString quoted(const QString &text)
{
    QString result = QStringLiteral("\"");
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if (u == '"' || u == '\\')
            result += QLatin1Char('\\') + c;
        else if (u >= 0x20 && u < 0x7f)
            result += c;
        else
            result += QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
    }
    return result + QLatin1Char('"');
}

} // namespace

QString describe(const QVariant &value)
{
    const int type = value.userType();
    if (type == qMetaTypeId<ls::DBusTyped>()) {
        const ls::DBusTyped typed = value.value<ls::DBusTyped>();
        return QLatin1String("DBusTyped<") + typed.signature + QLatin1String(">(")
               + describe(typed.value) + QLatin1Char(')');
    }
    const QString name = QString::fromLatin1(value.typeName()) + QLatin1Char(' ');
    switch (type) {
    case QMetaType::UnknownType:
        return QStringLiteral("invalid");
    case QMetaType::QVariantMap: {
        QStringList entries;
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            entries.append(quoted(it.key()) + QLatin1String(": ") + describe(it.value()));
        return name + QLatin1Char('{') + entries.join(QLatin1String(", ")) + QLatin1Char('}');
    }
    case QMetaType::QVariantList: {
        QStringList elements;
        for (const QVariant &element : value.toList())
            elements.append(describe(element));
        return name + QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    case QMetaType::QStringList: {
        QStringList elements;
        for (const QString &text : value.toStringList())
            elements.append(quoted(text));
        return name + QLatin1Char('[') + elements.join(QLatin1String(", ")) + QLatin1Char(']');
    }
    case QMetaType::QString:
        return name + quoted(value.toString());
    case QMetaType::QByteArray:
        return name + QString::fromLatin1(value.toByteArray().toHex());
    case QMetaType::Double:
        return name + QString::number(value.toDouble(), 'g', 17);
    case QMetaType::Bool:
        return name + (value.toBool() ? QLatin1String("true") : QLatin1String("false"));
    case QMetaType::UChar:
    case QMetaType::UShort:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return name + QString::number(value.toULongLong());
    case QMetaType::Short:
    case QMetaType::Int:
    case QMetaType::LongLong:
        return name + QString::number(value.toLongLong());
    default:
        return name + value.toString();
    }
}

QVariant typed(const char *signature, const QVariant &value)
{
    return QVariant::fromValue(ls::DBusTyped{QString::fromLatin1(signature), value});
}

QVariant entry(const QVariant &key, const QVariant &value)
{
    return QVariantList{key, value};
}

QVariant byte(uchar value)
{
    return QVariant::fromValue(value);
}

QVariant nestedMaps(int levels, const QVariant &bottom)
{
    QVariant value = bottom;
    for (int i = 0; i < levels; ++i)
        value = QVariantMap{{QStringLiteral("inner"), value}};
    return value;
}

QVariant nestedLists(int levels, const QVariant &bottom)
{
    QVariant value = bottom;
    for (int i = 0; i < levels; ++i)
        value = QVariantList{value};
    return value;
}

QString withNul()
{
    return QStringLiteral("a") + QChar(0) + QStringLiteral("b");
}

QString repeated(char c, int count)
{
    return QString(count, QLatin1Char(c));
}

QString statusName(ls::WireStatus status)
{
    switch (status) {
    case ls::WireStatus::Ok:
        return QStringLiteral("Ok");
    case ls::WireStatus::TooDeep:
        return QStringLiteral("TooDeep");
    case ls::WireStatus::NoDBusForm:
        return QStringLiteral("NoDBusForm");
    case ls::WireStatus::BadText:
        return QStringLiteral("BadText");
    case ls::WireStatus::Malformed:
        return QStringLiteral("Malformed");
    }
    return QStringLiteral("unknown status %1").arg(int(status));
}

void MessageUnref::operator()(sd_bus_message *message) const
{
    sd_bus_message_unref(message);
}

QString signatureOf(sd_bus_message *message)
{
    return QString::fromLatin1(sd_bus_message_get_signature(message, 1));
}

void DBusValueTestCase::initTestCase()
{
    int fds[2];
    QCOMPARE(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    m_peer = fds[1];
    QVERIFY(sd_bus_new(&m_bus) >= 0);
    if (sd_bus_set_fd(m_bus, fds[0], fds[0]) < 0) {
        close(fds[0]);
        QFAIL("sd_bus_set_fd failed");
    }
    QVERIFY(sd_bus_start(m_bus) >= 0);
}

void DBusValueTestCase::cleanupTestCase()
{
    sd_bus_unref(m_bus);
    m_bus = nullptr;
    if (m_peer >= 0)
        close(m_peer);
    m_peer = -1;
}

Message DBusValueTestCase::newMessage()
{
    sd_bus_message *message = nullptr;
    if (sd_bus_message_new_method_call(m_bus, &message, nullptr, "/", nullptr, "Process") < 0)
        return Message();
    return Message(message);
}

bool DBusValueTestCase::seal(sd_bus_message *message)
{
    return sd_bus_message_seal(message, ++m_cookie, 0) >= 0
           && sd_bus_message_rewind(message, 1) >= 0;
}

void DBusValueTestCase::checkRoundTrip(const QVariant &value, const QString &signature,
                                       const QVariant &expected, const QVariant &expectedTyped)
{
    const Message message = newMessage();
    QVERIFY(message);
    QString typeName;
    QCOMPARE(statusName(ls::appendValue(message.get(), value, &typeName)), QStringLiteral("Ok"));
    QCOMPARE(typeName, QString());
    QVERIFY(seal(message.get()));
    QCOMPARE(signatureOf(message.get()), signature);

    QVariant plain = QStringLiteral("unread");
    QCOMPARE(statusName(ls::readValue(message.get(), &plain)), QStringLiteral("Ok"));
    QCOMPARE(describe(plain), describe(expected));
    QVERIFY(sd_bus_message_at_end(message.get(), 1) > 0);

    QVERIFY(sd_bus_message_rewind(message.get(), 1) >= 0);
    ls::DBusTyped typedValue;
    QCOMPARE(statusName(ls::readTypedValue(message.get(), &typedValue)), QStringLiteral("Ok"));
    QVERIFY(sd_bus_message_at_end(message.get(), 1) > 0);
    QCOMPARE(typedValue.signature, signature);
    if (expectedTyped.isValid())
        QCOMPARE(describe(QVariant::fromValue(typedValue)), describe(expectedTyped));

    const Message again = newMessage();
    QVERIFY(again);
    QCOMPARE(statusName(ls::appendValue(again.get(), QVariant::fromValue(typedValue))),
             QStringLiteral("Ok"));
    QVERIFY(seal(again.get()));
    QCOMPARE(signatureOf(again.get()), signature);
    ls::DBusTyped typedAgain;
    QCOMPARE(statusName(ls::readTypedValue(again.get(), &typedAgain)), QStringLiteral("Ok"));
    QCOMPARE(describe(QVariant::fromValue(typedAgain)), describe(QVariant::fromValue(typedValue)));
    QVERIFY(sd_bus_message_rewind(again.get(), 1) >= 0);
    QVariant plainAgain;
    QCOMPARE(statusName(ls::readValue(again.get(), &plainAgain)), QStringLiteral("Ok"));
    QCOMPARE(describe(plainAgain), describe(expected));
}
