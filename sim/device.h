#ifndef DEVICE_H
#define DEVICE_H

#include "devicestate.h"

#include <QString>
#include <QStringList>
#include <QVariantList>

#include <functional>
#include <memory>

namespace Catalogue {
struct Command;
}

struct DeviceOptions
{
    // Pages advance one per request instead of with time, so runs are repeatable.
    bool stepPerRequest = false;
    // Where each embossed page is written as Unicode braille; nothing is written when empty.
    QString outputDirectory;
    // Where the device's state is kept across restarts; nothing is kept when empty.
    QString stateFile;
    // Monotonic milliseconds that time pages and uptime; a running QElapsedTimer when unset, so
    // that a test can set the time instead of waiting for it.
    std::function<qint64()> clockMs;
};

// The simulated embossing device: its catalogue, its state and the answers to every request.
class Device
{
public:
    explicit Device(const DeviceOptions &options);
    ~Device();

    // Answers one request map, already converted to plain Qt types, with one response map.
    QVariantMap handle(const QVariantMap &request);

    // How long one page takes when pages advance with time.
    static constexpr qint64 pageIntervalMs = 1000;

private:
    struct Result
    {
        QString errorId;
        QString message;
        QVariantMap details;
    };

    enum class JobState { Idle, Embossing, Paused };

    struct Job
    {
        int id = 0;
        // 0 for text and test pages, which have no document.
        int documentId = 0;
        int copies = 1;
        // The pages of one copy, laid out when the job started.
        QStringList pages;
        int pagesDone = 0;
        int sheetsUsed = 0;
        JobState state = JobState::Idle;
        // Why a paused job waits: "User", "OutOfPaper", "PaperJam" or "CoverOpen".
        QString pauseReason;
        // How the last job ended: "Completed" or "Cancelled"; empty while one runs.
        QString outcome;
        int pagesTotal() const { return pages.size() * copies; }
    };

    using Arguments = QVariantList;
    using Handler = Result (Device::*)(const Arguments &);

    static Result success(const QVariantMap &details = {});
    static Result failure(const QString &errorId, const QString &message);
    static QVariantMap answer(const Result &result, const QVariantMap &payload = {});

    QVariantMap dispatch(const QVariantMap &request);
    QVariantMap commandList(const QVariantMap &request) const;
    QVariantMap handleCommand(const QVariantMap &request);
    Result parseArguments(const Catalogue::Command &command, const QVariantList &words,
                          Arguments *arguments) const;
    Handler handlerFor(int commandId) const;
    // Commands that only look: their requests leave the kept state as it was.
    static bool isReadOnly(int commandId);

    bool jobActive() const;
    Result busyFailure() const;
    // Sets one configuration value unless a job is active; the answer names the value set.
    template<typename T>
    Result setConfiguration(T Configuration::*field, const QString &key, const T &value);
    // The failure of an injected fault, consuming it; an empty error id when none is pending.
    Result takeFault();
    Result checkPaperReady();
    void logError(const QString &code, const QString &message);
    void advanceJob();
    bool nextPageNeedsSheet() const;
    void embossNextPage();
    void writePage(int copy, int page, const QString &cells);
    Result startJob(int documentId, int copies, const QStringList &pages);
    Document *findDocument(int id);
    struct Layout
    {
        QStringList lines;
        int cells = 0;
    };
    Result documentLayout(const QString &text, Layout *layout) const;
    QVariantMap documentDetails(const Document &document, const Layout &layout) const;
    QVariantMap configurationDetails() const;
    QVariantMap jobDetails() const;
    static QString jobStateName(JobState state);

    Result getConfiguration(const Arguments &);
    Result setPaperFormat(const Arguments &args);
    Result setCellsPerLine(const Arguments &args);
    Result setLinesPerPage(const Arguments &args);
    Result setDuplex(const Arguments &args);
    Result setBrailleTable(const Arguments &args);
    Result setDotStrength(const Arguments &args);
    Result resetConfiguration(const Arguments &);
    Result getPaperStatus(const Arguments &);
    Result loadPaper(const Arguments &args);
    Result feedSheet(const Arguments &);
    Result ejectSheet(const Arguments &);
    Result setFeedMode(const Arguments &args);
    Result openDocument(const Arguments &args);
    Result addText(const Arguments &args);
    Result closeDocument(const Arguments &args);
    Result listDocuments(const Arguments &);
    Result getDocumentInfo(const Arguments &args);
    Result deleteDocument(const Arguments &args);
    Result startEmbossing(const Arguments &args);
    Result pauseEmbossing(const Arguments &);
    Result resumeEmbossing(const Arguments &);
    Result cancelEmbossing(const Arguments &);
    Result getEmbossStatus(const Arguments &);
    Result embossText(const Arguments &args);
    Result runSelfTest(const Arguments &);
    Result embossTestPage(const Arguments &args);
    Result testSensors(const Arguments &);
    Result getErrorLog(const Arguments &);
    Result clearErrorLog(const Arguments &);
    Result injectFault(const Arguments &args);
    Result ping(const Arguments &);
    Result getServiceInfo(const Arguments &);
    Result echo(const Arguments &args);
    Result getDeviceState(const Arguments &);

    DeviceOptions m_options;
    std::unique_ptr<StateFile> m_stateFile;
    DeviceState m_state;
    Job m_job;
    // The clock's reading when the device started.
    qint64 m_startMs = 0;
    // Time of the job already turned into pages.
    qint64 m_jobClockMs = 0;
    int m_requestsServed = 0;
    // Whether the kept state may differ from the state file, so that a request that changed
    // nothing costs no serialisation. Set at start, so that the first request writes a state
    // the file does not hold yet.
    bool m_stateChanged = true;
};

#endif // DEVICE_H
