// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef DEVICERESULT_H
#define DEVICERESULT_H

#include <QString>
#include <QVariantMap>

// What one command did on the device: success with its result fields, or the error id and message
// of its failure. The dispatcher turns it into the response map that the bus reply carries.
struct DeviceResult
{
    // Empty on success.
    QString errorId;
    QString message;
    // The result fields of a success: a flat map of strings, ints and bools.
    QVariantMap details;

    bool failed() const { return !errorId.isEmpty(); }

    static DeviceResult success(const QVariantMap &details = {}) { return {{}, {}, details}; }
    static DeviceResult failure(const QString &errorId, const QString &message)
    {
        return {errorId, message, {}};
    }
};

// The error ids of the device's failures, as docs/simulator.md lists them.
namespace DeviceError {
inline const QString invalidRequest = QStringLiteral("InvalidRequest");
inline const QString unknownCategory = QStringLiteral("UnknownCategory");
inline const QString unknownCommand = QStringLiteral("UnknownCommand");
inline const QString invalidArgumentCount = QStringLiteral("InvalidArgumentCount");
inline const QString invalidArgument = QStringLiteral("InvalidArgument");
inline const QString deviceBusy = QStringLiteral("DeviceBusy");
inline const QString outOfPaper = QStringLiteral("OutOfPaper");
inline const QString paperJam = QStringLiteral("PaperJam");
inline const QString coverOpen = QStringLiteral("CoverOpen");
inline const QString noSuchDocument = QStringLiteral("NoSuchDocument");
inline const QString invalidState = QStringLiteral("InvalidState");
inline const QString translationFailed = QStringLiteral("TranslationFailed");
} // namespace DeviceError

#endif // DEVICERESULT_H
