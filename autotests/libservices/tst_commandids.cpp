// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include <ls/commandids.h>

#include <QSet>
#include <QTest>

#include <limits>

namespace {

struct Enumerator
{
    QString name;
    int value;
};
using Enumerators = QList<Enumerator>;

const ls::MetaEnum *metaNamed(const QString &which)
{
    if (which == QLatin1String("CommandCategories"))
        return &ls::CommandCategories::meta;
    if (which == QLatin1String("ConfigurationCommandId"))
        return &ls::ConfigurationCommandId::meta;
    if (which == QLatin1String("PaperFeedCommandId"))
        return &ls::PaperFeedCommandId::meta;
    if (which == QLatin1String("DocumentCommandId"))
        return &ls::DocumentCommandId::meta;
    if (which == QLatin1String("EmbossCommandId"))
        return &ls::EmbossCommandId::meta;
    if (which == QLatin1String("TestingCommandId"))
        return &ls::TestingCommandId::meta;
    if (which == QLatin1String("IpcCommandId"))
        return &ls::IpcCommandId::meta;
    return nullptr;
}

const QStringList commandEnums{
        QStringLiteral("ConfigurationCommandId"), QStringLiteral("PaperFeedCommandId"),
        QStringLiteral("DocumentCommandId"),      QStringLiteral("EmbossCommandId"),
        QStringLiteral("TestingCommandId"),       QStringLiteral("IpcCommandId"),
};

} // namespace

Q_DECLARE_METATYPE(Enumerators)
Q_DECLARE_METATYPE(const QString *)

class TestCommandIds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void enumerators_data()
    {
        addColumns<QString, Enumerators>("which", "expected");

        QTest::newRow("CommandCategories")
                << QStringLiteral("CommandCategories")
                << Enumerators{{QStringLiteral("ConfigurationCommandId"), 1},
                               {QStringLiteral("PaperFeedCommandId"), 2},
                               {QStringLiteral("DocumentCommandId"), 3},
                               {QStringLiteral("EmbossCommandId"), 4},
                               {QStringLiteral("TestingCommandId"), 5},
                               {QStringLiteral("IpcCommandId"), 6}};
        QTest::newRow("ConfigurationCommandId")
                << QStringLiteral("ConfigurationCommandId")
                << Enumerators{{QStringLiteral("GetConfiguration"), 101},
                               {QStringLiteral("SetPaperFormat"), 102},
                               {QStringLiteral("SetCellsPerLine"), 103},
                               {QStringLiteral("SetLinesPerPage"), 104},
                               {QStringLiteral("SetDuplex"), 105},
                               {QStringLiteral("SetBrailleTable"), 106},
                               {QStringLiteral("SetDotStrength"), 107},
                               {QStringLiteral("ResetConfiguration"), 108}};
        QTest::newRow("PaperFeedCommandId") << QStringLiteral("PaperFeedCommandId")
                                            << Enumerators{{QStringLiteral("GetPaperStatus"), 201},
                                                           {QStringLiteral("LoadPaper"), 202},
                                                           {QStringLiteral("FeedSheet"), 203},
                                                           {QStringLiteral("EjectSheet"), 204},
                                                           {QStringLiteral("SetFeedMode"), 205}};
        QTest::newRow("DocumentCommandId") << QStringLiteral("DocumentCommandId")
                                           << Enumerators{{QStringLiteral("OpenDocument"), 301},
                                                          {QStringLiteral("AddText"), 302},
                                                          {QStringLiteral("CloseDocument"), 303},
                                                          {QStringLiteral("ListDocuments"), 304},
                                                          {QStringLiteral("GetDocumentInfo"), 305},
                                                          {QStringLiteral("DeleteDocument"), 306}};
        QTest::newRow("EmbossCommandId") << QStringLiteral("EmbossCommandId")
                                         << Enumerators{{QStringLiteral("StartEmbossing"), 401},
                                                        {QStringLiteral("PauseEmbossing"), 402},
                                                        {QStringLiteral("ResumeEmbossing"), 403},
                                                        {QStringLiteral("CancelEmbossing"), 404},
                                                        {QStringLiteral("GetEmbossStatus"), 405},
                                                        {QStringLiteral("EmbossText"), 406}};
        QTest::newRow("TestingCommandId") << QStringLiteral("TestingCommandId")
                                          << Enumerators{{QStringLiteral("RunSelfTest"), 501},
                                                         {QStringLiteral("EmbossTestPage"), 502},
                                                         {QStringLiteral("TestSensors"), 503},
                                                         {QStringLiteral("GetErrorLog"), 504},
                                                         {QStringLiteral("ClearErrorLog"), 505},
                                                         {QStringLiteral("InjectFault"), 506}};
        QTest::newRow("IpcCommandId") << QStringLiteral("IpcCommandId")
                                      << Enumerators{{QStringLiteral("Ping"), 601},
                                                     {QStringLiteral("GetServiceInfo"), 602},
                                                     {QStringLiteral("Echo"), 603},
                                                     {QStringLiteral("GetDeviceState"), 604}};
    }

    void enumerators()
    {
        QFETCH(QString, which);
        QFETCH(Enumerators, expected);
        const ls::MetaEnum *meta = metaNamed(which);
        QVERIFY(meta);

        // Iteration order is declaration order.
        const QList<const QString *> names = meta->names();
        QCOMPARE(names.size(), expected.size());
        for (int i = 0; i < names.size(); ++i) {
            QCOMPARE(*names.at(i), expected.at(i).name);
            QCOMPARE(meta->value(names.at(i)), expected.at(i).value);
        }
        for (const Enumerator &enumerator : expected) {
            QCOMPARE(meta->name(enumerator.value), enumerator.name);
            QCOMPARE(meta->valueOf(enumerator.name), enumerator.value);
        }
        QCOMPARE(meta->name(0), QStringLiteral("Undefined"));
        QCOMPARE(meta->valueOf(QStringLiteral("Undefined")), std::numeric_limits<int>::min());
    }

    void categoryNamesAreTheMetasOwnStrings_data()
    {
        addColumns<int, const QString *, QString>("index", "constant", "text");

        QTest::newRow("ConfigurationCommandId")
                << 0 << &ls::CommandCategories::ConfigurationCommandId
                << QStringLiteral("ConfigurationCommandId");
        QTest::newRow("PaperFeedCommandId") << 1 << &ls::CommandCategories::PaperFeedCommandId
                                            << QStringLiteral("PaperFeedCommandId");
        QTest::newRow("DocumentCommandId") << 2 << &ls::CommandCategories::DocumentCommandId
                                           << QStringLiteral("DocumentCommandId");
        QTest::newRow("EmbossCommandId") << 3 << &ls::CommandCategories::EmbossCommandId
                                         << QStringLiteral("EmbossCommandId");
        QTest::newRow("TestingCommandId") << 4 << &ls::CommandCategories::TestingCommandId
                                          << QStringLiteral("TestingCommandId");
        QTest::newRow("IpcCommandId")
                << 5 << &ls::CommandCategories::IpcCommandId << QStringLiteral("IpcCommandId");
    }

    void categoryNamesAreTheMetasOwnStrings()
    {
        QFETCH(int, index);
        QFETCH(const QString *, constant);
        QFETCH(QString, text);

        QCOMPARE(*constant, text);
        QCOMPARE(ls::CommandCategories::meta.names().value(index), constant);
        QCOMPARE(ls::CommandCategories::meta.value(constant), index + 1);
    }

    void everyCategoryHasItsCommandEnum()
    {
        QStringList categories;
        for (const QString *name : ls::CommandCategories::meta.names())
            categories.append(*name);
        QCOMPARE(categories, commandEnums);
    }

    void commandNumbersAreUniqueAndNeverZero()
    {
        QSet<int> seen;
        int count = 0;
        for (const QString &which : commandEnums) {
            const ls::MetaEnum *meta = metaNamed(which);
            for (const QString *name : meta->names()) {
                const int value = meta->value(name);
                QVERIFY2(value != 0, qPrintable(*name));
                QVERIFY2(!seen.contains(value), qPrintable(*name));
                seen.insert(value);
                ++count;
            }
        }
        QCOMPARE(count, 35);
    }

    void cppEnumsMatchTheMetas()
    {
        QCOMPARE(ls::ConfigurationCommandId::meta.valueOf(QStringLiteral("ResetConfiguration")),
                 int(ls::ConfigurationCommandId::ResetConfiguration));
        QCOMPARE(ls::PaperFeedCommandId::meta.valueOf(QStringLiteral("SetFeedMode")),
                 int(ls::PaperFeedCommandId::SetFeedMode));
        QCOMPARE(ls::DocumentCommandId::meta.valueOf(QStringLiteral("AddText")),
                 int(ls::DocumentCommandId::AddText));
        QCOMPARE(ls::EmbossCommandId::meta.valueOf(QStringLiteral("EmbossText")),
                 int(ls::EmbossCommandId::EmbossText));
        QCOMPARE(ls::TestingCommandId::meta.valueOf(QStringLiteral("InjectFault")),
                 int(ls::TestingCommandId::InjectFault));
        QCOMPARE(ls::IpcCommandId::meta.valueOf(QStringLiteral("Ping")),
                 int(ls::IpcCommandId::Ping));
        QCOMPARE(ls::IpcCommandId::meta.valueOf(QStringLiteral("GetDeviceState")),
                 int(ls::IpcCommandId::GetDeviceState));
    }
};

QTEST_GUILESS_MAIN(TestCommandIds)

#include "tst_commandids.moc"
