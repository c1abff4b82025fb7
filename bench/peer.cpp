// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// A command handler that answers every Process call at once with a fixed success, so that the
// measurements are of the client and the bus, not of a device.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QVariantMap>

#include <cstdio>

namespace {

class Peer : public QDBusVirtualObject
{
public:
    QString introspect(const QString &) const override { return QString(); }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (message.member() != QLatin1String("Process"))
            return false;
        connection.send(message.createReply(
                QVariantMap{{QStringLiteral("resultId"), QStringLiteral("Success")},
                            {QStringLiteral("errorId"), QStringLiteral("NoError")},
                            {QStringLiteral("details"), QVariantMap()}}));
        return true;
    }
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QDBusConnection bus = QDBusConnection::systemBus();
    Peer peer;
    if (!bus.registerVirtualObject(QStringLiteral("/se/tarnvik/CommandHandler"), &peer)
        || !bus.registerService(QStringLiteral("se.tarnvik.CommandHandler"))) {
        std::fprintf(stderr, "bench-peer: %s\n", qPrintable(bus.lastError().message()));
        return 1;
    }
    return app.exec();
}
