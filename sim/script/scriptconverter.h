// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#ifndef SCRIPTCONVERTER_H
#define SCRIPTCONVERTER_H

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// Whether a JSON object of a script is a directive ("$typed", "$error", ...) rather than data: it
// has a key that starts with "$".
bool isDirective(const QJsonObject &object);

// Turns the JSON values of a script into values ready for the bus, each typed as docs/simulator.md
// ("Responses") says; remembers the first problem with the place in the script where it is.
class ScriptConverter
{
public:
    // inexactMarker: the key that ScriptNumbers::markInexactNumbers() wrapped the script's inexact
    // numbers in.
    explicit ScriptConverter(const QString &inexactMarker) : m_inexactMarker(inexactMarker) { }

    // The first problem, as "<path>: <what is wrong>"; empty while there is none.
    QString error;

    // The value as the script wrote it: a number marked by markInexactNumbers() is its double,
    // with *inexact set.
    QJsonValue plain(const QJsonValue &value, bool *inexact = nullptr) const;

    // depth: the level the value will sit at in the reply, counted as the bus counts it
    // (docs/wire-contract.md, "Nesting"); a reply deeper than the bus allows would get the
    // simulator dropped from the bus on the first request.
    bool dataMap(const QJsonObject &object, const QString &path, int depth, QVariantMap *out);
    // The value as the D-Bus type of that signature ("$typed", "$reply").
    bool typed(const QString &signature, const QJsonValue &value, const QString &path, int depth,
               QVariant *out);

    // False, with the problem remembered, when the object has a key other than those allowed.
    bool expectKeys(const QJsonObject &object, const QStringList &allowed, const QString &path);
    // Remembers the problem unless one is remembered already; always false.
    bool fail(const QString &path, const QString &message)
    {
        if (error.isEmpty())
            error = path + QStringLiteral(": ") + message;
        return false;
    }

private:
    bool data(const QJsonValue &value, const QString &path, int depth, QVariant *out);
    bool tooDeep(int depth, const QString &path);
    template<typename T>
    bool integer(const QJsonValue &value, const QString &signature, const QString &path,
                 QVariant *out);
    bool array(const QJsonValue &value, const QString &signature, const QString &path, int depth,
               QVariant *out);

    QString m_inexactMarker;
};

#endif // SCRIPTCONVERTER_H
