#pragma once

#include "Inspection.h"
#include "LauncherRun.h"
#include "Offers.h"

#include <QMap>
#include <QString>

#include <random>

namespace brindle {

/// Round after round, something happens to the launcher while it works. Started again, it must come
/// to a game that runs, with everything there that belongs to it and nothing else.
class Rounds
{
public:
    virtual ~Rounds() = default;

    /// Measures undisturbed runs and does `count` rounds. Returns what went wrong first, or
    /// nothing.
    QString run(int count);
    /// Returns one line that counts what happened.
    virtual QString summary() const = 0;

protected:
    /// @param folder holds everything that is made here but the user's and the temporary folder.
    Rounds(const QString &folder, const QString &home, const QString &temporary,
           const QString &programs, quint64 seed);

    /// Fills `lengths_`. Returns what went wrong, or nothing.
    virtual QString measure() = 0;
    /// Does one round and sets `name_`. Returns what went wrong, a line each.
    virtual QStringList round(int number) = 0;

    int random(int below);
    /// Adds the median time of `times` undisturbed runs of each action.
    QString measure(const QStringList &actions, int times);
    LauncherRun launch(const QString &action,
                       std::optional<std::chrono::milliseconds> killAfter = {},
                       const std::function<void()> &beforeKill = {});
    /// Presses Play and inspects what is there when the game runs.
    QStringList recover(const Inspection::Expected &expected);
    /// Writes "12 rounds (name count, …)".
    static QString counted(const QString &what, const QMap<QString, int> &counts);

    LauncherRun::Setting setting_;
    Offers offers_;
    int commit_ = 0;             // the newest that is offered
    int installedCommit_ = 0;    // of the game on disk
    QString name_;               // of the round
    QMap<QString, int> lengths_; // by action, in milliseconds
    QMap<QString, int> rounds_;  // by name
    QMap<QString, int> phases_;  // of the launcher when something happened to it

private:
    std::mt19937_64 generator_;
    QStringList story_; // of the round
};

} // namespace brindle
