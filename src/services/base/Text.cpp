#include "base/Text.h"

#include <algorithm>
#include <cmath>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

template <typename Predicate>
QStringView trimmed(QStringView text, Predicate drops)
{
    while (!text.isEmpty() && drops(text.front())) {
        text = text.sliced(1);
    }
    while (!text.isEmpty() && drops(text.back())) {
        text.chop(1);
    }
    return text;
}

bool isControl(QChar c)
{
    const char16_t unit = c.unicode();
    const bool isBidirectional = unit == u'\u061c' || unit == u'\u200e' || unit == u'\u200f' ||
                                 (unit >= u'\u202a' && unit <= u'\u202e') ||
                                 (unit >= u'\u2066' && unit <= u'\u2069');
    return isBidirectional ||
           (c.category() == QChar::Other_Control && unit != u'\t' && unit != u'\n');
}

/// Writes a count of 1000 or more in the first unit that keeps the number below 1000.
QString inUnits(qint64 bytes)
{
    constexpr QStringView prefixes = u"KMGTPE";
    qint64 unit = 1000;
    qint64 parts = 1; // parts of a unit shown: 1 for KB, 10 for MB, then 100
    for (qsizetype i = 0;; ++i) {
        const qint64 part = unit / parts;
        const qint64 count = bytes / part + (bytes % part >= part / 2 ? 1 : 0);
        if (count < 1000 * parts) { // at the latest in EB
            const double number = static_cast<double>(count) / static_cast<double>(parts);
            return QString::number(number) + u' ' + prefixes[i] + u'B';
        }
        unit *= 1000;
        parts = std::min<qint64>(parts * 10, 100);
    }
}

} // namespace

bool Text::isNewline(QChar c)
{
    const char16_t unit = c.unicode();
    return (unit >= u'\n' && unit <= u'\r') || unit == u'\u0085' || unit == u'\u2028' ||
           unit == u'\u2029';
}

QString Text::withoutControls(const QString &text)
{
    return QString(text).removeIf(isControl);
}

QStringView Text::withoutNewlines(QStringView text)
{
    return trimmed(text, isNewline);
}

QStringView Text::withoutWhitespace(QStringView text)
{
    return trimmed(text,
                   [](QChar c) { return c == u'\t' || c.category() == QChar::Separator_Space; });
}

QString Text::byteCount(qint64 bytes)
{
    if (bytes == 0) {
        return u"Zero KB"_s;
    }
    if (bytes == 1) {
        return u"1 byte"_s;
    }
    return bytes < 1000 ? QString::number(bytes) + u" bytes"_s : inUnits(bytes);
}

QString Text::timeLeft(double seconds)
{
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    const auto about = [](double count, const QString &unit) {
        return u"About %1 %2 left"_s.arg(QString::number(count), count > 1 ? unit + u's' : unit);
    };
    if (!(seconds >= 0)) {
        return {};
    }
    if (seconds < minute) {
        return u"Less than a minute left"_s;
    }
    if (std::round(seconds / minute) < 60) {
        return about(std::round(seconds / minute), u"minute"_s);
    }
    if (std::round(seconds / hour) < 24) {
        return about(std::round(seconds / hour), u"hour"_s);
    }
    return u"More than a day left"_s;
}

} // namespace brindle
