#include "base/Text.h"

#include <algorithm>

namespace brindle {

namespace {

template <typename Predicate>
QStringView trimmed(QStringView text, Predicate drops)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && drops(text[begin])) {
        ++begin;
    }
    while (end > begin && drops(text[end - 1])) {
        --end;
    }
    return text.sliced(begin, end - begin);
}

} // namespace

bool Text::isNewline(QChar c)
{
    const char16_t unit = c.unicode();
    return (unit >= u'\n' && unit <= u'\r') || unit == u'\u0085' || unit == u'\u2028' ||
           unit == u'\u2029';
}

bool Text::isWhitespace(QChar c)
{
    return c == u' ' || c == u'\t' || c.category() == QChar::Separator_Space;
}

bool Text::isControl(QChar c)
{
    const char16_t unit = c.unicode();
    const bool steers = unit == u'\u061c' || unit == u'\u200e' || unit == u'\u200f' ||
                        (unit >= u'\u202a' && unit <= u'\u202e') ||
                        (unit >= u'\u2066' && unit <= u'\u2069');
    return steers || (c.category() == QChar::Other_Control && unit != u'\t' && unit != u'\n');
}

QString Text::withoutControls(const QString &text)
{
    // Most have none, and then they stay shared.
    if (std::none_of(text.cbegin(), text.cend(), isControl)) {
        return text;
    }
    QString rest = text;
    rest.removeIf(isControl);
    return rest;
}

QStringView Text::withoutNewlines(QStringView text)
{
    return trimmed(text, isNewline);
}

QStringView Text::withoutWhitespace(QStringView text)
{
    return trimmed(text, isWhitespace);
}

QString Text::trimmedNewlines(QStringView text)
{
    return withoutNewlines(text).toString();
}

QString Text::trimmedWhitespace(QStringView text)
{
    return withoutWhitespace(text).toString();
}

QStringList Text::splitAtNewlines(QStringView text)
{
    QStringList lines;
    eachLine(text, [&lines](QStringView line) {
        lines.append(line.toString());
        return true;
    });
    return lines;
}

} // namespace brindle
