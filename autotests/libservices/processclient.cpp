// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// Makes one exchange with a service and writes the response as JSON on standard output, so that
// a test can watch what a process of its own makes of its bus (or of having none). With
// "--connections" the response also tells how many sockets the process had open before the
// look-up, after it and after the call; "--delay-ms=N" asks the peer to answer after N ms.
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <cstdio>

namespace {

int openSockets()
{
    int sockets = 0;
    const QDir fds(QStringLiteral("/proc/self/fd"));
    for (const QFileInfo &fd : fds.entryInfoList(QDir::System | QDir::NoDotAndDotDot)) {
        if (fd.symLinkTarget().contains(QLatin1String("socket:")))
            ++sockets;
    }
    return sockets;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const QString serviceId
            = arguments.size() > 1 ? arguments.at(1) : ls::ServiceId::CommandHandler;
    const QString commandId = arguments.size() > 2 ? arguments.at(2) : QStringLiteral("Echo");

    const int socketsBefore = openSockets();

    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    store->registerService(serviceId);
    ls::DBusService *service = store->getService(serviceId);
    const int socketsAfterLookUp = openSockets();
    QVariantMap request{{ls::commandIdKey, commandId}};
    for (const QString &argument : arguments) {
        if (argument.startsWith(QLatin1String("--delay-ms=")))
            request.insert(QStringLiteral("delayMs"), argument.mid(11).toInt());
    }
    QVariantMap response = service->process(request);
    if (arguments.contains(QStringLiteral("--connections"))) {
        response.insert(QStringLiteral("socketsBefore"), socketsBefore);
        response.insert(QStringLiteral("socketsAfterLookUp"), socketsAfterLookUp);
        response.insert(QStringLiteral("socketsAfterCall"), openSockets());
    }
    const QByteArray json
            = QJsonDocument(QJsonObject::fromVariantMap(response)).toJson(QJsonDocument::Compact);
    std::fwrite(json.constData(), 1, json.size(), stdout);
    std::fputc('\n', stdout);
    return 0;
}
