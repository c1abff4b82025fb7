// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "jobpage.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

JobFacts facts(int id, const QString &title, bool duplex = false)
{
    JobFacts result;
    result.id = id;
    result.title = title;
    result.brailleTable = QStringLiteral("en-us-g1.ctb");
    result.layout.duplex = duplex;
    result.layout.cellsPerLine = 32;
    result.copies = 2;
    return result;
}

SheetEntry sheet(int job, int copy, int number, const QString &alt = QString())
{
    return {SheetPicture::fileName(job, copy, number),
            QStringLiteral("Copy %1, sheet %2").arg(copy).arg(number),
            alt.isEmpty()
                    ? QStringLiteral(
                              "Page %1, braille:\n\u2813\u2811\u2807\u2807\u2815\nText: hello")
                              .arg(number)
                    : alt};
}

// The page read back as XML: what a reader of it, human or not, gets.
struct Page
{
    QString error;
    QString lang;
    QString title;
    QStringList refresh; // content of each refresh meta
    QStringList h1;
    QStringList h2;
    QStringList h3;
    QStringList rowHeaders; // th scope=row texts, in order
    QStringList cells; // td texts, in order
    struct Image
    {
        QString src;
        QString alt;
        QString linkedTo;
    };
    QList<Image> images;
    int untaggedRowHeaders = 0;
    bool mainLandmark = false;
    bool script = false;
    bool external = false;

    static Page parse(const QByteArray &html)
    {
        Page page;
        QXmlStreamReader xml(html);
        QString link;
        while (!xml.atEnd()) {
            xml.readNext();
            if (!xml.isStartElement())
                continue;
            const QString name = xml.name().toString();
            const QXmlStreamAttributes a = xml.attributes();
            if (name == QLatin1String("html")) {
                page.lang = a.value(QLatin1String("lang")).toString();
            } else if (name == QLatin1String("title")) {
                page.title = xml.readElementText();
            } else if (name == QLatin1String("meta")
                       && a.value(QLatin1String("http-equiv")) == QLatin1String("refresh")) {
                page.refresh.append(a.value(QLatin1String("content")).toString());
            } else if (name == QLatin1String("main")) {
                page.mainLandmark = true;
            } else if (name == QLatin1String("script")) {
                page.script = true;
            } else if (name == QLatin1String("link")) {
                page.external = true;
            } else if (name == QLatin1String("h1")) {
                page.h1.append(xml.readElementText());
            } else if (name == QLatin1String("h2")) {
                page.h2.append(xml.readElementText());
            } else if (name == QLatin1String("h3")) {
                page.h3.append(xml.readElementText());
            } else if (name == QLatin1String("th")) {
                if (a.value(QLatin1String("scope")) != QLatin1String("row"))
                    ++page.untaggedRowHeaders;
                page.rowHeaders.append(xml.readElementText());
            } else if (name == QLatin1String("td")) {
                page.cells.append(xml.readElementText());
            } else if (name == QLatin1String("a")) {
                link = a.value(QLatin1String("href")).toString();
            } else if (name == QLatin1String("img")) {
                const QString src = a.value(QLatin1String("src")).toString();
                if (src.contains(QLatin1String("://")))
                    page.external = true;
                page.images.append({src, a.value(QLatin1String("alt")).toString(), link});
                if (!a.hasAttribute(QLatin1String("alt")))
                    page.images.last().alt = QStringLiteral("(no alt)");
            }
        }
        if (xml.hasError())
            page.error = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString());
        return page;
    }
};

Page readPage(const JobPage &jobPage)
{
    QFile file(jobPage.filePath());
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("cannot open %1").arg(jobPage.filePath())};
    const QByteArray content = file.readAll();
    if (content != jobPage.html())
        return {QStringLiteral("the file is not the page")};
    return Page::parse(content);
}

} // namespace

class TestJobPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyBeforeTheFirstJob();
    void newestFirst();
    void refreshWhileAJobRuns_data();
    void refreshWhileAJobRuns();
    void accessibleMarkup();
    void factsOfAJob();
    void sheetReplacedByItsRedrawing();
    void textEscaped();
    void writtenAtomically();
    void unwritableFolder();
    void thousandSheets();
    void lastListWhenTheJobChanges();
};

void TestJobPage::emptyBeforeTheFirstJob()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    const Page read = Page::parse(page.html());
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QVERIFY(read.refresh.isEmpty());
    QVERIFY(read.h2.isEmpty());
    // Nothing is written before there is a job to show.
    QVERIFY(!QFile::exists(page.filePath()));
}

void TestJobPage::newestFirst()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("First"))));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 1)));
    QVERIFY(page.jobChanged(1, QStringLiteral("Idle"), QStringLiteral("Completed")));
    QVERIFY(page.jobStarted(facts(2, QStringLiteral("Second"))));
    QVERIFY(page.jobChanged(2, QStringLiteral("Idle"), QStringLiteral("Cancelled")));
    QVERIFY(page.jobStarted(facts(3, QStringLiteral("Test page: grid"))));
    QVERIFY(page.sheetWritten(3, sheet(3, 1, 1)));
    // A late word about an older job does not move it.
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 2)));

    const Page read = readPage(page);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.h2,
             QStringList({QStringLiteral("Job 3: Test page: grid"), QStringLiteral("Job 2: Second"),
                          QStringLiteral("Job 1: First")}));
    QCOMPARE(read.images.size(), 3);
    QCOMPARE(read.images.at(0).src, QStringLiteral("job-3-copy-1-sheet-1.svg"));
    QCOMPARE(read.images.at(1).src, QStringLiteral("job-1-copy-1-sheet-1.svg"));
    QCOMPARE(read.images.at(2).src, QStringLiteral("job-1-copy-1-sheet-2.svg"));
}

void TestJobPage::refreshWhileAJobRuns_data()
{
    QTest::addColumn<QStringList>("states"); // of jobs 1, 2, ... in turn
    QTest::addColumn<bool>("refresh");

    QTest::newRow("one embossing") << QStringList{QStringLiteral("Embossing")} << true;
    QTest::newRow("one paused for paper") << QStringList{QStringLiteral("Paused")} << true;
    QTest::newRow("one completed") << QStringList{QStringLiteral("Idle")} << false;
    QTest::newRow("older ended, newest embossing")
            << QStringList{QStringLiteral("Idle"), QStringLiteral("Embossing")} << true;
    QTest::newRow("all ended") << QStringList{QStringLiteral("Idle"), QStringLiteral("Idle")}
                               << false;
}

void TestJobPage::refreshWhileAJobRuns()
{
    QFETCH(QStringList, states);
    QFETCH(bool, refresh);

    QTemporaryDir dir;
    JobPage page(dir.path());
    for (int i = 0; i < states.size(); ++i) {
        QVERIFY(page.jobStarted(facts(i + 1, QStringLiteral("Job"))));
        // Running until told otherwise.
        QCOMPARE(readPage(page).refresh, QStringList(QStringLiteral("2")));
        QVERIFY(page.sheetWritten(i + 1, sheet(i + 1, 1, 1)));
        const QString state = states.at(i);
        QVERIFY(page.jobChanged(
                i + 1, state,
                state == QLatin1String("Idle") ? QStringLiteral("Completed") : QString(),
                state == QLatin1String("Paused") ? QStringLiteral("OutOfPaper") : QString()));
    }
    const Page read = readPage(page);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.refresh, refresh ? QStringList(QStringLiteral("2")) : QStringList());
}

void TestJobPage::accessibleMarkup()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("Letter"), true)));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 1)));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 2)));
    const Page read = readPage(page);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.lang, QStringLiteral("en"));
    QVERIFY(!read.title.isEmpty());
    QVERIFY(read.mainLandmark);
    QCOMPARE(read.h1.size(), 1);
    QCOMPARE(read.h2.size(), 1);
    QCOMPARE(read.h3,
             QStringList({QStringLiteral("Copy 1, sheet 1"), QStringLiteral("Copy 1, sheet 2")}));
    QCOMPARE(read.untaggedRowHeaders, 0);
    QVERIFY(!read.script);
    QVERIFY(!read.external);
    for (const Page::Image &image : read.images) {
        // The alternative in full, and a link to the picture itself to see it at full size.
        QVERIFY(image.alt.contains(QStringLiteral("\u2813\u2811\u2807\u2807\u2815")));
        QVERIFY(image.alt.contains(QLatin1String("Text: hello")));
        QCOMPARE(image.linkedTo, image.src);
    }
}

void TestJobPage::factsOfAJob()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    JobFacts job = facts(7, QStringLiteral("Minutes"), true);
    job.layout.paperFormat = QStringLiteral("Letter");
    job.layout.linesPerPage = 27;
    job.layout.dotStrength = 4;
    QVERIFY(page.jobStarted(job));
    QVERIFY(page.sheetWritten(7, sheet(7, 1, 1)));
    QVERIFY(page.jobChanged(7, QStringLiteral("Paused"), QString(), QStringLiteral("OutOfPaper")));
    Page read = readPage(page);
    QCOMPARE(read.rowHeaders,
             QStringList({QStringLiteral("Document"), QStringLiteral("Braille table"),
                          QStringLiteral("Layout"), QStringLiteral("Copies"),
                          QStringLiteral("State"), QStringLiteral("Outcome"),
                          QStringLiteral("Sheets")}));
    QCOMPARE(read.cells,
             QStringList({QStringLiteral("Minutes"), QStringLiteral("en-us-g1.ctb"),
                          QStringLiteral("Letter, 32 cells per line, 27 lines per page, duplex, "
                                         "dot strength 4"),
                          QStringLiteral("2"), QStringLiteral("Paused (OutOfPaper)"),
                          QStringLiteral("Not finished yet"), QStringLiteral("1")}));

    QVERIFY(page.jobChanged(7, QStringLiteral("Idle"), QStringLiteral("Cancelled")));
    read = readPage(page);
    QCOMPARE(read.cells.at(4), QStringLiteral("Idle"));
    QCOMPARE(read.cells.at(5), QStringLiteral("Cancelled"));
}

void TestJobPage::sheetReplacedByItsRedrawing()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("Duplex"), true)));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 1, QStringLiteral("Front only"))));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 1, QStringLiteral("Front and back"))));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 2, QStringLiteral("Second front"))));
    const Page read = readPage(page);
    QCOMPARE(read.images.size(), 2);
    QCOMPARE(read.images.at(0).alt, QStringLiteral("Front and back"));
    QCOMPARE(read.images.at(1).alt, QStringLiteral("Second front"));
    QCOMPARE(read.cells.last(), QStringLiteral("2"));
}

void TestJobPage::textEscaped()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    const QString title = QStringLiteral("<b>Tom & \"Jerry\"</b>\x01");
    QVERIFY(page.jobStarted(facts(1, title)));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 1, QStringLiteral("a < b & \"c\" > d"))));
    const Page read = readPage(page);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.cells.first(), QStringLiteral("<b>Tom & \"Jerry\"</b>\ufffd"));
    QCOMPARE(read.images.first().alt, QStringLiteral("a < b & \"c\" > d"));
}

void TestJobPage::writtenAtomically()
{
    QTemporaryDir dir;
    JobPage page(dir.filePath(QStringLiteral("made/on/demand")));
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("x"))));
    for (int i = 1; i <= 5; ++i)
        QVERIFY(page.sheetWritten(1, sheet(1, 1, i)));
    // Only the page: no temporary file left beside it.
    QCOMPARE(QDir(dir.filePath(QStringLiteral("made/on/demand")))
                     .entryList(QDir::Files | QDir::Hidden),
             QStringList(QStringLiteral("index.html")));
    QVERIFY(readPage(page).error.isEmpty());
}

void TestJobPage::unwritableFolder()
{
    QTemporaryDir dir;
    QFile blocker(dir.filePath(QStringLiteral("file")));
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    JobPage page(dir.filePath(QStringLiteral("file")));
    QVERIFY(!page.jobStarted(facts(1, QStringLiteral("x"))));
    QVERIFY(page.errorString().contains(QLatin1String("index.html")));
    // The summary is kept all the same.
    QVERIFY(page.html().contains("Job 1: x"));
}

void TestJobPage::thousandSheets()
{
    // A long job in duplex: every sheet rewrites the page, which has to stay cheap. Each sheet
    // carries a full page of braille and a paragraph of text as its alternative, on both sides.
    QTemporaryDir dir;
    JobPage page(dir.path());
    const QString braille = QString(40, QChar(0x283f)) + QLatin1Char('\n');
    const QString alt = QStringLiteral("Front, page 1, braille:\n") + braille.repeated(25)
                        + QStringLiteral("Text: ") + QString(400, QLatin1Char('x'))
                        + QStringLiteral("\nBack, page 2, braille:\n") + braille.repeated(25);
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("Long"), true)));
    QElapsedTimer timer;
    timer.start();
    qint64 slowest = 0;
    for (int i = 1; i <= 1000; ++i) {
        QElapsedTimer one;
        one.start();
        QVERIFY(page.sheetWritten(1, sheet(1, 1, i, alt)));
        slowest = std::max(slowest, one.elapsed());
    }
    const qint64 total = timer.elapsed();
    const qint64 size = QFileInfo(page.filePath()).size();
    qInfo("1000 sheets: %lld ms in all, the slowest rewrite %lld ms, index.html %lld kB", total,
          slowest, size / 1024);
    // index.html holds the newest sheets only, so that it stays the same size; every sheet is on
    // one of the job's list pages, a hundred each, which it links.
    const Page read = readPage(page);
    QVERIFY2(read.error.isEmpty(), qPrintable(read.error));
    QCOMPARE(read.images.size(), JobPage::sheetsOnIndex);
    QCOMPARE(read.images.constLast().src, QStringLiteral("job-1-copy-1-sheet-1000.svg"));
    QCOMPARE(read.h3.constFirst(), QStringLiteral("Copy 1, sheet 981"));
    const QByteArray html = page.html();
    for (int list = 1; list <= 1000 / JobPage::sheetsPerList; ++list) {
        const QString name = JobPage::listFileName(1, list);
        QVERIFY2(html.contains("href=\"" + name.toUtf8() + "\""), qPrintable(name));
        QFile file(dir.filePath(name));
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(name));
        const Page listed = Page::parse(file.readAll());
        QVERIFY2(listed.error.isEmpty(), qPrintable(listed.error));
        QCOMPARE(listed.images.size(), JobPage::sheetsPerList);
        QCOMPARE(listed.images.constFirst().src,
                 SheetPicture::fileName(1, 1, (list - 1) * JobPage::sheetsPerList + 1));
        QCOMPARE(listed.h2.size(), JobPage::sheetsPerList);
    }
    QVERIFY(!QFile::exists(dir.filePath(JobPage::listFileName(1, 11))));
    QVERIFY2(size < 512 * 1024, qPrintable(QString::number(size)));
    // Far above what it takes (a few seconds on a loaded machine), far below a page a second.
    QVERIFY2(slowest < 1000, qPrintable(QString::number(slowest)));
}

void TestJobPage::lastListWhenTheJobChanges()
{
    QTemporaryDir dir;
    JobPage page(dir.path());
    QVERIFY(page.jobStarted(facts(1, QStringLiteral("Longer than the page shows"))));
    for (int i = 1; i <= 45; ++i)
        QVERIFY(page.sheetWritten(1, sheet(1, 1, i)));
    // Not full: no list yet while the job runs.
    const QString list = dir.filePath(JobPage::listFileName(1, 1));
    QVERIFY(!QFile::exists(list));
    QCOMPARE(readPage(page).images.size(), JobPage::sheetsOnIndex);
    QVERIFY(page.html().contains("The newest 20 of its 45 sheets"));

    QVERIFY(page.jobChanged(1, QStringLiteral("Paused"), QString(), QStringLiteral("OutOfPaper")));
    QFile file(list);
    QVERIFY(file.open(QIODevice::ReadOnly));
    Page listed = Page::parse(file.readAll());
    file.close();
    QVERIFY2(listed.error.isEmpty(), qPrintable(listed.error));
    QCOMPARE(listed.images.size(), 45);
    QVERIFY(page.html().contains(">Sheets 1 to 45</a>"));

    QVERIFY(page.jobChanged(1, QStringLiteral("Embossing"), QString()));
    QVERIFY(page.sheetWritten(1, sheet(1, 1, 46)));
    QVERIFY(page.jobChanged(1, QStringLiteral("Idle"), QStringLiteral("Completed")));
    QVERIFY(file.open(QIODevice::ReadOnly));
    listed = Page::parse(file.readAll());
    QCOMPARE(listed.images.size(), 46);
    QCOMPARE(listed.images.constLast().src, SheetPicture::fileName(1, 1, 46));
    QVERIFY(page.html().contains(">Sheets 1 to 46</a>"));
}

QTEST_GUILESS_MAIN(TestJobPage)
#include "tst_jobpage.moc"
