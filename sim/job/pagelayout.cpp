// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "pagelayout.h"

#include "braille.h"

#include <algorithm>

DeviceResult layOutText(const Configuration &configuration, const QString &text, TextLayout *layout)
{
    bool ok = false;
    QString error;
    layout->lines
            = Braille::layoutLines(configuration.brailleTable, text, configuration.cellsPerLine,
                                   &ok, &error, &layout->cells, &layout->paragraphOfLine);
    layout->paragraphs = ok ? text.split(QLatin1Char('\n')) : QStringList();
    return ok ? DeviceResult::success()
              : DeviceResult::failure(DeviceError::translationFailed, error);
}

QStringList pagesOf(const QStringList &lines, const Configuration &configuration)
{
    return Braille::layoutPages(lines, configuration.cellsPerLine, configuration.linesPerPage);
}

QStringList pageTextsOf(const TextLayout &layout, const Configuration &configuration)
{
    QStringList texts;
    const int lines = layout.paragraphOfLine.size();
    for (int first = 0; first < lines; first += configuration.linesPerPage) {
        const int last = std::min(first + configuration.linesPerPage, lines) - 1;
        const int from = layout.paragraphOfLine.at(first);
        const int to = layout.paragraphOfLine.at(last);
        texts.append(layout.paragraphs.mid(from, to - from + 1).join(QLatin1Char('\n')));
    }
    return texts;
}
