// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// bench-sheets: what the sheets' pictures and index.html cost per sheet. Runs the simulator's
// device (the same code as command-handler-sim, without the bus, whose time would only add
// noise) with --step and --output-dir on a job of full pages, one request per page, once with the
// page files only and once with the pictures too, and prints the time of each request around the
// 10th, 100th and 1000th sheet. The time is the thread's CPU time (user and system), which other
// programs on a busy machine hardly move; what the file system adds in waiting for the disk is
// not in it. bench/sheets.sh builds and runs it.

#include "device/device.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

double cpuMicroseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

QVariantMap command(int number, const QVariantList &args = {})
{
    return {{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
            {ls::senderIdKey, ls::ServiceId::CommandHandler},
            {ls::subCommandIdKey, number},
            {ls::argsKey, args}};
}

void expect(const QVariantMap &answer, const char *what)
{
    if (answer.value(ls::errorIdKey).toString() != QLatin1String("NoError")) {
        std::fprintf(stderr, "bench-sheets: %s failed: %s\n", what,
                     qPrintable(answer.value(ls::errorMessageKey).toString()));
        std::exit(1);
    }
}

// One line of 40 cells in grade 1: letters and blanks, no signs.
QString fullLine(int index)
{
    const QString words = QStringLiteral("embossed dots on paper make a page to read by hand ");
    QString line;
    for (int i = index; line.size() < 40; ++i)
        line += words.at(i % words.size());
    return line;
}

// Microseconds of each request that embossed a sheet, in order.
std::vector<double> run(const QString &folder, bool pictures, bool duplex, int sheets)
{
    DeviceOptions options;
    options.stepPerRequest = true;
    options.outputDirectory = folder;
    options.sheetPictures = pictures;
    Device device(options);
    // 40 pages of 25 full lines of 40 cells; enough copies for the sheets.
    const int pagesPerCopy = 40;
    QStringList lines;
    for (int i = 0; i < pagesPerCopy * 25; ++i)
        lines.append(fullLine(i));
    expect(device.handle(command(105, {duplex ? QStringLiteral("true") : QStringLiteral("false")})),
           "SetDuplex");
    expect(device.handle(command(301, {QStringLiteral("Benchmark")})), "OpenDocument");
    expect(device.handle(command(302, {QStringLiteral("1"), lines.join(QLatin1Char('\n'))})),
           "AddText");
    expect(device.handle(command(303, {QStringLiteral("1")})), "CloseDocument");
    const int sheetsPerCopy = duplex ? pagesPerCopy / 2 : pagesPerCopy;
    const int copies = (sheets + sheetsPerCopy - 1) / sheetsPerCopy;
    expect(device.handle(command(202, {QStringLiteral("1")})), "LoadPaper");
    expect(device.handle(command(401, {QStringLiteral("1"), QString::number(copies)})),
           "StartEmbossing");

    // Each request embosses one page; a front's request loads the sheet the next front takes.
    std::vector<double> perSheet;
    double sheetTime = 0;
    for (int page = 0; int(perSheet.size()) < sheets; ++page) {
        const double start = cpuMicroseconds();
        const bool back = duplex && page % 2 == 1;
        expect(device.handle(back ? command(405) : command(202, {QStringLiteral("1")})),
               back ? "GetEmbossStatus" : "LoadPaper");
        sheetTime += cpuMicroseconds() - start;
        if (!duplex || page % 2 == 1) {
            perSheet.push_back(sheetTime);
            sheetTime = 0;
        }
    }
    return perSheet;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values.at(values.size() / 2);
}

// The median of the 10 sheets up to the nth.
double around(const std::vector<double> &times, int n)
{
    const int first = std::max(0, n - 10);
    return median(std::vector<double>(times.begin() + first, times.begin() + n));
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const bool duplex = args.contains(QStringLiteral("--duplex"));
    // --sheets N: a shorter run, for a quick look; the figures at 100 and 1000 need 1000.
    const int at = args.indexOf(QStringLiteral("--sheets"));
    const int sheets = at > 0 && at + 1 < args.size() ? args.at(at + 1).toInt() : 1000;
    if (sheets < 10) {
        std::fprintf(stderr, "bench-sheets: --sheets needs 10 or more\n");
        return 2;
    }
    QTemporaryDir base;
    if (!base.isValid()) {
        std::fprintf(stderr, "bench-sheets: no temporary folder\n");
        return 1;
    }
    // Runs taken in turns, each figure the median over the runs, so that a busy moment of the
    // machine moves no figure alone.
    constexpr int runs = 3;
    std::vector<std::vector<double>> without;
    std::vector<std::vector<double>> with;
    for (int i = 0; i < runs; ++i) {
        const QString folder = base.filePath(QStringLiteral("run-%1").arg(i));
        without.push_back(run(folder + QStringLiteral("/text"), false, duplex, sheets));
        with.push_back(run(folder + QStringLiteral("/pictures"), true, duplex, sheets));
    }
    const auto figureAt = [](const std::vector<std::vector<double>> &times, int n) {
        std::vector<double> figures;
        for (const std::vector<double> &one : times)
            figures.push_back(around(one, n));
        return median(figures);
    };
    const auto overall = [](const std::vector<std::vector<double>> &times) {
        std::vector<double> figures;
        for (const std::vector<double> &one : times) {
            double sum = 0;
            for (double x : one)
                sum += x;
            figures.push_back(sum / one.size());
        }
        return median(figures) / 1000;
    };
    QFileInfo index(base.filePath(QStringLiteral("run-0/pictures/index.html")));

    QTextStream out(stdout);
    out << "Sheet pictures: " << sheets << (duplex ? " duplex" : " simplex")
        << " sheets of full pages (40 cells x 25 lines), one request per "
        << (duplex ? "page" : "sheet")
        << "; each figure the median of the 10 sheets up to that one, median of " << runs
        << " runs\n\n";
    out << "| sheet | page files only (ms CPU) | with pictures (ms CPU) | extra per sheet (ms CPU) "
           "|\n";
    out << "|---:|---:|---:|---:|\n";
    double extra10 = 0;
    double extraLast = 0;
    for (int n : {10, 100, 1000}) {
        if (n > sheets)
            break;
        const double a = figureAt(without, n) / 1000;
        const double b = figureAt(with, n) / 1000;
        if (n == 10)
            extra10 = b - a;
        extraLast = b - a;
        out << "| " << n << " | " << QString::number(a, 'f', 3) << " | "
            << QString::number(b, 'f', 3) << " | " << QString::number(b - a, 'f', 3) << " |\n";
    }
    out << "\nmean per sheet: page files only " << QString::number(overall(without), 'f', 3)
        << " ms, with pictures " << QString::number(overall(with), 'f', 3) << " ms\n";
    out << "extra cost at 1000 sheets / at 10 sheets: "
        << QString::number(extraLast / extra10, 'f', 2) << "\n";
    out << "index.html at the end: " << index.size() << " bytes\n";
    return 0;
}
