#include <ls/dbusvalue.h>

#include <QDateTime>
#include <QTest>

#include <systemd/sd-bus.h>

#include <limits>
#include <memory>

#include <sys/socket.h>
#include <unistd.h>

namespace {

struct MessageUnref
{
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

QString signatureOf(sd_bus_message *message)
{
    return QString::fromLatin1(sd_bus_message_get_signature(message, 1));
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

// Types and values, recursively: QVariant's own == would call 2 and 2.0 equal, and cannot compare
// DBusTyped at all.
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

QVariant typed(const QString &signature, const QVariant &value)
{
    return QVariant::fromValue(ls::DBusTyped{signature, value});
}

// A dictionary entry as readTypedValue() gives it.
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

} // namespace

// The conversion between Qt values and sd-bus messages, on messages built and read in memory.
class TestDBusValue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void plainRoundTrip_data();
    void plainRoundTrip();
    void typedRoundTrip_data();
    void typedRoundTrip();
    void refused_data();
    void refused();
    void fileDescriptor_data();
    void fileDescriptor();
    void nesting_data();
    void nesting();
    void readTooDeep_data();
    void readTooDeep();
    void signatures_data();
    void signatures();
    void objectPaths_data();
    void objectPaths();

private:
    Message newMessage();
    bool seal(sd_bus_message *message);
    void checkRoundTrip(const QVariant &value, const QString &signature, const QVariant &expected,
                        const QVariant &expectedTyped);

    // Started on one end of a socket pair that nobody answers: enough to create messages.
    sd_bus *m_bus = nullptr;
    int m_peer = -1;
    quint64 m_cookie = 0;
};

void TestDBusValue::initTestCase()
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

void TestDBusValue::cleanupTestCase()
{
    sd_bus_unref(m_bus);
    m_bus = nullptr;
    if (m_peer >= 0)
        close(m_peer);
    m_peer = -1;
}

Message TestDBusValue::newMessage()
{
    sd_bus_message *message = nullptr;
    if (sd_bus_message_new_method_call(m_bus, &message, nullptr, "/", nullptr, "Process") < 0)
        return Message();
    return Message(message);
}

// Seals the message as sending would, and puts the read position at its first argument.
bool TestDBusValue::seal(sd_bus_message *message)
{
    return sd_bus_message_seal(message, ++m_cookie, 0) >= 0
           && sd_bus_message_rewind(message, 1) >= 0;
}

// Writes value, reads it back plain and typed, then writes the typed form again: it must give the
// same message. expectedTyped is not compared when invalid.
void TestDBusValue::checkRoundTrip(const QVariant &value, const QString &signature,
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

void TestDBusValue::plainRoundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("bool true") << QVariant(true) << "b" << QVariant(true);
    QTest::newRow("bool false") << QVariant(false) << "b" << QVariant(false);
    QTest::newRow("uchar 0") << byte(0) << "y" << byte(0);
    QTest::newRow("uchar 255") << byte(255) << "y" << byte(255);
    QTest::newRow("short min") << QVariant::fromValue(std::numeric_limits<short>::min()) << "n"
                               << QVariant::fromValue(std::numeric_limits<short>::min());
    QTest::newRow("short max") << QVariant::fromValue(std::numeric_limits<short>::max()) << "n"
                               << QVariant::fromValue(std::numeric_limits<short>::max());
    QTest::newRow("ushort max") << QVariant::fromValue(std::numeric_limits<ushort>::max()) << "q"
                                << QVariant::fromValue(std::numeric_limits<ushort>::max());
    QTest::newRow("int 0") << QVariant(0) << "i" << QVariant(0);
    QTest::newRow("int -7") << QVariant(-7) << "i" << QVariant(-7);
    QTest::newRow("int min") << QVariant(std::numeric_limits<int>::min()) << "i"
                             << QVariant(std::numeric_limits<int>::min());
    QTest::newRow("int max") << QVariant(std::numeric_limits<int>::max()) << "i"
                             << QVariant(std::numeric_limits<int>::max());
    QTest::newRow("uint max") << QVariant(std::numeric_limits<uint>::max()) << "u"
                              << QVariant(std::numeric_limits<uint>::max());
    QTest::newRow("qlonglong min") << QVariant(std::numeric_limits<qlonglong>::min()) << "x"
                                   << QVariant(std::numeric_limits<qlonglong>::min());
    QTest::newRow("qlonglong max") << QVariant(std::numeric_limits<qlonglong>::max()) << "x"
                                   << QVariant(std::numeric_limits<qlonglong>::max());
    QTest::newRow("qulonglong 2^63")
            << QVariant(qulonglong(1) << 63) << "t" << QVariant(qulonglong(1) << 63);
    QTest::newRow("qulonglong max") << QVariant(std::numeric_limits<qulonglong>::max()) << "t"
                                    << QVariant(std::numeric_limits<qulonglong>::max());
    QTest::newRow("double 0.5") << QVariant(0.5) << "d" << QVariant(0.5);
    QTest::newRow("whole double 2.0 stays double") << QVariant(2.0) << "d" << QVariant(2.0);
    QTest::newRow("double -1e300") << QVariant(-1e300) << "d" << QVariant(-1e300);
    QTest::newRow("double -0.0") << QVariant(-0.0) << "d" << QVariant(-0.0);
    QTest::newRow("double smallest denormal")
            << QVariant(std::numeric_limits<double>::denorm_min()) << "d"
            << QVariant(std::numeric_limits<double>::denorm_min());

    const QString controls = QStringLiteral("tab\there\nnew line \"double\" 'single' back\\slash");
    QTest::newRow("string with tab, newline, quotes")
            << QVariant(controls) << "s" << QVariant(controls);
    const QString nonAscii = QStringLiteral("åäö ß €, ключ, 中文");
    QTest::newRow("non-ASCII string") << QVariant(nonAscii) << "s" << QVariant(nonAscii);
    const QString emoji = QStringLiteral("smile \U0001F600 end");
    QTest::newRow("string with emoji") << QVariant(emoji) << "s" << QVariant(emoji);
    QTest::newRow("empty string") << QVariant(QString()) << "s" << QVariant(QString());

    QTest::newRow("string list becomes list of strings")
            << QVariant(QStringList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")}) << "as"
            << QVariant(QVariantList{QStringLiteral("a"), QString(), QStringLiteral("ö\tx")});
    QTest::newRow("empty string list becomes empty list")
            << QVariant(QStringList()) << "as" << QVariant(QVariantList());
    QTest::newRow("bytes with 0x00 and 0xff become list of uchar")
            << QVariant(QByteArray("\x00\x41\xff", 3)) << "ay"
            << QVariant(QVariantList{byte(0), byte(0x41), byte(0xff)});
    QTest::newRow("empty bytes become empty list")
            << QVariant(QByteArray()) << "ay" << QVariant(QVariantList());

    const QVariantList mixed{1,
                             QStringLiteral("two"),
                             3.0,
                             true,
                             byte(5),
                             QVariant::fromValue(short(-6)),
                             QVariant::fromValue(ushort(7)),
                             8u,
                             qlonglong(-9),
                             qulonglong(10),
                             QVariantList{},
                             QVariantMap{}};
    QTest::newRow("list of mixed kinds") << QVariant(mixed) << "av" << QVariant(mixed);
    QTest::newRow("empty list") << QVariant(QVariantList()) << "av" << QVariant(QVariantList());
    QTest::newRow("empty map") << QVariant(QVariantMap()) << "a{sv}" << QVariant(QVariantMap());

    const QVariantMap nested{
            {QStringLiteral("outer"),
             QVariantList{QVariantMap{{QStringLiteral("inner"),
                                       QVariantList{1, QStringLiteral("x"), QVariantMap{}}}},
                          2.5}},
            {QStringLiteral("flag"), false}};
    QTest::newRow("maps in lists in maps") << QVariant(nested) << "a{sv}" << QVariant(nested);
    QTest::newRow("string list and bytes inside a map")
            << QVariant(QVariantMap{{QStringLiteral("strings"), QStringList{QStringLiteral("a")}},
                                    {QStringLiteral("bytes"), QByteArray("\xff", 1)}})
            << "a{sv}"
            << QVariant(QVariantMap{{QStringLiteral("strings"), QVariantList{QStringLiteral("a")}},
                                    {QStringLiteral("bytes"), QVariantList{byte(0xff)}}});
    const QVariantMap emptyKey{{QString(), 1}};
    QTest::newRow("empty key") << QVariant(emptyKey) << "a{sv}" << QVariant(emptyKey);
    const QVariantMap nonAsciiKey{{QStringLiteral("ключ \U0001F600"), QStringLiteral("v")}};
    QTest::newRow("non-ASCII key") << QVariant(nonAsciiKey) << "a{sv}" << QVariant(nonAsciiKey);
}

void TestDBusValue::plainRoundTrip()
{
    QFETCH(QVariant, value);
    QFETCH(QString, signature);
    QFETCH(QVariant, expected);

    checkRoundTrip(value, signature, expected, QVariant());
}

void TestDBusValue::typedRoundTrip_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QVariant>("expected");
    QTest::addColumn<QVariant>("expectedTyped");

    const QString k = QStringLiteral("k");

    QTest::newRow("object path") << typed("o", QStringLiteral("/a/b")) << "o"
                                 << QVariant(QStringLiteral("/a/b"))
                                 << typed("o", QStringLiteral("/a/b"));
    QTest::newRow("root object path")
            << typed("o", QStringLiteral("/")) << "o" << QVariant(QStringLiteral("/"))
            << typed("o", QStringLiteral("/"));
    QTest::newRow("signature") << typed("g", QStringLiteral("a{sv}")) << "g"
                               << QVariant(QStringLiteral("a{sv}"))
                               << typed("g", QStringLiteral("a{sv}"));
    QTest::newRow("signature of several types")
            << typed("g", QStringLiteral("sia{sv}")) << "g" << QVariant(QStringLiteral("sia{sv}"))
            << typed("g", QStringLiteral("sia{sv}"));
    QTest::newRow("empty signature")
            << typed("g", QString()) << "g" << QVariant(QString()) << typed("g", QString());
    // The longest sd-bus reads back: it writes a signature value of 255 characters, but refuses
    // to read one.
    QTest::newRow("signature value of 254 characters")
            << typed("g", repeated('i', 254)) << "g" << QVariant(repeated('i', 254))
            << typed("g", repeated('i', 254));
    QTest::newRow("variant as argument")
            << typed("v", 5) << "v" << QVariant(5) << typed("v", typed("i", 5));
    QTest::newRow("variant holding a variant as argument")
            << typed("v", typed("v", 5)) << "v" << QVariant(5)
            << typed("v", typed("v", typed("i", 5)));
    QTest::newRow("variant holding a variant in a map value")
            << QVariant(QVariantMap{{k, typed("v", 5)}}) << "a{sv}" << QVariant(QVariantMap{{k, 5}})
            << typed("a{sv}",
                     QVariantList{entry(typed("s", k), typed("v", typed("v", typed("i", 5))))});
    QTest::newRow("variant holding a map")
            << typed("v", QVariantMap{{k, 1}}) << "v" << QVariant(QVariantMap{{k, 1}})
            << typed("v",
                     typed("a{sv}", QVariantList{entry(typed("s", k), typed("v", typed("i", 1)))}));
    QTest::newRow("ai") << typed("ai", QVariantList{1, -2}) << "ai" << QVariant(QVariantList{1, -2})
                        << typed("ai", QVariantList{typed("i", 1), typed("i", -2)});
    QTest::newRow("au from other integer types")
            << typed("au", QVariantList{1, qlonglong(4294967295LL)}) << "au"
            << QVariant(QVariantList{1u, 4294967295u})
            << typed("au", QVariantList{typed("u", 1u), typed("u", 4294967295u)});
    QTest::newRow("ad with a whole number")
            << typed("ad", QVariantList{2, -0.5}) << "ad" << QVariant(QVariantList{2.0, -0.5})
            << typed("ad", QVariantList{typed("d", 2.0), typed("d", -0.5)});
    QTest::newRow("ab") << typed("ab", QVariantList{true, false}) << "ab"
                        << QVariant(QVariantList{true, false})
                        << typed("ab", QVariantList{typed("b", true), typed("b", false)});
    QTest::newRow("ao") << typed("ao", QVariantList{QStringLiteral("/"), QStringLiteral("/a")})
                        << "ao" << QVariant(QVariantList{QStringLiteral("/"), QStringLiteral("/a")})
                        << typed("ao", QVariantList{typed("o", QStringLiteral("/")),
                                                    typed("o", QStringLiteral("/a"))});
    QTest::newRow("ag") << typed("ag", QVariantList{QStringLiteral("s"), QStringLiteral("a{sv}")})
                        << "ag"
                        << QVariant(QVariantList{QStringLiteral("s"), QStringLiteral("a{sv}")})
                        << typed("ag", QVariantList{typed("g", QStringLiteral("s")),
                                                    typed("g", QStringLiteral("a{sv}"))});
    QTest::newRow("as from a string list")
            << typed("as", QStringList{QStringLiteral("a")}) << "as"
            << QVariant(QVariantList{QStringLiteral("a")})
            << typed("as", QVariantList{typed("s", QStringLiteral("a"))});
    QTest::newRow("ay from bytes")
            << typed("ay", QByteArray("\x00\xff", 2)) << "ay"
            << QVariant(QVariantList{byte(0), byte(0xff)})
            << typed("ay", QVariantList{typed("y", byte(0)), typed("y", byte(0xff))});
    QTest::newRow("empty ai") << typed("ai", QVariantList()) << "ai" << QVariant(QVariantList())
                              << typed("ai", QVariantList());
    QTest::newRow("aai") << typed("aai", QVariantList{QVariantList{1}, QVariantList{}}) << "aai"
                         << QVariant(QVariantList{QVariantList{1}, QVariantList{}})
                         << typed("aai", QVariantList{typed("ai", QVariantList{typed("i", 1)}),
                                                      typed("ai", QVariantList())});
    QTest::newRow("av of typed elements")
            << typed("av", QVariantList{5, typed("o", QStringLiteral("/x"))}) << "av"
            << QVariant(QVariantList{5, QStringLiteral("/x")})
            << typed("av", QVariantList{typed("v", typed("i", 5)),
                                        typed("v", typed("o", QStringLiteral("/x")))});
    QTest::newRow("struct (is) reads back as list")
            << typed("(is)", QVariantList{7, QStringLiteral("seven")}) << "(is)"
            << QVariant(QVariantList{7, QStringLiteral("seven")})
            << typed("(is)", QVariantList{typed("i", 7), typed("s", QStringLiteral("seven"))});
    QTest::newRow("struct in a struct")
            << typed("((y)v)", QVariantList{QVariantList{byte(1)}, 2.5}) << "((y)v)"
            << QVariant(QVariantList{QVariantList{byte(1)}, 2.5})
            << typed("((y)v)", QVariantList{typed("(y)", QVariantList{typed("y", byte(1))}),
                                            typed("v", typed("d", 2.5))});
    QTest::newRow("array of structs")
            << typed("a(sv)", QVariantList{QVariantList{k, 1}}) << "a(sv)"
            << QVariant(QVariantList{QVariantList{k, 1}})
            << typed("a(sv)", QVariantList{typed("(sv)", QVariantList{typed("s", k),
                                                                      typed("v", typed("i", 1))})});
    QTest::newRow("dictionary a{is}")
            << typed("a{is}", QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                          {QStringLiteral("-2"), QStringLiteral("minus two")}})
            << "a{is}"
            << QVariant(QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                    {QStringLiteral("-2"), QStringLiteral("minus two")}})
            << typed("a{is}",
                     QVariantList{entry(typed("i", -2), typed("s", QStringLiteral("minus two"))),
                                  entry(typed("i", 1), typed("s", QStringLiteral("one")))});
    QTest::newRow("dictionary a{is} from a list of pairs")
            << typed("a{is}", QVariantList{QVariantList{3, QStringLiteral("three")},
                                           QVariantList{1, QStringLiteral("one")}})
            << "a{is}"
            << QVariant(QVariantMap{{QStringLiteral("1"), QStringLiteral("one")},
                                    {QStringLiteral("3"), QStringLiteral("three")}})
            << typed("a{is}",
                     QVariantList{entry(typed("i", 3), typed("s", QStringLiteral("three"))),
                                  entry(typed("i", 1), typed("s", QStringLiteral("one")))});
    QTest::newRow("byte keys come back as decimal text")
            << typed("a{ys}", QVariantMap{{QStringLiteral("65"), QStringLiteral("A")}}) << "a{ys}"
            << QVariant(QVariantMap{{QStringLiteral("65"), QStringLiteral("A")}})
            << typed("a{ys}",
                     QVariantList{entry(typed("y", byte(65)), typed("s", QStringLiteral("A")))});
    QTest::newRow("boolean keys come back as true and false")
            << typed("a{bs}", QVariantMap{{QStringLiteral("true"), QStringLiteral("yes")},
                                          {QStringLiteral("false"), QStringLiteral("no")}})
            << "a{bs}"
            << QVariant(QVariantMap{{QStringLiteral("true"), QStringLiteral("yes")},
                                    {QStringLiteral("false"), QStringLiteral("no")}})
            << typed("a{bs}",
                     QVariantList{entry(typed("b", false), typed("s", QStringLiteral("no"))),
                                  entry(typed("b", true), typed("s", QStringLiteral("yes")))});
    QTest::newRow("short keys a{ns}")
            << typed("a{ns}", QVariantMap{{QStringLiteral("-32768"), QStringLiteral("min")}})
            << "a{ns}" << QVariant(QVariantMap{{QStringLiteral("-32768"), QStringLiteral("min")}})
            << typed("a{ns}", QVariantList{entry(typed("n", QVariant::fromValue(short(-32768))),
                                                 typed("s", QStringLiteral("min")))});
    QTest::newRow("ushort keys a{qs}")
            << typed("a{qs}", QVariantMap{{QStringLiteral("65535"), QStringLiteral("max")}})
            << "a{qs}" << QVariant(QVariantMap{{QStringLiteral("65535"), QStringLiteral("max")}})
            << typed("a{qs}", QVariantList{entry(typed("q", QVariant::fromValue(ushort(65535))),
                                                 typed("s", QStringLiteral("max")))});
    QTest::newRow("uint keys a{us}")
            << typed("a{us}", QVariantMap{{QStringLiteral("4294967295"), QStringLiteral("max")}})
            << "a{us}"
            << QVariant(QVariantMap{{QStringLiteral("4294967295"), QStringLiteral("max")}})
            << typed("a{us}", QVariantList{entry(typed("u", 4294967295u),
                                                 typed("s", QStringLiteral("max")))});
    QTest::newRow("qlonglong keys a{xs}")
            << typed("a{xs}",
                     QVariantMap{{QStringLiteral("-9223372036854775808"), QStringLiteral("min")}})
            << "a{xs}"
            << QVariant(
                       QVariantMap{{QStringLiteral("-9223372036854775808"), QStringLiteral("min")}})
            << typed("a{xs}", QVariantList{entry(typed("x", std::numeric_limits<qlonglong>::min()),
                                                 typed("s", QStringLiteral("min")))});
    QTest::newRow("qulonglong keys a{ts} up to 18446744073709551615")
            << typed("a{ts}",
                     QVariantMap{{QStringLiteral("18446744073709551615"), QStringLiteral("max")},
                                 {QStringLiteral("0"), QStringLiteral("zero")}})
            << "a{ts}"
            << QVariant(QVariantMap{{QStringLiteral("18446744073709551615"), QStringLiteral("max")},
                                    {QStringLiteral("0"), QStringLiteral("zero")}})
            << typed("a{ts}", QVariantList{entry(typed("t", qulonglong(0)),
                                                 typed("s", QStringLiteral("zero"))),
                                           entry(typed("t", std::numeric_limits<qulonglong>::max()),
                                                 typed("s", QStringLiteral("max")))});
    QTest::newRow("object path keys a{os}")
            << typed("a{os}", QVariantMap{{QStringLiteral("/a"), QStringLiteral("x")}}) << "a{os}"
            << QVariant(QVariantMap{{QStringLiteral("/a"), QStringLiteral("x")}})
            << typed("a{os}", QVariantList{entry(typed("o", QStringLiteral("/a")),
                                                 typed("s", QStringLiteral("x")))});
    QTest::newRow("signature keys a{gs}")
            << typed("a{gs}", QVariantMap{{QStringLiteral("a{sv}"), QStringLiteral("x")}})
            << "a{gs}" << QVariant(QVariantMap{{QStringLiteral("a{sv}"), QStringLiteral("x")}})
            << typed("a{gs}", QVariantList{entry(typed("g", QStringLiteral("a{sv}")),
                                                 typed("s", QStringLiteral("x")))});
    QTest::newRow("dictionary of dictionaries a{sa{is}}")
            << typed("a{sa{is}}",
                     QVariantMap{{k, QVariantMap{{QStringLiteral("1"), QStringLiteral("one")}}}})
            << "a{sa{is}}"
            << QVariant(QVariantMap{{k, QVariantMap{{QStringLiteral("1"), QStringLiteral("one")}}}})
            << typed("a{sa{is}}",
                     QVariantList{
                             entry(typed("s", k),
                                   typed("a{is}",
                                         QVariantList{entry(typed("i", 1),
                                                            typed("s", QStringLiteral("one")))}))});
    QTest::newRow("typed values inside a plain map")
            << QVariant(QVariantMap{{QStringLiteral("path"), typed("o", QStringLiteral("/p"))},
                                    {QStringLiteral("ints"), typed("ai", QVariantList{1})}})
            << "a{sv}"
            << QVariant(QVariantMap{{QStringLiteral("path"), QStringLiteral("/p")},
                                    {QStringLiteral("ints"), QVariantList{1}}})
            << typed("a{sv}",
                     QVariantList{entry(typed("s", QStringLiteral("ints")),
                                        typed("v", typed("ai", QVariantList{typed("i", 1)}))),
                                  entry(typed("s", QStringLiteral("path")),
                                        typed("v", typed("o", QStringLiteral("/p"))))});
}

void TestDBusValue::typedRoundTrip()
{
    QFETCH(QVariant, value);
    QFETCH(QString, signature);
    QFETCH(QVariant, expected);
    QFETCH(QVariant, expectedTyped);

    checkRoundTrip(value, signature, expected, expectedTyped);
}

void TestDBusValue::refused_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("typeName");

    const QString badText = QStringLiteral("BadText");
    const QString noForm = QStringLiteral("NoDBusForm");
    const QString malformed = QStringLiteral("Malformed");
    const QString k = QStringLiteral("k");

    QTest::newRow("NUL in a string") << QVariant(withNul()) << badText << QString();
    QTest::newRow("NUL in a map key")
            << QVariant(QVariantMap{{withNul(), 1}}) << badText << QString();
    QTest::newRow("NUL in a string list")
            << QVariant(QStringList{QStringLiteral("ok"), withNul()}) << badText << QString();
    QTest::newRow("NUL in a string deep in a list")
            << QVariant(QVariantList{QVariantMap{{k, QVariantList{withNul()}}}}) << badText
            << QString();
    QTest::newRow("NUL in a typed string list")
            << typed("as", QVariantList{withNul()}) << badText << QString();
    QTest::newRow("NUL in a text key of a typed dictionary")
            << typed("a{ss}", QVariantMap{{withNul(), k}}) << badText << QString();
    QTest::newRow("noncharacter U+FFFF, which sd-bus refuses")
            << QVariant(QStringLiteral("a") + QChar(0xffff)) << badText << QString();
    QTest::newRow("noncharacter U+FDD0 in a map key")
            << QVariant(QVariantMap{{QString(QChar(0xfdd0)), 1}}) << badText << QString();
    QTest::newRow("noncharacter U+FDEF, the last of its block")
            << QVariant(QString(QChar(0xfdef))) << badText << QString();
    QTest::newRow("noncharacter U+1FFFE as a surrogate pair")
            << QVariant(QString(QChar(0xd83f)) + QChar(0xdffe)) << badText << QString();
    QTest::newRow("variant of a 255-character type, which sd-bus does not read back")
            << typed("v",
                     QVariant::fromValue(ls::DBusTyped{
                             QLatin1Char('(') + QString(253, QLatin1Char('i')) + QLatin1Char(')'),
                             QVariant(QVariantList::fromVector(QVector<QVariant>(253, 1)))}))
            << malformed << QString();
    QTest::newRow("signature value of 255 characters, which sd-bus does not read back")
            << typed("g", QString(255, QLatin1Char('i'))) << malformed << QString();
    QTest::newRow("number key with a blank, which would not read back as written")
            << typed("a{ys}", QVariantMap{{QStringLiteral(" 65"), k}}) << malformed << QString();
    QTest::newRow("number key with a plus sign")
            << typed("a{is}", QVariantMap{{QStringLiteral("+1"), k}}) << malformed << QString();
    QTest::newRow("number key with a leading zero")
            << typed("a{is}", QVariantMap{{QStringLiteral("01"), k}}) << malformed << QString();
    QTest::newRow("boolean key other than true and false")
            << typed("a{bs}", QVariantMap{{QStringLiteral("yes"), k}}) << malformed << QString();
    QTest::newRow("double from bytes") << typed("d", QByteArray("1.5")) << malformed << QString();
    QTest::newRow("double from a bool") << typed("d", true) << malformed << QString();
    QTest::newRow("file descriptor is never sent")
            << typed("h", 1) << noForm << QStringLiteral("file descriptor");
    QTest::newRow("lone high surrogate at end")
            << QVariant(QStringLiteral("a") + QChar(0xd800)) << badText << QString();
    QTest::newRow("high surrogate before a letter")
            << QVariant(QString(QChar(0xd83d)) + QStringLiteral("a")) << badText << QString();
    QTest::newRow("lone low surrogate")
            << QVariant(QStringLiteral("a") + QChar(0xde00) + QStringLiteral("b")) << badText
            << QString();
    QTest::newRow("low surrogate before high surrogate")
            << QVariant(QString(QChar(0xde00)) + QChar(0xd83d)) << badText << QString();
    QTest::newRow("lone surrogate in a map key")
            << QVariant(QVariantMap{{QString(QChar(0xd800)), 1}}) << badText << QString();
    QTest::newRow("lone surrogate in a string list")
            << QVariant(QStringList{QString(QChar(0xdfff))}) << badText << QString();

    QTest::newRow("invalid QVariant") << QVariant() << noForm << "invalid";
    QTest::newRow("invalid QVariant in a map")
            << QVariant(QVariantMap{{k, QVariant()}}) << noForm << "invalid";
    const QDateTime when(QDate(2020, 1, 2), QTime(3, 4, 5), Qt::UTC);
    QTest::newRow("QDateTime") << QVariant(when) << noForm << "QDateTime";
    QTest::newRow("QDateTime in a list")
            << QVariant(QVariantList{1, when}) << noForm << "QDateTime";
    QTest::newRow("QDateTime in a map in a list")
            << QVariant(QVariantList{QVariantMap{{k, when}}}) << noForm << "QDateTime";
    QTest::newRow("QDateTime in a typed variant") << typed("v", when) << noForm << "QDateTime";

    QTest::newRow("signature a") << typed("a", QVariantList()) << malformed << QString();
    QTest::newRow("signature (") << typed("(", QVariantList()) << malformed << QString();
    QTest::newRow("signature a{vs}") << typed("a{vs}", QVariantMap()) << malformed << QString();
    QTest::newRow("signature {sv}") << typed("{sv}", QVariantList{k, 1}) << malformed << QString();
    QTest::newRow("signature ()") << typed("()", QVariantList()) << malformed << QString();
    QTest::newRow("signature of two types") << typed("ii", 1) << malformed << QString();
    QTest::newRow("empty signature") << typed("", 1) << malformed << QString();
    QTest::newRow("empty signature in a list")
            << QVariant(QVariantList{typed("", 1)}) << malformed << QString();
    QTest::newRow("empty signature in a map value")
            << QVariant(QVariantMap{{k, typed("", 1)}}) << malformed << QString();
    QTest::newRow("bad signature in a map value")
            << QVariant(QVariantMap{{k, typed("a", QVariantList())}}) << malformed << QString();
    QTest::newRow("object path a/b") << typed("o", QStringLiteral("a/b")) << malformed << QString();
    QTest::newRow("object path /a/") << typed("o", QStringLiteral("/a/")) << malformed << QString();
    QTest::newRow("object path //") << typed("o", QStringLiteral("//")) << malformed << QString();
    QTest::newRow("empty object path") << typed("o", QString()) << malformed << QString();
    QTest::newRow("object path in a list")
            << typed("ao", QVariantList{QStringLiteral("/a-b")}) << malformed << QString();
    QTest::newRow("object path not text") << typed("o", 5) << malformed << QString();
    QTest::newRow("signature value a{vs}")
            << typed("g", QStringLiteral("a{vs}")) << malformed << QString();
    QTest::newRow("signature value of 256 characters")
            << typed("g", repeated('i', 256)) << malformed << QString();
    QTest::newRow("y 256") << typed("y", 256) << malformed << QString();
    QTest::newRow("y -1") << typed("y", -1) << malformed << QString();
    QTest::newRow("n 32768") << typed("n", 32768) << malformed << QString();
    QTest::newRow("n -32769") << typed("n", -32769) << malformed << QString();
    QTest::newRow("q 65536") << typed("q", 65536) << malformed << QString();
    QTest::newRow("q -1") << typed("q", -1) << malformed << QString();
    QTest::newRow("i 2147483648") << typed("i", qlonglong(2147483648LL)) << malformed << QString();
    QTest::newRow("i -2147483649")
            << typed("i", qlonglong(-2147483649LL)) << malformed << QString();
    QTest::newRow("i from qulonglong max")
            << typed("i", std::numeric_limits<qulonglong>::max()) << malformed << QString();
    QTest::newRow("u -1") << typed("u", -1) << malformed << QString();
    QTest::newRow("u 4294967296") << typed("u", qlonglong(4294967296LL)) << malformed << QString();
    QTest::newRow("t -1") << typed("t", -1) << malformed << QString();
    QTest::newRow("t qlonglong min")
            << typed("t", std::numeric_limits<qlonglong>::min()) << malformed << QString();
    QTest::newRow("x 2^63") << typed("x", qulonglong(1) << 63) << malformed << QString();
    QTest::newRow("y out of range in ay")
            << typed("ay", QVariantList{1, 300}) << malformed << QString();
    QTest::newRow("string for i") << typed("i", QStringLiteral("5")) << malformed << QString();
    QTest::newRow("double for i") << typed("i", 5.0) << malformed << QString();
    QTest::newRow("string for d") << typed("d", QStringLiteral("1.5")) << malformed << QString();
    QTest::newRow("int for b") << typed("b", 1) << malformed << QString();
    QTest::newRow("int for s") << typed("s", 1) << malformed << QString();
    QTest::newRow("struct with too few fields")
            << typed("(is)", QVariantList{7}) << malformed << QString();
    QTest::newRow("struct with no fields")
            << typed("(is)", QVariantList()) << malformed << QString();
    QTest::newRow("struct with too many fields")
            << typed("(is)", QVariantList{7, QStringLiteral("seven"), 8}) << malformed << QString();
    QTest::newRow("struct not a list") << typed("(is)", 7) << malformed << QString();
    QTest::newRow("array not a list") << typed("ai", 5) << malformed << QString();
    QTest::newRow("string in ai") << typed("ai", QVariantList{QStringLiteral("x")}) << malformed
                                  << QString();
    QTest::newRow("int key not a number")
            << typed("a{is}", QVariantMap{{QStringLiteral("one"), k}}) << malformed << QString();
    QTest::newRow("byte key a letter")
            << typed("a{ys}", QVariantMap{{QStringLiteral("A"), k}}) << malformed << QString();
    QTest::newRow("byte key out of range")
            << typed("a{ys}", QVariantMap{{QStringLiteral("256"), k}}) << malformed << QString();
    QTest::newRow("boolean key yes")
            << typed("a{bs}", QVariantMap{{QStringLiteral("yes"), k}}) << malformed << QString();
    QTest::newRow("dictionary pair of one")
            << typed("a{is}", QVariantList{QVariantList{1}}) << malformed << QString();
    QTest::newRow("dictionary not a map or list") << typed("a{is}", 1) << malformed << QString();
}

void TestDBusValue::refused()
{
    QFETCH(QVariant, value);
    QFETCH(QString, status);
    QFETCH(QString, typeName);

    const Message message = newMessage();
    QVERIFY(message);
    QString reported;
    QCOMPARE(statusName(ls::appendValue(message.get(), value, &reported)), status);
    QCOMPARE(reported, typeName);
}

void TestDBusValue::fileDescriptor_data()
{
    QTest::addColumn<QString>("around");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QVariant>("expectedTyped");

    const QVariant fd = typed("h", QVariant());
    const QString k = QStringLiteral("k");
    QTest::newRow("file descriptor as argument") << QString() << "h" << fd;
    QTest::newRow("file descriptor in a map value")
            << "map"
            << "a{sv}" << typed("a{sv}", QVariantList{entry(typed("s", k), typed("v", fd))});
    QTest::newRow("file descriptor in an array") << "array"
                                                 << "ah" << typed("ah", QVariantList{fd});
}

void TestDBusValue::fileDescriptor()
{
    QFETCH(QString, around);
    QFETCH(QString, signature);
    QFETCH(QVariant, expectedTyped);

    const Message message = newMessage();
    QVERIFY(message);
    sd_bus_message *m = message.get();
    if (around == QLatin1String("map")) {
        QVERIFY(sd_bus_message_open_container(m, 'a', "{sv}") >= 0);
        QVERIFY(sd_bus_message_open_container(m, 'e', "sv") >= 0);
        QVERIFY(sd_bus_message_append_basic(m, 's', "k") >= 0);
        QVERIFY(sd_bus_message_open_container(m, 'v', "h") >= 0);
    } else if (around == QLatin1String("array")) {
        QVERIFY(sd_bus_message_open_container(m, 'a', "h") >= 0);
    }
    // sd-bus keeps a duplicate of its own.
    const int fd = dup(m_peer);
    QVERIFY(fd >= 0);
    const int appended = sd_bus_message_append_basic(m, 'h', &fd);
    close(fd);
    QVERIFY(appended >= 0);
    const int containers = around == QLatin1String("map") ? 3 : around.isEmpty() ? 0 : 1;
    for (int i = 0; i < containers; ++i)
        QVERIFY(sd_bus_message_close_container(m) >= 0);
    QVERIFY(seal(m));
    QCOMPARE(signatureOf(m), signature);

    QVariant plain = QStringLiteral("unread");
    QCOMPARE(statusName(ls::readValue(m, &plain)), QStringLiteral("NoDBusForm"));
    QCOMPARE(describe(plain), describe(QVariant()));

    QVERIFY(sd_bus_message_rewind(m, 1) >= 0);
    ls::DBusTyped typedValue;
    QCOMPARE(statusName(ls::readTypedValue(m, &typedValue)), QStringLiteral("Ok"));
    QCOMPARE(describe(QVariant::fromValue(typedValue)), describe(expectedTyped));
}

void TestDBusValue::nesting_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("signature");
    // Invalid when the value is too deep to be sent.
    QTest::addColumn<QVariant>("expected");

    const QVariant text = QStringLiteral("x");
    const QVariant tooDeep;

    // As a message argument: a map at level 0 holds its values at level 3, a list its elements
    // at level 2.
    QTest::newRow("21 maps, string at level 63")
            << nestedMaps(21, text) << "a{sv}" << nestedMaps(21, text);
    QTest::newRow("22 maps, string at level 66") << nestedMaps(22, text) << "a{sv}" << tooDeep;
    QTest::newRow("22 maps, innermost empty at level 63")
            << nestedMaps(21, QVariantMap()) << "a{sv}" << nestedMaps(21, QVariantMap());
    QTest::newRow("21 maps, list with a string at level 65")
            << nestedMaps(21, QVariantList{text}) << "a{sv}" << tooDeep;
    QTest::newRow("32 lists, string at level 64")
            << nestedLists(32, text) << "av" << nestedLists(32, text);
    QTest::newRow("33 lists, string at level 66") << nestedLists(33, text) << "av" << tooDeep;
    QTest::newRow("33 lists, innermost empty at level 64")
            << nestedLists(32, QVariantList()) << "av" << nestedLists(32, QVariantList());
    QTest::newRow("34 lists, innermost empty at level 66")
            << nestedLists(33, QVariantList()) << "av" << tooDeep;
    QTest::newRow("32 lists, empty string list at level 64")
            << nestedLists(32, QStringList()) << "av" << nestedLists(32, QVariantList());
    QTest::newRow("32 lists, string list with one string at level 65")
            << nestedLists(32, QStringList{QStringLiteral("a")}) << "av" << tooDeep;
    QTest::newRow("32 lists, bytes at level 64")
            << nestedLists(32, QByteArray("ab")) << "av"
            << nestedLists(32, QVariantList{byte('a'), byte('b')});
    QTest::newRow("32 lists, empty map at level 64")
            << nestedLists(32, QVariantMap()) << "av" << nestedLists(32, QVariantMap());
    QTest::newRow("32 lists, map with a string at level 67")
            << nestedLists(32, QVariantMap{{QStringLiteral("k"), text}}) << "av" << tooDeep;
    QTest::newRow("too deep in the second of two map entries") << QVariant(
            QVariantMap{{QStringLiteral("a"), text}, {QStringLiteral("b"), nestedMaps(21, text)}})
                                                               << "a{sv}" << tooDeep;
    QTest::newRow("too deep in the second of two list elements")
            << QVariant(QVariantList{text, nestedLists(32, text)}) << "av" << tooDeep;
    QTest::newRow("typed v at the limit, string at level 64")
            << nestedMaps(21, typed("v", text)) << "a{sv}" << nestedMaps(21, text);
    QTest::newRow("typed v holding a v, string at level 65")
            << nestedMaps(21, typed("v", typed("v", text))) << "a{sv}" << tooDeep;
    QTest::newRow("typed v as argument around 21 maps, string at level 64")
            << typed("v", nestedMaps(21, text)) << "v" << nestedMaps(21, text);
    QTest::newRow("typed v as argument around 32 lists, string at level 65")
            << typed("v", nestedLists(32, text)) << "v" << tooDeep;
    QTest::newRow("32 lists, typed ai at level 64")
            << nestedLists(32, typed("ai", QVariantList{1, 2})) << "av"
            << nestedLists(32, QVariantList{1, 2});
    QTest::newRow("32 lists, typed as with a string at level 65")
            << nestedLists(32, typed("as", QVariantList{text})) << "av" << tooDeep;
    QTest::newRow("32 lists, typed aai with an empty ai at level 65")
            << nestedLists(32, typed("aai", QVariantList{QVariantList()})) << "av" << tooDeep;
    QTest::newRow("32 lists, typed (i) with its field at level 65")
            << nestedLists(32, typed("(i)", QVariantList{1})) << "av" << tooDeep;
    QTest::newRow("32 lists, empty typed a{is} at level 64")
            << nestedLists(32, typed("a{is}", QVariantMap())) << "av"
            << nestedLists(32, QVariantMap());
    QTest::newRow("32 lists, typed a{is} with a key at level 66")
            << nestedLists(32, typed("a{is}", QVariantMap{{QStringLiteral("1"), text}})) << "av"
            << tooDeep;
}

void TestDBusValue::nesting()
{
    QFETCH(QVariant, value);
    QFETCH(QString, signature);
    QFETCH(QVariant, expected);

    if (expected.isValid()) {
        checkRoundTrip(value, signature, expected, QVariant());
        return;
    }
    const Message message = newMessage();
    QVERIFY(message);
    QCOMPARE(statusName(ls::appendValue(message.get(), value)), QStringLiteral("TooDeep"));
}

void TestDBusValue::readTooDeep_data()
{
    QTest::addColumn<bool>("inMap");
    QTest::addColumn<int>("variants");
    QTest::addColumn<QVariant>("inner");
    QTest::addColumn<bool>("passes");

    const QVariant text = QStringLiteral("x");
    QTest::newRow("variant around 21 maps, string at level 64")
            << false << 1 << nestedMaps(21, text) << true;
    QTest::newRow("variant around 32 lists, string at level 65")
            << false << 1 << nestedLists(32, text) << false;
    QTest::newRow("two variants around 32 lists, string at level 66")
            << false << 2 << nestedLists(32, text) << false;
    QTest::newRow("variant around 32 lists, bytes at level 65")
            << false << 1 << nestedLists(32, QByteArray("a")) << false;
    QTest::newRow("variant around 33 lists, innermost empty at level 65")
            << false << 1 << nestedLists(32, QVariantList()) << false;
    QTest::newRow("map value around 20 maps, string at level 63")
            << true << 1 << nestedMaps(20, text) << true;
    QTest::newRow("map value around 21 maps, string at level 66")
            << true << 1 << nestedMaps(21, text) << false;
}

void TestDBusValue::readTooDeep()
{
    QFETCH(bool, inMap);
    QFETCH(int, variants);
    QFETCH(QVariant, inner);
    QFETCH(bool, passes);

    // The inner value alone fits; what the wrapping makes of it is expected to read back.
    const Message alone = newMessage();
    QVERIFY(alone);
    QCOMPARE(statusName(ls::appendValue(alone.get(), inner)), QStringLiteral("Ok"));
    QVERIFY(seal(alone.get()));
    const QByteArray innerSignature = sd_bus_message_get_signature(alone.get(), 1);
    QVariant innerPlain;
    QCOMPARE(statusName(ls::readValue(alone.get(), &innerPlain)), QStringLiteral("Ok"));
    QVERIFY(sd_bus_message_rewind(alone.get(), 1) >= 0);
    ls::DBusTyped innerTyped;
    QCOMPARE(statusName(ls::readTypedValue(alone.get(), &innerTyped)), QStringLiteral("Ok"));

    const Message message = newMessage();
    QVERIFY(message);
    sd_bus_message *m = message.get();
    if (inMap) {
        QVERIFY(sd_bus_message_open_container(m, 'a', "{sv}") >= 0);
        QVERIFY(sd_bus_message_open_container(m, 'e', "sv") >= 0);
        QVERIFY(sd_bus_message_append_basic(m, 's', "k") >= 0);
    }
    for (int i = 0; i < variants; ++i) {
        const char *contents = i + 1 < variants ? "v" : innerSignature.constData();
        QVERIFY(sd_bus_message_open_container(m, 'v', contents) >= 0);
    }
    QCOMPARE(statusName(ls::appendValue(m, inner)), QStringLiteral("Ok"));
    for (int i = 0; i < variants + (inMap ? 2 : 0); ++i)
        QVERIFY(sd_bus_message_close_container(m) >= 0);
    QVERIFY(seal(m));

    QVariant expectedTyped = QVariant::fromValue(innerTyped);
    for (int i = 0; i < variants; ++i)
        expectedTyped = typed("v", expectedTyped);
    QVariant expected = innerPlain;
    if (inMap) {
        expectedTyped = typed("a{sv}",
                              QVariantList{entry(typed("s", QStringLiteral("k")), expectedTyped)});
        expected = QVariantMap{{QStringLiteral("k"), expected}};
    }

    QVariant plain = QStringLiteral("unread");
    QCOMPARE(statusName(ls::readValue(m, &plain)),
             passes ? QStringLiteral("Ok") : QStringLiteral("TooDeep"));
    QCOMPARE(describe(plain), describe(passes ? expected : QVariant()));

    QVERIFY(sd_bus_message_rewind(m, 1) >= 0);
    ls::DBusTyped typedValue;
    QCOMPARE(statusName(ls::readTypedValue(m, &typedValue)), QStringLiteral("Ok"));
    QCOMPARE(describe(QVariant::fromValue(typedValue)), describe(expectedTyped));
    QVERIFY(sd_bus_message_at_end(m, 1) > 0);
}

void TestDBusValue::signatures_data()
{
    QTest::addColumn<QString>("signature");
    QTest::addColumn<bool>("sequence");
    QTest::addColumn<bool>("valid");

    const QString struct253 = QLatin1Char('(') + repeated('i', 253) + QLatin1Char(')');
    const QString struct254 = QLatin1Char('(') + repeated('i', 254) + QLatin1Char(')');
    const QString structs32 = repeated('(', 32) + QLatin1Char('i') + repeated(')', 32);
    const QString structs33 = repeated('(', 33) + QLatin1Char('i') + repeated(')', 33);
    QString both32;
    for (int i = 0; i < 32; ++i)
        both32 += QLatin1String("(a");
    both32 += QLatin1Char('i') + repeated(')', 32);

    QTest::newRow("i") << "i" << false << true;
    QTest::newRow("every basic type") << "ybnqiuxtdsogh" << true << true;
    QTest::newRow("several types as one") << "si" << false << false;
    QTest::newRow("v") << "v" << false << true;
    QTest::newRow("a{sv}") << "a{sv}" << false << true;
    QTest::newRow("a{sa{sv}}") << "a{sa{sv}}" << false << true;
    QTest::newRow("a{vs} refused") << "a{vs}" << false << false;
    QTest::newRow("a{(i)s} refused") << "a{(i)s}" << false << false;
    QTest::newRow("{sv} refused") << "{sv}" << false << false;
    QTest::newRow("{sv} refused in a sequence") << "{sv}" << true << false;
    QTest::newRow("(a{sv}) ") << "(a{sv})" << false << true;
    QTest::newRow("({sv}) refused") << "({sv})" << false << false;
    QTest::newRow("a{s} refused") << "a{s}" << false << false;
    QTest::newRow("a{sii} refused") << "a{sii}" << false << false;
    QTest::newRow("() refused") << "()" << false << false;
    QTest::newRow("a refused") << "a" << false << false;
    QTest::newRow("( refused") << "(" << false << false;
    QTest::newRow("(i refused") << "(i" << false << false;
    QTest::newRow("i) refused") << "i)" << true << false;
    QTest::newRow("unknown code refused") << "z" << false << false;
    QTest::newRow("non-ASCII refused") << QStringLiteral("aé") << false << false;
    QTest::newRow("empty refused as one type") << "" << false << false;
    QTest::newRow("empty accepted as sequence") << "" << true << true;
    QTest::newRow("sequence") << "sia{sv}(ib)" << true << true;
    QTest::newRow("255 characters in one type") << struct253 << false << true;
    QTest::newRow("256 characters in one type") << struct254 << false << false;
    QTest::newRow("255 characters in a sequence") << repeated('i', 255) << true << true;
    QTest::newRow("256 characters in a sequence") << repeated('i', 256) << true << false;
    QTest::newRow("32 nested arrays") << repeated('a', 32) + QLatin1Char('i') << false << true;
    QTest::newRow("33 nested arrays") << repeated('a', 33) + QLatin1Char('i') << false << false;
    QTest::newRow("32 nested structs") << structs32 << false << true;
    QTest::newRow("33 nested structs") << structs33 << false << false;
    QTest::newRow("32 arrays and 32 structs interleaved") << both32 << false << true;
}

void TestDBusValue::signatures()
{
    QFETCH(QString, signature);
    QFETCH(bool, sequence);
    QFETCH(bool, valid);

    QCOMPARE(ls::isValidSignature(signature, sequence), valid);
}

void TestDBusValue::objectPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("valid");

    QTest::newRow("/") << "/" << true;
    QTest::newRow("/a/b_1") << "/a/b_1" << true;
    QTest::newRow("/Az/09/_") << "/Az/09/_" << true;
    QTest::newRow("empty refused") << "" << false;
    QTest::newRow("a refused") << "a" << false;
    QTest::newRow("/a/ refused") << "/a/" << false;
    QTest::newRow("//a refused") << "//a" << false;
    QTest::newRow("/a//b refused") << "/a//b" << false;
    QTest::newRow("// refused") << "//" << false;
    QTest::newRow("/a-b refused") << "/a-b" << false;
    QTest::newRow("/a.b refused") << "/a.b" << false;
    QTest::newRow("/a b refused") << "/a b" << false;
    QTest::newRow("non-ASCII refused") << QStringLiteral("/ä") << false;
}

void TestDBusValue::objectPaths()
{
    QFETCH(QString, path);
    QFETCH(bool, valid);

    QCOMPARE(ls::isValidObjectPath(path), valid);
}

QTEST_GUILESS_MAIN(TestDBusValue)

#include "tst_dbusvalue.moc"
