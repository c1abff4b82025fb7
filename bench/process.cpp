// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

// The least a program can do with libservices: N exchanges (default 1) with the command handler,
// each the request `command-parser -e 601` sends. Exit status 0 when every one succeeded.
#include <ls/dbusservice.h>
#include <ls/dbusservicestore.h>
#include <ls/messagekeys.h>

#include <QCoreApplication>
#include <QVariantList>

#include <cstdlib>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int count = argc > 1 ? std::atoi(argv[1]) : 1;

    ls::DBusServiceStore *store = ls::DBusServiceStore::instance();
    store->registerService(ls::ServiceId::CommandHandler);
    const QVariantMap request{{ls::commandIdKey, ls::CommandHandlerCmdId::HandleCommand},
                              {ls::subCommandIdKey, 601},
                              {ls::senderIdKey, ls::ServiceId::CommandHandler},
                              {ls::argsKey, QVariantList()}};
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        const QVariantMap response
                = store->getService(ls::ServiceId::CommandHandler)->process(request);
        if (response.value(ls::resultIdKey).toString() != ls::ResultId::Success)
            ++failures;
    }
    return failures == 0 ? 0 : 1;
}
