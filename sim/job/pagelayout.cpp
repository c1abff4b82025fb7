#include "pagelayout.h"

#include "braille.h"

DeviceResult layOutText(const Configuration &configuration, const QString &text, TextLayout *layout)
{
    bool ok = false;
    QString error;
    layout->lines = Braille::layoutLines(configuration.brailleTable, text,
                                         configuration.cellsPerLine, &ok, &error, &layout->cells);
    return ok ? DeviceResult::success()
              : DeviceResult::failure(DeviceError::translationFailed, error);
}

QStringList pagesOf(const QStringList &lines, const Configuration &configuration)
{
    return Braille::layoutPages(lines, configuration.cellsPerLine, configuration.linesPerPage);
}
