// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Writes an output folder as the simulator's --output-dir will hold it, through the same units,
// for the browser test to look at: page files, a picture per sheet, index.html, and
// expected.json with the number of raised dots each picture must show (counted from the cells).
//
//   sheets-fixture DIR    writes DIR/running (the last job still embossing) and DIR/finished
//
// Jobs: 1, a duplex document paused for paper after its first sheet and then completed; 2, text
// in the factory layout (too wide for A4) cancelled after two sheets; 3, a grid test page.

#include "jobpage.h"
#include "sheetpicture.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

#include <cstdio>

namespace {

// Grade 1 letters, enough for the fixture's texts.
QString braille(const QString &text)
{
    static const QString letters = QStringLiteral(
            "\u2801\u2803\u2809\u2819\u2811\u280b\u281b\u2813\u280a\u281a\u2805\u2807\u280d"
            "\u281d\u2815\u280f\u281f\u2817\u280e\u281e\u2825\u2827\u283a\u282d\u283d\u2835");
    QString cells;
    for (const QChar c : text.toLower()) {
        if (c >= QLatin1Char('a') && c <= QLatin1Char('z'))
            cells.append(letters.at(c.unicode() - 'a'));
        else if (c == QLatin1Char('.'))
            cells.append(QChar(0x2832));
        else if (c == QLatin1Char(','))
            cells.append(QChar(0x2802));
        else
            cells.append(QChar(0x2800));
    }
    return cells;
}

// Lines broken at a blank where one fits, pages filled with blank cells, as the device does.
QList<QStringList> pages(const QString &text, const SheetLayout &layout)
{
    QStringList lines;
    QString cells = braille(text);
    while (cells.size() > layout.cellsPerLine) {
        const int blank = cells.lastIndexOf(QChar(0x2800), layout.cellsPerLine);
        const int cut = blank > 0 ? blank : layout.cellsPerLine;
        lines.append(cells.left(cut));
        cells = cells.mid(blank > 0 ? cut + 1 : cut);
    }
    lines.append(cells);
    QList<QStringList> result;
    for (int first = 0; first < lines.size(); first += layout.linesPerPage) {
        QStringList page;
        for (int i = first; i < first + layout.linesPerPage; ++i)
            page.append(lines.value(i).leftJustified(layout.cellsPerLine, QChar(0x2800)));
        result.append(page);
    }
    return result;
}

int raisedDots(const QStringList &lines)
{
    int dots = 0;
    for (const QString &line : lines) {
        for (const QChar c : line)
            dots += c.unicode() >= 0x2800 && c.unicode() <= 0x28ff
                            ? qPopulationCount(uint(c.unicode() - 0x2800))
                            : 0;
    }
    return dots;
}

class Fixture
{
public:
    explicit Fixture(const QString &directory) : m_directory(directory), m_page(directory)
    {
        QDir().mkpath(directory);
    }

    void start(const JobFacts &facts, const QString &text, const QList<QStringList> &pagesOfCopy)
    {
        m_facts = facts;
        m_text = text;
        m_pages = pagesOfCopy;
        m_sheet = 0;
        m_page.jobStarted(facts);
    }

    // Embosses the next sheet of copy 1: its front and, in duplex, its back.
    void sheet()
    {
        const bool duplex = m_facts.layout.duplex;
        const int front = duplex ? 2 * m_sheet : m_sheet;
        ++m_sheet;
        SheetPage frontPage{front + 1, m_pages.at(front), m_text};
        writePageFile(front);
        std::optional<SheetPage> backPage;
        if (duplex && front + 1 < m_pages.size()) {
            backPage = SheetPage{front + 2, m_pages.at(front + 1), m_text};
            writePageFile(front + 1);
        }
        const SheetPicture picture(
                m_facts.layout,
                QStringLiteral("Job %1, copy 1, sheet %2").arg(m_facts.id).arg(m_sheet), frontPage,
                backPage);
        const QString name = SheetPicture::fileName(m_facts.id, 1, m_sheet);
        picture.write(QDir(m_directory).filePath(name));
        m_expected.insert(name, raisedDots(frontPage.lines)
                                        + (backPage ? raisedDots(backPage->lines) : 0));
        m_page.sheetWritten(m_facts.id, {name, QStringLiteral("Copy 1, sheet %1").arg(m_sheet),
                                         picture.textAlternative()});
    }

    int sheetsLeft() const
    {
        const int pages = m_pages.size();
        return (m_facts.layout.duplex ? (pages + 1) / 2 : pages) - m_sheet;
    }

    void change(const QString &state, const QString &outcome, const QString &reason = QString())
    {
        m_page.jobChanged(m_facts.id, state, outcome, reason);
    }

    bool finish()
    {
        QSaveFile file(QDir(m_directory).filePath(QStringLiteral("expected.json")));
        return file.open(QIODevice::WriteOnly)
               && file.write(QJsonDocument(QJsonObject::fromVariantMap(m_expected)).toJson()) > 0
               && file.commit() && m_page.errorString().isEmpty();
    }

private:
    void writePageFile(int page)
    {
        QSaveFile file(QDir(m_directory)
                               .filePath(QStringLiteral("job-%1-copy-1-page-%2.txt")
                                                 .arg(m_facts.id)
                                                 .arg(page + 1)));
        if (file.open(QIODevice::WriteOnly)) {
            file.write((m_pages.at(page).join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
            file.commit();
        }
    }

    QString m_directory;
    JobPage m_page;
    JobFacts m_facts;
    QString m_text;
    QList<QStringList> m_pages;
    int m_sheet = 0;
    QVariantMap m_expected;
};

JobFacts facts(int id, const QString &title, const QString &paper, int cells, int lines,
               bool duplex, int strength)
{
    JobFacts result;
    result.id = id;
    result.title = title;
    result.brailleTable = QStringLiteral("en-us-g1.ctb");
    result.layout = {paper, cells, lines, duplex, strength};
    return result;
}

bool write(const QString &directory, bool lastJobRunning)
{
    Fixture fixture(directory);

    const QString minutes
            = QStringLiteral("Minutes of the meeting. The committee met at noon, read the letters "
                             "of the week, "
                             "agreed the budget and chose the date of the next meeting. ")
                      .repeated(11);
    const JobFacts job1
            = facts(1, QStringLiteral("Minutes"), QStringLiteral("A4"), 30, 12, true, 1);
    fixture.start(job1, minutes, pages(minutes, job1.layout));
    fixture.sheet();
    fixture.change(QStringLiteral("Paused"), QString(), QStringLiteral("OutOfPaper"));
    fixture.change(QStringLiteral("Embossing"), QString());
    while (fixture.sheetsLeft() > 0)
        fixture.sheet();
    fixture.change(QStringLiteral("Idle"), QStringLiteral("Completed"));

    const QString hello = QStringLiteral("Hello world, hello braille. ").repeated(60);
    const JobFacts job2 = facts(2, QStringLiteral("Text"), QStringLiteral("A4"), 40, 25, false, 3);
    fixture.start(job2, hello, pages(hello, job2.layout));
    fixture.sheet();
    fixture.sheet();
    fixture.change(QStringLiteral("Idle"), QStringLiteral("Cancelled"));

    JobFacts job3 = facts(3, QStringLiteral("Test page: grid"), QStringLiteral("Letter"), 32, 27,
                          false, 5);
    QStringList grid;
    for (int line = 0; line < 27; ++line) {
        QString cells;
        for (int cell = 0; cell < 32; ++cell)
            cells.append((line + cell) % 2 ? QChar(0x2800) : QChar(0x283f));
        grid.append(cells);
    }
    fixture.start(job3, QString(), {grid});
    if (!lastJobRunning) {
        fixture.sheet();
        fixture.change(QStringLiteral("Idle"), QStringLiteral("Completed"));
    }
    return fixture.finish();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 2) {
        std::fprintf(stderr, "usage: sheets-fixture DIR\n");
        return 2;
    }
    const QDir dir(args.at(1));
    if (!write(dir.filePath(QStringLiteral("running")), true)
        || !write(dir.filePath(QStringLiteral("finished")), false)) {
        std::fprintf(stderr, "sheets-fixture: cannot write into %s\n", qPrintable(args.at(1)));
        return 1;
    }
    return 0;
}
