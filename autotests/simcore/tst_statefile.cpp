// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The kept state (state/): what survives a restart, when the file is written, and a damaged file.

#include "datatable.h"
#include "simcoretest.h"

#include "messagelog.h"
#include "state/devicestate.h"

#include <sys/stat.h>

using namespace SimTest;

class StateFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { MessageLog::install(); }

    void cleanup() { MessageLog::reset(); }

    void stateSurvivesRestart()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        DeviceOptions options = stepping();
        // The folder does not exist yet: the device makes it.
        options.stateFile = dir.filePath(QStringLiteral("device/state.json"));
        using namespace ls;
        {
            Device device(options);
            QVERIFY(runSteps(device,
                             {step(ConfigurationCommandId::SetCellsPerLine, {QStringLiteral("30")}),
                              step(ConfigurationCommandId::SetBrailleTable,
                                   {QStringLiteral("en-us-g2.ctb")}),
                              step(PaperFeedCommandId::LoadPaper, {QStringLiteral("7")}),
                              step(PaperFeedCommandId::FeedSheet),
                              step(PaperFeedCommandId::SetFeedMode, {QStringLiteral("tractor")}),
                              step(DocumentCommandId::OpenDocument, {QStringLiteral("Kept")}),
                              step(DocumentCommandId::AddText,
                                   {one, QStringLiteral("the"), QString(), QStringLiteral("end")}),
                              step(DocumentCommandId::CloseDocument, {one}),
                              step(DocumentCommandId::OpenDocument, {QStringLiteral("Draft")}),
                              step(EmbossCommandId::EmbossText, {QStringLiteral("x")}),
                              step(EmbossCommandId::GetEmbossStatus),
                              step(PaperFeedCommandId::FeedSheet),
                              step(TestingCommandId::InjectFault, {QStringLiteral("paper-jam")})}));
            QCOMPARE(device.handle(commandRequest(EmbossCommandId::EmbossText,
                                                  {QStringLiteral("x")}))
                             .value(ls::errorIdKey)
                             .toString(),
                     QStringLiteral("PaperJam"));
            QVERIFY(runSteps(
                    device, {step(TestingCommandId::InjectFault, {QStringLiteral("cover-open")})}));
            // Written after each change, while the device still runs.
            const QJsonObject saved = QJsonDocument::fromJson(readAll(options.stateFile)).object();
            QCOMPARE(saved.value(QStringLiteral("pendingFault")).toString(),
                     QStringLiteral("cover-open"));
        }
        QCOMPARE(QDir(dir.filePath(QStringLiteral("device"))).entryList(QDir::Files | QDir::Hidden),
                 QStringList(QStringLiteral("state.json")));

        Device device(options);
        QVariantMap config = defaultConfiguration();
        config.insert(QStringLiteral("cellsPerLine"), 30);
        config.insert(QStringLiteral("brailleTable"), QStringLiteral("en-us-g2.ctb"));
        QCOMPARE(run(device, ConfigurationCommandId::GetConfiguration), config);
        const QVariantMap paper = run(device, PaperFeedCommandId::GetPaperStatus);
        QCOMPARE(paper.value(QStringLiteral("sheetsLoaded")), QVariant(5));
        QCOMPARE(paper.value(QStringLiteral("sheetInPosition")), QVariant(true));
        QCOMPARE(paper.value(QStringLiteral("feedMode")), QVariant(QStringLiteral("tractor")));
        const QVariantMap info = run(device, DocumentCommandId::GetDocumentInfo, {one});
        QCOMPARE(info.value(QStringLiteral("text")), QVariant(QStringLiteral("the  end")));
        QCOMPARE(info.value(QStringLiteral("state")), QVariant(QStringLiteral("closed")));
        QCOMPARE(run(device, DocumentCommandId::ListDocuments).value(QStringLiteral("documentIds")),
                 QVariant(QStringLiteral("1,2")));
        QCOMPARE(run(device, TestingCommandId::TestSensors).value(QStringLiteral("coverClosed")),
                 QVariant(false));
        const QVariantMap log = run(device, TestingCommandId::GetErrorLog);
        QCOMPARE(log.value(QStringLiteral("entryCount")), QVariant(1));
        QVERIFY(log.value(QStringLiteral("entry1"))
                        .toString()
                        .contains(QStringLiteral(" PaperJam: ")));
        QCOMPARE(run(device, DocumentCommandId::OpenDocument, {QStringLiteral("New")})
                         .value(QStringLiteral("documentId")),
                 QVariant(3));
        QVERIFY(runSteps(device, {step(TestingCommandId::InjectFault, {QStringLiteral("none")})}));
        QCOMPARE(run(device, EmbossCommandId::EmbossText, {QStringLiteral("x")})
                         .value(QStringLiteral("jobId")),
                 QVariant(2));
        for (const QString &m : qAsConst(MessageLog::messages())) {
            QVERIFY2(!m.startsWith(QLatin1String("warning|"))
                             && !m.startsWith(QLatin1String("critical|"))
                             && !m.startsWith(QLatin1String("fatal|")),
                     qPrintable(m));
        }
    }

    void stateFileRewrittenOnlyOnChange_data()
    {
        addColumns<QStringList, bool>("command", "rewritten");

        using namespace ls;
        QTest::newRow("GetConfiguration")
                << step(ConfigurationCommandId::GetConfiguration) << false;
        QTest::newRow("GetPaperStatus") << step(PaperFeedCommandId::GetPaperStatus) << false;
        QTest::newRow("ListDocuments") << step(DocumentCommandId::ListDocuments) << false;
        QTest::newRow("GetDocumentInfo")
                << step(DocumentCommandId::GetDocumentInfo, {one}) << false;
        QTest::newRow("GetEmbossStatus") << step(EmbossCommandId::GetEmbossStatus) << false;
        QTest::newRow("RunSelfTest") << step(TestingCommandId::RunSelfTest) << false;
        QTest::newRow("TestSensors") << step(TestingCommandId::TestSensors) << false;
        QTest::newRow("GetErrorLog") << step(TestingCommandId::GetErrorLog) << false;
        QTest::newRow("Ping") << step(IpcCommandId::Ping) << false;
        QTest::newRow("GetServiceInfo") << step(IpcCommandId::GetServiceInfo) << false;
        QTest::newRow("Echo") << step(IpcCommandId::Echo, {QStringLiteral("hi")}) << false;
        QTest::newRow("GetDeviceState") << step(IpcCommandId::GetDeviceState) << false;
        QTest::newRow("a failed read-only request")
                << step(DocumentCommandId::GetDocumentInfo, {QStringLiteral("9")}) << false;
        QTest::newRow("a change is written")
                << step(ConfigurationCommandId::SetDuplex, {one}) << true;
        QTest::newRow("an error logged is written") << step(PaperFeedCommandId::FeedSheet) << true;
    }

    void stateFileRewrittenOnlyOnChange()
    {
        QFETCH(QStringList, command);
        QFETCH(bool, rewritten);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        DeviceOptions options = stepping();
        options.stateFile = dir.filePath(QStringLiteral("state.json"));
        Device device(options);
        QVERIFY(runSteps(device, {step(ls::DocumentCommandId::OpenDocument, {QStringLiteral("A")}),
                                  step(ls::DocumentCommandId::AddText,
                                       {QStringLiteral("1"), QStringLiteral("abc")})}));
        // Every write replaces the file with a new one, made before the old one goes.
        const auto inode = [&options] {
            struct stat status;
            return ::stat(QFile::encodeName(options.stateFile).constData(), &status) == 0
                           ? qint64(status.st_ino)
                           : qint64(-1);
        };
        const qint64 before = inode();
        QVERIFY(before != -1);
        device.handle(commandRequest(command.first().toInt(), command.mid(1)));
        QCOMPARE(inode() != before, rewritten);
        const qint64 after = inode();
        for (int i = 0; i < 3; ++i)
            device.handle(commandRequest(ls::IpcCommandId::Ping, {}));
        QCOMPARE(inode(), after);
    }

    void changeSurvivesImmediateRestart_data()
    {
        addErrorColumns();
        addColumns<QStringList, QVariantMap>("probe", "expected");

        using namespace ls;
        const QString noError = ls::ErrorId::NoError;
        const auto s = [](const char *text) {
            return QString::fromUtf8(text);
        };
        const QStringList configuration = step(ConfigurationCommandId::GetConfiguration);
        const QStringList paper = step(PaperFeedCommandId::GetPaperStatus);
        const QStringList deviceState = step(IpcCommandId::GetDeviceState);
        // A new job's id shows the job numbering that the state keeps.
        const QStringList nextJob = step(EmbossCommandId::EmbossText, {s("x")});
        // Three copies of a page, so that the job still runs after its first page.
        const Steps job = closedDocument(s("abc"))
                          + Steps{step(EmbossCommandId::StartEmbossing, {one, s("3")})};

        QTest::newRow("SetPaperFormat")
                << Steps() << step(ConfigurationCommandId::SetPaperFormat, {s("Letter")}) << noError
                << configuration << QVariantMap{{s("paperFormat"), s("Letter")}};
        QTest::newRow("SetCellsPerLine")
                << Steps() << step(ConfigurationCommandId::SetCellsPerLine, {s("30")}) << noError
                << configuration << QVariantMap{{s("cellsPerLine"), 30}};
        QTest::newRow("SetLinesPerPage")
                << Steps() << step(ConfigurationCommandId::SetLinesPerPage, {s("20")}) << noError
                << configuration << QVariantMap{{s("linesPerPage"), 20}};
        QTest::newRow("SetDuplex")
                << Steps() << step(ConfigurationCommandId::SetDuplex, {s("true")}) << noError
                << configuration << QVariantMap{{s("duplex"), true}};
        QTest::newRow("SetBrailleTable")
                << Steps() << step(ConfigurationCommandId::SetBrailleTable, {s("en-us-g2.ctb")})
                << noError << configuration << QVariantMap{{s("brailleTable"), s("en-us-g2.ctb")}};
        QTest::newRow("SetDotStrength")
                << Steps() << step(ConfigurationCommandId::SetDotStrength, {s("5")}) << noError
                << configuration << QVariantMap{{s("dotStrength"), 5}};
        QTest::newRow("ResetConfiguration")
                << Steps{step(ConfigurationCommandId::SetCellsPerLine, {s("30")}),
                         step(ConfigurationCommandId::SetDuplex, {s("true")})}
                << step(ConfigurationCommandId::ResetConfiguration) << noError << configuration
                << QVariantMap{{s("cellsPerLine"), 40}, {s("duplex"), false}};
        QTest::newRow("LoadPaper") << Steps() << step(PaperFeedCommandId::LoadPaper, {s("7")})
                                   << noError << paper << QVariantMap{{s("sheetsLoaded"), 7}};
        QTest::newRow("FeedSheet")
                << Steps{step(PaperFeedCommandId::LoadPaper, {s("3")})}
                << step(PaperFeedCommandId::FeedSheet) << noError << paper
                << QVariantMap{{s("sheetsLoaded"), 2}, {s("sheetInPosition"), true}};
        QTest::newRow("EjectSheet")
                << Steps{step(PaperFeedCommandId::LoadPaper, {s("3")}),
                         step(PaperFeedCommandId::FeedSheet)}
                << step(PaperFeedCommandId::EjectSheet) << noError << paper
                << QVariantMap{{s("sheetsLoaded"), 2}, {s("sheetInPosition"), false}};
        QTest::newRow("FeedSheet refused by an empty tray, the error logged")
                << Steps() << step(PaperFeedCommandId::FeedSheet) << s("OutOfPaper")
                << step(TestingCommandId::GetErrorLog) << QVariantMap{{s("entryCount"), 1}};
        QTest::newRow("SetFeedMode")
                << Steps() << step(PaperFeedCommandId::SetFeedMode, {s("tractor")}) << noError
                << paper << QVariantMap{{s("feedMode"), s("tractor")}};
        QTest::newRow("OpenDocument")
                << Steps() << step(DocumentCommandId::OpenDocument, {s("Notes")}) << noError
                << step(DocumentCommandId::ListDocuments)
                << QVariantMap{{s("documentIds"), one}, {s("openDocuments"), 1}};
        QTest::newRow("AddText") << Steps{step(DocumentCommandId::OpenDocument, {s("Notes")})}
                                 << step(DocumentCommandId::AddText, {one, s("abc")}) << noError
                                 << step(DocumentCommandId::GetDocumentInfo, {one})
                                 << QVariantMap{{s("text"), s("abc")}};
        QTest::newRow("CloseDocument")
                << Steps{step(DocumentCommandId::OpenDocument, {s("Notes")}),
                         step(DocumentCommandId::AddText, {one, s("abc")})}
                << step(DocumentCommandId::CloseDocument, {one}) << noError
                << step(DocumentCommandId::GetDocumentInfo, {one})
                << QVariantMap{{s("state"), s("closed")}, {s("text"), s("abc")}};
        QTest::newRow("DeleteDocument") << Steps{step(DocumentCommandId::OpenDocument, {s("A")}),
                                                 step(DocumentCommandId::OpenDocument, {s("B")})}
                                        << step(DocumentCommandId::DeleteDocument, {one}) << noError
                                        << step(DocumentCommandId::ListDocuments)
                                        << QVariantMap{{s("documentIds"), s("2")}};
        QTest::newRow("StartEmbossing")
                << closedDocument(s("abc")) << step(EmbossCommandId::StartEmbossing, {one, one})
                << noError << nextJob << QVariantMap{{s("jobId"), 2}};
        QTest::newRow("StartEmbossing refused by a jam, the jam cleared and logged")
                << closedDocument(s("abc"))
                           + Steps{step(TestingCommandId::InjectFault, {s("paper-jam")})}
                << step(EmbossCommandId::StartEmbossing, {one, one}) << s("PaperJam") << deviceState
                << QVariantMap{{s("pendingFault"), s("none")}, {s("errorLogEntries"), 1}};
        // With a page per request, the request embosses a page before it pauses or cancels.
        QTest::newRow("PauseEmbossing, after the page it embossed")
                << job << step(EmbossCommandId::PauseEmbossing) << noError << deviceState
                << QVariantMap{{s("sheetsLoaded"), 9}};
        QTest::newRow("ResumeEmbossing refused by an open cover, the cover logged")
                << job
                           + Steps{step(EmbossCommandId::PauseEmbossing),
                                   step(TestingCommandId::InjectFault, {s("cover-open")})}
                << step(EmbossCommandId::ResumeEmbossing) << s("CoverOpen") << deviceState
                << QVariantMap{{s("pendingFault"), s("none")}, {s("errorLogEntries"), 1}};
        QTest::newRow("CancelEmbossing, after the page it embossed")
                << job << step(EmbossCommandId::CancelEmbossing) << noError << deviceState
                << QVariantMap{{s("sheetsLoaded"), 9}};
        QTest::newRow("EmbossText") << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
                                    << step(EmbossCommandId::EmbossText, {s("hello")}) << noError
                                    << nextJob << QVariantMap{{s("jobId"), 2}};
        QTest::newRow("EmbossTestPage") << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
                                        << step(TestingCommandId::EmbossTestPage, {s("grid")})
                                        << noError << nextJob << QVariantMap{{s("jobId"), 2}};
        QTest::newRow("ClearErrorLog")
                << Steps{step(PaperFeedCommandId::FeedSheet), step(PaperFeedCommandId::FeedSheet)}
                << step(TestingCommandId::ClearErrorLog) << noError
                << step(TestingCommandId::GetErrorLog) << QVariantMap{{s("entryCount"), 0}};
        QTest::newRow("InjectFault paper-jam")
                << Steps() << step(TestingCommandId::InjectFault, {s("paper-jam")}) << noError
                << deviceState << QVariantMap{{s("pendingFault"), s("paper-jam")}};
        QTest::newRow("InjectFault out-of-paper")
                << Steps{step(PaperFeedCommandId::LoadPaper, {s("5")})}
                << step(TestingCommandId::InjectFault, {s("out-of-paper")}) << noError << paper
                << QVariantMap{{s("sheetsLoaded"), 0}};
        QTest::newRow("InjectFault none")
                << Steps{step(TestingCommandId::InjectFault, {s("cover-open")})}
                << step(TestingCommandId::InjectFault, {s("none")}) << noError << deviceState
                << QVariantMap{{s("pendingFault"), s("none")}};
    }

    void changeSurvivesImmediateRestart()
    {
        QFETCH(Steps, setup);
        QFETCH(QStringList, command);
        QFETCH(QString, errorId);
        QFETCH(QStringList, probe);
        QFETCH(QVariantMap, expected);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const auto request = [](const QStringList &s) {
            return commandRequest(s.first().toInt(), s.mid(1));
        };
        // The probe's fields that the row names, as a restarted device on the file answers; as
        // text, so that a failure shows them.
        const auto afterRestart = [&](const DeviceOptions &options) {
            Device device(options);
            const QVariantMap details = run(device, probe.first().toInt(), probe.mid(1));
            QVariantMap picked;
            for (auto it = expected.cbegin(); it != expected.cend(); ++it)
                picked.insert(it.key(), details.value(it.key()));
            return describe(picked);
        };
        // Some setups fail on purpose, to log an error or leave a fault.
        const auto runSetup = [&](Device &device) {
            for (const QStringList &s : setup)
                device.handle(request(s));
        };

        // The setup alone does not leave what the row expects: the command makes the change.
        DeviceOptions options = stepping();
        options.stateFile = dir.filePath(QStringLiteral("setup-only.json"));
        {
            Device device(options);
            runSetup(device);
        }
        QVERIFY(afterRestart(options) != describe(expected));

        options.stateFile = dir.filePath(QStringLiteral("state.json"));
        {
            Device device(options);
            runSetup(device);
            QCOMPARE(device.handle(request(command)).value(ls::errorIdKey).toString(), errorId);
        }
        QCOMPARE(afterRestart(options), describe(expected));
    }

    void damagedStateFile_data()
    {
        QTest::addColumn<QByteArray>("content");

        DeviceState state;
        state.documents.append({1, QStringLiteral("A"), QStringLiteral("abc"), false});
        state.nextDocumentId = 2;
        const QJsonObject good = state.toJson();
        const auto changed
                = [&good](const QString &section, const QString &key, const QJsonValue &value) {
                      QJsonObject o = good;
                      if (section.isEmpty()) {
                          o.insert(key, value);
                      } else {
                          QJsonObject inner = o.value(section).toObject();
                          inner.insert(key, value);
                          o.insert(section, inner);
                      }
                      return QJsonDocument(o).toJson();
                  };
        const QByteArray whole = QJsonDocument(good).toJson();

        QTest::newRow("empty file") << QByteArray();
        QTest::newRow("cut short") << whole.left(whole.size() / 2);
        QTest::newRow("not JSON") << QByteArray("sheets=5\n");
        QTest::newRow("JSON list") << QByteArray("[1, 2]");
        QTest::newRow("unknown version") << changed(QString(), QStringLiteral("version"), 99);
        QTest::newRow("cells per line as text")
                << changed(QStringLiteral("configuration"), QStringLiteral("cellsPerLine"),
                           QStringLiteral("40"));
        QTest::newRow("cells per line out of range")
                << changed(QStringLiteral("configuration"), QStringLiteral("cellsPerLine"), 200);
        QTest::newRow("more sheets than the tray holds")
                << changed(QStringLiteral("paper"), QStringLiteral("sheetsLoaded"), 501);
        QTest::newRow("document id not below the next one")
                << changed(QString(), QStringLiteral("nextDocumentId"), 1);
        QTest::newRow("documents missing") << [&good] {
            QJsonObject o = good;
            o.remove(QStringLiteral("documents"));
            return QJsonDocument(o).toJson();
        }();
    }

    void damagedStateFile()
    {
        QFETCH(QByteArray, content);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        DeviceOptions options = stepping();
        options.stateFile = dir.filePath(QStringLiteral("state.json"));
        QVERIFY(writeAll(options.stateFile, content));

        Device device(options);
        const QStringList aside
                = QDir(dir.path()).entryList({QStringLiteral("state.json.damaged-*")}, QDir::Files);
        QCOMPARE(aside.size(), 1);
        QCOMPARE(readAll(dir.filePath(aside.first())), content);
        QVERIFY(!QFile::exists(options.stateFile));

        // "<type>|<category>|<file>|<function>|<text>"
        QCOMPARE(MessageLog::messages().size(), 1);
        const QString message = MessageLog::messages().first();
        QCOMPARE(message.section(QLatin1Char('|'), 0, 0), QStringLiteral("warning"));
        QCOMPARE(message.section(QLatin1Char('|'), 1, 1), QStringLiteral("sim.device"));
        const QString text = message.section(QLatin1Char('|'), 4);
        QVERIFY2(text.contains(options.stateFile + QStringLiteral(" is damaged")),
                 qPrintable(text));
        QVERIFY(text.contains(dir.filePath(aside.first())));

        // The device starts from the factory state and saves anew, leaving the damaged file be.
        QCOMPARE(run(device, ls::DocumentCommandId::ListDocuments)
                         .value(QStringLiteral("documentCount")),
                 QVariant(0));
        QCOMPARE(run(device, ls::ConfigurationCommandId::GetConfiguration), defaultConfiguration());
        run(device, ls::PaperFeedCommandId::LoadPaper, {QStringLiteral("3")});
        QVERIFY(QFile::exists(options.stateFile));
        QCOMPARE(readAll(dir.filePath(aside.first())), content);
        Device restarted(options);
        QCOMPARE(run(restarted, ls::PaperFeedCommandId::GetPaperStatus)
                         .value(QStringLiteral("sheetsLoaded")),
                 QVariant(3));
        QCOMPARE(MessageLog::messages().size(), 1);
    }
};

QTEST_GUILESS_MAIN(StateFileTest)
#include "tst_statefile.moc"
