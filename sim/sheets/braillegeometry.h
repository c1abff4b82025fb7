// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef BRAILLEGEOMETRY_H
#define BRAILLEGEOMETRY_H

#include <QString>

// Where the device puts paper and dots, in millimetres. Everything that draws or checks an
// embossed sheet takes its measures from here.
//
// A page is a block of cellsPerLine x linesPerPage cell boxes, each cellPitch wide and linePitch
// high; that block is what has to fit the sheet (margins do not count: 40 cells need 240 mm, which
// an A4 sheet's 210 mm cannot hold). A block that fits is centred on the sheet, so the margins are
// what the sheet leaves beside it, split evenly. A block that does not fit starts at the sheet's
// edge in that direction and runs off the far edge (right, bottom).
//
// Within its box a cell's dots are centred: dots 1 2 3 7 down the left column, 4 5 6 8 down the
// right one, dotPitch apart both ways.
//
// In duplex the back page is embossed from the other side. Seen by a reader who has turned the
// sheet over (about its vertical axis, like a book's page), it reads left to right as the front
// does, and the front's dots have become pits mirrored across the sheet. The back's block is placed
// by the same rule as the front's and then moved by the interpoint offset, half a dot pitch right
// and down. A centred block mirrored onto itself gives the same grid, so every back dot falls
// between the front's pits instead of on one: the pins never strike where the other side already
// raised a dot.
namespace BrailleGeometry {

constexpr double dotPitch = 2.5;
constexpr double cellPitch = 6.0;
constexpr double linePitch = 10.0;
constexpr double dotDiameter = 1.5;

// From a cell box's top left corner to the centre of its dot 1.
constexpr double dotInsetX = (cellPitch - dotPitch) / 2; // 1.75
constexpr double dotInsetY = (linePitch - 3 * dotPitch) / 2; // 1.25

// Where the back's grid sits, as read, relative to the front's.
constexpr double interpointOffsetX = dotPitch / 2; // 1.25
constexpr double interpointOffsetY = dotPitch / 2; // 1.25

struct PaperSize
{
    const char *name;
    double width;
    double height;
};

constexpr PaperSize paperSizes[] = {
        {"A4", 210.0, 297.0},
        {"Letter", 215.9, 279.4},
        {"Braille-11x11.5", 279.4, 292.1},
};

// The size of the format the device calls name; A4 for a name it does not know.
inline PaperSize paperSize(const QString &name)
{
    for (const PaperSize &size : paperSizes) {
        if (name == QLatin1String(size.name))
            return size;
    }
    return paperSizes[0];
}

constexpr double blockWidth(int cellsPerLine)
{
    return cellsPerLine * cellPitch;
}

constexpr double blockHeight(int linesPerPage)
{
    return linesPerPage * linePitch;
}

// The block's start from the sheet's edge: centred when it fits, at the edge when not.
constexpr double blockMargin(double sheet, double block)
{
    return block <= sheet ? (sheet - block) / 2 : 0.0;
}

// Dot number 1 to 8 to its column (0, 1) and row (0 to 3) in the cell.
constexpr int dotColumn(int dot)
{
    return dot == 7 ? 0 : dot == 8 ? 1 : (dot - 1) / 3;
}

constexpr int dotRow(int dot)
{
    return dot >= 7 ? 3 : (dot - 1) % 3;
}

} // namespace BrailleGeometry

#endif // BRAILLEGEOMETRY_H
