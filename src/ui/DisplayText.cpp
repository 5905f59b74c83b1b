#include "ui/DisplayText.h"

#include "base/Text.h"
#include "core/AppState.h"

#include <algorithm>
#include <string>

namespace brindle {

namespace {

/// More marks than any language puts on one letter. Real texts have at most three.
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
        const bool splits = longest > 0 && shown.at(longest - 1).isHighSurrogate();
        shown.truncate(splits ? longest - 1 : longest);
        shown += u'…';
    }
    shown = Text::withoutControls(shown);
    // Most texts have none, and stay shared.
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

QString DisplayText::lines(const QString &text, int longest)
{
    QStringList shown = text.split(u'\n');
    for (QString &line : shown) {
        line = of(line, longest);
    }
    return shown.join(u'\n');
}

QString DisplayText::phaseTitle(int phase)
{
    using namespace Qt::StringLiterals;
    switch (static_cast<AppState::Phase>(phase)) {
    case AppState::Phase::notDownloaded:
        return u"Not downloaded"_s;
    case AppState::Phase::downloading:
        return u"Downloading"_s;
    case AppState::Phase::settingUp:
        return u"Setting up"_s;
    case AppState::Phase::needs:
        return u"Needs something"_s;
    case AppState::Phase::ready:
        return u"Ready"_s;
    case AppState::Phase::starting:
        return u"Starting…"_s;
    case AppState::Phase::playing:
        return u"Playing"_s;
    }
    return {};
}

} // namespace brindle
