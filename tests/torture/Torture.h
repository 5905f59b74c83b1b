#pragma once

#include "Inspection.h"
#include "LauncherRun.h"
#include "Offers.h"

#include <QMap>
#include <QString>

#include <array>
#include <optional>
#include <random>

namespace brindle {

/// Round after round: the launcher is started, killed at a random time, started again, and must
/// come to a game that runs, with everything there that belongs to it and nothing else.
class Torture
{
public:
    /// What is going on when the launcher is killed.
    enum class Kind {
        firstPlay,
        update,
        movingUpdate, ///< and by the next start the host offers yet another commit
        reinstall,
        removeEverything,
    };

    /// @param folder everything is made in it. @param secondTemporary a temporary folder on another
    /// file system, empty when there is none.
    Torture(const QString &folder, const QString &secondTemporary, const QString &programs,
            quint64 seed);

    /// Finds out how long undisturbed runs take. What went wrong, empty if nothing did.
    QString measure();
    /// One round. What went wrong, empty if nothing did.
    QString round(int number);
    /// One line: rounds by kind, kills by phase.
    QString summary() const;

private:
    int random(int below);
    Kind randomKind(int number);
    LauncherRun killedRun(const QString &action);
    static QString nameOf(Kind kind);
    static QString actionOf(Kind kind);
    QString report(int number, Kind kind, const QStringList &problems) const;

    const QString folder_;
    const QString secondTemporary_;
    LauncherRun::Setting setting_;
    Offers offers_;
    std::mt19937_64 generator_;
    int commit_ = 0;              // the newest that is offered
    int installedCommit_ = 0;     // of the game on disk
    bool hasNewerAddons_ = false; // the game on disk may
    bool isSetUp_ = false;        // the last run left everything in its place
    QMap<QString, int> lengths_;  // by action, in milliseconds
    QMap<QString, int> rounds_;   // by kind
    QMap<QString, int> kills_;    // by phase
    QStringList story_;           // of the round
};

} // namespace brindle
