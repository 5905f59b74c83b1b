#pragma once

#include <QString>

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

} // namespace brindle
