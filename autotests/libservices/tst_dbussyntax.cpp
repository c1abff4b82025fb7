// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "dbusvaluetest.h"

#include <QTest>

// Which texts are signatures and object paths, as checked before anything is sent.
class TestDBusSyntax : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signatures_data()
    {
        addColumns<QString, bool, bool>("signature", "sequence", "valid");

        const QString struct253 = QLatin1Char('(') + repeated('i', 253) + QLatin1Char(')');
        const QString struct254 = QLatin1Char('(') + repeated('i', 254) + QLatin1Char(')');
        const QString structs32 = repeated('(', 32) + QLatin1Char('i') + repeated(')', 32);
        const QString structs33 = repeated('(', 33) + QLatin1Char('i') + repeated(')', 33);
        QString both32;
        for (int i = 0; i < 32; ++i)
            both32 += QLatin1String("(a");
        both32 += QLatin1Char('i') + repeated(')', 32);

        QTest::newRow("i") << "i" << false << true;
        QTest::newRow("every basic type") << "ybnqiuxtdsogh" << true << true;
        QTest::newRow("several types as one") << "si" << false << false;
        QTest::newRow("v") << "v" << false << true;
        QTest::newRow("a{sv}") << "a{sv}" << false << true;
        QTest::newRow("a{sa{sv}}") << "a{sa{sv}}" << false << true;
        QTest::newRow("a{vs} refused") << "a{vs}" << false << false;
        QTest::newRow("a{(i)s} refused") << "a{(i)s}" << false << false;
        QTest::newRow("{sv} refused") << "{sv}" << false << false;
        QTest::newRow("{sv} refused in a sequence") << "{sv}" << true << false;
        QTest::newRow("(a{sv}) ") << "(a{sv})" << false << true;
        QTest::newRow("({sv}) refused") << "({sv})" << false << false;
        QTest::newRow("a{s} refused") << "a{s}" << false << false;
        QTest::newRow("a{sii} refused") << "a{sii}" << false << false;
        QTest::newRow("() refused") << "()" << false << false;
        QTest::newRow("a refused") << "a" << false << false;
        QTest::newRow("( refused") << "(" << false << false;
        QTest::newRow("(i refused") << "(i" << false << false;
        QTest::newRow("i) refused") << "i)" << true << false;
        QTest::newRow("unknown code refused") << "z" << false << false;
        QTest::newRow("non-ASCII refused") << QStringLiteral("aé") << false << false;
        QTest::newRow("empty refused as one type") << "" << false << false;
        QTest::newRow("empty accepted as sequence") << "" << true << true;
        QTest::newRow("sequence") << "sia{sv}(ib)" << true << true;
        QTest::newRow("255 characters in one type") << struct253 << false << true;
        QTest::newRow("256 characters in one type") << struct254 << false << false;
        QTest::newRow("255 characters in a sequence") << repeated('i', 255) << true << true;
        QTest::newRow("256 characters in a sequence") << repeated('i', 256) << true << false;
        QTest::newRow("32 nested arrays") << repeated('a', 32) + QLatin1Char('i') << false << true;
        QTest::newRow("33 nested arrays") << repeated('a', 33) + QLatin1Char('i') << false << false;
        QTest::newRow("32 nested structs") << structs32 << false << true;
        QTest::newRow("33 nested structs") << structs33 << false << false;
        QTest::newRow("32 arrays and 32 structs interleaved") << both32 << false << true;
    }

    void signatures()
    {
        QFETCH(QString, signature);
        QFETCH(bool, sequence);
        QFETCH(bool, valid);

        QCOMPARE(ls::isValidSignature(signature, sequence), valid);
    }

    void objectPaths_data()
    {
        addColumns<QString, bool>("path", "valid");

        QTest::newRow("/") << "/" << true;
        QTest::newRow("/a/b_1") << "/a/b_1" << true;
        QTest::newRow("/Az/09/_") << "/Az/09/_" << true;
        QTest::newRow("empty refused") << "" << false;
        QTest::newRow("a refused") << "a" << false;
        QTest::newRow("/a/ refused") << "/a/" << false;
        QTest::newRow("//a refused") << "//a" << false;
        QTest::newRow("/a//b refused") << "/a//b" << false;
        QTest::newRow("// refused") << "//" << false;
        QTest::newRow("/a-b refused") << "/a-b" << false;
        QTest::newRow("/a.b refused") << "/a.b" << false;
        QTest::newRow("/a b refused") << "/a b" << false;
        QTest::newRow("non-ASCII refused") << QStringLiteral("/ä") << false;
    }

    void objectPaths()
    {
        QFETCH(QString, path);
        QFETCH(bool, valid);

        QCOMPARE(ls::isValidObjectPath(path), valid);
    }
};

QTEST_GUILESS_MAIN(TestDBusSyntax)

#include "tst_dbussyntax.moc"
