#pragma once

#include "LauncherRun.h"
#include "Offers.h"

#include <QSet>

namespace brindle {

/// Looks at what a round left behind.
class Inspection
{
public:
    /// What a round may come to.
    struct Expected
    {
        QSet<int> commits;    ///< of the game
        int newestCommit = 0; ///< that has been offered
        bool mayMove = false; ///< add-ons may be of a newer commit than the game
    };

    Inspection(const Offers &offers, LauncherRun::Setting setting)
        : offers_(offers), setting_(std::move(setting))
    {}

    /// All that is wrong after `run`, which was to end in a game that runs; a line each.
    QStringList problems(const LauncherRun &run, const Expected &expected) const;
    /// All that is wrong where the launcher says that it is ready; a line each.
    QStringList problemsOfReady(const Expected &expected) const;
    /// Of the game on disk.
    int installedCommit() const;

private:
    /// `isImported`: the engine's import shall have left its products.
    QStringList problemsOfProject(const Tree &project, const Expected &expected,
                                  bool isImported) const;
    QStringList problemsOfInfo() const;
    QStringList problemsOfEngines(const QString &needed) const;
    QStringList problemsOfRun(const LauncherRun &run, const QString &version) const;
    QString root(const QString &name = {}) const;

    const Offers &offers_;
    const LauncherRun::Setting setting_;
};

} // namespace brindle
