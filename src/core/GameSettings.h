#pragma once

#include <QList>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <QVariant>

#include <array>
#include <memory>
#include <optional>

namespace brindle {

class LogQueue;

/// The window size passed to the game.
enum class ResolutionChoice { gameDefault, r720, r900, r1080, r1440 };

/// What belongs to a `ResolutionChoice`. Any thread.
namespace ResolutionChoices {

/// All cases, in the order in which they are offered.
constexpr std::array all{ResolutionChoice::gameDefault, ResolutionChoice::r720,
                         ResolutionChoice::r900, ResolutionChoice::r1080, ResolutionChoice::r1440};

/// The text stored in the settings: empty for the game's default, else "1280x720" and so on.
QString rawValue(ResolutionChoice choice);
/// The case with this raw value; absent for any other text.
std::optional<ResolutionChoice> fromRawValue(const QString &rawValue);
/// The game's "--resolution" argument; absent for the game's default.
std::optional<QString> argument(ResolutionChoice choice);

} // namespace ResolutionChoices

/// How the player wants the game to be started: one choice for each setting of a table. Read once,
/// stored at each choice. Main thread only.
class GameSettings
{
public:
    struct Choice
    {
        QVariant stored; ///< as it is in the store, in this type
        QString label;
        QStringList arguments; ///< for the game
    };
    struct Setting
    {
        QString key;
        QList<Choice> choices; ///< as they are offered; the first counts where nothing is stored
    };

    /// Every setting there is, in the order in which their arguments are passed.
    static const QList<Setting> &table();
    /// Null when there is no such setting or no such choice of it.
    static const Choice *choice(const QString &key, int index);
    /// The labels of each setting's choices, by its key.
    static QVariantMap labels();

    /// What can't be stored is told to `log`.
    GameSettings(std::unique_ptr<QSettings> store, std::shared_ptr<LogQueue> log);

    /// The index of each setting's choice, by its key.
    const QVariantMap &chosen() const { return chosen_; }
    int chosen(const QString &key) const { return chosen_.value(key).toInt(); }
    /// A choice that there is. It holds at once and is on its way to the disk, which nobody waits
    /// for.
    void choose(const QString &key, int index);
    /// The game's arguments.
    QStringList arguments() const;

    /// Waits for what is on its way to the disk, but not for ever.
    void waitUntilStored();

private:
    QVariantMap chosen_;
    std::shared_ptr<QSettings> store_; // of its writer's thread only, once it has been read
    std::shared_ptr<LogQueue> log_;
    QThreadPool writer_; // has one thread, so that the last value is the last
};

} // namespace brindle
