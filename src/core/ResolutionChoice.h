#pragma once

#include <QString>

#include <array>
#include <optional>

namespace brindle {

/// The window size passed to the game.
enum class ResolutionChoice { gameDefault, r720, r900, r1080, r1440 };

/// What belongs to a `ResolutionChoice`. Stateless.
class ResolutionChoices
{
public:
    /// All cases, in the order in which they are offered.
    static constexpr std::array all{ResolutionChoice::gameDefault, ResolutionChoice::r720,
                                    ResolutionChoice::r900, ResolutionChoice::r1080,
                                    ResolutionChoice::r1440};

    /// The text stored in the settings: empty for the game's default, else "1280x720" and so on.
    static QString rawValue(ResolutionChoice choice);
    /// The case with this raw value; absent for any other text.
    static std::optional<ResolutionChoice> fromRawValue(const QString &rawValue);
    /// The game's "--resolution" argument; absent for the game's default.
    static std::optional<QString> argument(ResolutionChoice choice);
};

} // namespace brindle
