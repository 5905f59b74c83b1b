#pragma once

#include "project/ProjectInfo.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <utility>

namespace brindle {

/// The launcher's phase. Three phases carry a text: the step headline (`downloading`,
/// `settingUp`) or the failure message (`needs`). A plain value.
struct AppState
{
    enum class Phase {
        notDownloaded, ///< the game or the engine is not on disk
        downloading,   ///< a download is running
        settingUp,     ///< the first-time import is running
        needs,         ///< the last run failed; the user must act
        ready,         ///< the game and the engine are on disk
        starting,      ///< the engine runs, but the game does not count as open yet
        playing,       ///< the game is open
    };

    Phase phase = Phase::notDownloaded;
    QString text;

    static AppState notDownloaded() { return {}; }
    static AppState downloading(QString headline)
    {
        return {Phase::downloading, std::move(headline)};
    }
    static AppState settingUp(QString headline) { return {Phase::settingUp, std::move(headline)}; }
    static AppState needs(QString message) { return {Phase::needs, std::move(message)}; }
    static AppState ready() { return {Phase::ready, {}}; }
    static AppState starting() { return {Phase::starting, {}}; }
    static AppState playing() { return {Phase::playing, {}}; }

    bool operator==(const AppState &) const = default;
};

/// A failed game run as it is shown to the user. A plain value.
struct FailureReport
{
    QString summary;   ///< one or two sentences: the failure and a hint
    QStringList lines; ///< the last lines of the log

    bool operator==(const FailureReport &) const = default;
};

/// Everything that the window shows, except the settings and the log. A plain value.
struct Status
{
    AppState state;
    QString stepText;               ///< headline of the current step
    std::optional<double> progress; ///< 0 to 1; absent means that no fraction is known
    QString detail;                 ///< byte counts and speed, or the current step's work
    QString timeLeft;               ///< remaining time of the download; empty when unknown
    std::optional<FailureReport> failure;
    ProjectInfo info;
    QString storageSize = QStringLiteral("…"); ///< size of the storage root
    bool removing = false;                     ///< a removal measures or deletes

    bool operator==(const Status &) const = default;
};

/// The window size passed to the game.
enum class ResolutionChoice { gameDefault, r720, r900, r1080, r1440 };

/// The texts of these choices, in order. The settings store them, and the game gets them behind
/// "--resolution". With an empty text the game gets no such argument.
inline const QStringList resolutions{QStringLiteral(""), QStringLiteral("1280x720"),
                                     QStringLiteral("1600x900"), QStringLiteral("1920x1080"),
                                     QStringLiteral("2560x1440")};

} // namespace brindle
