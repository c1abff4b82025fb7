// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "devicestate.h"

#include <QJsonArray>
#include <QSet>

namespace {

constexpr int stateVersion = 1;

// Readers that fail on a missing key or a value of another type, so that a file that has been
// edited by hand or cut short is recognised instead of read as zeroes.
class Reader
{
public:
    explicit Reader(QString *error) : m_error(error) { }

    bool isValid() const { return m_ok; }

    QJsonObject objectAt(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isObject())
            reject(key, QStringLiteral("an object"));
        return v.toObject();
    }
    QJsonArray listAt(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isArray())
            reject(key, QStringLiteral("a list"));
        return v.toArray();
    }
    QString textAt(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isString())
            reject(key, QStringLiteral("a text"));
        return v.toString();
    }
    bool truthAt(const QJsonObject &o, const QString &key)
    {
        const QJsonValue v = o.value(key);
        if (!v.isBool())
            reject(key, QStringLiteral("true or false"));
        return v.toBool();
    }
    int wholeNumberAt(const QJsonObject &o, const QString &key, Rules::Range range)
    {
        const QJsonValue v = o.value(key);
        const double d = v.toDouble();
        if (!v.isDouble() || d != double(qint64(d)) || d < range.minimum || d > range.maximum) {
            reject(key, QStringLiteral("a whole number from %1 to %2")
                                .arg(range.minimum)
                                .arg(range.maximum));
        }
        return v.toInt();
    }
    void require(bool condition, const QString &what)
    {
        if (!condition && m_ok) {
            m_ok = false;
            *m_error = what;
        }
    }

private:
    void reject(const QString &key, const QString &expected)
    {
        require(false, QStringLiteral("\"%1\" is not %2").arg(key, expected));
    }

    QString *m_error;
    bool m_ok = true;
};

} // namespace

Document *DeviceState::document(int id)
{
    for (Document &d : documents) {
        if (d.id == id)
            return &d;
    }
    return nullptr;
}

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
    r.require(object.value(QStringLiteral("version")).toInt(-1) == stateVersion,
              QStringLiteral("unknown version"));

    const QJsonObject c = r.objectAt(object, QStringLiteral("configuration"));
    s.configuration.paperFormat = r.textAt(c, QStringLiteral("paperFormat"));
    s.configuration.cellsPerLine
            = r.wholeNumberAt(c, QStringLiteral("cellsPerLine"), Rules::cellsPerLine);
    s.configuration.linesPerPage
            = r.wholeNumberAt(c, QStringLiteral("linesPerPage"), Rules::linesPerPage);
    s.configuration.duplex = r.truthAt(c, QStringLiteral("duplex"));
    s.configuration.brailleTable = r.textAt(c, QStringLiteral("brailleTable"));
    s.configuration.dotStrength
            = r.wholeNumberAt(c, QStringLiteral("dotStrength"), Rules::dotStrength);
    r.require(Rules::paperFormats().contains(s.configuration.paperFormat),
              QStringLiteral("unknown paper format"));

    const QJsonObject p = r.objectAt(object, QStringLiteral("paper"));
    s.paper.sheetsLoaded
            = r.wholeNumberAt(p, QStringLiteral("sheetsLoaded"), {0, Rules::trayCapacity});
    s.paper.sheetInPosition = r.truthAt(p, QStringLiteral("sheetInPosition"));
    s.paper.feedMode = r.textAt(p, QStringLiteral("feedMode"));
    r.require(Rules::feedModes().contains(s.paper.feedMode), QStringLiteral("unknown feed mode"));

    s.nextDocumentId = r.wholeNumberAt(object, QStringLiteral("nextDocumentId"), {1, INT_MAX});
    s.nextJobId = r.wholeNumberAt(object, QStringLiteral("nextJobId"), {1, INT_MAX});
    s.pendingFault = r.textAt(object, QStringLiteral("pendingFault"));
    r.require(Rules::pendingFaults().contains(s.pendingFault),
              QStringLiteral("unknown pending fault"));

    QSet<int> ids;
    const QJsonArray documents = r.listAt(object, QStringLiteral("documents"));
    for (const QJsonValue &v : documents) {
        r.require(v.isObject(), QStringLiteral("a document is not an object"));
        const QJsonObject o = v.toObject();
        Document d;
        d.id = r.wholeNumberAt(o, QStringLiteral("id"), Rules::documentIds);
        d.title = r.textAt(o, QStringLiteral("title"));
        d.text = r.textAt(o, QStringLiteral("text"));
        d.open = r.truthAt(o, QStringLiteral("open"));
        r.require(!ids.contains(d.id), QStringLiteral("document %1 appears twice").arg(d.id));
        r.require(d.id < s.nextDocumentId,
                  QStringLiteral("document %1 is not below the next document id").arg(d.id));
        ids.insert(d.id);
        s.documents.append(d);
    }

    const QJsonArray log = r.listAt(object, QStringLiteral("errorLog"));
    for (const QJsonValue &v : log) {
        r.require(v.isObject(), QStringLiteral("a log entry is not an object"));
        const QJsonObject o = v.toObject();
        LogEntry e;
        e.time = QDateTime::fromString(r.textAt(o, QStringLiteral("time")), Qt::ISODateWithMs);
        e.code = r.textAt(o, QStringLiteral("code"));
        e.message = r.textAt(o, QStringLiteral("message"));
        r.require(e.time.isValid(), QStringLiteral("a log entry has no valid time"));
        s.errorLog.append(e);
    }

    if (r.isValid())
        *state = s;
    return r.isValid();
}
