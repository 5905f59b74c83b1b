#pragma once

#include <QString>

namespace brindle {

/// Makes texts from downloads fit to be shown. Stateless; any thread.
class DisplayText
{
public:
    /// The text's first `longest` characters, and "…" where there was more; without control
    /// characters other than tab and newlines, and without the marks that override the direction
    /// of what follows them (Unicode Standard Annex 9): they would make a text read as another.
    /// Towers of accents, which would cover what lies above and below, end after a few.
    static QString of(const QString &text, qsizetype longest);
};

} // namespace brindle
