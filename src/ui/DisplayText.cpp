#include "ui/DisplayText.h"

#include "base/Text.h"

#include <algorithm>
#include <string>

namespace brindle {

namespace {

/// Real texts have at most three marks on one letter.
constexpr int maxMarks = 5;

bool isMark(char32_t character)
{
    const auto category = QChar::category(character);
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing;
}

} // namespace

QString DisplayText::of(const QString &text, int longest)
{
    QString shown = text;
    if (shown.size() > longest) {
        // Do not split a surrogate pair.
        const bool splits = shown.at(longest - 1).isHighSurrogate();
        shown.truncate(splits ? longest - 1 : longest);
        shown += u'…';
    }
    shown = Text::withoutControls(shown);
    // Most texts have no marks, and need no copy.
    const auto mayBeMark = [](QChar c) { return c.isSurrogate() || isMark(c.unicode()); };
    if (std::any_of(shown.cbegin(), shown.cend(), mayBeMark)) {
        std::u32string characters = shown.toStdU32String();
        int marks = 0;
        std::erase_if(characters, [&marks](char32_t character) {
            marks = isMark(character) ? marks + 1 : 0;
            return marks > maxMarks;
        });
        shown = QString::fromStdU32String(characters);
    }
    return shown;
}

QString DisplayText::phaseTitle(int phase)
{
    using namespace Qt::StringLiterals;
    // In the same order as AppState::Phase.
    static const QStringList titles{u"Not downloaded"_s,  u"Downloading"_s, u"Setting up"_s,
                                    u"Needs something"_s, u"Ready"_s,       u"Starting…"_s,
                                    u"Playing"_s};
    return titles.value(phase);
}

} // namespace brindle
