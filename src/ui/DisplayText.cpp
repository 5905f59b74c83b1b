#include "ui/DisplayText.h"

#include <algorithm>

namespace brindle {

namespace {

bool isHarmful(QChar c)
{
    const ushort code = c.unicode();
    const bool isOverride =
        (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
    const bool isControl =
        c.category() == QChar::Other_Control && c != u'\t' && c != u'\n' && c != u'\r';
    return isOverride || isControl;
}

} // namespace

QString DisplayText::of(const QString &text, qsizetype longest)
{
    QString shown = text;
    if (shown.size() > longest) {
        // Not through the middle of a character.
        const bool splits = longest > 0 && shown.at(longest - 1).isHighSurrogate();
        shown.truncate(splits ? longest - 1 : longest);
        shown += u'…';
    }
    if (std::any_of(shown.cbegin(), shown.cend(), isHarmful)) {
        shown.removeIf(isHarmful);
    }
    return shown;
}

} // namespace brindle
