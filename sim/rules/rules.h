// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef RULES_H
#define RULES_H

#include <QString>
#include <QStringList>
#include <QVector>

#include <climits>

// The simulated device's rules, each written once: the command table's argument schemas and
// descriptions, the commands, the emboss job and the state file's checks all read them from here.
// docs/simulator.md tells them; autotests/simcore/tst_doctable holds its command table against the
// command table.
namespace Rules {

// Whole numbers from minimum to maximum, both included.
struct Range
{
    int minimum = INT_MIN;
    int maximum = INT_MAX;

    constexpr bool contains(int value) const { return value >= minimum && value <= maximum; }
};

// Configuration: what each setting may be, and what the factory sets.
constexpr Range cellsPerLine{10, 48};
constexpr Range linesPerPage{10, 32};
constexpr Range dotStrength{1, 5};
inline QStringList paperFormats()
{
    return {QStringLiteral("A4"), QStringLiteral("Letter"), QStringLiteral("Braille-11x11.5")};
}
// The liblouis table the factory sets; any installed table that translates text may be chosen.
inline QString factoryBrailleTable()
{
    return QStringLiteral("en-us-g1.ctb");
}
// The factory layout fits its own paper: 40 cells of 6 mm need 240 mm of the sheet's 279.4 mm,
// 25 lines of 10 mm 250 mm of its 292.1 mm.
inline QString factoryPaperFormat()
{
    return QStringLiteral("Braille-11x11.5");
}
constexpr int factoryCellsPerLine = 40;
constexpr int factoryLinesPerPage = 25;
constexpr bool factoryDuplex = false;
constexpr int factoryDotStrength = 3;

// Paper feed.
constexpr int trayCapacity = 500;
// What one LoadPaper may add; no more than the tray has room for.
constexpr Range sheetsPerLoad{1, trayCapacity};
inline QStringList feedModes()
{
    return {QStringLiteral("sheet"), QStringLiteral("tractor")};
}
inline QString factoryFeedMode()
{
    return QStringLiteral("sheet");
}

// Documents. Texts are measured in characters: Unicode code points.
constexpr Range documentIds{1, INT_MAX};
constexpr int maximumDocuments = 100;
constexpr int maximumTitleLength = 200;
// Of a document's whole text, and of the text of EmbossText.
constexpr int maximumTextLength = 65536;

inline int characterCount(const QString &text)
{
    // An emoji beyond the Basic Multilingual Plane, two UTF-16 units, is one character.
    return text.toUcs4().size();
}

// Embossing.
constexpr Range copies{1, 100};
// How long one page takes when pages advance with time.
constexpr qint64 pageIntervalMs = 1000;
inline QStringList testPatterns()
{
    return {QStringLiteral("full-cell"), QStringLiteral("grid"), QStringLiteral("alphabet")};
}

// Faults. A jam or an open cover waits in the state as the pending fault until a paper-moving
// command or the running job's next page meets it; out-of-paper empties the tray at once, as a
// tray sensor would report it, and is never pending.
inline QString faultNone()
{
    return QStringLiteral("none");
}
inline QString faultPaperJam()
{
    return QStringLiteral("paper-jam");
}
inline QString faultCoverOpen()
{
    return QStringLiteral("cover-open");
}
inline QString faultOutOfPaper()
{
    return QStringLiteral("out-of-paper");
}
// What InjectFault takes, in the order the catalogue names them.
inline QStringList faults()
{
    return {faultPaperJam(), faultOutOfPaper(), faultCoverOpen(), faultNone()};
}
// What the state may hold as its pending fault.
inline QStringList pendingFaults()
{
    return {faultNone(), faultPaperJam(), faultCoverOpen()};
}

// The error log keeps the newest entries.
constexpr int maximumLogEntries = 100;

} // namespace Rules

#endif // RULES_H
