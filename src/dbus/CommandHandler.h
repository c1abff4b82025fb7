// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef COMMANDHANDLER_H
#define COMMANDHANDLER_H

#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

class TestCommandHandler;

namespace ls {
class DBusServiceStore;
}

// The client of the command-handler service: each operation is one blocking exchange of a request
// map for a response map.
class CommandHandler : public QObject
{
    Q_OBJECT

public:
    explicit CommandHandler(QObject *parent = nullptr);

    const QVariantList getCommandCategories() const;
    const QVariantList getCommands(const QString &category) const;
    const QVariantMap executeCommand(int commandId, const QList<QVariant> &args) const;

private:
    friend class TestCommandHandler;

    // Adds the sender id to the request, so the caller's map is changed.
    QVariantMap sendRequest(QVariantMap &request) const;

    ls::DBusServiceStore *serviceStore;
};

#endif // COMMANDHANDLER_H
