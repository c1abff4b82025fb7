// Makes one exchange with a service and writes the response as JSON on standard output, so that
// a test can watch what a process of its own makes of its bus (or of having none). With
// "--connections" the response also tells when the process connected to its bus.
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    const QString serviceId
            = arguments.size() > 1 ? arguments.at(1) : ls::ServiceId::CommandHandler;
    const QString commandId = arguments.size() > 2 ? arguments.at(2) : QStringLiteral("Echo");

    // QtDBus's own name for the process's system bus connection.
    const QDBusConnection defaultBus(QStringLiteral("qt_default_system_bus"));
    const bool connectedBefore = defaultBus.isConnected();

    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    store->registerService(serviceId);
    ls::DBusService *service = store->getService(serviceId);
    const bool connectedAfterLookUp = defaultBus.isConnected();
    QVariantMap response = service->process({{ls::commandIdKey, commandId}});
    if (arguments.contains(QStringLiteral("--connections"))) {
        response.insert(QStringLiteral("connectedBefore"), connectedBefore);
        response.insert(QStringLiteral("connectedAfterLookUp"), connectedAfterLookUp);
        response.insert(QStringLiteral("connectedAfterCall"),
                        QDBusConnection(QStringLiteral("qt_default_system_bus")).isConnected());
    }
    const QByteArray json
            = QJsonDocument(QJsonObject::fromVariantMap(response)).toJson(QJsonDocument::Compact);
    std::fwrite(json.constData(), 1, json.size(), stdout);
    std::fputc('\n', stdout);
    return 0;
}
