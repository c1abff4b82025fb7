// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "datatable.h"
#include "servicetest.h"

#include <ls/dbuscontract.h>
#include <ls/dbusservice.h>
#include <ls/messagekeys.h>

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// The connection to the bus: made for the call only, and its absence or loss a failure response.
class TestDBusServiceConnection : public ServiceTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void noBus_data()
    {
        addColumns<QString, QString, QString, bool>("address", "errorId", "rules", "logged");

        const QString missing = QStringLiteral("unix:path=%1/no-socket-here");
        const QString fileNotFound = QStringLiteral("org.freedesktop.DBus.Error.FileNotFound");
        QTest::newRow("no socket, silent by default")
                << missing << fileNotFound << QString() << false;
        QTest::newRow("no socket, logged when switched on")
                << missing << fileNotFound << QStringLiteral("ls.dbus.debug=true") << true;
        QTest::newRow("socket nobody listens on")
                << QStringLiteral("unix:path=%1/dead-socket")
                << QStringLiteral("org.freedesktop.DBus.Error.NoServer") << QString() << false;
        QTest::newRow("malformed address")
                << QStringLiteral("no colon %1")
                << QStringLiteral("org.freedesktop.DBus.Error.BadAddress") << QString() << false;
    }

    void noBus()
    {
        QFETCH(QString, address);
        QFETCH(QString, errorId);
        QFETCH(QString, rules);
        QFETCH(bool, logged);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        // A socket file that no one listens on.
        const QByteArray deadSocket
                = QFile::encodeName(dir.filePath(QStringLiteral("dead-socket")));
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        QVERIFY(fd >= 0);
        sockaddr_un socketAddress{};
        socketAddress.sun_family = AF_UNIX;
        QVERIFY(size_t(deadSocket.size()) < sizeof(socketAddress.sun_path));
        std::memcpy(socketAddress.sun_path, deadSocket.constData(), size_t(deadSocket.size()));
        const bool bound
                = ::bind(fd, reinterpret_cast<sockaddr *>(&socketAddress), sizeof(socketAddress))
                  == 0;
        ::close(fd);
        QVERIFY(bound);

        // A process of its own: this one is connected to the test bus for good.
        TiedProcess client;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address.arg(dir.path()));
        env.remove(QStringLiteral("QT_LOGGING_RULES"));
        if (!rules.isEmpty())
            env.insert(QStringLiteral("QT_LOGGING_RULES"), rules);
        env.insert(QStringLiteral("QT_MESSAGE_PATTERN"), QStringLiteral("%{category}: %{message}"));
        client.setProcessEnvironment(env);
        client.start(clientProgram(), {ls::ServiceId::CommandHandler});
        QVERIFY(client.waitForFinished(30000));
        QCOMPARE(client.exitStatus(), QProcess::NormalExit);
        QCOMPARE(client.exitCode(), 0);

        const QVariantMap response
                = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();
        QCOMPARE(response.value(ls::resultIdKey), QVariant(ls::ResultId::Failure));
        QCOMPARE(response.value(ls::errorIdKey), QVariant(errorId));
        QVERIFY(!response.value(ls::errorMessageKey).toString().isEmpty());
        QCOMPARE(response.size(), 3);

        const QList<QByteArray> lines = client.readAllStandardError().split('\n');
        if (logged) {
            QCOMPARE(lines.size(), 2);
            QVERIFY2(lines.at(0).startsWith("ls.dbus: No bus for \"se.tarnvik.CommandHandler\""),
                     lines.at(0).constData());
            QCOMPARE(lines.at(1), QByteArray());
        } else {
            QCOMPARE(lines, QList<QByteArray>{QByteArray()});
        }
    }

    void busDiesMidCall()
    {
        TestBus bus;
        QVERIFY2(bus.start(), qPrintable(bus.errorString()));
        TiedProcess peer;
        peer.setProcessEnvironment(bus.environment());
        peer.start(peerProgram(), {ls::ServiceId::CommandHandler});
        QVERIFY(bus.waitForService(ls::busName(ls::ServiceId::CommandHandler)));

        TiedProcess client;
        client.setProcessEnvironment(bus.environment());
        client.start(clientProgram(), {ls::ServiceId::CommandHandler, QStringLiteral("NoReply")});
        QVERIFY(peer.waitForReadyRead(10000));
        QCOMPARE(peer.readLine(), QByteArray("waiting\n"));
        bus.stop();

        // Well within the 25 s of the call's own time-out.
        QVERIFY(client.waitForFinished(20000));
        QCOMPARE(client.exitCode(), 0);
        const QVariantMap response
                = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();
        QCOMPARE(response,
                 failure(QStringLiteral("org.freedesktop.DBus.Error.Disconnected"),
                         QStringLiteral("The connection to the bus was lost during the call")));
        QCOMPARE(client.readAllStandardError(), QByteArray());
        peer.kill();
        peer.waitForFinished(5000);
    }

    void connectsOnlyForTheCall()
    {
        TiedProcess client;
        client.setProcessEnvironment(bus().environment());
        client.start(clientProgram(), {ls::ServiceId::CommandHandler, QStringLiteral("Echo"),
                                       QStringLiteral("--connections")});
        QVERIFY(client.waitForFinished(30000));
        QCOMPARE(client.exitCode(), 0);
        const QVariantMap response
                = QJsonDocument::fromJson(client.readAllStandardOutput()).toVariant().toMap();

        // Loading the library, registering and looking up leave the bus alone; the call connects,
        // once.
        const int before = response.value(QStringLiteral("socketsBefore")).toInt();
        QCOMPARE(response.value(QStringLiteral("socketsAfterLookUp")).toInt(), before);
        QCOMPARE(response.value(QStringLiteral("socketsAfterCall")).toInt(), before + 1);
        QCOMPARE(response.value(ls::commandIdKey), QVariant(QStringLiteral("Echo")));
    }
};

QTEST_GUILESS_MAIN(TestDBusServiceConnection)

#include "tst_dbusserviceconnection.moc"
