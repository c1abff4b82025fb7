// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef MESSAGELOG_H
#define MESSAGELOG_H

#include <QFileInfo>
#include <QMessageLogContext>
#include <QString>
#include <QStringList>
#include <QtGlobal>

// Records every message the code under test sends, one text per message:
// "<type>|<category>|<file name>|<function>|<text>". A message without a line number in its
// context is recorded with "<no line>" as its file, so a lost context shows in the comparison.
namespace MessageLog {

inline QStringList &messages()
{
    static QStringList recorded;
    return recorded;
}

inline QString typeName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return QStringLiteral("debug");
    case QtInfoMsg:
        return QStringLiteral("info");
    case QtWarningMsg:
        return QStringLiteral("warning");
    case QtCriticalMsg:
        return QStringLiteral("critical");
    case QtFatalMsg:
        return QStringLiteral("fatal");
    }
    return QStringLiteral("unknown");
}

inline QString format(const QString &type, const QString &file, const QString &function,
                      const QString &text, const QString &category = QStringLiteral("default"))
{
    return type + QLatin1Char('|') + category + QLatin1Char('|') + file + QLatin1Char('|')
           + function + QLatin1Char('|') + text;
}

inline void record(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QString file = context.line > 0 && context.file
                                 ? QFileInfo(QString::fromUtf8(context.file)).fileName()
                                 : QStringLiteral("<no line>");
    messages().append(format(typeName(type), file, QString::fromUtf8(context.function), text,
                             QString::fromUtf8(context.category)));
}

inline void install()
{
    messages().clear();
    qInstallMessageHandler(record);
}

inline void reset()
{
    qInstallMessageHandler(nullptr);
    messages().clear();
}

inline QString debug(const QString &file, const QString &function, const QString &text)
{
    return format(QStringLiteral("debug"), file, function, text);
}

inline QString critical(const QString &file, const QString &function, const QString &text)
{
    return format(QStringLiteral("critical"), file, function, text);
}

} // namespace MessageLog

#endif // MESSAGELOG_H
