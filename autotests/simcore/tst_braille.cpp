// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Text to braille (job/braille.cpp, job/pagelayout.cpp), as GetDocumentInfo shows it, and a table
// that no longer loads.

#include "datatable.h"
#include "simcoretest.h"

#include "state/devicestate.h"

using namespace SimTest;

class BrailleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void braille_data()
    {
        addColumns<QString, int, QStringList, QString, int>("table", "cellsPerLine", "words",
                                                            "braille", "cells");

        const QString g1 = QStringLiteral("en-us-g1.ctb");
        QTest::newRow("abc in grade 1")
                << g1 << 40 << QStringList({QStringLiteral("abc")}) << QStringLiteral("⠁⠃⠉") << 3;
        QTest::newRow("capital sign") << g1 << 40 << QStringList({QStringLiteral("Hello")})
                                      << QStringLiteral("⠠⠓⠑⠇⠇⠕") << 6;
        QTest::newRow("number sign")
                << g1 << 40 << QStringList({QStringLiteral("12")}) << QStringLiteral("⠼⠁⠃") << 3;
        QTest::newRow("blank between words is a blank cell")
                << g1 << 40 << QStringList({QStringLiteral("ab"), QStringLiteral("cd")})
                << QStringLiteral("⠁⠃⠀⠉⠙") << 5;
        QTest::newRow("single letters take the letter sign")
                << g1 << 40 << QStringList({QStringLiteral("a"), QStringLiteral("b")})
                << QStringLiteral("⠰⠁⠀⠰⠃") << 5;
        QTest::newRow("the contracted in grade 2")
                << QStringLiteral("en-us-g2.ctb") << 40 << QStringList({QStringLiteral("the")})
                << QStringLiteral("⠮") << 1;
        QTest::newRow("the spelled out in grade 1")
                << g1 << 40 << QStringList({QStringLiteral("the")}) << QStringLiteral("⠞⠓⠑") << 3;
        QTest::newRow("line breaks at the last blank that fits")
                << g1 << 10
                << QStringList({QStringLiteral("abcde"), QStringLiteral("fghij"),
                                QStringLiteral("klm")})
                << QStringLiteral("⠁⠃⠉⠙⠑\n⠋⠛⠓⠊⠚⠀⠅⠇⠍") << 15;
        QTest::newRow("word longer than a line is cut at the width")
                << g1 << 10 << QStringList({QStringLiteral("abcdefghijkl")})
                << QStringLiteral("⠁⠃⠉⠙⠑⠋⠛⠓⠊⠚\n⠅⠇") << 12;
        QTest::newRow("exactly a line") << g1 << 10 << QStringList({QStringLiteral("abcdefghij")})
                                        << QStringLiteral("⠁⠃⠉⠙⠑⠋⠛⠓⠊⠚") << 10;
        QTest::newRow("line break in the text starts a line")
                << g1 << 40 << QStringList({QStringLiteral("ab\ncd")}) << QStringLiteral("⠁⠃\n⠉⠙")
                << 4;
    }

    void braille()
    {
        QFETCH(QString, table);
        QFETCH(int, cellsPerLine);
        QFETCH(QStringList, words);
        QFETCH(QString, braille);
        QFETCH(int, cells);

        Device device(stepping());
        QVERIFY(runSteps(
                device,
                {step(ls::ConfigurationCommandId::SetBrailleTable, {table}),
                 step(ls::ConfigurationCommandId::SetCellsPerLine, {QString::number(cellsPerLine)}),
                 step(ls::DocumentCommandId::OpenDocument, {QStringLiteral("B")}),
                 step(ls::DocumentCommandId::AddText, QStringList(QStringLiteral("1")) + words)}));
        const QVariantMap info
                = run(device, ls::DocumentCommandId::GetDocumentInfo, {QStringLiteral("1")});
        QCOMPARE(info.value(QStringLiteral("braille")).toString(), braille);
        QCOMPARE(info.value(QStringLiteral("lines")).toInt(), braille.count(QLatin1Char('\n')) + 1);
        QCOMPARE(info.value(QStringLiteral("cells")).toInt(), cells);
        for (QChar c : braille)
            QVERIFY(c == QLatin1Char('\n') || (c.unicode() >= 0x2800 && c.unicode() <= 0x28ff));
    }

    void missingTableFailsTranslation()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        DeviceOptions options = stepping();
        options.stateFile = dir.filePath(QStringLiteral("state.json"));
        DeviceState state;
        state.configuration.brailleTable = QStringLiteral("xx-removed.ctb");
        QVERIFY(writeAll(options.stateFile, QJsonDocument(state.toJson()).toJson()));

        Device device(options);
        run(device, ls::DocumentCommandId::OpenDocument, {QStringLiteral("A")});
        const QVariantMap response = device.handle(commandRequest(
                ls::DocumentCommandId::AddText, {QStringLiteral("1"), QStringLiteral("abc")}));
        QCOMPARE(response.value(ls::errorIdKey).toString(), QStringLiteral("TranslationFailed"));
        QVERIFY(response.value(ls::errorMessageKey)
                        .toString()
                        .contains(QStringLiteral("xx-removed.ctb")));
        QCOMPARE(run(device, ls::DocumentCommandId::GetDocumentInfo, {QStringLiteral("1")})
                         .value(QStringLiteral("text")),
                 QVariant(QString()));
        const QVariantMap selfTest = run(device, ls::TestingCommandId::RunSelfTest);
        QCOMPARE(selfTest.value(QStringLiteral("passed")), QVariant(false));
        QVERIFY(selfTest.value(QStringLiteral("report"))
                        .toString()
                        .contains(QStringLiteral("braille table does not load")));
    }
};

QTEST_GUILESS_MAIN(BrailleTest)
#include "tst_braille.moc"
