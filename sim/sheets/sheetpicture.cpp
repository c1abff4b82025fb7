// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "sheetpicture.h"

#include "braillegeometry.h"

#include <QSaveFile>
#include <QXmlStreamWriter>

#include <algorithm>

namespace {

using namespace BrailleGeometry;

// Captions and messages in a blue that no one takes for a dot (the browser test counts grey
// blobs); the sheet's edge lighter than the lightest dot.
const QString textColour = QStringLiteral("#1d3f7a");
const QString sheetEdgeColour = QStringLiteral("#b0b0b0");
const QString offSheetColour = QStringLiteral("#d00000");
constexpr double captionFontSize = 4.5;

QString mm(double value)
{
    QString text = QString::number(value, 'f', 3);
    while (text.endsWith(QLatin1Char('0')))
        text.chop(1);
    if (text.endsWith(QLatin1Char('.')))
        text.chop(1);
    return text == QLatin1String("-0") ? QStringLiteral("0") : text;
}

// Control characters are not allowed in XML; U+FFFD shows where one was.
QString xmlText(QString text)
{
    for (QChar &c : text) {
        if (c.unicode() < 0x20 && c != QLatin1Char('\n') && c != QLatin1Char('\t'))
            c = QChar::ReplacementCharacter;
    }
    return text;
}

QString brailleText(const QStringList &lines)
{
    QStringList trimmed;
    for (const QString &line : lines) {
        int end = line.size();
        while (end > 0 && line.at(end - 1) == QChar(0x2800))
            --end;
        trimmed.append(line.left(end));
    }
    while (!trimmed.isEmpty() && trimmed.constLast().isEmpty())
        trimmed.removeLast();
    return trimmed.join(QLatin1Char('\n'));
}

QString pageDescription(const QString &side, const SheetPage &page)
{
    const QString braille = brailleText(page.lines);
    QString text = braille.isEmpty()
                           ? QStringLiteral("%1, page %2: blank.").arg(side).arg(page.number)
                           : QStringLiteral("%1, page %2, braille:\n%3")
                                     .arg(side)
                                     .arg(page.number)
                                     .arg(braille);
    if (!page.sourceText.isEmpty()) {
        QString source = page.sourceText;
        if (source.size() > SheetPicture::sourceTextLimit) {
            const int blank = source.lastIndexOf(QLatin1Char(' '), SheetPicture::sourceTextLimit);
            source = source.left(blank > 0 ? blank : SheetPicture::sourceTextLimit)
                     + QStringLiteral(" …");
        }
        text += QStringLiteral("\nText: %1").arg(source);
    }
    return text;
}

} // namespace

QStringList SheetPage::linesOf(const QString &pageText)
{
    QStringList lines = pageText.split(QLatin1Char('\n'));
    // The device ends every line, the last one too.
    if (!lines.isEmpty() && lines.constLast().isEmpty())
        lines.removeLast();
    return lines;
}

SheetPicture::SheetPicture(const SheetLayout &layout, const QString &title, const SheetPage &front,
                           const std::optional<SheetPage> &back)
    : m_layout(layout), m_title(title), m_front(front), m_back(layout.duplex ? back : std::nullopt)
{
    const PaperSize size = paperSize(layout.paperFormat);
    m_sheetWidth = size.width;
    m_sheetHeight = size.height;
}

SheetPicture::Side SheetPicture::sideAt(double x, bool back) const
{
    Side side;
    side.x = x;
    side.y = padding + captionHeight;
    const double width = blockWidth(m_layout.cellsPerLine);
    const double height = blockHeight(m_layout.linesPerPage);
    side.blockX = side.x + blockMargin(m_sheetWidth, width) + (back ? interpointOffsetX : 0.0);
    side.blockY = side.y + blockMargin(m_sheetHeight, height) + (back ? interpointOffsetY : 0.0);
    side.extentWidth = std::max(m_sheetWidth, side.blockX - side.x + width);
    side.extentHeight = std::max(m_sheetHeight, side.blockY - side.y + height);
    return side;
}

double SheetPicture::width() const
{
    const Side front = sideAt(padding, false);
    double right = front.x + front.extentWidth;
    if (m_layout.duplex) {
        const Side back = sideAt(right + sideGap, true);
        right = back.x + back.extentWidth;
    }
    return right + padding;
}

double SheetPicture::height() const
{
    const Side front = sideAt(padding, false);
    double bottom = front.y + front.extentHeight;
    if (m_layout.duplex) {
        const Side back = sideAt(padding, true);
        bottom = std::max(bottom, back.y + back.extentHeight);
    }
    return bottom + overflowMessages().size() * messageHeight + padding;
}

QStringList SheetPicture::overflowMessages() const
{
    QStringList messages;
    const double width = blockWidth(m_layout.cellsPerLine);
    const double height = blockHeight(m_layout.linesPerPage);
    if (width > m_sheetWidth) {
        messages.append(QStringLiteral("%1 cells need %2 mm; %3 is %4 mm wide")
                                .arg(m_layout.cellsPerLine)
                                .arg(mm(width), m_layout.paperFormat, mm(m_sheetWidth)));
    }
    if (height > m_sheetHeight) {
        messages.append(QStringLiteral("%1 lines need %2 mm; %3 is %4 mm high")
                                .arg(m_layout.linesPerPage)
                                .arg(mm(height), m_layout.paperFormat, mm(m_sheetHeight)));
    }
    return messages;
}

QString SheetPicture::textAlternative() const
{
    QStringList parts;
    parts.append(pageDescription(m_layout.duplex ? QStringLiteral("Front") : QStringLiteral("Page"),
                                 m_front));
    if (m_layout.duplex) {
        parts.append(m_back ? pageDescription(QStringLiteral("Back"), *m_back)
                            : QStringLiteral("Back: blank."));
    }
    for (const QString &message : overflowMessages())
        parts.append(QStringLiteral("Does not fit the sheet: %1.").arg(message));
    return xmlText(parts.join(QLatin1Char('\n')));
}

QString SheetPicture::dotShade(int dotStrength)
{
    const int level = std::clamp(dotStrength, 1, 5);
    const int grey = 0x70 - 0x1c * (level - 1);
    return QStringLiteral("#%1%1%1").arg(grey, 2, 16, QLatin1Char('0'));
}

QString SheetPicture::fileName(int jobId, int copy, int sheet)
{
    return QStringLiteral("job-%1-copy-%2-sheet-%3.svg").arg(jobId).arg(copy).arg(sheet);
}

QByteArray SheetPicture::svg() const
{
    const QStringList messages = overflowMessages();
    const double pictureWidth = width();
    const double pictureHeight = height();

    QByteArray out;
    QXmlStreamWriter xml(&out);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(0);
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("svg"));
    xml.writeDefaultNamespace(QStringLiteral("http://www.w3.org/2000/svg"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.1"));
    xml.writeAttribute(QStringLiteral("width"), mm(pictureWidth) + QStringLiteral("mm"));
    xml.writeAttribute(QStringLiteral("height"), mm(pictureHeight) + QStringLiteral("mm"));
    xml.writeAttribute(QStringLiteral("viewBox"),
                       QStringLiteral("0 0 %1 %2").arg(mm(pictureWidth), mm(pictureHeight)));
    xml.writeAttribute(QStringLiteral("role"), QStringLiteral("img"));
    xml.writeAttribute(QStringLiteral("aria-labelledby"), QStringLiteral("sheet-title sheet-desc"));
    xml.writeStartElement(QStringLiteral("title"));
    xml.writeAttribute(QStringLiteral("id"), QStringLiteral("sheet-title"));
    xml.writeCharacters(xmlText(m_title));
    xml.writeEndElement();
    xml.writeStartElement(QStringLiteral("desc"));
    xml.writeAttribute(QStringLiteral("id"), QStringLiteral("sheet-desc"));
    xml.writeCharacters(textAlternative());
    xml.writeEndElement();

    if (!messages.isEmpty()) {
        xml.writeStartElement(QStringLiteral("defs"));
        xml.writeStartElement(QStringLiteral("pattern"));
        xml.writeAttribute(QStringLiteral("id"), QStringLiteral("off-sheet"));
        xml.writeAttribute(QStringLiteral("patternUnits"), QStringLiteral("userSpaceOnUse"));
        xml.writeAttribute(QStringLiteral("width"), QStringLiteral("3"));
        xml.writeAttribute(QStringLiteral("height"), QStringLiteral("3"));
        xml.writeEmptyElement(QStringLiteral("path"));
        xml.writeAttribute(QStringLiteral("d"),
                           QStringLiteral("M-1,1 l2,-2 M0,3 l3,-3 M2,4 l2,-2"));
        xml.writeAttribute(QStringLiteral("stroke"), offSheetColour);
        xml.writeAttribute(QStringLiteral("stroke-width"), QStringLiteral("0.3"));
        xml.writeEndElement();
        xml.writeEndElement();
    }

    const auto text = [&xml](double x, double y, const QString &cls, const QString &content) {
        xml.writeStartElement(QStringLiteral("text"));
        xml.writeAttribute(QStringLiteral("class"), cls);
        xml.writeAttribute(QStringLiteral("x"), mm(x));
        xml.writeAttribute(QStringLiteral("y"), mm(y));
        xml.writeAttribute(QStringLiteral("font-family"), QStringLiteral("sans-serif"));
        xml.writeAttribute(QStringLiteral("font-size"), mm(captionFontSize));
        xml.writeAttribute(QStringLiteral("fill"), textColour);
        xml.writeCharacters(content);
        xml.writeEndElement();
    };
    const auto rect = [&xml](const QString &cls, double x, double y, double w, double h) {
        xml.writeEmptyElement(QStringLiteral("rect"));
        xml.writeAttribute(QStringLiteral("class"), cls);
        xml.writeAttribute(QStringLiteral("x"), mm(x));
        xml.writeAttribute(QStringLiteral("y"), mm(y));
        xml.writeAttribute(QStringLiteral("width"), mm(w));
        xml.writeAttribute(QStringLiteral("height"), mm(h));
    };

    const double width = blockWidth(m_layout.cellsPerLine);
    const double height = blockHeight(m_layout.linesPerPage);
    const auto drawSide = [&](const Side &side, const QString &name, const QString &caption,
                              const SheetPage *page) {
        xml.writeStartElement(QStringLiteral("g"));
        xml.writeAttribute(QStringLiteral("class"), QStringLiteral("side ") + name);
        text(side.x, side.y - captionHeight / 3, QStringLiteral("caption"), caption);
        xml.writeStartElement(QStringLiteral("rect"));
        xml.writeAttribute(QStringLiteral("class"), QStringLiteral("sheet"));
        xml.writeAttribute(QStringLiteral("x"), mm(side.x));
        xml.writeAttribute(QStringLiteral("y"), mm(side.y));
        xml.writeAttribute(QStringLiteral("width"), mm(m_sheetWidth));
        xml.writeAttribute(QStringLiteral("height"), mm(m_sheetHeight));
        xml.writeAttribute(QStringLiteral("fill"), QStringLiteral("#ffffff"));
        xml.writeAttribute(QStringLiteral("stroke"), sheetEdgeColour);
        xml.writeAttribute(QStringLiteral("stroke-width"), QStringLiteral("0.3"));
        xml.writeEndElement();

        if (!messages.isEmpty()) {
            const QString why = QStringLiteral("Off the sheet: %1")
                                        .arg(messages.join(QStringLiteral("; and ")));
            const auto offSheet = [&](double x, double y, double w, double h) {
                if (w <= 0 || h <= 0)
                    return;
                xml.writeStartElement(QStringLiteral("rect"));
                xml.writeAttribute(QStringLiteral("class"), QStringLiteral("off-sheet"));
                xml.writeAttribute(QStringLiteral("x"), mm(x));
                xml.writeAttribute(QStringLiteral("y"), mm(y));
                xml.writeAttribute(QStringLiteral("width"), mm(w));
                xml.writeAttribute(QStringLiteral("height"), mm(h));
                xml.writeAttribute(QStringLiteral("fill"), QStringLiteral("url(#off-sheet)"));
                xml.writeAttribute(QStringLiteral("stroke"), offSheetColour);
                xml.writeAttribute(QStringLiteral("stroke-width"), QStringLiteral("0.3"));
                xml.writeTextElement(QStringLiteral("title"), why);
                xml.writeEndElement();
            };
            const double sheetRight = side.x + m_sheetWidth;
            const double sheetBottom = side.y + m_sheetHeight;
            const double blockRight = side.blockX + width;
            const double blockBottom = side.blockY + height;
            offSheet(sheetRight, side.blockY, blockRight - sheetRight,
                     std::min(blockBottom, sheetBottom) - side.blockY);
            offSheet(side.blockX, sheetBottom, blockRight - side.blockX, blockBottom - sheetBottom);
            rect(QStringLiteral("block"), side.blockX, side.blockY, width, height);
            xml.writeAttribute(QStringLiteral("fill"), QStringLiteral("none"));
            xml.writeAttribute(QStringLiteral("stroke"), offSheetColour);
            xml.writeAttribute(QStringLiteral("stroke-width"), QStringLiteral("0.3"));
            xml.writeAttribute(QStringLiteral("stroke-dasharray"), QStringLiteral("2 1"));
        }

        xml.writeStartElement(QStringLiteral("g"));
        xml.writeAttribute(QStringLiteral("class"), QStringLiteral("dots"));
        xml.writeAttribute(QStringLiteral("fill"), dotShade(m_layout.dotStrength));
        const QString radius = mm(dotDiameter / 2);
        if (page) {
            for (int line = 0; line < page->lines.size(); ++line) {
                const QString &cells = page->lines.at(line);
                for (int cell = 0; cell < cells.size(); ++cell) {
                    const ushort code = cells.at(cell).unicode();
                    if (code < 0x2800 || code > 0x28ff)
                        continue;
                    const int bits = code - 0x2800;
                    for (int dot = 1; dot <= 8; ++dot) {
                        if (!(bits & (1 << (dot - 1))))
                            continue;
                        xml.writeEmptyElement(QStringLiteral("circle"));
                        xml.writeAttribute(QStringLiteral("cx"),
                                           mm(side.blockX + cell * cellPitch + dotInsetX
                                              + dotColumn(dot) * dotPitch));
                        xml.writeAttribute(QStringLiteral("cy"),
                                           mm(side.blockY + line * linePitch + dotInsetY
                                              + dotRow(dot) * dotPitch));
                        xml.writeAttribute(QStringLiteral("r"), radius);
                    }
                }
            }
        }
        xml.writeEndElement(); // g.dots
        xml.writeEndElement(); // g.side
    };

    const Side front = sideAt(padding, false);
    if (m_layout.duplex) {
        drawSide(front, QStringLiteral("front"),
                 QStringLiteral("Front: page %1").arg(m_front.number), &m_front);
        const Side back = sideAt(front.x + front.extentWidth + sideGap, true);
        drawSide(back, QStringLiteral("back"),
                 m_back ? QStringLiteral("Back: page %1, as read after turning the sheet over")
                                  .arg(m_back->number)
                        : QStringLiteral("Back: blank"),
                 m_back ? &*m_back : nullptr);
    } else {
        drawSide(front, QStringLiteral("front"), QStringLiteral("Page %1").arg(m_front.number),
                 &m_front);
    }

    double y = pictureHeight - padding - messages.size() * messageHeight;
    for (const QString &message : messages) {
        y += messageHeight;
        text(padding, y - 1.5, QStringLiteral("overflow"),
             QStringLiteral("Does not fit the sheet: %1").arg(message));
    }

    xml.writeEndElement(); // svg
    xml.writeEndDocument();
    return out;
}

bool SheetPicture::write(const QString &path, QString *error) const
{
    QSaveFile file(path);
    const QByteArray content = svg();
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}
