#include "core/ResolutionChoice.h"

namespace brindle {

QString ResolutionChoices::rawValue(ResolutionChoice choice)
{
    switch (choice) {
    case ResolutionChoice::gameDefault:
        return QStringLiteral("");
    case ResolutionChoice::r720:
        return QStringLiteral("1280x720");
    case ResolutionChoice::r900:
        return QStringLiteral("1600x900");
    case ResolutionChoice::r1080:
        return QStringLiteral("1920x1080");
    case ResolutionChoice::r1440:
        return QStringLiteral("2560x1440");
    }
    Q_UNREACHABLE();
}

std::optional<ResolutionChoice> ResolutionChoices::fromRawValue(const QString &rawValue)
{
    for (const ResolutionChoice choice : all) {
        if (ResolutionChoices::rawValue(choice) == rawValue) {
            return choice;
        }
    }
    return std::nullopt;
}

std::optional<QString> ResolutionChoices::argument(ResolutionChoice choice)
{
    const QString text = rawValue(choice);
    return text.isEmpty() ? std::nullopt : std::optional(text);
}

} // namespace brindle
