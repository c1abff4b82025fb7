// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The configuration commands (commands/configuration.cpp): each result, and each refusal of a table
// or of a change while a job is active.

#include "simcoretest.h"

using namespace SimTest;

class ConfigurationTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void commandResults_data()
    {
        addResultColumns();

        using namespace ls;
        QVariantMap config = defaultConfiguration();
        QTest::newRow("GetConfiguration, factory defaults")
                << Steps() << step(ConfigurationCommandId::GetConfiguration) << config;
        config.insert(QStringLiteral("cellsPerLine"), 30);
        config.insert(QStringLiteral("duplex"), true);
        QTest::newRow("GetConfiguration, after changes")
                << Steps({step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("30")}),
                          step(ConfigurationCommandId::SetDuplex, {QStringLiteral("true")})})
                << step(ConfigurationCommandId::GetConfiguration) << config;
        QTest::newRow("SetPaperFormat Letter")
                << Steps()
                << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Letter")})
                << QVariantMap{{QStringLiteral("paperFormat"), QStringLiteral("Letter")}};
        QTest::newRow("SetPaperFormat braille paper")
                << Steps()
                << step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Braille-11x11.5")})
                << QVariantMap{{QStringLiteral("paperFormat"), QStringLiteral("Braille-11x11.5")}};
        QTest::newRow("SetCellsPerLine lowest")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("10")})
                << QVariantMap{{QStringLiteral("cellsPerLine"), 10}};
        QTest::newRow("SetCellsPerLine highest")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("48")})
                << QVariantMap{{QStringLiteral("cellsPerLine"), 48}};
        QTest::newRow("SetCellsPerLine with plus sign")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("+12")})
                << QVariantMap{{QStringLiteral("cellsPerLine"), 12}};
        QTest::newRow("SetLinesPerPage highest")
                << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {QStringLiteral("32")})
                << QVariantMap{{QStringLiteral("linesPerPage"), 32}};
        QTest::newRow("SetDuplex true")
                << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("true")})
                << QVariantMap{{QStringLiteral("duplex"), true}};
        QTest::newRow("SetDuplex 1") << Steps() << step(ConfigurationCommandId::SetDuplex, {one})
                                     << QVariantMap{{QStringLiteral("duplex"), true}};
        QTest::newRow("SetDuplex 0 after true")
                << Steps({step(ConfigurationCommandId::SetDuplex, {one})})
                << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("0")})
                << QVariantMap{{QStringLiteral("duplex"), false}};
        QTest::newRow("SetDuplex false")
                << Steps() << step(ConfigurationCommandId::SetDuplex, {QStringLiteral("false")})
                << QVariantMap{{QStringLiteral("duplex"), false}};
        QTest::newRow("SetBrailleTable, a table of another language")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("de-g1.ctb")})
                << QVariantMap{{QStringLiteral("brailleTable"), QStringLiteral("de-g1.ctb")}};
        QTest::newRow("SetBrailleTable grade 2")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("en-us-g2.ctb")})
                << QVariantMap{{QStringLiteral("brailleTable"), QStringLiteral("en-us-g2.ctb")}};
        QTest::newRow("SetDotStrength lowest")
                << Steps() << step(ConfigurationCommandId::SetDotStrength, {one})
                << QVariantMap{{QStringLiteral("dotStrength"), 1}};
        QTest::newRow("ResetConfiguration after changes")
                << Steps({step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20")}),
                          step(ConfigurationCommandId::SetBrailleTable,
                               {QStringLiteral("en-us-g2.ctb")}),
                          step(ConfigurationCommandId::SetPaperFormat, {QStringLiteral("Letter")})})
                << step(ConfigurationCommandId::ResetConfiguration) << defaultConfiguration();
    }

    void commandResults() { verifyResultRow(); }

    void commandErrors_data()
    {
        addErrorColumns();

        using namespace ls;
        QTest::newRow("table that loads but only shows braille: unicode.dis")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("unicode.dis")})
                << argument;
        QTest::newRow("table that loads but defines no letters: braille-patterns.cti")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable,
                        {QStringLiteral("braille-patterns.cti")})
                << argument;
        QTest::newRow("table not installed")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("xx-none.ctb")})
                << argument;
        QTest::newRow("table as a path")
                << Steps()
                << step(ConfigurationCommandId::SetBrailleTable,
                        {QStringLiteral("/usr/share/liblouis/tables/en-us-g1.ctb")})
                << argument;
        QTest::newRow("table as a list") << Steps()
                                         << step(ConfigurationCommandId::SetBrailleTable,
                                                 {QStringLiteral("en-us-g1.ctb,en-us-g2.ctb")})
                                         << argument;
        QTest::newRow("configuration while embossing")
                << embossingJob()
                << step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("20")}) << busy;
        QTest::newRow("configuration while paused")
                << pausedJob() << step(ConfigurationCommandId::SetDuplex, {one}) << busy;
        QTest::newRow("reset while embossing")
                << embossingJob() << step(ConfigurationCommandId::ResetConfiguration) << busy;
        QTest::newRow("table while embossing")
                << embossingJob()
                << step(ConfigurationCommandId::SetBrailleTable, {QStringLiteral("en-us-g2.ctb")})
                << busy;
    }

    void commandErrors() { verifyErrorRow(); }
};

QTEST_GUILESS_MAIN(ConfigurationTest)
#include "tst_configuration.moc"
