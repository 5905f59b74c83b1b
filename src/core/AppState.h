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
        notDownloaded, ///< game or engine are not on disk
        downloading,   ///< a download is running
        settingUp,     ///< the first-time import is running
        needs,         ///< the last run failed; the user must act
        ready,         ///< game and engine are on disk
        starting,      ///< the engine has been started, the game has not yet stayed open
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

/// Everything that the window shows of the model, except settings and log. A plain value.
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
    bool removing = false;                     ///< everything is measured or deleted for removal

    bool operator==(const Status &) const = default;
};

} // namespace brindle
