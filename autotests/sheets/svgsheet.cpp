// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "svgsheet.h"

#include <QXmlStreamReader>

SvgSheet SvgSheet::parse(const QByteArray &svg)
{
    SvgSheet sheet;
    QXmlStreamReader xml(svg);
    QString side;
    int depth = 0;
    int sideDepth = -1;
    QString currentText;
    const auto number = [&xml](const char *name) {
        return xml.attributes().value(QLatin1String(name)).toDouble();
    };
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement()) {
            ++depth;
            const QStringRef name = xml.name();
            const QString cls = xml.attributes().value(QLatin1String("class")).toString();
            if (depth == 1) {
                if (name != QLatin1String("svg")
                    || xml.namespaceUri() != QLatin1String("http://www.w3.org/2000/svg")) {
                    sheet.error = QStringLiteral("root is not an SVG element");
                    return sheet;
                }
                for (const QXmlStreamAttribute &a : xml.attributes())
                    sheet.rootAttributes.insert(a.name().toString(), a.value().toString());
            } else if (depth == 2 && name == QLatin1String("title")) {
                sheet.titleId = xml.attributes().value(QLatin1String("id")).toString();
                sheet.title = xml.readElementText();
                --depth;
            } else if (depth == 2 && name == QLatin1String("desc")) {
                sheet.descId = xml.attributes().value(QLatin1String("id")).toString();
                sheet.desc = xml.readElementText();
                --depth;
            } else if (name == QLatin1String("g") && cls.startsWith(QLatin1String("side "))) {
                side = cls.mid(5);
                sideDepth = depth;
                sheet.sides.insert(side, SvgSide());
            } else if (!side.isEmpty()) {
                SvgSide &s = sheet.sides[side];
                if (name == QLatin1String("rect") && cls == QLatin1String("sheet")) {
                    s.sheet = QRectF(number("x"), number("y"), number("width"), number("height"));
                } else if (name == QLatin1String("rect") && cls == QLatin1String("off-sheet")) {
                    s.offSheet.append(
                            QRectF(number("x"), number("y"), number("width"), number("height")));
                } else if (name == QLatin1String("title")) {
                    s.offSheetTitles.append(xml.readElementText());
                    --depth;
                } else if (name == QLatin1String("g") && cls == QLatin1String("dots")) {
                    s.dotFill = xml.attributes().value(QLatin1String("fill")).toString();
                } else if (name == QLatin1String("text") && cls == QLatin1String("caption")) {
                    s.caption = xml.readElementText();
                    --depth;
                } else if (name == QLatin1String("circle")) {
                    ++sheet.circles;
                    s.dots.append({microns(number("cx")), microns(number("cy"))});
                    s.radii.append(number("r"));
                }
            } else if (name == QLatin1String("text") && cls == QLatin1String("overflow")) {
                sheet.overflowTexts.append(xml.readElementText());
                --depth;
            } else if (name == QLatin1String("circle")) {
                ++sheet.circles; // a dot outside both sides: counted, so the test sees it
            }
        } else if (xml.isEndElement()) {
            if (depth == sideDepth) {
                side.clear();
                sideDepth = -1;
            }
            --depth;
        }
    }
    if (xml.hasError())
        sheet.error = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
    return sheet;
}
