#pragma once

#include <QObject>
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

/// What is shown of a run while it goes on, and of how the last one ended. A plain value.
struct Status
{
    AppState state;
    QString stepText;               ///< headline of the current step
    std::optional<double> progress; ///< 0 to 1; absent means that no fraction is known
    QString detail;        ///< second line: byte counts and speed, or what the current step does
    QString timeLeft = {}; ///< how long the running download still takes; empty when not known
};

/// A failed game run as it is shown to the user. A plain value.
struct FailureReport
{
    QString summary;   ///< one or two sentences: what went wrong, and a hint
    QStringList lines; ///< the last lines of the log

    bool operator==(const FailureReport &) const = default;
};

/// A field of an object as others see it: it announces itself by the owner's `willChange` before
/// each assignment (readers still see the old value), and by a signal of its own after it. Belongs
/// to its owner's thread.
template <typename T, typename Owner>
class Published
{
public:
    using Signal = void (Owner::*)();

    /// @param value where the owner keeps it.
    Published(Owner *owner, Signal didChange, T &value)
        : owner_(owner), didChange_(didChange), value_(value)
    {}
    Published(const Published &) = delete;
    Published &operator=(const Published &) = delete;

    const T &operator()() const { return value_; }

    /// Announces equal values as well.
    Published &operator=(T value)
    {
        Q_EMIT owner_->willChange();
        value_ = std::move(value);
        Q_EMIT(owner_->*didChange_)();
        return *this;
    }

    /// Assigns a value only if it differs.
    void update(const T &value)
    {
        if (!(value == value_)) {
            *this = value;
        }
    }

private:
    Owner *owner_;
    Signal didChange_;
    T &value_;
};

} // namespace brindle
