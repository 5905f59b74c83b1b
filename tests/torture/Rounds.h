#pragma once

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QMap>
#include <QStringList>

#include <optional>
#include <random>

namespace brindle {

/// What the programs that go through many rounds take and tell alike.
struct Rounds
{
    int count = 0;
    quint64 seed = 0; ///< of the choices; by chance where none is given

    /// Reads "--rounds" and "--seed"; absent when one of them is no number.
    static std::optional<Rounds> read(const QCoreApplication &application, int usual)
    {
        QCommandLineParser parser;
        const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("How many."),
                                        QStringLiteral("count"), QString::number(usual));
        const QCommandLineOption seed(QStringLiteral("seed"),
                                      QStringLiteral("Repeats a run's choices."),
                                      QStringLiteral("number"));
        parser.addOptions({rounds, seed});
        parser.addHelpOption();
        parser.process(application);
        bool countIsNumber = false;
        bool seedIsNumber = true;
        const int count = parser.value(rounds).toInt(&countIsNumber);
        const quint64 number = parser.isSet(seed) ? parser.value(seed).toULongLong(&seedIsNumber)
                                                  : std::random_device()();
        return countIsNumber && seedIsNumber ? std::optional(Rounds{count, number}) : std::nullopt;
    }

    /// What went wrong in the first round that did, empty if none.
    template <typename T>
    QString run(T &torture) const
    {
        QString problem = torture.measure();
        for (int i = 1; problem.isEmpty() && i <= count; ++i) {
            problem = torture.round(i);
        }
        return problem;
    }

    /// "name count, name count".
    static QString listed(const QMap<QString, int> &counts)
    {
        QStringList parts;
        for (auto it = counts.begin(); it != counts.end(); ++it) {
            parts << QStringLiteral("%1 %2").arg(it.key()).arg(*it);
        }
        return parts.join(QStringLiteral(", "));
    }
};

} // namespace brindle
