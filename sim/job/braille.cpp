// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "braille.h"

#include "state/devicelogging.h"

#include <liblouis/liblouis.h>

#include <QRegularExpression>
#include <QVector>

#include <type_traits>

namespace Braille {

namespace {

void logFromLouis(logLevels level, const char *message)
{
    // liblouis writes to stderr by default; a table that fails to compile is an expected answer
    // here, not the operator's concern.
    if (level >= LOU_LOG_WARN)
        qCDebug(SIM_DEVICE) << "liblouis:" << message;
}

void setUpLouis()
{
    static const bool done = [] {
        lou_registerLogCallback(logFromLouis);
        return true;
    }();
    Q_UNUSED(done)
}

QVector<widechar> toWide(const QString &text)
{
    QVector<widechar> wide;
    if constexpr (sizeof(widechar) == 2) {
        wide.reserve(text.size());
        for (QChar c : text)
            wide.append(c.unicode());
    } else {
        const QVector<uint> ucs4 = text.toUcs4();
        wide.reserve(ucs4.size());
        for (uint c : ucs4)
            wide.append(c);
    }
    return wide;
}

} // namespace

bool isKnownTable(const QString &table)
{
    static const QRegularExpression plainName(QStringLiteral("^[A-Za-z0-9][A-Za-z0-9_.+-]*$"));
    if (!plainName.match(table).hasMatch())
        return false;
    setUpLouis();
    return lou_getTable(table.toUtf8().constData()) != nullptr;
}

bool translatesText(const QString &table)
{
    if (!isKnownTable(table))
        return false;
    // Undefined characters are left out rather than spelled as escapes: a table that cannot
    // translate the probe gives no cell, or only blanks.
    const QByteArray tableName = table.toUtf8();
    widechar probe[] = {'a'};
    int inLength = 1;
    widechar output[16];
    int outLength = 16;
    if (!lou_translateString(tableName.constData(), probe, &inLength, output, &outLength, nullptr,
                             nullptr, dotsIO | ucBrl | noUndefined))
        return false;
    bool dots = false;
    for (int i = 0; i < outLength; ++i) {
        if (output[i] < 0x2800 || output[i] > 0x28ff)
            return false;
        dots = dots || output[i] != 0x2800;
    }
    return dots;
}

QString translate(const QString &table, const QString &text, bool *ok, QString *error)
{
    *ok = true;
    if (text.isEmpty())
        return QString();
    if (!isKnownTable(table)) {
        *ok = false;
        if (error)
            *error = QStringLiteral("Braille table %1 cannot be loaded").arg(table);
        return QString();
    }
    const QByteArray tableName = table.toUtf8();
    QVector<widechar> input = toWide(text);
    // Contractions never grow a text much, but number and capital signs do; retry with more room
    // whenever liblouis filled the whole buffer.
    int capacity = input.size() * 3 + 16;
    for (int attempt = 0; attempt < 6; ++attempt, capacity *= 4) {
        QVector<widechar> output(capacity);
        int inLength = input.size();
        int outLength = capacity;
        if (!lou_translateString(tableName.constData(), input.data(), &inLength, output.data(),
                                 &outLength, nullptr, nullptr, dotsIO | ucBrl)) {
            break;
        }
        if (outLength >= capacity || inLength < input.size())
            continue;
        QString cells;
        cells.reserve(outLength);
        for (int i = 0; i < outLength; ++i) {
            // dotsIO with ucBrl gives dot patterns in the braille block; anything else would not
            // be a cell the head can emboss.
            const uint cell = output[i];
            cells.append(cell >= 0x2800 && cell <= 0x28ff ? QChar(ushort(cell)) : blankCell);
        }
        return cells;
    }
    *ok = false;
    if (error)
        *error = QStringLiteral("Braille translation with %1 failed").arg(table);
    return QString();
}

QStringList layoutLines(const QString &table, const QString &text, int cellsPerLine, bool *ok,
                        QString *error, int *cellCount, QVector<int> *paragraphOfLine)
{
    *ok = true;
    if (cellCount)
        *cellCount = 0;
    if (paragraphOfLine)
        paragraphOfLine->clear();
    QStringList lines;
    if (text.isEmpty())
        return lines;
    const QStringList paragraphs = text.split(QLatin1Char('\n'));
    // The lines added since the last call are the previous paragraph's.
    const auto markLines = [&lines, paragraphOfLine](int paragraph) {
        while (paragraphOfLine && paragraphOfLine->size() < lines.size())
            paragraphOfLine->append(paragraph);
    };
    for (int index = 0; index < paragraphs.size(); ++index) {
        markLines(index - 1);
        QString cells = translate(table, paragraphs.at(index), ok, error);
        if (!*ok) {
            if (paragraphOfLine)
                paragraphOfLine->clear();
            return {};
        }
        if (cellCount)
            *cellCount += cells.size();
        if (cells.isEmpty()) {
            lines.append(QString());
            continue;
        }
        while (cells.size() > cellsPerLine) {
            const int blank = cells.lastIndexOf(blankCell, cellsPerLine);
            if (blank > 0) {
                lines.append(cells.left(blank));
                cells = cells.mid(blank + 1);
            } else {
                lines.append(cells.left(cellsPerLine));
                cells = cells.mid(cellsPerLine);
            }
        }
        if (!cells.isEmpty())
            lines.append(cells);
    }
    markLines(paragraphs.size() - 1);
    return lines;
}

QStringList layoutPages(const QStringList &lines, int cellsPerLine, int linesPerPage)
{
    QStringList pages;
    for (int first = 0; first < lines.size(); first += linesPerPage) {
        QString page;
        for (int i = first; i < first + linesPerPage; ++i) {
            const QString line = i < lines.size() ? lines.at(i) : QString();
            page += line + QString(cellsPerLine - line.size(), blankCell) + QLatin1Char('\n');
        }
        pages.append(page);
    }
    return pages;
}

QString louisVersion()
{
    return QString::fromLatin1(lou_version());
}

} // namespace Braille
