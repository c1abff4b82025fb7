// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef PAGELAYOUT_H
#define PAGELAYOUT_H

#include "rules/deviceresult.h"
#include "state/devicestate.h"

#include <QString>
#include <QStringList>
#include <QVector>

// A text laid out as the device embosses it, with the configuration's braille table, cells per
// line and lines per page.

// A text translated into braille and broken into embossed lines.
struct TextLayout
{
    QStringList lines;
    // The cells of the translation, the blanks that a line break swallows included.
    int cells = 0;
    // The text's lines, and for each embossed line the text line it came from.
    QStringList paragraphs;
    QVector<int> paragraphOfLine;
};

// Lays the text out; TranslationFailed when the braille table no longer loads.
DeviceResult layOutText(const Configuration &configuration, const QString &text,
                        TextLayout *layout);

// The pages of embossed lines, each filled to the full page with blank cells.
QStringList pagesOf(const QStringList &lines, const Configuration &configuration);
// For each of those pages the text its lines came from: the whole text lines, so a text line that
// runs over two pages is on both.
QStringList pageTextsOf(const TextLayout &layout, const Configuration &configuration);

// One page as the head embossed it: what a page file holds and what a picture of the sheet needs.
struct EmbossedPage
{
    enum class Side { Front, Back };

    int jobId = 0;
    // The copy, from 1, and the page within the copy, from 1.
    int copy = 0;
    int page = 0;
    // The sheet within the copy, from 1, and the side of it the page is on: in duplex the back of
    // each sheet takes the next page, and every copy starts on a fresh sheet.
    int sheet = 0;
    Side side = Side::Front;
    // The copy's last page: a duplex sheet ends with it even without a back page.
    bool lastOfCopy = false;
    // The page's braille: linesPerPage lines of cellsPerLine Unicode braille cells (U+2800 to
    // U+28FF, U+2800 blank), each ending in a line break.
    QString cells;
    // The text the page was translated from; empty for a test page.
    QString sourceText;
    // The configuration the job was started with: paper format, cells per line, lines per page,
    // duplex, braille table and dot strength.
    Configuration layout;
};

#endif // PAGELAYOUT_H
