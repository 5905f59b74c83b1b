#pragma once

#include <QString>

namespace brindle {

/// Makes texts from downloads fit to be shown. Stateless; any thread.
class DisplayText
{
public:
    /// The text's first `longest` characters, and "…" where there was more; without what
    /// `Text::withoutControls` takes away, as it is copied. Towers of accents, which would cover
    /// what lies above and below, end after a few.
    static QString of(const QString &text, qsizetype longest);
};

} // namespace brindle
