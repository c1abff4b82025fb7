// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SHEETPICTURE_H
#define SHEETPICTURE_H

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// How the device was set up when it embossed a sheet: the values GetConfiguration reports.
struct SheetLayout
{
    QString paperFormat = QStringLiteral("A4");
    int cellsPerLine = 40;
    int linesPerPage = 25;
    bool duplex = false;
    // 1 (lightest) to 5 (strongest).
    int dotStrength = 3;
};

// One embossed page.
struct SheetPage
{
    // The page's number within its copy, from 1.
    int number = 0;
    // Lines of Unicode braille cells (U+2800 to U+28FF, dots 1 to 8 as bits 0 to 7); any other
    // character is a blank cell.
    QStringList lines;
    // What the braille was translated from, for readers of the picture's text alternative; may be
    // empty (a test page's pattern has no text). Best the page's own text; a whole document is cut
    // at sourceTextLimit characters, so that a long job's index.html stays small.
    QString sourceText;

    // The lines of a page as the device writes it to a page file: one line of cells per text line.
    static QStringList linesOf(const QString &pageText);
};

// The picture of one sheet as an SVG document at true size, in millimetres: the front page and,
// in duplex, the back page beside it as a reader finds it after turning the sheet over. Every
// raised dot is one <circle>; the geometry is BrailleGeometry's. The dot strength shows as the
// dots' grey (dotShade()). A layout that does not fit the sheet is drawn as it is, with the part
// beyond the sheet's edge hatched red and a line of text saying why (overflowMessages()).
class SheetPicture
{
public:
    // back is the page on the back of a duplex sheet; a duplex sheet without one (the last sheet
    // of an odd page count, or a job cancelled after the front) shows a blank back. In simplex
    // the back is ignored.
    SheetPicture(const SheetLayout &layout, const QString &title, const SheetPage &front,
                 const std::optional<SheetPage> &back = std::nullopt);

    // The SVG document, UTF-8.
    QByteArray svg() const;
    // Writes svg() to path atomically; false with *error set when it cannot.
    bool write(const QString &path, QString *error = nullptr) const;

    // The picture's description, also its <desc>: each page's braille as Unicode braille (blank
    // cells at the ends of lines and blank lines at the end left out), the text it came from, and
    // whether the layout does not fit. Control characters become U+FFFD.
    QString textAlternative() const;

    // Why the layout does not fit the sheet, e.g. "40 cells need 240 mm; A4 is 210 mm wide";
    // empty when it fits.
    QStringList overflowMessages() const;

    // The picture's size in millimetres (its viewBox).
    double width() const;
    double height() const;

    // The fill of dots embossed at a strength of 1 to 5: #707070 for 1, 0x1c darker a level, black
    // for 5. Strengths out of range are taken as the nearest in range.
    static QString dotShade(int dotStrength);
    // The name the device gives the picture of a sheet beside its page files.
    static QString fileName(int jobId, int copy, int sheet);

    // Where the picture puts things, in its own millimetres, for the test that reads it back.
    // Margin around everything, room above each side for its caption, and between the sides.
    static constexpr double padding = 5.0;
    static constexpr double captionHeight = 8.0;
    static constexpr double sideGap = 10.0;
    static constexpr double messageHeight = 6.0;

    // How much of a page's source text the text alternative quotes; the rest is shown as " …".
    static constexpr int sourceTextLimit = 2000;

private:
    struct Side
    {
        double x = 0; // the sheet's top left corner in the picture
        double y = 0;
        double blockX = 0; // the first cell box's top left corner in the picture
        double blockY = 0;
        double extentWidth = 0; // sheet and block together
        double extentHeight = 0;
    };
    Side sideAt(double x, bool back) const;

    SheetLayout m_layout;
    QString m_title;
    SheetPage m_front;
    std::optional<SheetPage> m_back;
    double m_sheetWidth = 0;
    double m_sheetHeight = 0;
};

#endif // SHEETPICTURE_H
