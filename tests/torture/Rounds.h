#pragma once

#include "Inspection.h"

#include <QMap>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <random>

namespace brindle {

/// Disturbs the launcher round after round. After each round a Play must end in a running game,
/// with every file complete and nothing left over. Throws std::runtime_error for failures of the
/// torture itself.
class Rounds
{
public:
    using Maker = std::unique_ptr<Rounds>(const QString &folder, const QString &programs,
                                          quint64 seed);
    /// Kills the launcher at random times.
    static Maker ofKills;
    /// Cuts the power while the launcher works or soon after. Everything that the next launcher
    /// takes for whole must be whole.
    static Maker ofPowerCuts;

    virtual ~Rounds() = default;

    /// Measures undisturbed runs, then does `count` rounds. Ends at the first round with problems
    /// and returns them, else nothing.
    QString run(int count);
    /// Returns a line that counts the events.
    virtual QString summary() const;

protected:
    /// @param folder the folder for the user's home and the temporary folder.
    Rounds(const QString &folder, const QString &programs, quint64 seed);

    /// Fills `lengths_`. Returns problems, or nothing.
    virtual QString measure() = 0;
    /// Does one round and sets `name_`. Returns the problems, one per line.
    virtual QStringList round(int number) = 0;

    int random(int below);
    /// Adds the times of undisturbed runs of these actions to `lengths_`.
    QString measure(const QStringList &actions);
    /// Runs the launcher. With `killAfter`, kills it that long after its start. Calls `beforeKill`
    /// just before, even if the launcher has already ended.
    std::unique_ptr<ConsoleLauncher> launch(const QString &action,
                                            std::optional<std::chrono::milliseconds> killAfter = {},
                                            const std::function<void()> &beforeKill = {});
    /// Kills the games that the launcher left, and waits for its other children. Returns a line for
    /// each child that did not end by itself.
    static QStringList clearOrphans();
    /// Presses Play and inspects the disk while the game runs.
    QStringList recover(const QSet<int> &commits);
    /// Writes "12 rounds (name count, …)".
    static QString counted(const QString &what, const QMap<QString, int> &counts);

    ConsoleLauncher::Setting setting_;
    Offers offers_;
    int commit_ = 0;             // the newest offered commit
    int installedCommit_ = 0;    // the commit of the game on disk
    QString name_;               // the round's name
    QMap<QString, int> lengths_; // by action, in milliseconds
    QMap<QString, int> rounds_;  // by name
    QMap<QString, int> phases_;  // the launcher's phases when disturbed

private:
    std::mt19937_64 generator_;
    QStringList story_; // the round's events
};

} // namespace brindle
