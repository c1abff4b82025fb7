// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "braillegeometry.h"
#include "sheetpicture.h"
#include "svgsheet.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>

namespace {

// The geometry the pictures promise, written out here rather than taken from the header, so that
// a change there shows up as a failure.
constexpr double dotPitch = 2.5;
constexpr double cellPitch = 6.0;
constexpr double linePitch = 10.0;
constexpr double dotRadius = 0.75;
constexpr double interpoint = 1.25;

const QChar blank(0x2800);
const QChar fullCell8(0x28ff); // dots 1 to 8
const QChar fullCell6(0x283f); // dots 1 to 6
const QChar odd(0x2815); // dots 1 3 5
const QChar even(0x282a); // dots 2 4 6

QSizeF paper(const QString &name)
{
    if (name == QLatin1String("Letter"))
        return {215.9, 279.4};
    if (name == QLatin1String("Braille-11x11.5"))
        return {279.4, 292.1};
    return {210.0, 297.0};
}

// Where each raised dot's centre belongs: the block centred on the sheet when it fits, at the
// edge when not, dots 1-2-3-7 down the left column and 4-5-6-8 down the right of each cell box.
QList<QPair<qint64, qint64>> expectedDots(const QStringList &lines, const SheetLayout &layout,
                                          const QRectF &sheet, bool back)
{
    const double blockW = layout.cellsPerLine * cellPitch;
    const double blockH = layout.linesPerPage * linePitch;
    double x0 = sheet.x() + (blockW <= sheet.width() ? (sheet.width() - blockW) / 2 : 0);
    double y0 = sheet.y() + (blockH <= sheet.height() ? (sheet.height() - blockH) / 2 : 0);
    if (back) {
        x0 += interpoint;
        y0 += interpoint;
    }
    static const int column[] = {0, 0, 0, 1, 1, 1, 0, 1};
    static const int row[] = {0, 1, 2, 0, 1, 2, 3, 3};
    QList<QPair<qint64, qint64>> dots;
    for (int line = 0; line < lines.size(); ++line) {
        for (int cell = 0; cell < lines.at(line).size(); ++cell) {
            const ushort code = lines.at(line).at(cell).unicode();
            if (code < 0x2800 || code > 0x28ff)
                continue;
            for (int bit = 0; bit < 8; ++bit) {
                if ((code - 0x2800) & (1 << bit)) {
                    dots.append({microns(x0 + cell * cellPitch + (cellPitch - dotPitch) / 2
                                         + column[bit] * dotPitch),
                                 microns(y0 + line * linePitch + (linePitch - 3 * dotPitch) / 2
                                         + row[bit] * dotPitch)});
                }
            }
        }
    }
    std::sort(dots.begin(), dots.end());
    return dots;
}

QStringList page(int cells, int lines, const std::function<QChar(int, int)> &cellAt)
{
    QStringList result;
    for (int line = 0; line < lines; ++line) {
        QString text;
        for (int cell = 0; cell < cells; ++cell)
            text.append(cellAt(line, cell));
        result.append(text);
    }
    return result;
}

// "hello world" in grade 1 letters, then blank cells to the end of the line.
QStringList textPage(int cells, int lines)
{
    const QString hello
            = QStringLiteral("\u2813\u2811\u2807\u2807\u2815\u2800\u283a\u2815\u2817\u2807\u2819");
    QStringList result;
    for (int line = 0; line < lines; ++line)
        result.append((line % 3 == 0 ? hello.left(cells) : QString()).leftJustified(cells, blank));
    return result;
}

SheetLayout layout(const QString &paperFormat, int cells, int lines, bool duplex, int strength = 3)
{
    SheetLayout result;
    result.paperFormat = paperFormat;
    result.cellsPerLine = cells;
    result.linesPerPage = lines;
    result.duplex = duplex;
    result.dotStrength = strength;
    return result;
}

SheetPage sheetPage(int number, const QStringList &lines, const QString &source = QString())
{
    SheetPage result;
    result.number = number;
    result.lines = lines;
    result.sourceText = source;
    return result;
}

} // namespace

class TestSheetPicture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void geometryConstants();
    void dotsOnTheGrid_data();
    void dotsOnTheGrid();
    void backFallsBetweenFrontDots_data();
    void backFallsBetweenFrontDots();
    void blankBackOfALastSheet();
    void overflowMarked_data();
    void overflowMarked();
    void fittingLayoutUnmarked();
    void shadeFollowsStrength_data();
    void shadeFollowsStrength();
    void textAlternative();
    void longSourceTextCut();
    void otherCharactersAreBlank();
    void linesOfAPageFile();
    void writesTheFile();
    void fullestSheet();
};

void TestSheetPicture::geometryConstants()
{
    QCOMPARE(BrailleGeometry::dotPitch, dotPitch);
    QCOMPARE(BrailleGeometry::cellPitch, cellPitch);
    QCOMPARE(BrailleGeometry::linePitch, linePitch);
    QCOMPARE(BrailleGeometry::dotDiameter, 2 * dotRadius);
    QCOMPARE(BrailleGeometry::interpointOffsetX, interpoint);
    QCOMPARE(BrailleGeometry::interpointOffsetY, interpoint);
    for (const char *name : {"A4", "Letter", "Braille-11x11.5"}) {
        const auto size = BrailleGeometry::paperSize(QString::fromLatin1(name));
        QCOMPARE(QSizeF(size.width, size.height), paper(QString::fromLatin1(name)));
    }
}

void TestSheetPicture::dotsOnTheGrid_data()
{
    QTest::addColumn<QString>("paperFormat");
    QTest::addColumn<int>("cells");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("duplex");
    QTest::addColumn<QStringList>("front");
    QTest::addColumn<QStringList>("back");

    QTest::newRow("simplex text on A4")
            << "A4" << 30 << 25 << false << textPage(30, 25) << QStringList();
    QTest::newRow("simplex eight-dot full cells on A4")
            << "A4" << 32 << 27 << false << page(32, 27, [](int, int) { return fullCell8; })
            << QStringList();
    QTest::newRow("simplex grid test page on Letter")
            << "Letter" << 34 << 26 << false
            << page(34, 26, [](int l, int c) { return (l + c) % 2 ? blank : fullCell6; })
            << QStringList();
    QTest::newRow("simplex alternating dots on Braille-11x11.5")
            << "Braille-11x11.5" << 44 << 28 << false
            << page(44, 28, [](int l, int c) { return (l + c) % 2 ? odd : even; }) << QStringList();
    QTest::newRow("duplex text front and back on A4")
            << "A4" << 30 << 25 << true << textPage(30, 25) << textPage(30, 25);
    QTest::newRow("duplex full cells on Letter")
            << "Letter" << 34 << 26 << true << page(34, 26, [](int, int) { return fullCell8; })
            << page(34, 26, [](int, int) { return fullCell6; });
    QTest::newRow("duplex alternating dots on Braille-11x11.5")
            << "Braille-11x11.5" << 46 << 29 << true
            << page(46, 29, [](int l, int c) { return (l + c) % 2 ? odd : even; })
            << page(46, 29, [](int l, int c) { return (l + c) % 2 ? even : odd; });
    QTest::newRow("duplex all blank")
            << "A4" << 20 << 10 << true << page(20, 10, [](int, int) { return blank; })
            << page(20, 10, [](int, int) { return blank; });
}

void TestSheetPicture::dotsOnTheGrid()
{
    QFETCH(QString, paperFormat);
    QFETCH(int, cells);
    QFETCH(int, lines);
    QFETCH(bool, duplex);
    QFETCH(QStringList, front);
    QFETCH(QStringList, back);

    const SheetLayout l = layout(paperFormat, cells, lines, duplex);
    const SheetPicture picture(l, QStringLiteral("Job 1, copy 1, sheet 1"), sheetPage(1, front),
                               duplex ? std::optional<SheetPage>(sheetPage(2, back))
                                      : std::nullopt);
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));

    // True size: the viewBox in millimetres, and the same as width and height.
    const QStringList viewBox
            = svg.rootAttributes.value(QStringLiteral("viewBox")).split(QLatin1Char(' '));
    QCOMPARE(viewBox.size(), 4);
    QCOMPARE(svg.rootAttributes.value(QStringLiteral("width")),
             viewBox.at(2) + QStringLiteral("mm"));
    QCOMPARE(svg.rootAttributes.value(QStringLiteral("height")),
             viewBox.at(3) + QStringLiteral("mm"));
    QCOMPARE(viewBox.at(2).toDouble(), picture.width());

    QCOMPARE(svg.sides.size(), duplex ? 2 : 1);
    const SvgSide frontSide = svg.sides.value(QStringLiteral("front"));
    QCOMPARE(frontSide.sheet.size(), paper(paperFormat));
    QVERIFY(frontSide.sheet.right() <= picture.width());
    QVERIFY(frontSide.sheet.bottom() <= picture.height());
    QList<QPair<qint64, qint64>> dots = frontSide.dots;
    std::sort(dots.begin(), dots.end());
    QCOMPARE(dots, expectedDots(front, l, frontSide.sheet, false));
    for (double r : frontSide.radii)
        QCOMPARE(r, dotRadius);

    int expectedCircles = dots.size();
    if (duplex) {
        const SvgSide backSide = svg.sides.value(QStringLiteral("back"));
        QCOMPARE(backSide.sheet.size(), paper(paperFormat));
        // Beside the front, not over it.
        QVERIFY(backSide.sheet.left() > frontSide.sheet.right());
        QCOMPARE(backSide.sheet.top(), frontSide.sheet.top());
        QList<QPair<qint64, qint64>> backDots = backSide.dots;
        std::sort(backDots.begin(), backDots.end());
        QCOMPARE(backDots, expectedDots(back, l, backSide.sheet, true));
        expectedCircles += backDots.size();
        QVERIFY(backSide.caption.contains(QLatin1String("page 2")));
    }
    QCOMPARE(svg.circles, expectedCircles);
}

void TestSheetPicture::backFallsBetweenFrontDots_data()
{
    QTest::addColumn<QString>("paperFormat");
    QTest::addColumn<int>("cells");
    QTest::addColumn<int>("lines");

    QTest::newRow("A4 30 x 25") << "A4" << 30 << 25;
    QTest::newRow("A4 35 x 29, no margin left") << "A4" << 35 << 29;
    QTest::newRow("Letter 32 x 27") << "Letter" << 32 << 27;
    QTest::newRow("Braille-11x11.5 46 x 29") << "Braille-11x11.5" << 46 << 29;
}

void TestSheetPicture::backFallsBetweenFrontDots()
{
    QFETCH(QString, paperFormat);
    QFETCH(int, cells);
    QFETCH(int, lines);

    // Every dot of every cell raised on both sides, and the back's first cell told apart from the
    // rest by being the only one with dots 1 and 7 alone.
    QStringList back = page(cells, lines, [](int, int) { return fullCell8; });
    back[0][0] = QChar(0x2841);
    const SheetLayout l = layout(paperFormat, cells, lines, true);
    const SheetPicture picture(l, QStringLiteral("sheet"),
                               sheetPage(1, page(cells, lines, [](int, int) { return fullCell8; })),
                               sheetPage(2, back));
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));
    const SvgSide front = svg.sides.value(QStringLiteral("front"));
    const SvgSide backSide = svg.sides.value(QStringLiteral("back"));

    // The back is drawn as read after turning the sheet over: its first cell is at the top left.
    const auto topLeft = *std::min_element(backSide.dots.cbegin(), backSide.dots.cend());
    const double blockMarginX = (front.sheet.width() - cells * cellPitch) / 2;
    const double blockMarginY = (front.sheet.height() - lines * linePitch) / 2;
    QCOMPARE(topLeft, qMakePair(microns(backSide.sheet.x() + blockMarginX + 1.75 + interpoint),
                                microns(backSide.sheet.y() + blockMarginY + 1.25 + interpoint)));
    QCOMPARE(backSide.dots.size(), front.dots.size() - 6);

    // Turned back over, each back dot lands on the front's side of the paper mirrored across the
    // sheet: there it must keep clear of every front dot by the interpoint offset in each
    // direction, never on one.
    QSet<qint64> frontX;
    QSet<qint64> frontY;
    for (const auto &dot : front.dots) {
        frontX.insert(dot.first - microns(front.sheet.x()));
        frontY.insert(dot.second - microns(front.sheet.y()));
    }
    QSet<QPair<qint64, qint64>> frontDots;
    for (const auto &dot : front.dots)
        frontDots.insert(
                {dot.first - microns(front.sheet.x()), dot.second - microns(front.sheet.y())});
    for (const auto &dot : backSide.dots) {
        const qint64 x = microns(front.sheet.width()) - (dot.first - microns(backSide.sheet.x()));
        const qint64 y = dot.second - microns(backSide.sheet.y());
        QVERIFY(!frontDots.contains({x, y}));
        qint64 nearestX = LLONG_MAX;
        for (qint64 fx : frontX)
            nearestX = std::min(nearestX, qAbs(fx - x));
        qint64 nearestY = LLONG_MAX;
        for (qint64 fy : frontY)
            nearestY = std::min(nearestY, qAbs(fy - y));
        QCOMPARE(nearestX, microns(interpoint));
        QCOMPARE(nearestY, microns(interpoint));
    }
}

void TestSheetPicture::blankBackOfALastSheet()
{
    const SheetPicture picture(layout(QStringLiteral("A4"), 30, 25, true), QStringLiteral("last"),
                               sheetPage(3, textPage(30, 25)));
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));
    QCOMPARE(svg.sides.size(), 2);
    QVERIFY(svg.sides.value(QStringLiteral("back")).dots.isEmpty());
    QCOMPARE(svg.sides.value(QStringLiteral("back")).caption, QStringLiteral("Back: blank"));
    QVERIFY(svg.desc.contains(QLatin1String("Back: blank.")));
}

void TestSheetPicture::overflowMarked_data()
{
    QTest::addColumn<QString>("paperFormat");
    QTest::addColumn<int>("cells");
    QTest::addColumn<int>("lines");
    QTest::addColumn<bool>("duplex");
    QTest::addColumn<QStringList>("messages");

    QTest::newRow("A4 factory layout too wide")
            << "A4" << 40 << 25 << false
            << QStringList{QStringLiteral("40 cells need 240 mm; A4 is 210 mm wide")};
    QTest::newRow("A4 too high") << "A4" << 30 << 30 << false
                                 << QStringList{QStringLiteral(
                                            "30 lines need 300 mm; A4 is 297 mm high")};
    QTest::newRow("Letter both ways, duplex")
            << "Letter" << 36 << 28 << true
            << QStringList{QStringLiteral("36 cells need 216 mm; Letter is 215.9 mm wide"),
                           QStringLiteral("28 lines need 280 mm; Letter is 279.4 mm high")};
    QTest::newRow("Braille-11x11.5 widest and longest")
            << "Braille-11x11.5" << 48 << 32 << false
            << QStringList{
                       QStringLiteral("48 cells need 288 mm; Braille-11x11.5 is 279.4 mm wide"),
                       QStringLiteral("32 lines need 320 mm; Braille-11x11.5 is 292.1 mm high")};
}

void TestSheetPicture::overflowMarked()
{
    QFETCH(QString, paperFormat);
    QFETCH(int, cells);
    QFETCH(int, lines);
    QFETCH(bool, duplex);
    QFETCH(QStringList, messages);

    const SheetLayout l = layout(paperFormat, cells, lines, duplex);
    const QStringList full = page(cells, lines, [](int, int) { return fullCell6; });
    const SheetPicture picture(l, QStringLiteral("too big"), sheetPage(1, full),
                               sheetPage(2, full));
    QCOMPARE(picture.overflowMessages(), messages);
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));

    // Said in words, on the picture and in its description.
    QCOMPARE(svg.overflowTexts.size(), messages.size());
    for (int i = 0; i < messages.size(); ++i) {
        QVERIFY(svg.overflowTexts.at(i).contains(messages.at(i)));
        QVERIFY(svg.desc.contains(messages.at(i)));
    }

    for (const QString &name : svg.sides.keys()) {
        const SvgSide side = svg.sides.value(name);
        // Drawn as it is: every dot, some beyond the sheet's edge...
        QList<QPair<qint64, qint64>> dots = side.dots;
        std::sort(dots.begin(), dots.end());
        QCOMPARE(dots, expectedDots(full, l, side.sheet, name == QLatin1String("back")));
        // ...and that part marked, outside the sheet, with a title saying why.
        QVERIFY(!side.offSheet.isEmpty());
        for (const QRectF &mark : side.offSheet) {
            QVERIFY(mark.left() >= side.sheet.right() - 0.001
                    || mark.top() >= side.sheet.bottom() - 0.001);
        }
        const bool tooWide = cells * cellPitch > side.sheet.width();
        const bool tooHigh = lines * linePitch > side.sheet.height();
        QCOMPARE(side.offSheet.size(), int(tooWide) + int(tooHigh));
        for (const QString &title : side.offSheetTitles) {
            for (const QString &message : messages)
                QVERIFY(title.contains(message));
        }
        // The marks reach as far as the block does.
        const double offset = name == QLatin1String("back") ? interpoint : 0;
        const double blockRight
                = side.sheet.x() + offset
                  + (tooWide ? cells * cellPitch : (side.sheet.width() + cells * cellPitch) / 2);
        const double blockBottom
                = side.sheet.y() + offset
                  + (tooHigh ? lines * linePitch : (side.sheet.height() + lines * linePitch) / 2);
        for (const QRectF &mark : side.offSheet) {
            QCOMPARE(microns(mark.right()), microns(blockRight));
            if (mark.top() >= side.sheet.bottom() - 0.001)
                QCOMPARE(microns(mark.bottom()), microns(blockBottom));
        }
        // Where it overflows, it starts at the sheet's edge.
        if (tooWide)
            QCOMPARE(dots.first().first,
                     microns(side.sheet.x() + 1.75
                             + (name == QLatin1String("back") ? interpoint : 0)));
    }
    // The picture holds all of it.
    for (const SvgSide &side : svg.sides) {
        for (const auto &dot : side.dots) {
            QVERIFY(dot.first + microns(dotRadius) <= microns(picture.width()));
            QVERIFY(dot.second + microns(dotRadius) <= microns(picture.height()));
        }
    }
}

void TestSheetPicture::fittingLayoutUnmarked()
{
    // 35 cells fill an A4 sheet's 210 mm exactly: that fits.
    const SheetPicture picture(layout(QStringLiteral("A4"), 35, 29, true), QStringLiteral("fits"),
                               sheetPage(1, textPage(35, 29)), sheetPage(2, textPage(35, 29)));
    QVERIFY(picture.overflowMessages().isEmpty());
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));
    QVERIFY(svg.overflowTexts.isEmpty());
    for (const SvgSide &side : svg.sides)
        QVERIFY(side.offSheet.isEmpty());
    QVERIFY(!svg.desc.contains(QLatin1String("Does not fit")));
}

void TestSheetPicture::shadeFollowsStrength_data()
{
    QTest::addColumn<int>("strength");
    QTest::addColumn<QString>("fill");

    QTest::newRow("1 lightest") << 1 << "#707070";
    QTest::newRow("2") << 2 << "#545454";
    QTest::newRow("3 factory") << 3 << "#383838";
    QTest::newRow("4") << 4 << "#1c1c1c";
    QTest::newRow("5 strongest, black") << 5 << "#000000";
    QTest::newRow("0 taken as 1") << 0 << "#707070";
    QTest::newRow("9 taken as 5") << 9 << "#000000";
}

void TestSheetPicture::shadeFollowsStrength()
{
    QFETCH(int, strength);
    QFETCH(QString, fill);

    QCOMPARE(SheetPicture::dotShade(strength), fill);
    const SheetPicture picture(layout(QStringLiteral("A4"), 30, 25, true, strength),
                               QStringLiteral("shade"), sheetPage(1, textPage(30, 25)),
                               sheetPage(2, textPage(30, 25)));
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    for (const SvgSide &side : svg.sides)
        QCOMPARE(side.dotFill, fill);
    // Each level darker than the one before.
    if (strength > 1 && strength <= 5) {
        QVERIFY(fill.mid(1, 2).toInt(nullptr, 16)
                < SheetPicture::dotShade(strength - 1).mid(1, 2).toInt(nullptr, 16));
    }
}

void TestSheetPicture::textAlternative()
{
    QStringList front = textPage(30, 25);
    const QString source = QStringLiteral("hello world <&> \"quoted\"");
    const SheetPicture picture(layout(QStringLiteral("A4"), 30, 25, true),
                               QStringLiteral("Job 4, copy 2, sheet 1: pages 1 and 2"),
                               sheetPage(1, front, source), sheetPage(2, textPage(30, 25)));
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));
    QCOMPARE(svg.rootAttributes.value(QStringLiteral("role")), QStringLiteral("img"));
    const QStringList labelledBy
            = svg.rootAttributes.value(QStringLiteral("aria-labelledby")).split(QLatin1Char(' '));
    QCOMPARE(labelledBy, QStringList({svg.titleId, svg.descId}));
    QVERIFY(!svg.titleId.isEmpty());
    QCOMPARE(svg.title, QStringLiteral("Job 4, copy 2, sheet 1: pages 1 and 2"));

    // The braille as Unicode text, without the blank cells that only fill the page, then the text.
    const QString hello
            = QStringLiteral("\u2813\u2811\u2807\u2807\u2815\u2800\u283a\u2815\u2817\u2807\u2819");
    const QString braille = QStringList({hello,     QString(), QString(), hello,     QString(),
                                         QString(), hello,     QString(), QString(), hello,
                                         QString(), QString(), hello,     QString(), QString(),
                                         hello,     QString(), QString(), hello,     QString(),
                                         QString(), hello,     QString(), QString(), hello})
                                    .join(QLatin1Char('\n'));
    QCOMPARE(svg.desc, picture.textAlternative());
    QVERIFY(svg.desc.startsWith(QStringLiteral("Front, page 1, braille:\n") + braille
                                + QStringLiteral("\nText: ") + source + QLatin1Char('\n')));
    QVERIFY(svg.desc.contains(QStringLiteral("Back, page 2, braille:\n") + braille));
}

void TestSheetPicture::longSourceTextCut()
{
    // A whole document given as each page's text: quoted up to the limit, at a word's end.
    const QString words = QStringLiteral("minutes of the meeting ").repeated(200);
    const SheetPicture picture(layout(QStringLiteral("A4"), 30, 25, false), QStringLiteral("x"),
                               sheetPage(1, textPage(30, 25), words));
    const QString alternative = picture.textAlternative();
    const int quoted = alternative.indexOf(QLatin1String("Text: ")) + 6;
    const QString source = alternative.mid(quoted);
    QVERIFY(source.endsWith(QStringLiteral("meeting …")));
    QVERIFY(source.size() <= SheetPicture::sourceTextLimit + 2);
    QVERIFY(words.startsWith(source.chopped(2)));

    const QString shortText = QStringLiteral("hello world");
    const SheetPicture short_(layout(QStringLiteral("A4"), 30, 25, false), QStringLiteral("x"),
                              sheetPage(1, textPage(30, 25), shortText));
    QVERIFY(short_.textAlternative().endsWith(QStringLiteral("Text: hello world")));
}

void TestSheetPicture::otherCharactersAreBlank()
{
    const SheetPicture picture(layout(QStringLiteral("A4"), 10, 10, false), QStringLiteral("x"),
                               sheetPage(1, {QStringLiteral("ab\u2801?")}));
    const SvgSheet svg = SvgSheet::parse(picture.svg());
    QCOMPARE(svg.circles, 1);
    const SvgSide side = svg.sides.value(QStringLiteral("front"));
    QCOMPARE(side.dots.first().first,
             microns(side.sheet.x() + (210 - 60) / 2 + 2 * cellPitch + 1.75));
}

void TestSheetPicture::linesOfAPageFile()
{
    QCOMPARE(SheetPage::linesOf(QStringLiteral("\u2801\u2800\n\u2800\u2803\n")),
             QStringList({QStringLiteral("\u2801\u2800"), QStringLiteral("\u2800\u2803")}));
    QCOMPARE(SheetPage::linesOf(QStringLiteral("\u2801\n\n")),
             QStringList({QStringLiteral("\u2801"), QString()}));
    QCOMPARE(SheetPicture::fileName(3, 2, 14), QStringLiteral("job-3-copy-2-sheet-14.svg"));
}

void TestSheetPicture::writesTheFile()
{
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const SheetPicture picture(layout(QStringLiteral("A4"), 30, 25, false), QStringLiteral("x"),
                               sheetPage(1, textPage(30, 25)));
    const QString path = dir.filePath(SheetPicture::fileName(1, 1, 1));
    QString error;
    QVERIFY2(picture.write(path, &error), qPrintable(error));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), picture.svg());
    QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList(SheetPicture::fileName(1, 1, 1)));

    QVERIFY(!picture.write(dir.filePath(QStringLiteral("missing/folder/x.svg")), &error));
    QVERIFY(!error.isEmpty());
}

void TestSheetPicture::fullestSheet()
{
    // The most a sheet can hold: 48 x 32 eight-dot cells on both sides, drawn after every sheet.
    const QStringList full = page(48, 32, [](int, int) { return fullCell8; });
    const SheetPicture picture(layout(QStringLiteral("Braille-11x11.5"), 48, 32, true),
                               QStringLiteral("full"), sheetPage(1, full), sheetPage(2, full));
    QElapsedTimer timer;
    timer.start();
    const QByteArray svg = picture.svg();
    const qint64 ms = timer.elapsed();
    qInfo("%d circles, %lld kB in %lld ms", SvgSheet::parse(svg).circles, qint64(svg.size() / 1024),
          ms);
    QCOMPARE(SvgSheet::parse(svg).circles, 2 * 48 * 32 * 8);
    QVERIFY2(ms < 2000, qPrintable(QString::number(ms)));
}

QTEST_GUILESS_MAIN(TestSheetPicture)
#include "tst_sheetpicture.moc"
