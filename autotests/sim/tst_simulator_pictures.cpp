// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "simulatortest.h"

#include "braillegeometry.h"
#include "svgsheet.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace SimulatorTest;

// The pictures of --output-dir, written by the real simulator stepping page by page: one SVG per
// sheet whose circles are the raised dots of its page files, and index.html following the jobs.
class TestSimulatorPictures : public SimulatorTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void simplexDocument();
    void duplexDocument();
    void embossText();
    void testPages_data();
    void testPages();
    void overflowingLayout();
    void pageFollowsJobs();

private:
    bool startDevice();
    // Sends the command lines; each must succeed.
    void run(const QStringList &lines);
    // Steps the running job until it is idle; the job's id.
    int finishJob();
    QByteArray index() const;
    // The sheets' SVG files in the folder, sorted.
    QStringList pictures() const;
    // Checks the sheet's picture against the page files of its front and back (an empty name:
    // a blank back).
    void verifySheet(int job, int copy, int sheet, int frontPage, int backPage,
                     const QString &paper, int cells, int lines);

    QString m_out;
};

namespace {

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

// The raised dots of a page file's cells, in micrometres from the sheet's corner.
QList<QPair<qint64, qint64>> expectedDots(const QString &pageText, double blockX, double blockY)
{
    using namespace BrailleGeometry;
    QList<QPair<qint64, qint64>> dots;
    const QStringList lines = pageText.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (int line = 0; line < lines.size(); ++line) {
        for (int cell = 0; cell < lines.at(line).size(); ++cell) {
            const int bits = lines.at(line).at(cell).unicode() - 0x2800;
            for (int dot = 1; dot <= 8; ++dot) {
                if (!(bits & (1 << (dot - 1))))
                    continue;
                dots.append(
                        {microns(blockX + cell * cellPitch + dotInsetX + dotColumn(dot) * dotPitch),
                         microns(blockY + line * linePitch + dotInsetY + dotRow(dot) * dotPitch)});
            }
        }
    }
    std::sort(dots.begin(), dots.end());
    return dots;
}

// The side's dots relative to its sheet's corner.
QList<QPair<qint64, qint64>> sideDots(const SvgSide &side)
{
    QList<QPair<qint64, qint64>> dots;
    for (const auto &dot : side.dots)
        dots.append({dot.first - microns(side.sheet.x()), dot.second - microns(side.sheet.y())});
    std::sort(dots.begin(), dots.end());
    return dots;
}

// A text of words that fills more than two pages of 10 lines of 30 cells.
QString longText(int words = 120)
{
    QStringList text;
    for (int i = 0; i < words; ++i)
        text.append(QStringLiteral("word%1").arg(i));
    return text.join(QLatin1Char(' '));
}

} // namespace

bool TestSimulatorPictures::startDevice()
{
    m_out = filePath(QStringLiteral("out"));
    return m_simulator.start({s("--step"), s("--output-dir"), m_out});
}

void TestSimulatorPictures::run(const QStringList &lines)
{
    for (const QString &line : lines) {
        const QVariantMap answer = execute(line);
        QVERIFY2(answer.value(QStringLiteral("errorId")).toString() == QLatin1String("NoError"),
                 qPrintable(line + QStringLiteral(": ")
                            + answer.value(QStringLiteral("errorMessage")).toString()));
    }
}

int TestSimulatorPictures::finishJob()
{
    for (int i = 0; i < 1000; ++i) {
        const QVariantMap answer = execute(s("405"));
        if (detail(answer, s("state")).toString() == QLatin1String("Idle"))
            return detail(answer, s("jobId")).toInt();
    }
    return 0;
}

QByteArray TestSimulatorPictures::index() const
{
    QFile file(QDir(m_out).filePath(s("index.html")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList TestSimulatorPictures::pictures() const
{
    return QDir(m_out).entryList({s("*.svg")}, QDir::Files, QDir::Name);
}

void TestSimulatorPictures::verifySheet(int job, int copy, int sheet, int frontPage, int backPage,
                                        const QString &paper, int cells, int lines)
{
    using namespace BrailleGeometry;
    const QString name = s("job-%1-copy-%2-sheet-%3.svg").arg(job).arg(copy).arg(sheet);
    QFile file(QDir(m_out).filePath(name));
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(name));
    const SvgSheet svg = SvgSheet::parse(file.readAll());
    QVERIFY2(svg.error.isEmpty(), qPrintable(svg.error));
    QCOMPARE(svg.title, s("Job %1, copy %2, sheet %3").arg(job).arg(copy).arg(sheet));

    const PaperSize size = paperSize(paper);
    const auto pageText = [&](int page) {
        QFile text(
                QDir(m_out).filePath(s("job-%1-copy-%2-page-%3.txt").arg(job).arg(copy).arg(page)));
        return text.open(QIODevice::ReadOnly) ? QString::fromUtf8(text.readAll()) : QString();
    };
    const double x = blockMargin(size.width, blockWidth(cells));
    const double y = blockMargin(size.height, blockHeight(lines));
    const QString front = pageText(frontPage);
    QVERIFY2(!front.isEmpty(), qPrintable(name));
    QVERIFY(svg.sides.contains(s("front")));
    QCOMPARE(sideDots(svg.sides.value(s("front"))), expectedDots(front, x, y));
    int circles = expectedDots(front, x, y).size();
    if (backPage > 0) {
        const QString back = pageText(backPage);
        QVERIFY2(!back.isEmpty(), qPrintable(name));
        const QList<QPair<qint64, qint64>> expected
                = expectedDots(back, x + interpointOffsetX, y + interpointOffsetY);
        QCOMPARE(sideDots(svg.sides.value(s("back"))), expected);
        circles += expected.size();
    } else if (svg.sides.contains(s("back"))) {
        QVERIFY(svg.sides.value(s("back")).dots.isEmpty());
    }
    QCOMPARE(svg.circles, circles);
}

void TestSimulatorPictures::simplexDocument()
{
    QVERIFY(startDevice());
    run({s("202 10"), s("104 10"), s("103 30"), s("301 Minutes"), s("302 1 ") + longText(),
         s("303 1"), s("401 1 1")});
    // Not a sheet before the first page, but the job is listed and the page reloads.
    QVERIFY(pictures().isEmpty());
    QVERIFY(index().contains("http-equiv=\"refresh\" content=\"2\""));
    QVERIFY(index().contains("Job 1: Minutes"));
    execute(s("405"));
    QCOMPARE(pictures(), QStringList{s("job-1-copy-1-sheet-1.svg")});
    QCOMPARE(finishJob(), 1);

    const int pages = QDir(m_out).entryList({s("job-1-copy-1-page-*.txt")}).size();
    QVERIFY(pages >= 3);
    QCOMPARE(pictures().size(), pages);
    for (int page = 1; page <= pages; ++page)
        verifySheet(1, 1, page, page, 0, s("Braille-11x11.5"), 30, 10);
    const QByteArray html = index();
    QVERIFY(!html.contains("http-equiv=\"refresh\""));
    QVERIFY(html.contains("<td>Completed</td>"));
    // The text alternative quotes the page's text.
    QVERIFY(html.contains("Text: word0 word1"));
}

void TestSimulatorPictures::duplexDocument()
{
    QVERIFY(startDevice());
    // Three pages: the second sheet of each copy has a blank back.
    run({s("202 20"), s("105 true"), s("104 10"), s("103 30"), s("301 Both sides"),
         s("302 1 ") + longText(90), s("303 1"), s("401 1 2")});
    // The front waits for its back.
    execute(s("405"));
    QVERIFY(pictures().isEmpty());
    execute(s("405"));
    QCOMPARE(pictures(), QStringList{s("job-1-copy-1-sheet-1.svg")});
    QCOMPARE(finishJob(), 1);

    const int pages = QDir(m_out).entryList({s("job-1-copy-1-page-*.txt")}).size();
    QCOMPARE(pages % 2, 1); // a blank back at each copy's end
    const int sheets = (pages + 1) / 2;
    QCOMPARE(pictures().size(), 2 * sheets);
    for (int copy = 1; copy <= 2; ++copy) {
        for (int sheet = 1; sheet <= sheets; ++sheet) {
            const int back = 2 * sheet <= pages ? 2 * sheet : 0;
            verifySheet(1, copy, sheet, 2 * sheet - 1, back, s("Braille-11x11.5"), 30, 10);
        }
    }
}

void TestSimulatorPictures::embossText()
{
    QVERIFY(startDevice());
    run({s("202 1"), s("406 Hello world")});
    QCOMPARE(finishJob(), 1);
    QCOMPARE(pictures(), QStringList{s("job-1-copy-1-sheet-1.svg")});
    verifySheet(1, 1, 1, 1, 0, s("Braille-11x11.5"), 40, 25);
    const QByteArray html = index();
    QVERIFY(html.contains("Job 1: Text"));
    QVERIFY(html.contains("Text: Hello world"));
}

void TestSimulatorPictures::testPages_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<bool>("duplex");
    for (const char *pattern : {"full-cell", "grid", "alphabet"}) {
        QTest::addRow("%s simplex", pattern) << s(pattern) << false;
        QTest::addRow("%s duplex", pattern) << s(pattern) << true;
    }
}

void TestSimulatorPictures::testPages()
{
    QFETCH(QString, pattern);
    QFETCH(bool, duplex);
    QVERIFY(startDevice());
    run({s("202 1"), duplex ? s("105 true") : s("105 false"), s("107 5"), s("502 ") + pattern});
    QCOMPARE(finishJob(), 1);
    QCOMPARE(pictures(), QStringList{s("job-1-copy-1-sheet-1.svg")});
    verifySheet(1, 1, 1, 1, 0, s("Braille-11x11.5"), 40, 25);
    QVERIFY(index().contains("Job 1: Test page: " + pattern.toUtf8()));
    QFile file(QDir(m_out).filePath(s("job-1-copy-1-sheet-1.svg")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const SvgSheet svg = SvgSheet::parse(file.readAll());
    QCOMPARE(svg.sides.value(s("front")).dotFill, s("#000000"));
    QCOMPARE(svg.sides.contains(s("back")), duplex);
    QVERIFY(svg.overflowTexts.isEmpty());
}

void TestSimulatorPictures::overflowingLayout()
{
    QVERIFY(startDevice());
    run({s("202 1"), s("102 A4"), s("406 Too wide")});
    QCOMPARE(finishJob(), 1);
    verifySheet(1, 1, 1, 1, 0, s("A4"), 40, 25);
    QFile file(QDir(m_out).filePath(s("job-1-copy-1-sheet-1.svg")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const SvgSheet svg = SvgSheet::parse(file.readAll());
    QCOMPARE(svg.overflowTexts.size(), 1);
    QVERIFY(svg.overflowTexts.constFirst().contains(s("40 cells need 240 mm; A4 is 210 mm wide")));
    QVERIFY(!svg.sides.value(s("front")).offSheet.isEmpty());
    QVERIFY(svg.desc.contains(s("40 cells need 240 mm; A4 is 210 mm wide")));
}

void TestSimulatorPictures::pageFollowsJobs()
{
    QVERIFY(startDevice());
    // Job 1 pauses for paper after its first sheet, is resumed, then completes; job 2 is
    // cancelled after a duplex front, which leaves a sheet with a blank back; job 3 a test page.
    run({s("202 1"), s("104 10"), s("103 30"), s("301 Paused one"), s("302 1 ") + longText(),
         s("303 1"), s("401 1 1")});
    execute(s("405"));
    execute(s("405"));
    QVERIFY(index().contains("Paused (OutOfPaper)"));
    QVERIFY(index().contains("http-equiv=\"refresh\""));
    run({s("202 10"), s("403")});
    QVERIFY(index().contains("<td>Embossing</td>"));
    QCOMPARE(finishJob(), 1);
    QVERIFY(!index().contains("http-equiv=\"refresh\""));

    // Each request first embosses what is due: the cancel's request embosses the front.
    run({s("105 true"), s("401 1 1")});
    QVERIFY(!QFile::exists(QDir(m_out).filePath(s("job-2-copy-1-sheet-1.svg"))));
    run({s("404")});
    verifySheet(2, 1, 1, 1, 0, s("Braille-11x11.5"), 30, 10);
    QVERIFY(index().contains("<td>Cancelled</td>"));
    QVERIFY(!index().contains("http-equiv=\"refresh\""));

    run({s("502 grid")});
    QVERIFY(index().contains("http-equiv=\"refresh\""));
    QCOMPARE(finishJob(), 3);
    const QByteArray html = index();
    QVERIFY(!html.contains("http-equiv=\"refresh\""));
    // Newest first.
    const int third = html.indexOf("Job 3: Test page: grid");
    const int second = html.indexOf("Job 2: Paused one");
    const int first = html.indexOf("Job 1: Paused one");
    QVERIFY(third > 0);
    QVERIFY(second > third);
    QVERIFY(first > second);
}

QTEST_GUILESS_MAIN(TestSimulatorPictures)

#include "tst_simulator_pictures.moc"
