#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace brindle {

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
