// SPDX-FileCopyrightText: 2026 Tarnvik AB
// SPDX-License-Identifier: MIT

#include "rawbus.h"

#include <QElapsedTimer>
#include <QMap>
#include <QTest>

#include <cstring>
#include <limits>
#include <random>

using namespace RawBus;

namespace {

// Random request maps of every D-Bus type, from one seed: the same seed gives the same requests.
class RandomRequests
{
public:
    explicit RandomRequests(quint64 seed) : m_random(seed) { }

    // The next request; *deepest is the deepest level it reaches.
    Value next(int *deepest)
    {
        // Few descriptors, well below what one message may carry.
        for (;;) {
            const Value request = generate();
            if (descriptorsIn(request) <= 16) {
                *deepest = deepestLevel(request, 0);
                return request;
            }
        }
    }

private:
    int below(int n) { return int(m_random() % quint64(n)); }
    bool chance(int percent) { return below(100) < percent; }
    template<typename T>
    T pick(const QList<T> &list)
    {
        return list.at(below(list.size()));
    }

    Value generate()
    {
        m_budget = 10 + below(200);
        m_maxLevel = chance(10) ? 60 + below(6) : 3 + below(40);
        QList<Value> keysAndValues;
        if (chance(50))
            keysAndValues = plausibleCommand();
        for (int n = below(6); n > 0; --n) {
            int room = 200;
            const QByteArray type = randomType(m_maxLevel - 3, 0, 0, &room);
            keysAndValues << text('s', randomText()) << variant(valueOf(type, 3));
        }
        if (chance(12)) {
            keysAndValues << str(QStringLiteral("deep"))
                          << variant(deepChain(3, busNestingLimit - 4 + below(6)));
        }
        return dictionary("s", "v", keysAndValues);
    }

    QList<Value> plausibleCommand()
    {
        static const QList<int> numbers
                = {101, 102, 103, 104, 105, 106, 107, 108, 201, 202, 203, 204, 205,
                   301, 302, 303, 304, 305, 306, 401, 402, 403, 404, 405, 406, 501,
                   502, 503, 504, 505, 506, 601, 602, 603, 604, 0,   999};
        static const QStringList commandIds = {ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::HandleCommand,
                                               ls::CommandHandlerCmdId::GetCommands,
                                               ls::CommandHandlerCmdId::GetCommandCategories,
                                               QStringLiteral("handlecommand")};
        static const QStringList plausibleWords
                = {QStringLiteral("1"),           QStringLiteral("2"),
                   QStringLiteral("0"),           QStringLiteral("-1"),
                   QStringLiteral("10"),          QStringLiteral("48"),
                   QStringLiteral("500"),         QStringLiteral("true"),
                   QStringLiteral("false"),       QStringLiteral("Letter"),
                   QStringLiteral("tractor"),     QStringLiteral("grid"),
                   QStringLiteral("alphabet"),    QStringLiteral("paper-jam"),
                   QStringLiteral("none"),        QStringLiteral("en-us-g2.ctb"),
                   QStringLiteral("IpcCommandId")};
        QList<Value> keysAndValues{str(ls::commandIdKey), variant(str(pick(commandIds))),
                                   str(ls::senderIdKey),
                                   variant(str(ls::ServiceId::CommandHandler))};
        int room = 100;
        keysAndValues << str(ls::subCommandIdKey)
                      << variant(chance(85) ? int32(pick(numbers))
                                            : valueOf(randomType(4, 0, 0, &room), 3));
        QList<Value> args;
        for (int n = below(4); n > 0; --n) {
            const int kind = below(10);
            args.append(variant(kind < 6   ? str(pick(plausibleWords))
                                : kind < 8 ? text('s', randomText())
                                           : int32(below(600) - 50)));
        }
        keysAndValues << str(ls::argsKey)
                      << variant(chance(90) ? array("v", args)
                                            : valueOf(randomType(6, 0, 0, &room), 3));
        if (chance(20))
            keysAndValues << str(ls::categoryKey) << variant(str(QStringLiteral("IpcCommandId")));
        return keysAndValues;
    }

    // A complete type whose values nest at most levelsLeft levels below themselves.
    QByteArray randomType(int levelsLeft, int arrays, int structs, int *room)
    {
        static const char basics[] = "ybnqiuxtdsogh";
        if (levelsLeft <= 0 || m_budget <= 0 || *room < 12 || chance(45)) {
            --*room;
            return QByteArray(1, basics[below(13)]);
        }
        switch (below(4)) {
        case 0:
            if (arrays < 32) {
                --*room;
                return 'a' + randomType(levelsLeft - 1, arrays + 1, structs, room);
            }
            break;
        case 1:
            if (arrays < 32 && structs < 32 && levelsLeft >= 2) {
                *room -= 4;
                return "a{" + QByteArray(1, basics[below(13)])
                       + randomType(levelsLeft - 2, arrays + 1, structs + 1, room) + '}';
            }
            break;
        case 2:
            if (structs < 32) {
                *room -= 2;
                QByteArray fields;
                for (int n = 1 + below(3); n > 0; --n)
                    fields += randomType(levelsLeft - 1, arrays, structs + 1, room);
                return '(' + fields + ')';
            }
            break;
        default:
            break;
        }
        --*room;
        return QByteArrayLiteral("v");
    }

    // A random value of the type, to sit at level.
    Value valueOf(const QByteArray &signature, int level)
    {
        --m_budget;
        const char type = signature.at(0);
        if (type == 'v') {
            int room = 200;
            const QByteArray content = randomType(m_maxLevel - level - 1, 0, 0, &room);
            return variant(valueOf(content, level + 1));
        }
        if (type == 'a') {
            const QByteArray element = signature.mid(1);
            const int count = m_budget <= 0 ? 0 : below(isFixedSize(element.at(0)) ? 9 : 4);
            QList<Value> children;
            for (int i = 0; i < count; ++i) {
                if (element.at(0) == '{') {
                    children << valueOf(element.mid(1, 1), level + 2)
                             << valueOf(element.mid(2, element.size() - 3), level + 2);
                } else {
                    children << valueOf(element, level + 1);
                }
            }
            return {signature, {}, 0, children};
        }
        if (type == '(') {
            QList<Value> fields;
            for (const QByteArray &field : fieldTypes(signature.mid(1, signature.size() - 2)))
                fields.append(valueOf(field, level + 1));
            return structure(fields);
        }
        return basicValue(type);
    }

    Value basicValue(char type)
    {
        switch (type) {
        case 's':
            return text(type, randomText());
        case 'o':
            return text(type, randomPath());
        case 'g': {
            QByteArray signature;
            int room = 60;
            for (int n = below(4); n > 0; --n)
                signature += randomType(8, 0, 0, &room);
            return text(type, signature);
        }
        case 'd': {
            static const QList<double> special = {0.0,
                                                  -0.0,
                                                  1.5,
                                                  std::numeric_limits<double>::quiet_NaN(),
                                                  std::numeric_limits<double>::infinity(),
                                                  -std::numeric_limits<double>::infinity(),
                                                  std::numeric_limits<double>::denorm_min(),
                                                  9007199254740993.0};
            const double d = chance(30) ? pick(special) : double(qint64(m_random())) / 1e6;
            Value value = basic(type, 0);
            std::memcpy(&value.bits, &d, sizeof d);
            return value;
        }
        default: {
            static const QList<quint64> edges
                    = {0,      1,      quint64(-1), 0x7f,       0x80,
                       0x7fff, 0x8000, 0x7fffffff,  0x80000000, 0x7fffffffffffffff};
            return basic(type, chance(30) ? pick(edges) : m_random());
        }
        }
    }

    // A value at level whose deepest part is at target, made of variants, lists, maps and
    // structs in turn.
    Value deepChain(int level, int target)
    {
        if (level >= target)
            return chance(50) ? text('s', randomText()) : basicValue("ybnqiuxtdog"[below(11)]);
        const int left = target - level;
        switch (below(4)) {
        case 1:
            if (left >= 2)
                return array("v", {variant(deepChain(level + 2, target))});
            break;
        case 2:
            if (left >= 3)
                return dictionary("s", "v",
                                  {text('s', randomText()), variant(deepChain(level + 3, target))});
            break;
        case 3:
            if (left >= 2)
                return structure({int32(below(9)), variant(deepChain(level + 2, target))});
            break;
        default:
            break;
        }
        return variant(deepChain(level + 1, target));
    }

    QByteArray randomText()
    {
        static const QStringList pieces
                = {QStringLiteral("a"),      QStringLiteral("Z"),      QStringLiteral("7"),
                   QStringLiteral(" "),      QStringLiteral("  "),     QStringLiteral("\""),
                   QStringLiteral("\\"),     QStringLiteral("\t"),     QStringLiteral("\n"),
                   QStringLiteral("\x01"),   QStringLiteral("{"),      QStringLiteral("$"),
                   QStringLiteral("é"),      QStringLiteral("ß"),      QStringLiteral("中"),
                   QStringLiteral("🙂"),   QStringLiteral("\u200f"), QStringLiteral("e\u0301"),
                   QStringLiteral("\ufffd"), QStringLiteral("\u2800"), QStringLiteral("commandId"),
                   QStringLiteral("args")};
        QString result;
        for (int n = below(chance(5) ? 200 : 10); n > 0; --n)
            result += pick(pieces);
        return result.toUtf8();
    }

    QByteArray randomPath()
    {
        static const char characters[] = "abcXYZ019_";
        QByteArray path;
        for (int n = below(4); n > 0; --n) {
            path += '/';
            for (int m = 1 + below(5); m > 0; --m)
                path += characters[below(10)];
        }
        return path.isEmpty() ? QByteArrayLiteral("/") : path;
    }

    std::mt19937_64 m_random;
    // Values the request may still hold.
    int m_budget = 0;
    int m_maxLevel = 0;
};

} // namespace

// Random request trees of every D-Bus type, to any depth, from a fixed seed: every answer an
// error or a well-formed one, and the simulator alive with its descriptors flat.
class TestStressRandomTrees : public StressTestCase
{
    Q_OBJECT

private Q_SLOTS:
    void randomTrees()
    {
        // SIM_RANDOM_REQUESTS=100000 for the long run; SIM_RANDOM_SEED for another set of requests.
        const qint64 requests = fromEnvironment("SIM_RANDOM_REQUESTS", 40000);
        const quint64 seed = quint64(fromEnvironment("SIM_RANDOM_SEED", 20240613));
        qInfo("%lld random requests from seed %llu", requests, seed);

        QVERIFY(m_simulator->start({QStringLiteral("--step"), QStringLiteral("--state-file"),
                                    m_dir->filePath(QStringLiteral("state.json")),
                                    QStringLiteral("--record"),
                                    m_dir->filePath(QStringLiteral("record.jsonl"))}));
        RawClient client(m_bus.address());
        QVERIFY(client.connect());
        QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
        const int before = m_simulator->descriptorCount();

        RandomRequests random(seed);
        QMap<QString, int> kinds;
        QStringList problems;
        QElapsedTimer timer;
        timer.start();
        for (qint64 i = 0; i < requests; ++i) {
            int deepest = 0;
            const Value request = random.next(&deepest);
            const Outcome outcome = client.process(request);
            QString kind;
            switch (outcome.kind) {
            case Outcome::Kind::Reply:
                kind = QStringLiteral("reply %1/%2").arg(outcome.resultId, outcome.errorId);
                if (!outcome.wellFormed)
                    problems.append(
                            QStringLiteral("request %1: %2").arg(i).arg(outcome.describe()));
                break;
            case Outcome::Kind::Error:
                kind = QStringLiteral("error %1: %2").arg(outcome.errorName, outcome.errorMessage);
                // The simulator answered nothing in time, or was gone.
                if (outcome.errorName.contains(QLatin1String("NoReply"))
                    || outcome.errorName.contains(QLatin1String("ServiceUnknown"))
                    || outcome.errorName.contains(QLatin1String("Timeout")))
                    problems.append(
                            QStringLiteral("request %1: %2").arg(i).arg(outcome.describe()));
                break;
            case Outcome::Kind::Lost:
                kind = QStringLiteral("dropped by the bus, nested deeper than %1")
                               .arg(busNestingLimit);
                if (deepest <= busNestingLimit) {
                    problems.append(QStringLiteral("request %1 at level %2 dropped: %3")
                                            .arg(i)
                                            .arg(deepest)
                                            .arg(outcome.describe()));
                }
                if (!client.connect())
                    problems.append(QStringLiteral("no new connection after request %1").arg(i));
                break;
            }
            if (deepest > busNestingLimit && outcome.kind != Outcome::Kind::Lost)
                kind += QStringLiteral(", nested deeper than %1 yet let through")
                                .arg(busNestingLimit);
            ++kinds[kind];
            if (problems.size() > 20)
                break;
        }
        qInfo("%lld requests in %.1f s", requests, timer.elapsed() / 1000.0);
        for (auto it = kinds.cbegin(); it != kinds.cend(); ++it)
            qInfo("%7d  %s", it.value(), qPrintable(it.key()));
        QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));

        QVERIFY(m_simulator->isRunning());
        QVERIFY(isPong(client.command(ls::IpcCommandId::Ping)));
        QVERIFY2(m_simulator->descriptorCount() <= before,
                 qPrintable(QStringLiteral("%1 descriptors open, %2 before")
                                    .arg(m_simulator->descriptorCount())
                                    .arg(before)));
        QVERIFY(m_simulator->stop());
        QCOMPARE(QString::fromUtf8(m_simulator->standardError()), QString());
    }
};

QTEST_GUILESS_MAIN(TestStressRandomTrees)

#include "tst_simulatorstress_randomtrees.moc"
