#pragma once

#include "Inspection.h"
#include "LauncherRun.h"
#include "Offers.h"
#include "PowerDisk.h"

#include <QMap>
#include <QString>

#include <random>

namespace brindle {

/// Round after round: the power is cut while the launcher works or soon after. With the power back,
/// what the launcher takes for whole must be whole, and Play must come to a game that runs.
class PowerTorture
{
public:
    /// @param folder everything is made in it.
    PowerTorture(const QString &folder, const QString &programs, quint64 seed);

    /// Finds out how long undisturbed runs take. What went wrong, empty if nothing did.
    QString measure();
    /// One round. What went wrong, empty if nothing did.
    QString round(int number);
    /// One line: rounds by kind, cuts by phase.
    QString summary() const;

    /// The disk as it was at the last cut.
    QString imageOfCut() const { return disk_.imageOfCut(); }

private:
    /// What becomes of the file system's journal before the cut.
    enum class Journal {
        everyFiveSeconds, ///< it is written as ext4 has it
        everySecond,
        atTheCut, ///< some other program has just saved a file
    };

    int random(int below);
    LauncherRun cutRun(const QString &action);
    QStringList problemsOfState(const Inspection &inspection, const Inspection::Expected &expected);
    QStringList clearOrphans();

    PowerDisk disk_;
    LauncherRun::Setting setting_;
    Offers offers_;
    std::mt19937_64 generator_;
    int commit_ = 0;             // the newest that is offered
    int installedCommit_ = 0;    // of the game on disk
    QMap<QString, int> lengths_; // by action, in milliseconds
    QMap<QString, int> rounds_;  // by action
    QMap<QString, int> cuts_;    // by phase
    int ready_ = 0;              // rounds after which the launcher was ready at once
    QStringList story_;          // of the round
};

} // namespace brindle
