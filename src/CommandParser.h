// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMANDPARSER_H
#define COMMANDPARSER_H

#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

class CommandHandler;
class TestCommandParser;

namespace ls {
class MetaEnum;
}

// The name of one enumerator: the key of its entry in a catalogue map.
using EnumKey = QString;

// Writes the service's answers as log lines: the catalogue listings and the fields of an executed
// command's result.
class CommandParser : public QObject
{
    Q_OBJECT

public:
    explicit CommandParser(QObject *parent = nullptr);

    void executeCommand(int commandId, const QList<QVariant> &args) const;
    void listCategories() const;
    void listCommands(int category) const;

private:
    friend class TestCommandParser;

    void display(const ls::MetaEnum &metaEnum, const QVariantMap &commands) const;
    const QString getDescription(const EnumKey &key, const QVariantMap &commands) const;
    const QString getArgumentsList(const EnumKey &key, const QVariantMap &commands) const;

    // Never deleted: it lives until the process ends.
    CommandHandler *commandHandler;
};

#endif // COMMANDPARSER_H
