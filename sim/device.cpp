#include "device.h"

#include "braille.h"
#include "catalogue.h"
#include "devicelogging.h"

#include <ls/commandids.h>
#include <ls/messagekeys.h>

#include <QDir>
#include <QElapsedTimer>
#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSet>

namespace {

const QString invalidRequest = QStringLiteral("InvalidRequest");
const QString unknownCategory = QStringLiteral("UnknownCategory");
const QString unknownCommand = QStringLiteral("UnknownCommand");
const QString invalidArgumentCount = QStringLiteral("InvalidArgumentCount");
const QString invalidArgument = QStringLiteral("InvalidArgument");
const QString deviceBusy = QStringLiteral("DeviceBusy");
const QString outOfPaper = QStringLiteral("OutOfPaper");
const QString paperJam = QStringLiteral("PaperJam");
const QString coverOpen = QStringLiteral("CoverOpen");
const QString noSuchDocument = QStringLiteral("NoSuchDocument");
const QString invalidState = QStringLiteral("InvalidState");
const QString translationFailed = QStringLiteral("TranslationFailed");

const QString faultNone = QStringLiteral("none");
const QString faultPaperJam = QStringLiteral("paper-jam");
const QString faultCoverOpen = QStringLiteral("cover-open");
const QString faultOutOfPaper = QStringLiteral("out-of-paper");

constexpr int maximumDocuments = 100;
constexpr int maximumDocumentLength = 65536;
constexpr int maximumTitleLength = 200;
constexpr int maximumLogEntries = 100;

// A sub-command id is a number; a text or a fraction that happens to convert is a caller's
// mistake worth reporting.
bool integerValue(const QVariant &value, int *result)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::SChar: {
        bool ok = false;
        const qlonglong v = value.toLongLong(&ok);
        if (!ok || v < INT_MIN || v > INT_MAX
            || (value.userType() == QMetaType::ULongLong && value.toULongLong() > INT_MAX))
            return false;
        *result = int(v);
        return true;
    }
    default:
        return false;
    }
}

// Arguments arrive as words; numbers and truth values sent by other peers are taken as their
// text.
bool wordValue(const QVariant &value, QString *word)
{
    switch (value.userType()) {
    case QMetaType::QString:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Double:
    case QMetaType::Bool:
        *word = value.toString();
        return true;
    default:
        return false;
    }
}

// What the operator counts as characters: code points, so that an emoji beyond the Basic
// Multilingual Plane, two UTF-16 units, is one.
int characterCount(const QString &text)
{
    return text.toUcs4().size();
}

} // namespace

Device::Device(const DeviceOptions &options) : m_options(options)
{
    if (!m_options.clockMs) {
        auto timer = std::make_shared<QElapsedTimer>();
        timer->start();
        m_options.clockMs = [timer] {
            return timer->elapsed();
        };
    }
    m_startMs = m_options.clockMs();
    if (!m_options.stateFile.isEmpty()) {
        m_stateFile = std::make_unique<StateFile>(m_options.stateFile);
        m_state = m_stateFile->load();
    }
}

Device::~Device() = default;

Device::Result Device::success(const QVariantMap &details)
{
    return {QString(), QString(), details};
}

Device::Result Device::failure(const QString &errorId, const QString &message)
{
    return {errorId, message, {}};
}

QVariantMap Device::answer(const Result &result, const QVariantMap &payload)
{
    QVariantMap response;
    if (result.errorId.isEmpty()) {
        response = payload;
        response.insert(ls::resultIdKey, ls::ResultId::Success);
        response.insert(ls::errorIdKey, ls::ErrorId::NoError);
    } else {
        response.insert(ls::resultIdKey, ls::ResultId::Failure);
        response.insert(ls::errorIdKey, result.errorId);
        response.insert(ls::errorMessageKey, result.message);
    }
    return response;
}

QVariantMap Device::handle(const QVariantMap &request)
{
    ++m_requestsServed;
    advanceJob();
    const QVariantMap response = dispatch(request);
    if (m_stateFile && m_stateChanged)
        m_stateChanged = !m_stateFile->save(m_state);
    return response;
}

QVariantMap Device::dispatch(const QVariantMap &request)
{
    const QVariant commandId = request.value(ls::commandIdKey);
    if (commandId.userType() != QMetaType::QString) {
        return answer(failure(invalidRequest,
                              QStringLiteral("The request has no command id text under \"%1\"")
                                      .arg(ls::commandIdKey)));
    }
    const QString id = commandId.toString();
    if (id == ls::CommandHandlerCmdId::GetCommandCategories)
        return answer(success(), {{ls::commandCategoriesKey, Catalogue::categoryEntries()}});
    if (id == ls::CommandHandlerCmdId::GetCommands)
        return commandList(request);
    if (id == ls::CommandHandlerCmdId::HandleCommand)
        return handleCommand(request);
    return answer(failure(invalidRequest, QStringLiteral("Unknown request \"%1\"").arg(id)));
}

QVariantMap Device::commandList(const QVariantMap &request) const
{
    const QVariant category = request.value(ls::categoryKey);
    if (category.userType() != QMetaType::QString) {
        return answer(failure(invalidRequest,
                              QStringLiteral("The request has no category name under \"%1\"")
                                      .arg(ls::categoryKey)));
    }
    bool known = false;
    const QVariantList entries = Catalogue::commandEntries(category.toString(), &known);
    if (!known) {
        return answer(failure(
                unknownCategory,
                QStringLiteral("There is no command category \"%1\"").arg(category.toString())));
    }
    return answer(success(), {{ls::commandsKey, entries}});
}

QVariantMap Device::handleCommand(const QVariantMap &request)
{
    int id = 0;
    if (!integerValue(request.value(ls::subCommandIdKey), &id)) {
        return answer(failure(invalidRequest,
                              QStringLiteral("The request has no command number under \"%1\"")
                                      .arg(ls::subCommandIdKey)));
    }
    const QVariant args = request.value(ls::argsKey);
    if (args.userType() != QMetaType::QVariantList && args.userType() != QMetaType::QStringList) {
        return answer(failure(
                invalidRequest,
                QStringLiteral("The request has no argument list under \"%1\"").arg(ls::argsKey)));
    }
    const Catalogue::Command *command = Catalogue::command(id);
    if (!command)
        return answer(failure(unknownCommand, QStringLiteral("There is no command %1").arg(id)));

    Arguments arguments;
    Result result = parseArguments(*command, args.toList(), &arguments);
    if (result.errorId.isEmpty()) {
        if (!isReadOnly(id))
            m_stateChanged = true;
        result = (this->*handlerFor(id))(arguments);
    }
    if (!result.errorId.isEmpty())
        return answer(result);
    return answer(result, {{ls::detailsMapKey, result.details}});
}

Device::Result Device::parseArguments(const Catalogue::Command &command, const QVariantList &words,
                                      Arguments *arguments) const
{
    QStringList texts;
    for (int i = 0; i < words.size(); ++i) {
        QString word;
        if (!wordValue(words.at(i), &word)) {
            return failure(invalidRequest, QStringLiteral("Argument %1 is not a word").arg(i + 1));
        }
        texts.append(word);
    }

    const auto &rules = command.arguments;
    const int expected = rules.size();
    const bool restIsText = expected > 0 && rules.last().type == Catalogue::ArgumentType::String;
    if (texts.size() < expected || (texts.size() > expected && !restIsText)) {
        return failure(invalidArgumentCount, QStringLiteral("%1 takes %2 argument(s), %3 given")
                                                     .arg(command.name)
                                                     .arg(expected)
                                                     .arg(texts.size()));
    }
    if (restIsText) {
        // The text is the rest of the words as the operator typed them, blanks included.
        const QString rest = texts.mid(expected - 1).join(QLatin1Char(' '));
        texts = texts.mid(0, expected - 1);
        texts.append(rest);
    }

    static const QRegularExpression decimal(QStringLiteral("^[+-]?[0-9]+$"));
    for (int i = 0; i < expected; ++i) {
        const Catalogue::Argument &rule = rules.at(i);
        const QString &text = texts.at(i);
        switch (rule.type) {
        case Catalogue::ArgumentType::Int: {
            bool ok = decimal.match(text).hasMatch();
            const int value = ok ? text.toInt(&ok, 10) : 0;
            if (!ok) {
                return failure(invalidArgument,
                               QStringLiteral("%1 must be a whole number, not \"%2\"")
                                       .arg(rule.name, text));
            }
            if (value < rule.minimum || value > rule.maximum) {
                const QString range = rule.maximum == INT_MAX
                                              ? QStringLiteral("at least %1").arg(rule.minimum)
                                              : QStringLiteral("from %1 to %2")
                                                        .arg(rule.minimum)
                                                        .arg(rule.maximum);
                return failure(
                        invalidArgument,
                        QStringLiteral("%1 must be %2, not %3").arg(rule.name, range).arg(value));
            }
            arguments->append(value);
            break;
        }
        case Catalogue::ArgumentType::Bool:
            if (text == QLatin1String("true") || text == QLatin1String("1")) {
                arguments->append(true);
            } else if (text == QLatin1String("false") || text == QLatin1String("0")) {
                arguments->append(false);
            } else {
                return failure(invalidArgument,
                               QStringLiteral("%1 must be true, false, 1 or 0, not \"%2\"")
                                       .arg(rule.name, text));
            }
            break;
        case Catalogue::ArgumentType::String:
            if (!rule.choices.isEmpty() && !rule.choices.contains(text)) {
                return failure(
                        invalidArgument,
                        QStringLiteral("%1 must be one of %2, not \"%3\"")
                                .arg(rule.name, rule.choices.join(QStringLiteral(", ")), text));
            }
            arguments->append(text);
            break;
        }
    }
    return success();
}

Device::Handler Device::handlerFor(int commandId) const
{
    using namespace ls;
    static const QHash<int, Handler> handlers = {
            {ConfigurationCommandId::GetConfiguration, &Device::getConfiguration},
            {ConfigurationCommandId::SetPaperFormat, &Device::setPaperFormat},
            {ConfigurationCommandId::SetCellsPerLine, &Device::setCellsPerLine},
            {ConfigurationCommandId::SetLinesPerPage, &Device::setLinesPerPage},
            {ConfigurationCommandId::SetDuplex, &Device::setDuplex},
            {ConfigurationCommandId::SetBrailleTable, &Device::setBrailleTable},
            {ConfigurationCommandId::SetDotStrength, &Device::setDotStrength},
            {ConfigurationCommandId::ResetConfiguration, &Device::resetConfiguration},
            {PaperFeedCommandId::GetPaperStatus, &Device::getPaperStatus},
            {PaperFeedCommandId::LoadPaper, &Device::loadPaper},
            {PaperFeedCommandId::FeedSheet, &Device::feedSheet},
            {PaperFeedCommandId::EjectSheet, &Device::ejectSheet},
            {PaperFeedCommandId::SetFeedMode, &Device::setFeedMode},
            {DocumentCommandId::OpenDocument, &Device::openDocument},
            {DocumentCommandId::AddText, &Device::addText},
            {DocumentCommandId::CloseDocument, &Device::closeDocument},
            {DocumentCommandId::ListDocuments, &Device::listDocuments},
            {DocumentCommandId::GetDocumentInfo, &Device::getDocumentInfo},
            {DocumentCommandId::DeleteDocument, &Device::deleteDocument},
            {EmbossCommandId::StartEmbossing, &Device::startEmbossing},
            {EmbossCommandId::PauseEmbossing, &Device::pauseEmbossing},
            {EmbossCommandId::ResumeEmbossing, &Device::resumeEmbossing},
            {EmbossCommandId::CancelEmbossing, &Device::cancelEmbossing},
            {EmbossCommandId::GetEmbossStatus, &Device::getEmbossStatus},
            {EmbossCommandId::EmbossText, &Device::embossText},
            {TestingCommandId::RunSelfTest, &Device::runSelfTest},
            {TestingCommandId::EmbossTestPage, &Device::embossTestPage},
            {TestingCommandId::TestSensors, &Device::testSensors},
            {TestingCommandId::GetErrorLog, &Device::getErrorLog},
            {TestingCommandId::ClearErrorLog, &Device::clearErrorLog},
            {TestingCommandId::InjectFault, &Device::injectFault},
            {IpcCommandId::Ping, &Device::ping},
            {IpcCommandId::GetServiceInfo, &Device::getServiceInfo},
            {IpcCommandId::Echo, &Device::echo},
            {IpcCommandId::GetDeviceState, &Device::getDeviceState},
    };
    return handlers.value(commandId);
}

bool Device::isReadOnly(int commandId)
{
    using namespace ls;
    static const QSet<int> commands = {
            ConfigurationCommandId::GetConfiguration,
            PaperFeedCommandId::GetPaperStatus,
            DocumentCommandId::ListDocuments,
            DocumentCommandId::GetDocumentInfo,
            EmbossCommandId::GetEmbossStatus,
            TestingCommandId::RunSelfTest,
            TestingCommandId::TestSensors,
            TestingCommandId::GetErrorLog,
            IpcCommandId::Ping,
            IpcCommandId::GetServiceInfo,
            IpcCommandId::Echo,
            IpcCommandId::GetDeviceState,
    };
    return commands.contains(commandId);
}

// Device state helpers

bool Device::jobActive() const
{
    return m_job.state != JobState::Idle;
}

Device::Result Device::busyFailure() const
{
    return failure(deviceBusy,
                   QStringLiteral("Job %1 is %2; wait for it or cancel it first")
                           .arg(m_job.id)
                           .arg(m_job.state == JobState::Paused ? QStringLiteral("paused")
                                                                : QStringLiteral("embossing")));
}

void Device::logError(const QString &code, const QString &message)
{
    m_stateChanged = true;
    m_state.errorLog.append({QDateTime::currentDateTimeUtc(), code, message});
    while (m_state.errorLog.size() > maximumLogEntries)
        m_state.errorLog.removeFirst();
}

Device::Result Device::takeFault()
{
    Result result;
    if (m_state.pendingFault == faultPaperJam) {
        result = failure(paperJam, QStringLiteral("Paper jammed in the feed path"));
    } else if (m_state.pendingFault == faultCoverOpen) {
        result = failure(coverOpen, QStringLiteral("The cover is open"));
    } else {
        return success();
    }
    // The operator clears the jam or closes the cover before trying again.
    m_state.pendingFault = faultNone;
    logError(result.errorId, result.message);
    return result;
}

Device::Result Device::checkPaperReady()
{
    Result fault = takeFault();
    if (!fault.errorId.isEmpty())
        return fault;
    if (!m_state.paper.sheetInPosition && m_state.paper.sheetsLoaded == 0) {
        const Result result = failure(outOfPaper, QStringLiteral("The paper tray is empty"));
        logError(result.errorId, result.message);
        return result;
    }
    return success();
}

void Device::advanceJob()
{
    if (m_job.state != JobState::Embossing)
        return;
    if (m_options.stepPerRequest) {
        embossNextPage();
        return;
    }
    const qint64 now = m_options.clockMs();
    while (m_job.state == JobState::Embossing && now - m_jobClockMs >= pageIntervalMs) {
        m_jobClockMs += pageIntervalMs;
        embossNextPage();
    }
}

bool Device::nextPageNeedsSheet() const
{
    // In duplex the back of a sheet takes the next page; every copy starts on a fresh sheet.
    const int page = m_job.pagesDone % m_job.pages.size();
    return !m_state.configuration.duplex || page % 2 == 0;
}

void Device::embossNextPage()
{
    // Paper, faults and the error log change with every page.
    m_stateChanged = true;
    const auto pause = [this](const QString &reason, const QString &message) {
        m_job.state = JobState::Paused;
        m_job.pauseReason = reason;
        logError(reason, QStringLiteral("Job %1 paused: %2").arg(m_job.id).arg(message));
    };
    if (m_state.pendingFault == faultPaperJam) {
        m_state.pendingFault = faultNone;
        pause(paperJam, QStringLiteral("paper jammed in the feed path"));
        return;
    }
    if (m_state.pendingFault == faultCoverOpen) {
        m_state.pendingFault = faultNone;
        pause(coverOpen, QStringLiteral("the cover is open"));
        return;
    }

    const int copy = m_job.pagesDone / m_job.pages.size();
    const int page = m_job.pagesDone % m_job.pages.size();
    if (nextPageNeedsSheet()) {
        if (m_state.paper.sheetInPosition) {
            m_state.paper.sheetInPosition = false;
        } else if (m_state.paper.sheetsLoaded > 0) {
            --m_state.paper.sheetsLoaded;
        } else {
            pause(outOfPaper, QStringLiteral("the paper tray is empty"));
            return;
        }
        ++m_job.sheetsUsed;
    }
    writePage(copy + 1, page + 1, m_job.pages.at(page));
    if (++m_job.pagesDone == m_job.pagesTotal()) {
        m_job.state = JobState::Idle;
        m_job.outcome = QStringLiteral("Completed");
    }
}

void Device::writePage(int copy, int page, const QString &cells)
{
    if (m_options.outputDirectory.isEmpty())
        return;
    const QDir directory(m_options.outputDirectory);
    const QString path = directory.filePath(
            QStringLiteral("job-%1-copy-%2-page-%3.txt").arg(m_job.id).arg(copy).arg(page));
    QSaveFile file(path);
    const QByteArray content = cells.toUtf8();
    if (!directory.mkpath(QStringLiteral(".")) || !file.open(QIODevice::WriteOnly)
        || file.write(content) != content.size() || !file.commit()) {
        const QString message = QStringLiteral("Page file %1 cannot be written: %2")
                                        .arg(path, file.errorString());
        qCWarning(SIM_DEVICE).noquote() << message;
        logError(QStringLiteral("PageFileError"), message);
    }
}

Device::Result Device::startJob(int documentId, int copies, const QStringList &pages)
{
    if (pages.isEmpty())
        return failure(invalidState, QStringLiteral("There is nothing to emboss"));
    m_job = Job();
    m_job.id = m_state.nextJobId++;
    m_job.documentId = documentId;
    m_job.copies = copies;
    m_job.pages = pages;
    m_job.state = JobState::Embossing;
    m_jobClockMs = m_options.clockMs();
    return success(jobDetails());
}

Document *Device::findDocument(int id)
{
    for (Document &d : m_state.documents) {
        if (d.id == id)
            return &d;
    }
    return nullptr;
}

Device::Result Device::documentLayout(const QString &text, Layout *layout) const
{
    bool ok = false;
    QString error;
    layout->lines
            = Braille::layoutLines(m_state.configuration.brailleTable, text,
                                   m_state.configuration.cellsPerLine, &ok, &error, &layout->cells);
    return ok ? success() : failure(translationFailed, error);
}

QVariantMap Device::documentDetails(const Document &document, const Layout &layout) const
{
    const int pages = Braille::pageCount(layout.lines.size(), m_state.configuration.linesPerPage);
    return {{QStringLiteral("documentId"), document.id},
            {QStringLiteral("title"), document.title},
            {QStringLiteral("state"),
             document.open ? QStringLiteral("open") : QStringLiteral("closed")},
            {QStringLiteral("characters"), characterCount(document.text)},
            {QStringLiteral("cells"), layout.cells},
            {QStringLiteral("lines"), int(layout.lines.size())},
            {QStringLiteral("pages"), pages},
            {QStringLiteral("sheets"), m_state.configuration.duplex ? (pages + 1) / 2 : pages}};
}

QVariantMap Device::configurationDetails() const
{
    const Configuration &c = m_state.configuration;
    return {{QStringLiteral("paperFormat"), c.paperFormat},
            {QStringLiteral("cellsPerLine"), c.cellsPerLine},
            {QStringLiteral("linesPerPage"), c.linesPerPage},
            {QStringLiteral("duplex"), c.duplex},
            {QStringLiteral("brailleTable"), c.brailleTable},
            {QStringLiteral("dotStrength"), c.dotStrength}};
}

QString Device::jobStateName(JobState state)
{
    switch (state) {
    case JobState::Embossing:
        return QStringLiteral("Embossing");
    case JobState::Paused:
        return QStringLiteral("Paused");
    case JobState::Idle:
        break;
    }
    return QStringLiteral("Idle");
}

QVariantMap Device::jobDetails() const
{
    return {{QStringLiteral("jobId"), m_job.id},
            {QStringLiteral("state"), jobStateName(m_job.state)},
            {QStringLiteral("documentId"), m_job.documentId},
            {QStringLiteral("copies"), m_job.id ? m_job.copies : 0},
            {QStringLiteral("pagesDone"), m_job.pagesDone},
            {QStringLiteral("pagesTotal"), m_job.pagesTotal()},
            {QStringLiteral("sheetsUsed"), m_job.sheetsUsed},
            {QStringLiteral("pauseReason"),
             m_job.state == JobState::Paused ? m_job.pauseReason : QStringLiteral("None")},
            {QStringLiteral("outcome"),
             m_job.outcome.isEmpty() ? QStringLiteral("None") : m_job.outcome}};
}

// Configuration

Device::Result Device::getConfiguration(const Arguments &)
{
    return success(configurationDetails());
}

template<typename T>
Device::Result Device::setConfiguration(T Configuration::*field, const QString &key, const T &value)
{
    if (jobActive())
        return busyFailure();
    m_state.configuration.*field = value;
    return success({{key, QVariant::fromValue(value)}});
}

Device::Result Device::setPaperFormat(const Arguments &args)
{
    return setConfiguration(&Configuration::paperFormat, QStringLiteral("paperFormat"),
                            args.at(0).toString());
}

Device::Result Device::setCellsPerLine(const Arguments &args)
{
    return setConfiguration(&Configuration::cellsPerLine, QStringLiteral("cellsPerLine"),
                            args.at(0).toInt());
}

Device::Result Device::setLinesPerPage(const Arguments &args)
{
    return setConfiguration(&Configuration::linesPerPage, QStringLiteral("linesPerPage"),
                            args.at(0).toInt());
}

Device::Result Device::setDuplex(const Arguments &args)
{
    return setConfiguration(&Configuration::duplex, QStringLiteral("duplex"), args.at(0).toBool());
}

Device::Result Device::setBrailleTable(const Arguments &args)
{
    const QString table = args.at(0).toString();
    if (!Braille::isKnownTable(table)) {
        return failure(invalidArgument,
                       QStringLiteral("Braille table \"%1\" is not installed or does not load")
                               .arg(table));
    }
    if (!Braille::translatesText(table)) {
        return failure(invalidArgument,
                       QStringLiteral("Braille table \"%1\" does not translate text into braille")
                               .arg(table));
    }
    return setConfiguration(&Configuration::brailleTable, QStringLiteral("brailleTable"), table);
}

Device::Result Device::setDotStrength(const Arguments &args)
{
    return setConfiguration(&Configuration::dotStrength, QStringLiteral("dotStrength"),
                            args.at(0).toInt());
}

Device::Result Device::resetConfiguration(const Arguments &)
{
    if (jobActive())
        return busyFailure();
    m_state.configuration = Configuration();
    return success(configurationDetails());
}

// Paper feed

Device::Result Device::getPaperStatus(const Arguments &)
{
    const Paper &p = m_state.paper;
    return success({{QStringLiteral("sheetsLoaded"), p.sheetsLoaded},
                    {QStringLiteral("trayCapacity"), Paper::trayCapacity},
                    {QStringLiteral("sheetInPosition"), p.sheetInPosition},
                    {QStringLiteral("feedMode"), p.feedMode},
                    {QStringLiteral("paperFormat"), m_state.configuration.paperFormat}});
}

Device::Result Device::loadPaper(const Arguments &args)
{
    // Topping up the tray is fine while a job runs; that is how a paused job gets going again.
    const int sheets = args.at(0).toInt();
    const int room = Paper::trayCapacity - m_state.paper.sheetsLoaded;
    if (sheets > room) {
        return failure(invalidArgument,
                       QStringLiteral("The tray holds %1 sheets and has room for %2 more, not %3")
                               .arg(Paper::trayCapacity)
                               .arg(room)
                               .arg(sheets));
    }
    m_state.paper.sheetsLoaded += sheets;
    return success({{QStringLiteral("sheetsAdded"), sheets},
                    {QStringLiteral("sheetsLoaded"), m_state.paper.sheetsLoaded}});
}

Device::Result Device::feedSheet(const Arguments &)
{
    if (jobActive())
        return busyFailure();
    if (m_state.paper.sheetInPosition)
        return failure(invalidState, QStringLiteral("A sheet is in position already"));
    const Result ready = checkPaperReady();
    if (!ready.errorId.isEmpty())
        return ready;
    --m_state.paper.sheetsLoaded;
    m_state.paper.sheetInPosition = true;
    return success({{QStringLiteral("sheetInPosition"), true},
                    {QStringLiteral("sheetsLoaded"), m_state.paper.sheetsLoaded}});
}

Device::Result Device::ejectSheet(const Arguments &)
{
    if (jobActive())
        return busyFailure();
    if (!m_state.paper.sheetInPosition)
        return failure(invalidState, QStringLiteral("No sheet is in position"));
    const Result fault = takeFault();
    if (!fault.errorId.isEmpty())
        return fault;
    m_state.paper.sheetInPosition = false;
    return success({{QStringLiteral("sheetInPosition"), false},
                    {QStringLiteral("sheetsLoaded"), m_state.paper.sheetsLoaded}});
}

Device::Result Device::setFeedMode(const Arguments &args)
{
    if (jobActive())
        return busyFailure();
    m_state.paper.feedMode = args.at(0).toString();
    return success({{QStringLiteral("feedMode"), m_state.paper.feedMode}});
}

// Documents

Device::Result Device::openDocument(const Arguments &args)
{
    if (m_state.documents.size() >= maximumDocuments) {
        return failure(invalidState, QStringLiteral("The device holds %1 documents already; "
                                                    "delete one first")
                                             .arg(maximumDocuments));
    }
    if (characterCount(args.at(0).toString()) > maximumTitleLength) {
        return failure(
                invalidArgument,
                QStringLiteral("The title is longer than %1 characters").arg(maximumTitleLength));
    }
    Document document;
    document.id = m_state.nextDocumentId++;
    document.title = args.at(0).toString();
    m_state.documents.append(document);
    return success({{QStringLiteral("documentId"), document.id},
                    {QStringLiteral("title"), document.title},
                    {QStringLiteral("state"), QStringLiteral("open")}});
}

Device::Result Device::addText(const Arguments &args)
{
    const int id = args.at(0).toInt();
    Document *document = findDocument(id);
    if (!document)
        return failure(noSuchDocument, QStringLiteral("There is no document %1").arg(id));
    if (!document->open)
        return failure(invalidState, QStringLiteral("Document %1 is closed").arg(id));
    const QString text = document->text + args.at(1).toString();
    if (characterCount(text) > maximumDocumentLength) {
        return failure(invalidArgument, QStringLiteral("Document %1 would exceed %2 characters")
                                                .arg(id)
                                                .arg(maximumDocumentLength));
    }
    Layout lines;
    const Result layout = documentLayout(text, &lines);
    if (!layout.errorId.isEmpty())
        return layout;
    document->text = text;
    return success(documentDetails(*document, lines));
}

Device::Result Device::closeDocument(const Arguments &args)
{
    const int id = args.at(0).toInt();
    Document *document = findDocument(id);
    if (!document)
        return failure(noSuchDocument, QStringLiteral("There is no document %1").arg(id));
    if (!document->open)
        return failure(invalidState, QStringLiteral("Document %1 is closed already").arg(id));
    Layout lines;
    const Result layout = documentLayout(document->text, &lines);
    if (!layout.errorId.isEmpty())
        return layout;
    document->open = false;
    return success(documentDetails(*document, lines));
}

Device::Result Device::listDocuments(const Arguments &)
{
    QVariantMap details;
    QStringList ids;
    int open = 0;
    for (const Document &d : m_state.documents) {
        ids.append(QString::number(d.id));
        open += d.open ? 1 : 0;
        details.insert(QStringLiteral("document%1").arg(d.id),
                       QStringLiteral("%1 (%2)").arg(d.title, d.open ? QStringLiteral("open")
                                                                     : QStringLiteral("closed")));
    }
    details.insert(QStringLiteral("documentCount"), int(m_state.documents.size()));
    details.insert(QStringLiteral("openDocuments"), open);
    details.insert(QStringLiteral("documentIds"), ids.join(QLatin1Char(',')));
    return success(details);
}

Device::Result Device::getDocumentInfo(const Arguments &args)
{
    const int id = args.at(0).toInt();
    const Document *document = findDocument(id);
    if (!document)
        return failure(noSuchDocument, QStringLiteral("There is no document %1").arg(id));
    Layout lines;
    const Result layout = documentLayout(document->text, &lines);
    if (!layout.errorId.isEmpty())
        return layout;
    QVariantMap details = documentDetails(*document, lines);
    details.insert(QStringLiteral("text"), document->text);
    details.insert(QStringLiteral("braille"), lines.lines.join(QLatin1Char('\n')));
    return success(details);
}

Device::Result Device::deleteDocument(const Arguments &args)
{
    const int id = args.at(0).toInt();
    if (!findDocument(id))
        return failure(noSuchDocument, QStringLiteral("There is no document %1").arg(id));
    if (jobActive() && m_job.documentId == id)
        return busyFailure();
    for (int i = 0; i < m_state.documents.size(); ++i) {
        if (m_state.documents.at(i).id == id) {
            m_state.documents.removeAt(i);
            break;
        }
    }
    return success({{QStringLiteral("documentId"), id},
                    {QStringLiteral("deleted"), true},
                    {QStringLiteral("documentCount"), int(m_state.documents.size())}});
}

// Embossing

Device::Result Device::startEmbossing(const Arguments &args)
{
    if (jobActive())
        return busyFailure();
    const int id = args.at(0).toInt();
    const Document *document = findDocument(id);
    if (!document)
        return failure(noSuchDocument, QStringLiteral("There is no document %1").arg(id));
    if (document->open)
        return failure(invalidState,
                       QStringLiteral("Document %1 is still open; close it first").arg(id));
    if (document->text.isEmpty())
        return failure(invalidState, QStringLiteral("Document %1 has no text").arg(id));
    Layout lines;
    const Result layout = documentLayout(document->text, &lines);
    if (!layout.errorId.isEmpty())
        return layout;
    const Result ready = checkPaperReady();
    if (!ready.errorId.isEmpty())
        return ready;
    const Configuration &c = m_state.configuration;
    return startJob(id, args.at(1).toInt(),
                    Braille::layoutPages(lines.lines, c.cellsPerLine, c.linesPerPage));
}

Device::Result Device::pauseEmbossing(const Arguments &)
{
    if (m_job.state != JobState::Embossing)
        return failure(invalidState, QStringLiteral("No job is embossing"));
    m_job.state = JobState::Paused;
    m_job.pauseReason = QStringLiteral("User");
    return success(jobDetails());
}

Device::Result Device::resumeEmbossing(const Arguments &)
{
    if (m_job.state != JobState::Paused)
        return failure(invalidState, QStringLiteral("No job is paused"));
    const Result ready = nextPageNeedsSheet() ? checkPaperReady() : takeFault();
    if (!ready.errorId.isEmpty())
        return ready;
    m_job.state = JobState::Embossing;
    m_job.pauseReason.clear();
    m_jobClockMs = m_options.clockMs();
    return success(jobDetails());
}

Device::Result Device::cancelEmbossing(const Arguments &)
{
    if (!jobActive())
        return failure(invalidState, QStringLiteral("No job to cancel"));
    m_job.state = JobState::Idle;
    m_job.pauseReason.clear();
    m_job.outcome = QStringLiteral("Cancelled");
    return success(jobDetails());
}

Device::Result Device::getEmbossStatus(const Arguments &)
{
    return success(jobDetails());
}

Device::Result Device::embossText(const Arguments &args)
{
    if (jobActive())
        return busyFailure();
    const QString text = args.at(0).toString();
    if (text.isEmpty())
        return failure(invalidArgument, QStringLiteral("There is no text to emboss"));
    if (characterCount(text) > maximumDocumentLength) {
        return failure(
                invalidArgument,
                QStringLiteral("The text is longer than %1 characters").arg(maximumDocumentLength));
    }
    Layout lines;
    const Result layout = documentLayout(text, &lines);
    if (!layout.errorId.isEmpty())
        return layout;
    const Result ready = checkPaperReady();
    if (!ready.errorId.isEmpty())
        return ready;
    const Configuration &c = m_state.configuration;
    return startJob(0, 1, Braille::layoutPages(lines.lines, c.cellsPerLine, c.linesPerPage));
}

// Testing

Device::Result Device::runSelfTest(const Arguments &)
{
    if (jobActive())
        return busyFailure();
    struct Check
    {
        QString name;
        bool passed;
        QString state;
    };
    const bool tableLoads = Braille::isKnownTable(m_state.configuration.brailleTable);
    const QVector<Check> checks = {
            {QStringLiteral("print head"), true, QStringLiteral("ok")},
            {QStringLiteral("paper path"), m_state.pendingFault != faultPaperJam,
             m_state.pendingFault == faultPaperJam ? QStringLiteral("jammed")
                                                   : QStringLiteral("clear")},
            {QStringLiteral("cover"), m_state.pendingFault != faultCoverOpen,
             m_state.pendingFault == faultCoverOpen ? QStringLiteral("open")
                                                    : QStringLiteral("closed")},
            {QStringLiteral("braille table"), tableLoads,
             tableLoads ? QStringLiteral("ok") : QStringLiteral("does not load")},
            {QStringLiteral("state storage"), !m_stateFile || m_stateFile->isEnabled(),
             !m_stateFile               ? QStringLiteral("not used")
             : m_stateFile->isEnabled() ? QStringLiteral("ok")
                                        : QStringLiteral("disabled")},
    };
    QStringList report;
    int failed = 0;
    for (const Check &check : checks) {
        report.append(QStringLiteral("%1 %2").arg(check.name, check.state));
        failed += check.passed ? 0 : 1;
    }
    return success({{QStringLiteral("passed"), failed == 0},
                    {QStringLiteral("checksRun"), int(checks.size())},
                    {QStringLiteral("checksFailed"), failed},
                    {QStringLiteral("report"), report.join(QStringLiteral("; "))}});
}

Device::Result Device::embossTestPage(const Arguments &args)
{
    if (jobActive())
        return busyFailure();
    const QString pattern = args.at(0).toString();
    const Configuration &c = m_state.configuration;
    const QChar fullCell(0x283f);
    QString alphabet;
    if (pattern == QLatin1String("alphabet")) {
        bool ok = false;
        QString error;
        alphabet = Braille::translate(c.brailleTable, QStringLiteral("abcdefghijklmnopqrstuvwxyz"),
                                      &ok, &error);
        if (!ok || alphabet.isEmpty())
            return failure(translationFailed, error);
    }
    QStringList lines;
    for (int line = 0; line < c.linesPerPage; ++line) {
        QString cells;
        for (int cell = 0; cell < c.cellsPerLine; ++cell) {
            if (pattern == QLatin1String("full-cell"))
                cells.append(fullCell);
            else if (pattern == QLatin1String("grid"))
                cells.append((line + cell) % 2 == 0 ? fullCell : Braille::blankCell);
            else
                cells.append(alphabet.at((line + cell) % alphabet.size()));
        }
        lines.append(cells);
    }
    const Result ready = checkPaperReady();
    if (!ready.errorId.isEmpty())
        return ready;
    Result result = startJob(0, 1, Braille::layoutPages(lines, c.cellsPerLine, c.linesPerPage));
    result.details.insert(QStringLiteral("pattern"), pattern);
    return result;
}

Device::Result Device::testSensors(const Arguments &)
{
    const Paper &p = m_state.paper;
    return success(
            {{QStringLiteral("paperPresent"), p.sheetsLoaded > 0},
             {QStringLiteral("sheetsLoaded"), p.sheetsLoaded},
             {QStringLiteral("sheetInPosition"), p.sheetInPosition},
             {QStringLiteral("coverClosed"), m_state.pendingFault != faultCoverOpen},
             {QStringLiteral("paperPathClear"), m_state.pendingFault != faultPaperJam},
             {QStringLiteral("headTemperature"), m_job.state == JobState::Embossing ? 48 : 35}});
}

Device::Result Device::getErrorLog(const Arguments &)
{
    QVariantMap details;
    for (int i = 0; i < m_state.errorLog.size(); ++i) {
        const LogEntry &e = m_state.errorLog.at(i);
        details.insert(
                QStringLiteral("entry%1").arg(i + 1),
                QStringLiteral("%1 %2: %3").arg(e.time.toString(Qt::ISODate), e.code, e.message));
    }
    details.insert(QStringLiteral("entryCount"), int(m_state.errorLog.size()));
    return success(details);
}

Device::Result Device::clearErrorLog(const Arguments &)
{
    const int cleared = m_state.errorLog.size();
    m_state.errorLog.clear();
    return success(
            {{QStringLiteral("entriesCleared"), cleared}, {QStringLiteral("entryCount"), 0}});
}

Device::Result Device::injectFault(const Arguments &args)
{
    const QString fault = args.at(0).toString();
    if (fault == faultOutOfPaper) {
        m_state.paper.sheetsLoaded = 0;
        m_state.paper.sheetInPosition = false;
    } else {
        m_state.pendingFault = fault;
    }
    return success({{QStringLiteral("fault"), fault},
                    {QStringLiteral("pendingFault"), m_state.pendingFault},
                    {QStringLiteral("sheetsLoaded"), m_state.paper.sheetsLoaded}});
}

// Inter-process communication

Device::Result Device::ping(const Arguments &)
{
    return success({{QStringLiteral("reply"), QStringLiteral("pong")}});
}

Device::Result Device::getServiceInfo(const Arguments &)
{
    return success(
            {{QStringLiteral("service"), ls::ServiceId::CommandHandler},
             {QStringLiteral("version"), QStringLiteral(SIM_VERSION)},
             {QStringLiteral("liblouisVersion"), Braille::louisVersion()},
             {QStringLiteral("uptimeSeconds"), int((m_options.clockMs() - m_startMs) / 1000)},
             {QStringLiteral("requestsServed"), m_requestsServed},
             {QStringLiteral("pageTiming"), m_options.stepPerRequest
                                                    ? QStringLiteral("per request")
                                                    : QStringLiteral("per second")}});
}

Device::Result Device::echo(const Arguments &args)
{
    return success({{QStringLiteral("text"), args.at(0).toString()}});
}

Device::Result Device::getDeviceState(const Arguments &)
{
    int open = 0;
    for (const Document &d : m_state.documents)
        open += d.open ? 1 : 0;
    return success({{QStringLiteral("state"), jobStateName(m_job.state)},
                    {QStringLiteral("jobId"), m_job.id},
                    {QStringLiteral("pagesDone"), m_job.pagesDone},
                    {QStringLiteral("pagesTotal"), m_job.pagesTotal()},
                    {QStringLiteral("documentCount"), int(m_state.documents.size())},
                    {QStringLiteral("openDocuments"), open},
                    {QStringLiteral("sheetsLoaded"), m_state.paper.sheetsLoaded},
                    {QStringLiteral("sheetInPosition"), m_state.paper.sheetInPosition},
                    {QStringLiteral("pendingFault"), m_state.pendingFault},
                    {QStringLiteral("errorLogEntries"), int(m_state.errorLog.size())}});
}
