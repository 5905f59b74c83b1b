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
    QString summary;   ///< one or two sentences: what went wrong, and a hint
    QStringList lines; ///< the last lines of the log

    bool operator==(const FailureReport &) const = default;
};

/// All that the window shows, except the settings and the log. A plain value.
struct Status
{
    AppState state;
    QString stepText;               ///< headline of the current step
    std::optional<double> progress; ///< 0 to 1; absent means that no fraction is known
    QString detail;                 ///< byte counts and speed, or the current step's work
    QString timeLeft;               ///< remaining time of the download; empty when unknown
    std::optional<FailureReport> failure;
    ProjectInfo info;
    QString storageSize = QStringLiteral("…"); ///< the storage root's size, once measured
    bool removing = false;                     ///< a removal measures or deletes

    bool operator==(const Status &) const = default;
};

/// The window size passed to the game.
enum class ResolutionChoice { gameDefault, r720, r900, r1080, r1440 };

namespace ResolutionChoices {

/// The texts stored in the settings, one for each case in order.
inline const QStringList rawValues{QStringLiteral(""), QStringLiteral("1280x720"),
                                   QStringLiteral("1600x900"), QStringLiteral("1920x1080"),
                                   QStringLiteral("2560x1440")};

inline QString rawValue(ResolutionChoice choice)
{
    return rawValues.at(static_cast<qsizetype>(choice));
}

/// Returns the case with this raw value; absent for any other text.
inline std::optional<ResolutionChoice> fromRawValue(const QString &rawValue)
{
    const qsizetype index = rawValues.indexOf(rawValue);
    return index < 0 ? std::nullopt : std::optional(static_cast<ResolutionChoice>(index));
}

/// Returns the game's "--resolution" argument; absent for the game's default.
inline std::optional<QString> argument(ResolutionChoice choice)
{
    const QString text = rawValue(choice);
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace ResolutionChoices

} // namespace brindle
