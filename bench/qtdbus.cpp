// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The same exchange as bench-process, written directly on QtDBus with nothing around it: the
// floor that libservices and command-parser are compared with.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantList>
#include <QVariantMap>

#include <cstdlib>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 1;

    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("se.tarnvik.CommandHandler"),
                                                       QStringLiteral("/se/tarnvik/CommandHandler"),
                                                       QStringLiteral("se.tarnvik.Service1"),
                                                       QStringLiteral("Process"));
    call << QVariantMap{{QStringLiteral("commandId"), QStringLiteral("HandleCommand")},
                        {QStringLiteral("subCommandId"), 601},
                        {QStringLiteral("senderId"), QStringLiteral("CommandHandler")},
                        {QStringLiteral("args"), QVariantList()}};
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        if (QDBusConnection::systemBus().call(call).type() != QDBusMessage::ReplyMessage)
            ++failures;
    }
    return failures == 0 ? 0 : 1;
}
