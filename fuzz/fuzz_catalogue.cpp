// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Renders fuzz-built catalogues with CommandParser's display(), getDescription() and
// getArgumentsList(), reached through the friend the class grants its unit test.
//
// The input: an enum byte (modulo 8: 0 the categories, 1 to 6 the command enums of the library,
// 7 an enum read from the input: a count byte (modulo 8), then per enumerator a byte, odd for a
// null name, a text and a two-byte value); the catalogue entries, each after a byte that is odd
// while more follow: a key text and an entry; then texts to look up, each after such a byte.
// An entry: a byte, 7 modulo 8 for any value, else a map of fields, each after an odd byte: a
// text and a value. A text: 0xff, a length byte and UTF-8; 0xfe, a length byte and that many
// UTF-16 code units; any other byte one of the enumerator names and map keys of the library and
// a few more (textPool()). A value: a byte picks its type modulo 13 (see value()).
//
// Every argument list must also read as the names and types make it by the listing rule (two
// successive substitutions into "%1: %2"); FUZZ_CHECK_RENDERING=0 switches that check off.

#include "fuzzinput.h"

#include "CommandParser.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>
#include <ls/metaenum.h>

#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

#include <cstdio>
#include <cstdlib>
#include <list>

class TestCommandParser
{
public:
    static void render(const CommandParser &parser, const ls::MetaEnum &meta,
                       const QVariantMap &commands, const QStringList &lookups);
};

namespace {

const ls::MetaEnum *const libraryEnums[] = {
        &ls::CommandCategories::meta,  &ls::ConfigurationCommandId::meta,
        &ls::PaperFeedCommandId::meta, &ls::DocumentCommandId::meta,
        &ls::EmbossCommandId::meta,    &ls::TestingCommandId::meta,
        &ls::IpcCommandId::meta,
};

const QStringList &textPool()
{
    static const QStringList pool = [] {
        QStringList texts{ls::idKey,
                          ls::descriptionKey,
                          ls::argumentCountKey,
                          ls::argumentTypesKey,
                          ls::argumentNameKey,
                          ls::argumentTypeKey,
                          ls::commandsKey,
                          ls::commandCategoriesKey,
                          ls::resultIdKey,
                          QString(),
                          QStringLiteral("Undefined"),
                          QStringLiteral("%1"),
                          QStringLiteral("%2")};
        for (const ls::MetaEnum *meta : libraryEnums) {
            for (const QString *name : meta->names())
                texts.append(*name);
        }
        return texts;
    }();
    return pool;
}

bool renderingChecked()
{
    static const bool checked = qEnvironmentVariable("FUZZ_CHECK_RENDERING") != QLatin1String("0");
    return checked;
}

class CatalogueReader
{
public:
    explicit CatalogueReader(ByteReader &in) : m_in(in) { }

    bool more() { return (m_in.byte() & 1) != 0; }

    QString text()
    {
        const uint8_t kind = m_in.byte();
        if (kind == 0xff)
            return QString::fromUtf8(m_in.bytes(m_in.byte()));
        if (kind == 0xfe) {
            const QByteArray units = m_in.bytes(size_t(m_in.byte()) * 2);
            return QString(reinterpret_cast<const QChar *>(units.constData()), units.size() / 2);
        }
        return textPool().at(kind % textPool().size());
    }

    QVariant value(int depth)
    {
        const int kind = m_in.byte() % 13;
        // Containers past this depth would only make inputs slow.
        if (depth > 4 && kind >= 8)
            return int(kind);
        switch (kind) {
        case 0:
            return QVariant();
        case 1:
            return bool(m_in.byte() & 1);
        case 2:
            return m_in.number<int>();
        case 3:
            return m_in.number<uint>();
        case 4:
            return m_in.number<qlonglong>();
        case 5:
            return m_in.number<double>();
        case 6:
            return text();
        case 7:
            return m_in.bytes(m_in.byte());
        case 8: {
            QStringList list;
            while (more())
                list.append(text());
            return list;
        }
        case 9: {
            QVariantList list;
            while (more())
                list.append(value(depth + 1));
            return list;
        }
        case 10: {
            QVariantMap map;
            while (more()) {
                const QString key = text();
                map.insert(key, value(depth + 1));
            }
            return map;
        }
        case 11:
            // An argument record.
            return QVariantMap{{ls::argumentNameKey, value(depth + 1)},
                               {ls::argumentTypeKey, value(depth + 1)}};
        default:
            return m_in.number<qulonglong>();
        }
    }

    QVariant entry()
    {
        if (m_in.byte() % 8 == 7)
            return value(0);
        QVariantMap fields;
        while (more()) {
            const QString key = text();
            fields.insert(key, value(1));
        }
        return fields;
    }

    // Names live in the list, whose elements never move: the enum keys point at them.
    ls::MetaEnum metaEnum(std::list<QString> *names)
    {
        const uint8_t choice = m_in.byte() % 8;
        if (choice < 7)
            return *libraryEnums[choice];
        ls::MetaEnum::Map map;
        const int count = m_in.byte() % 8;
        for (int i = 0; i < count; ++i) {
            const bool null = (m_in.byte() & 1) != 0;
            names->push_back(text());
            map.insert(null ? nullptr : &names->back(), m_in.number<qint16>());
        }
        return ls::MetaEnum(map);
    }

private:
    ByteReader &m_in;
};

// The argument list as the catalogue's names and types make it. Each item is two successive
// substitutions into "%1: %2", so a place marker inside a name takes the type, as device scripts
// that read the listings have always seen it.
QString plainArguments(const QString &key, const QVariantMap &commands)
{
    if (!commands.contains(key))
        return QString();
    const QVariantMap entry = commands.value(key).toMap();
    if (!entry.contains(ls::descriptionKey) || !entry.contains(ls::argumentCountKey)
        || entry.value(ls::argumentCountKey).toInt() == 0)
        return QString();
    QStringList parts;
    for (const QVariant &element : entry.value(ls::argumentTypesKey).toList()) {
        const QVariantMap record = element.toMap();
        parts.append(QStringLiteral("%1: %2")
                             .arg(record.value(ls::argumentNameKey).toString())
                             .arg(record.value(ls::argumentTypeKey).toString()));
    }
    return QStringLiteral("( ") + parts.join(QStringLiteral(", "))
           + (parts.isEmpty() ? QString() : QStringLiteral(" ")) + QStringLiteral(")");
}

} // namespace

void TestCommandParser::render(const CommandParser &parser, const ls::MetaEnum &meta,
                               const QVariantMap &commands, const QStringList &lookups)
{
    parser.display(meta, commands);
    for (const QString &key : lookups + commands.keys()) {
        parser.getDescription(key, commands);
        const QString arguments = parser.getArgumentsList(key, commands);
        if (renderingChecked() && arguments != plainArguments(key, commands)) {
            std::fprintf(stderr,
                         "fuzz_catalogue: the argument list of \"%s\" reads \"%s\" where \"%s\" "
                         "was expected\n",
                         qUtf8Printable(key), qUtf8Printable(arguments),
                         qUtf8Printable(plainArguments(key, commands)));
            std::abort();
        }
    }
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler(quietMessageHandler);
    textPool();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // Made once: its service proxy is registered once per process.
    static const CommandParser *const parser = new CommandParser;

    ByteReader in(data, size);
    CatalogueReader reader(in);
    std::list<QString> names;
    const ls::MetaEnum meta = reader.metaEnum(&names);
    QVariantMap commands;
    while (reader.more()) {
        const QString key = reader.text();
        commands.insert(key, reader.entry());
    }
    QStringList lookups;
    while (reader.more())
        lookups.append(reader.text());

    TestCommandParser::render(*parser, meta, commands, lookups);
    return 0;
}
