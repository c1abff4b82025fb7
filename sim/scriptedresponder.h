#ifndef SCRIPTEDRESPONDER_H
#define SCRIPTEDRESPONDER_H

#include "answer.h"

#include <QHash>
#include <QList>
#include <QString>

// Answers requests from a JSON script instead of a device, so that a client's tests decide every
// answer; docs/simulator.md describes the script.
class ScriptedResponder
{
public:
    // Reads and checks the whole script; false with errorString() set when it cannot be used.
    bool load(const QString &fileName);
    QString errorString() const { return m_error; }

    // The command's own response when the script has one, else the next response in order, else
    // a failure answer with error id "ScriptExhausted".
    Answer answer(const QVariantMap &request);

private:
    QList<Answer> m_responses;
    QHash<QString, Answer> m_byCommand;
    int m_next = 0;
    QString m_error;
};

#endif // SCRIPTEDRESPONDER_H
