#pragma once

#include "Inspection.h"

#include <QMap>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <random>

namespace brindle {

/// Disturbs the launcher round after round. Each time the next Play must end in a running game,
/// with every file in place and nothing left over. Throws std::runtime_error for failures of the
/// torture itself.
class Rounds
{
public:
    using Maker = std::unique_ptr<Rounds>(const QString &folder, const QString &programs,
                                          quint64 seed);
    /// Kills the launcher at random times.
    static Maker ofKills;
    /// Cuts the power while the launcher works or soon after. Whatever the launcher takes for whole
    /// then must be whole.
    static Maker ofPowerCuts;

    virtual ~Rounds() = default;

    /// Measures undisturbed runs, then does `count` rounds. Returns the first round's problems that
    /// has any, or nothing.
    QString run(int count);
    /// Returns a line that counts the events.
    virtual QString summary() const;

protected:
    /// @param folder holds the user's folder and the temporary one.
    Rounds(const QString &folder, const QString &programs, quint64 seed);

    /// Fills `lengths_`. Returns the problems.
    virtual QString measure() = 0;
    /// Does one round and sets `name_`. Returns the problems, a line each.
    virtual QStringList round(int number) = 0;

    int random(int below);
    /// Adds the time of an undisturbed run of each action.
    QString measure(const QStringList &actions);
    /// Runs the launcher. With `killAfter` it gets SIGKILL that long after its start; `beforeKill`
    /// is called just before, even if the launcher has ended by then.
    std::unique_ptr<ConsoleLauncher> launch(const QString &action,
                                            std::optional<std::chrono::milliseconds> killAfter = {},
                                            const std::function<void()> &beforeKill = {});
    /// Kills the games that the launcher left, and waits for all its other children. Returns a line
    /// for each child that did not end by itself.
    static QStringList clearOrphans();
    /// Presses Play and inspects the disk while the game runs.
    QStringList recover(const QSet<int> &commits);
    /// Writes "12 rounds (name count, …)".
    static QString counted(const QString &what, const QMap<QString, int> &counts);

    ConsoleLauncher::Setting setting_;
    Offers offers_;
    int commit_ = 0;             // the newest that is offered
    int installedCommit_ = 0;    // of the game on disk
    QString name_;               // of the round
    QMap<QString, int> lengths_; // by action, in milliseconds
    QMap<QString, int> rounds_;  // by name
    QMap<QString, int> phases_;  // of the launcher when disturbed

private:
    std::mt19937_64 generator_;
    QStringList story_; // of the round
};

} // namespace brindle
