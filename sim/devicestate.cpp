#include "devicestate.h"

#include "braille.h"
#include "devicelogging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSet>

namespace {

constexpr int stateVersion = 1;

// Readers that fail on a missing key or a value of another type, so that a file that has been
// edited by hand or cut short is recognised instead of read as zeroes.
class Reader
{
public:
    explicit Reader(QString *error) : m_error(error) { }

    bool ok() const { return m_ok; }

    QJsonObject object(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isObject())
            fail(key, QStringLiteral("an object"));
        return v.toObject();
    }
    QJsonArray array(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isArray())
            fail(key, QStringLiteral("a list"));
        return v.toArray();
    }
    QString string(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isString())
            fail(key, QStringLiteral("a text"));
        return v.toString();
    }
    bool boolean(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isBool())
            fail(key, QStringLiteral("true or false"));
        return v.toBool();
    }
    int integer(const QJsonObject &o, const QString &key, int minimum, int maximum)
    {
        const QJsonValue v = o.value(key);
        const double d = v.toDouble();
        if (!v.isDouble() || d != double(qint64(d)) || d < minimum || d > maximum)
            fail(key, QStringLiteral("a whole number from %1 to %2").arg(minimum).arg(maximum));
        return v.toInt();
    }
    void check(bool condition, const QString &what)
    {
        if (!condition && m_ok) {
            m_ok = false;
            *m_error = what;
        }
    }

private:
    void fail(const QString &key, const QString &expected)
    {
        check(false, QStringLiteral("\"%1\" is not %2").arg(key, expected));
    }

    QString *m_error;
    bool m_ok = true;
};

} // namespace

Configuration::Configuration() : brailleTable(Braille::defaultTable()) { }

QJsonObject DeviceState::toJson() const
{
    QJsonArray documentArray;
    for (const Document &d : documents) {
        documentArray.append(QJsonObject{{QStringLiteral("id"), d.id},
                                         {QStringLiteral("title"), d.title},
                                         {QStringLiteral("text"), d.text},
                                         {QStringLiteral("open"), d.open}});
    }
    QJsonArray logArray;
    for (const LogEntry &e : errorLog) {
        logArray.append(QJsonObject{{QStringLiteral("time"), e.time.toString(Qt::ISODateWithMs)},
                                    {QStringLiteral("code"), e.code},
                                    {QStringLiteral("message"), e.message}});
    }
    const Configuration &c = configuration;
    return {
            {QStringLiteral("version"), stateVersion},
            {QStringLiteral("configuration"),
             QJsonObject{{QStringLiteral("paperFormat"), c.paperFormat},
                         {QStringLiteral("cellsPerLine"), c.cellsPerLine},
                         {QStringLiteral("linesPerPage"), c.linesPerPage},
                         {QStringLiteral("duplex"), c.duplex},
                         {QStringLiteral("brailleTable"), c.brailleTable},
                         {QStringLiteral("dotStrength"), c.dotStrength}}},
            {QStringLiteral("paper"),
             QJsonObject{{QStringLiteral("sheetsLoaded"), paper.sheetsLoaded},
                         {QStringLiteral("sheetInPosition"), paper.sheetInPosition},
                         {QStringLiteral("feedMode"), paper.feedMode}}},
            {QStringLiteral("documents"), documentArray},
            {QStringLiteral("errorLog"), logArray},
            {QStringLiteral("pendingFault"), pendingFault},
            {QStringLiteral("nextDocumentId"), nextDocumentId},
            {QStringLiteral("nextJobId"), nextJobId},
    };
}

bool DeviceState::fromJson(const QJsonObject &object, DeviceState *state, QString *error)
{
    Reader r(error);
    DeviceState s;
    r.check(object.value(QStringLiteral("version")).toInt(-1) == stateVersion,
            QStringLiteral("unknown version"));

    const QJsonObject c = r.object(object, QStringLiteral("configuration"));
    s.configuration.paperFormat = r.string(c, QStringLiteral("paperFormat"));
    s.configuration.cellsPerLine = r.integer(c, QStringLiteral("cellsPerLine"), 10, 48);
    s.configuration.linesPerPage = r.integer(c, QStringLiteral("linesPerPage"), 10, 32);
    s.configuration.duplex = r.boolean(c, QStringLiteral("duplex"));
    s.configuration.brailleTable = r.string(c, QStringLiteral("brailleTable"));
    s.configuration.dotStrength = r.integer(c, QStringLiteral("dotStrength"), 1, 5);
    r.check(QStringList({QStringLiteral("A4"), QStringLiteral("Letter"),
                         QStringLiteral("Braille-11x11.5")})
                    .contains(s.configuration.paperFormat),
            QStringLiteral("unknown paper format"));

    const QJsonObject p = r.object(object, QStringLiteral("paper"));
    s.paper.sheetsLoaded = r.integer(p, QStringLiteral("sheetsLoaded"), 0, Paper::trayCapacity);
    s.paper.sheetInPosition = r.boolean(p, QStringLiteral("sheetInPosition"));
    s.paper.feedMode = r.string(p, QStringLiteral("feedMode"));
    r.check(s.paper.feedMode == QLatin1String("sheet")
                    || s.paper.feedMode == QLatin1String("tractor"),
            QStringLiteral("unknown feed mode"));

    s.nextDocumentId = r.integer(object, QStringLiteral("nextDocumentId"), 1, INT_MAX);
    s.nextJobId = r.integer(object, QStringLiteral("nextJobId"), 1, INT_MAX);
    s.pendingFault = r.string(object, QStringLiteral("pendingFault"));
    r.check(QStringList({QStringLiteral("none"), QStringLiteral("paper-jam"),
                         QStringLiteral("cover-open")})
                    .contains(s.pendingFault),
            QStringLiteral("unknown pending fault"));

    QSet<int> ids;
    const QJsonArray documents = r.array(object, QStringLiteral("documents"));
    for (const QJsonValue &v : documents) {
        r.check(v.isObject(), QStringLiteral("a document is not an object"));
        const QJsonObject o = v.toObject();
        Document d;
        d.id = r.integer(o, QStringLiteral("id"), 1, INT_MAX);
        d.title = r.string(o, QStringLiteral("title"));
        d.text = r.string(o, QStringLiteral("text"));
        d.open = r.boolean(o, QStringLiteral("open"));
        r.check(!ids.contains(d.id), QStringLiteral("document %1 appears twice").arg(d.id));
        r.check(d.id < s.nextDocumentId,
                QStringLiteral("document %1 is not below the next document id").arg(d.id));
        ids.insert(d.id);
        s.documents.append(d);
    }

    const QJsonArray log = r.array(object, QStringLiteral("errorLog"));
    for (const QJsonValue &v : log) {
        r.check(v.isObject(), QStringLiteral("a log entry is not an object"));
        const QJsonObject o = v.toObject();
        LogEntry e;
        e.time = QDateTime::fromString(r.string(o, QStringLiteral("time")), Qt::ISODateWithMs);
        e.code = r.string(o, QStringLiteral("code"));
        e.message = r.string(o, QStringLiteral("message"));
        r.check(e.time.isValid(), QStringLiteral("a log entry has no valid time"));
        s.errorLog.append(e);
    }

    if (r.ok())
        *state = s;
    return r.ok();
}

StateFile::StateFile(const QString &path) : m_path(path) { }

DeviceState StateFile::load()
{
    QFile file(m_path);
    if (!file.exists())
        return DeviceState();
    if (!file.open(QIODevice::ReadOnly)) {
        m_enabled = false;
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 cannot be read (%2); starting with the factory "
                                  "state and leaving the file untouched")
                           .arg(m_path, file.errorString());
        return DeviceState();
    }
    const QByteArray content = file.readAll();
    file.close();

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(content, &parseError);
    QString problem;
    DeviceState state;
    if (parseError.error != QJsonParseError::NoError) {
        problem = QStringLiteral("not valid JSON at offset %1: %2")
                          .arg(parseError.offset)
                          .arg(parseError.errorString());
    } else if (!document.isObject()) {
        problem = QStringLiteral("not a JSON object");
    } else if (DeviceState::fromJson(document.object(), &state, &problem)) {
        m_lastWritten = content;
        return state;
    }

    // Keep the damaged file for whoever has to find out what happened to it.
    const QString stamp
            = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddThhmmsszzzZ"));
    QString aside = QStringLiteral("%1.damaged-%2").arg(m_path, stamp);
    for (int n = 1; QFileInfo::exists(aside); ++n)
        aside = QStringLiteral("%1.damaged-%2-%3").arg(m_path, stamp).arg(n);
    if (QFile::rename(m_path, aside)) {
        m_setAsidePath = aside;
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 is damaged (%2); moved it to %3 and started with "
                                  "the factory state")
                           .arg(m_path, problem, aside);
    } else {
        m_enabled = false;
        qCWarning(SIM_DEVICE).noquote()
                << QStringLiteral("State file %1 is damaged (%2) and cannot be moved aside; "
                                  "started with the factory state and will not save")
                           .arg(m_path, problem);
    }
    return DeviceState();
}

bool StateFile::save(const DeviceState &state)
{
    if (!m_enabled)
        return true;
    const QByteArray content = QJsonDocument(state.toJson()).toJson(QJsonDocument::Indented);
    if (content == m_lastWritten)
        return true;
    QSaveFile file(m_path);
    if (!QFileInfo(m_path).absoluteDir().mkpath(QStringLiteral("."))
        || !file.open(QIODevice::WriteOnly) || file.write(content) != content.size()
        || !file.commit()) {
        qCWarning(SIM_DEVICE).noquote() << QStringLiteral("State file %1 cannot be written: %2")
                                                   .arg(m_path, file.errorString());
        return false;
    }
    m_lastWritten = content;
    return true;
}
