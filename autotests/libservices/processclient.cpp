// Makes one exchange with a service and writes the response as JSON on standard output, so that
// a test can watch what a process of its own makes of its bus (or of having none).
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
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

    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    store->registerService(serviceId);
    const QVariantMap response
            = store->getService(serviceId)->process({{ls::commandIdKey, commandId}});
    const QByteArray json
            = QJsonDocument(QJsonObject::fromVariantMap(response)).toJson(QJsonDocument::Compact);
    std::fwrite(json.constData(), 1, json.size(), stdout);
    std::fputc('\n', stdout);
    return 0;
}
