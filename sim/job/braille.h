// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef BRAILLE_H
#define BRAILLE_H

#include <QString>
#include <QStringList>
#include <QVector>

// Text to braille cells through liblouis, and cells to embossed lines and pages. Cells are
// Unicode braille (U+2800 to U+28FF), one character per cell, U+2800 being the blank cell.
namespace Braille {

constexpr QChar blankCell = QChar(0x2800);

// Whether liblouis can compile the table. Only plain table file names are accepted: no paths
// and no table lists.
bool isKnownTable(const QString &table);

// Whether a table that loads turns text into braille cells. Some tables load but only define
// how braille is shown (unicode.dis) or leave letters undefined, so that text comes out as
// escape sequences spelled in dots.
bool translatesText(const QString &table);

// The cells of one line of text; *ok is false when liblouis fails, with *error saying why.
QString translate(const QString &table, const QString &text, bool *ok, QString *error = nullptr);

// The lines of a text laid out on the device: each line of the text starts an embossed line,
// long lines break at a blank cell where one fits, else at the width. *cells counts the cells of
// the translation, including the blanks that a line break swallows; *paragraphs gets for each line
// the text line it came from, counted from 0.
QStringList layoutLines(const QString &table, const QString &text, int cellsPerLine, bool *ok,
                        QString *error = nullptr, int *cells = nullptr,
                        QVector<int> *paragraphs = nullptr);

// The pages of those lines, each filled to the full page with blank cells so the file shows the
// sheet as embossed.
QStringList layoutPages(const QStringList &lines, int cellsPerLine, int linesPerPage);

inline int pageCount(int lines, int linesPerPage)
{
    return (lines + linesPerPage - 1) / linesPerPage;
}

// The version of liblouis in use.
QString louisVersion();

} // namespace Braille

#endif // BRAILLE_H
