// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "catalogue.h"
#include "datatable.h"
#include "testbus.h"
#include "toolrunner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QTest>

#include <limits>

namespace {
// The shipped tool, loading the test build of the platform library in place of its own.
QProcessEnvironment testCatalogueEnvironment()
{
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("LD_LIBRARY_PATH"),
                       QStringLiteral(TESTCATALOGUE_LIBRARY_DIR));
    return environment;
}

const QString categoriesQuery = QStringLiteral("GetCommandCategories");
const QString commandsQuery = QStringLiteral("GetCommands");

constexpr int minimum = std::numeric_limits<int>::min();

// A successful answer to the query carrying the entries under the query's key.
QByteArray catalogueAnswer(const QString &query, const QJsonArray &entries)
{
    return Scripts::answeringCatalogue(query,
                                       QJsonDocument(entries).toJson(QJsonDocument::Compact));
}

QString describe(const QString &name)
{
    return QStringLiteral("About ") + name;
}

QJsonObject entry(const QString &name)
{
    return {{QStringLiteral("id"), name},
            {QStringLiteral("description"), describe(name)},
            {QStringLiteral("argumentCount"), 0}};
}

// One entry per enumerator, with a description and no arguments, in the given order.
QJsonArray entries(const QList<Enumerator> &enumerators)
{
    QJsonArray array;
    for (const Enumerator &enumerator : enumerators)
        array.append(entry(enumerator.name));
    return array;
}

QJsonArray reversed(const QJsonArray &array)
{
    QJsonArray result;
    for (const QJsonValue &value : array)
        result.prepend(value);
    return result;
}

// The lines of enumerators whose entries entries() gave, in the order given.
LogMessages described(const QList<Enumerator> &enumerators)
{
    LogMessages messages;
    for (const Enumerator &enumerator : enumerators)
        messages << listedLine(enumerator.value, describe(enumerator.name));
    return messages;
}

Enumerator category(int value)
{
    return {value, categoryName(value)};
}

// The commands of a category as the test catalogue's base shape declares them; its six categories
// are the header's, as categoryEnumerators() gives them.
QList<Enumerator> baseCommands(int category)
{
    switch (category) {
    case 1:
        return {{11, QStringLiteral("TestConfigurationOne")},
                {12, QStringLiteral("TestConfigurationTwo")}};
    case 2:
        return {{21, QStringLiteral("TestPaperFeedOne")}, {22, QStringLiteral("TestPaperFeedTwo")}};
    case 3:
        return {{31, QStringLiteral("TestDocumentOne")}};
    case 4:
        return {{41, QStringLiteral("TestEmbossOne")}};
    case 5:
        return {{51, QStringLiteral("TestTestingOne")}};
    case 6:
        return {{601, QStringLiteral("Ping")},
                {602, QStringLiteral("TestIpcTwo")},
                {603, QStringLiteral("Echo")},
                {604, QStringLiteral("TestIpcFour")}};
    }
    return {};
}
} // namespace

// command-parser -l and -c on catalogue shapes that the device's catalogue never takes: the tool's
// own sources built against a test build of the platform library whose small catalogue of made-up
// commands LS_TEST_CATALOGUE chooses (testcatalogue.cpp), run against the scripted peer.
class TestCatalogueShapes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        // The unset row relies on the variable reaching no run from the test's own environment.
        qunsetenv("LS_TEST_CATALOGUE");
        startToolTestBus(m_bus);
    }

    void cleanupTestCase() { m_bus.stop(); }

    void listings_data()
    {
        QTest::addColumn<QString>("catalogue");
        addScriptedRowColumns();

        const QStringList l = {QStringLiteral("-l")};
        auto c = [](int number) {
            return QStringList{QStringLiteral("-c"), QString::number(number)};
        };
        const QStringList askedCategories = {Requests::recordedCategories()};
        const QList<Enumerator> categories = categoryEnumerators();
        const QByteArray everyCategory = catalogueAnswer(categoriesQuery, entries(categories));
        const QByteArray emptyCategories = catalogueAnswer(categoriesQuery, QJsonArray());

        // The base shape, on which every other shape makes its one change.
        QTest::newRow("base shape: -l lists the six categories in declaration order")
                << QStringLiteral("base") << l
                << catalogueAnswer(categoriesQuery, reversed(entries(categories)))
                << described(categories) << askedCategories;
        QTest::newRow("base shape: -c 0 is unknown, nothing asked")
                << QStringLiteral("base") << c(0)
                << catalogueAnswer(commandsQuery, entries(baseCommands(1)))
                << LogMessages{unknownCategory(0)} << QStringList();
        QTest::newRow("base shape: -c 6 lists its four commands in declaration order")
                << QStringLiteral("base") << c(6)
                << catalogueAnswer(commandsQuery, reversed(entries(baseCommands(6))))
                << described(baseCommands(6))
                << QStringList{Requests::recordedCommands(QStringLiteral("IpcCommandId"))};

        QTest::newRow("no categories: -l asks, then writes nothing")
                << QStringLiteral("nocategories") << l << everyCategory << LogMessages()
                << askedCategories;
        QTest::newRow("no categories, empty catalogue: -l asks, then writes nothing")
                << QStringLiteral("nocategories") << l << emptyCategories << LogMessages()
                << askedCategories;
        QTest::newRow("no categories: -c 1 is unknown, nothing asked")
                << QStringLiteral("nocategories") << c(1)
                << catalogueAnswer(commandsQuery, entries(baseCommands(1)))
                << LogMessages{unknownCategory(1)} << QStringList();

        const Enumerator spare{7, QStringLiteral("SpareCommandId")};
        QJsonArray spareAnswer = entries(baseCommands(6));
        spareAnswer.append(entry(QStringLiteral("SpareCommand")));
        QTest::newRow("spare category 7: -c 7 asks for SpareCommandId, then silence")
                << QStringLiteral("spare") << c(7) << catalogueAnswer(commandsQuery, spareAnswer)
                << LogMessages() << QStringList{Requests::recordedCommands(spare.name)};
        QTest::newRow("spare category 7: -l lists it after the six")
                << QStringLiteral("spare") << l
                << catalogueAnswer(categoriesQuery, entries(categories + QList<Enumerator>{spare}))
                << described(categories + QList<Enumerator>{spare}) << askedCategories;

        // PaperFeedCommandId carries ConfigurationCommandId's value 1; its own entry differs.
        QJsonArray sharedAnswer = entries(categories);
        sharedAnswer[0] = QJsonObject{
                {QStringLiteral("id"), QStringLiteral("ConfigurationCommandId")},
                {QStringLiteral("description"), QStringLiteral("Setup")},
                {QStringLiteral("argumentCount"), 1},
                {QStringLiteral("argumentTypes"),
                 QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("a")},
                                        {QStringLiteral("type"), QStringLiteral("b")}}}}};
        sharedAnswer[1] = QJsonObject{{QStringLiteral("id"), QStringLiteral("PaperFeedCommandId")},
                                      {QStringLiteral("description"), QStringLiteral("Paper")}};
        const LogMessage setupLine
                = listedLine(1, QStringLiteral("Setup"), QStringLiteral("( a: b )"));
        QTest::newRow("shared category value: -l writes 1 twice, both with the first one's texts")
                << QStringLiteral("shared") << l << catalogueAnswer(categoriesQuery, sharedAnswer)
                << LogMessages{setupLine, setupLine} + described(categories.mid(2))
                << askedCategories;
        QTest::newRow("shared category value, empty catalogue: both lines name the first one")
                << QStringLiteral("shared") << l << emptyCategories
                << unlistedEntry(category(1)) + unlistedEntry(category(1))
                           + unlistedEntries(categories.mid(2))
                << askedCategories;

        // Echo carries Ping's value 601.
        const QList<Enumerator> ipcCommands = baseCommands(6);
        const Enumerator ping = ipcCommands.at(0);
        const Enumerator second = ipcCommands.at(1);
        const Enumerator echo = ipcCommands.at(2);
        const Enumerator fourth = ipcCommands.at(3);
        const QStringList askedIpc = {Requests::recordedCommands(QStringLiteral("IpcCommandId"))};
        QTest::newRow("shared command value: -c 6 writes 601 twice, both with Ping's texts")
                << QStringLiteral("shared") << c(6)
                << catalogueAnswer(commandsQuery, reversed(entries(ipcCommands)))
                << described({ping, second, ping, fourth}) << askedIpc;
        QTest::newRow("shared command value, empty catalogue: both 601 lines name Ping")
                << QStringLiteral("shared") << c(6) << catalogueAnswer(commandsQuery, QJsonArray())
                << unlistedEntries({ping, second, ping, fourth}) << askedIpc;

        // PaperFeedCommandId and TestingCommandId are missing; MinimumCommandId = -2147483648.
        QTest::newRow(
                "-c -2147483648 named: asked for, the first missing category's commands listed")
                << QStringLiteral("minimum") << c(minimum)
                << catalogueAnswer(commandsQuery,
                                   reversed(entries(baseCommands(2) + baseCommands(5))))
                << described(baseCommands(2))
                << QStringList{Requests::recordedCommands(QStringLiteral("MinimumCommandId"))};
        QTest::newRow("missing category: -c 2 is unknown, nothing asked")
                << QStringLiteral("minimum") << c(2)
                << catalogueAnswer(commandsQuery, entries(baseCommands(2)))
                << LogMessages{unknownCategory(2)} << QStringList();

        // ConfigurationCommandId = 0.
        const QList<Enumerator> configurationCommands = baseCommands(1);
        const QByteArray configurationAnswer
                = catalogueAnswer(commandsQuery, reversed(entries(configurationCommands)));
        const QStringList askedConfiguration
                = {Requests::recordedCommands(QStringLiteral("ConfigurationCommandId"))};
        QTest::newRow("category of value 0: -c 0 asks for it and lists its commands")
                << QStringLiteral("zero") << c(0) << configurationAnswer
                << described(configurationCommands) << askedConfiguration;
        QTest::newRow("category of value 0: -c x is reported, then read as 0 and listed")
                << QStringLiteral("zero") << QStringList{QStringLiteral("-c"), QStringLiteral("x")}
                << configurationAnswer
                << LogMessages{criticalMessage(
                           QStringLiteral("main"),
                           QStringLiteral("ERROR: Invalid category specified."))}
                           + described(configurationCommands)
                << askedConfiguration;

        // Categories declared as 3, 1, 2, 6, 4, 5; the answer runs from 6 down to 1.
        QTest::newRow("categories declared 3, 1, 2, 6, 4, 5: -l in that order")
                << QStringLiteral("order") << l
                << catalogueAnswer(categoriesQuery, reversed(entries(categories)))
                << described({category(3), category(1), category(2), category(6), category(4),
                              category(5)})
                << askedCategories;
        // Ipc commands declared as 603, 601, 604, 602; the answer runs from 604 down to 601.
        QTest::newRow("commands declared 603, 601, 604, 602: -c 6 in that order")
                << QStringLiteral("order") << c(6)
                << catalogueAnswer(commandsQuery, reversed(entries(ipcCommands)))
                << described({echo, ping, fourth, second}) << askedIpc;

        // EmbossCommandId's command enum has no enumerators.
        QTest::newRow("empty command enum: -c 4 asks for EmbossCommandId, then writes nothing")
                << QStringLiteral("nocommands") << c(4)
                << catalogueAnswer(commandsQuery, entries(baseCommands(4))) << LogMessages()
                << QStringList{Requests::recordedCommands(QStringLiteral("EmbossCommandId"))};
    }

    void listings()
    {
        QFETCH(QString, catalogue);

        QProcessEnvironment environment = testCatalogueEnvironment();
        environment.insert(QStringLiteral("LS_TEST_CATALOGUE"), catalogue);
        verifyScriptedRow(m_bus, environment);
    }

    void refusedCatalogue_data()
    {
        // A null name leaves the variable unset.
        addColumns<QString, QByteArray>("catalogue", "standardError");

        QTest::newRow("unset: refused with exit 2, nothing asked")
                << QString() << QByteArray("LS_TEST_CATALOGUE: no catalogue named \"\"\n");
        QTest::newRow("empty: refused with exit 2, nothing asked")
                << QStringLiteral("") << QByteArray("LS_TEST_CATALOGUE: no catalogue named \"\"\n");
        QTest::newRow("name in the wrong case: refused with exit 2, nothing asked")
                << QStringLiteral("Base")
                << QByteArray("LS_TEST_CATALOGUE: no catalogue named \"Base\"\n");
    }

    void refusedCatalogue()
    {
        QFETCH(QString, catalogue);
        QFETCH(QByteArray, standardError);

        QProcessEnvironment environment = testCatalogueEnvironment();
        if (!catalogue.isNull())
            environment.insert(QStringLiteral("LS_TEST_CATALOGUE"), catalogue);
        ToolRunner runner(m_bus);
        // Answers -l, so that a tool that went on would list as usual and its request be recorded.
        const QByteArray script = catalogueAnswer(categoriesQuery, entries(categoryEnumerators()));
        QVERIFY2(runner.startScripted(script), qPrintable(runner.errorString()));
        // The library refuses before the tool can log anything, so both patterns give the same
        // bytes.
        for (MessagePattern pattern : {MessagePattern::Default, MessagePattern::Context}) {
            const ToolRun run = runner.run({QStringLiteral("-l")}, pattern, environment);
            QVERIFY2(run.failure.isEmpty(), qPrintable(run.failure));
            QCOMPARE(run.standardError, standardError);
            QCOMPARE(run.standardOutput, QByteArray());
            QCOMPARE(run.exitCode, 2);
            QCOMPARE(run.requests, QStringList());
        }
    }

private:
    TestBus m_bus;
};

QTEST_GUILESS_MAIN(TestCatalogueShapes)

#include "tst_catalogueshapes.moc"
