// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// docs/simulator.md's command table against the simulator's command table
// (sim/device/commandtable.cpp): a command, an argument or a command's effect on the kept state
// changed in one and not in the other fails here.

#include "device/commandtable.h"

#include <QtTest>

namespace {

// One row of the doc's table, as written.
struct DocRow
{
    QString number;
    QString command;
    QString arguments;
    QString changesState;
};

const QString tableHeader
        = QStringLiteral("| Number | Command | Arguments | Changes state | Result fields |");

// The rows of the doc's command table; empty when the doc or its table cannot be found.
QList<DocRow> docRows(QString *problem)
{
    QFile file(QStringLiteral(SIMULATOR_DOC));
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = file.fileName() + QStringLiteral(": ") + file.errorString();
        return {};
    }
    const QStringList lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    const int header = lines.indexOf(tableHeader);
    if (header < 0) {
        *problem = QStringLiteral("no line \"%1\"").arg(tableHeader);
        return {};
    }
    QList<DocRow> rows;
    // The header, then the separator line, then the rows up to the first line of no table.
    for (int i = header + 2; i < lines.size() && lines.at(i).startsWith(QLatin1Char('|')); ++i) {
        QStringList cells = lines.at(i).split(QLatin1Char('|'));
        // "| a | b |" splits into "", " a ", " b ", "".
        if (cells.size() != 7) {
            *problem = QStringLiteral("line %1 has not 5 cells: %2").arg(i + 1).arg(lines.at(i));
            return {};
        }
        for (QString &cell : cells)
            cell = cell.trimmed();
        rows.append({cells.at(1), cells.at(2), cells.at(3), cells.at(4)});
    }
    return rows;
}

// The arguments as the doc writes them: "document: int (at least 1), text: string".
QString argumentsText(const CommandRow &row)
{
    QStringList arguments;
    for (const ArgumentRule &a : row.arguments) {
        const QString values = a.valuesText();
        arguments.append(a.name + QStringLiteral(": ") + typeName(a.type)
                         + (values.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(values)));
    }
    return arguments.join(QStringLiteral(", "));
}

} // namespace

class DocTableTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sameCommandsInTheSameOrder()
    {
        QString problem;
        const QList<DocRow> rows = docRows(&problem);
        QVERIFY2(!rows.isEmpty(), qPrintable(problem));
        QStringList documented;
        for (const DocRow &row : rows)
            documented.append(row.number + QLatin1Char(' ') + row.command);
        QStringList simulated;
        for (const CommandRow &row : CommandTable::rows())
            simulated.append(QStringLiteral("%1 `%2`").arg(row.number).arg(row.name));
        QCOMPARE(documented, simulated);
    }

    void commandRow_data()
    {
        QTest::addColumn<int>("number");
        for (const CommandRow &row : CommandTable::rows())
            QTest::newRow(qPrintable(row.name)) << row.number;
    }

    void commandRow()
    {
        QFETCH(int, number);
        const CommandRow *row = CommandTable::row(number);
        QVERIFY(row);
        QString problem;
        const QList<DocRow> rows = docRows(&problem);
        QVERIFY2(!rows.isEmpty(), qPrintable(problem));
        const auto documented = std::find_if(rows.cbegin(), rows.cend(), [number](const DocRow &r) {
            return r.number == QString::number(number);
        });
        QVERIFY2(documented != rows.cend(), "the doc's table has no row of this number");
        QCOMPARE(documented->command, QStringLiteral("`%1`").arg(row->name));
        QCOMPARE(documented->arguments, argumentsText(*row));
        QCOMPARE(documented->changesState, row->effect == Effect::ChangesState
                                                   ? QStringLiteral("yes")
                                                   : QStringLiteral("no"));
    }
};

QTEST_GUILESS_MAIN(DocTableTest)
#include "tst_doctable.moc"
