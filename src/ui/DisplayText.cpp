#include "ui/DisplayText.h"

#include "base/Text.h"

#include <algorithm>

namespace brindle {

namespace {

/// More marks on one letter than any language stacks there; what is written in practice has three
/// at most.
constexpr int maxMarks = 5;

bool isMark(QChar c)
{
    return c.category() == QChar::Mark_NonSpacing || c.category() == QChar::Mark_Enclosing;
}

} // namespace

QString DisplayText::of(const QString &text, int longest)
{
    QString shown = text;
    if (shown.size() > longest) {
        // Not through the middle of a character.
        const bool splits = longest > 0 && shown.at(longest - 1).isHighSurrogate();
        shown.truncate(splits ? longest - 1 : longest);
        shown += u'…';
    }
    shown = Text::withoutControls(shown);
    if (std::any_of(shown.cbegin(), shown.cend(), isMark)) {
        int marks = 0;
        shown.removeIf([&marks](QChar c) {
            marks = isMark(c) ? marks + 1 : 0;
            return marks > maxMarks;
        });
    }
    return shown;
}

QString DisplayText::lines(const QString &text, int longest)
{
    QStringList shown = text.split(u'\n');
    for (QString &line : shown) {
        line = of(line, longest);
    }
    return shown.join(u'\n');
}

} // namespace brindle
