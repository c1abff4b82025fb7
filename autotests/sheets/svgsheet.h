// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SVGSHEET_H
#define SVGSHEET_H

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QRectF>
#include <QString>
#include <QStringList>

// A sheet's SVG read back: what the tests compare with the cells that went in.
struct SvgSide
{
    QString caption;
    QRectF sheet;
    QString dotFill;
    // Dot centres in micrometres, so that positions compare exactly.
    QList<QPair<qint64, qint64>> dots;
    QList<double> radii;
    QList<QRectF> offSheet;
    QStringList offSheetTitles;
};

struct SvgSheet
{
    QString error;
    QMap<QString, QString> rootAttributes;
    QString title;
    QString titleId;
    QString desc;
    QString descId;
    QMap<QString, SvgSide> sides; // "front", "back"
    QStringList overflowTexts;
    int circles = 0;

    static SvgSheet parse(const QByteArray &svg);
};

inline qint64 microns(double mm)
{
    return qRound64(mm * 1000);
}

#endif // SVGSHEET_H
