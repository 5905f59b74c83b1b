#include "base/Text.h"

#include <algorithm>
#include <cmath>

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

bool isControl(QChar c)
{
    const char16_t unit = c.unicode();
    const bool steers = unit == u'\u061c' || unit == u'\u200e' || unit == u'\u200f' ||
                        (unit >= u'\u202a' && unit <= u'\u202e') ||
                        (unit >= u'\u2066' && unit <= u'\u2069');
    return steers || (c.category() == QChar::Other_Control && unit != u'\t' && unit != u'\n');
}

/// `bytes`, at least 1000, in the first unit of which there are less than 1000.
QString inUnits(quint64 bytes)
{
    constexpr quint64 kilo = 1000;
    constexpr quint64 mostParts = 100;
    constexpr int digits = 5; // three, and those of the parts
    quint64 size = kilo;
    quint64 parts = 1; // of a unit that are shown: KB whole, MB in tenths, all others in hundredths
    constexpr QStringView prefixes = u"KMGTPE";
    for (const QChar prefix : prefixes) {
        const quint64 part = size / parts;
        const quint64 count = bytes / part + (bytes % part >= part / 2 ? 1 : 0);
        if (count < kilo * parts || prefix == prefixes.back()) {
            const double number = static_cast<double>(count) / static_cast<double>(parts);
            return QString::number(number, 'g', digits) + u' ' + prefix + u'B';
        }
        size *= kilo;
        parts = std::min(parts * 10, mostParts);
    }
    Q_UNREACHABLE();
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

QString Text::byteCount(qint64 bytes)
{
    if (bytes == 0) {
        return QStringLiteral("Zero KB");
    }
    // Negated as unsigned, because the smallest number has no positive counterpart.
    const quint64 size = bytes < 0 ? ~static_cast<quint64>(bytes) + 1 : static_cast<quint64>(bytes);
    const QString sign = bytes < 0 ? QStringLiteral("-") : QString();
    if (size == 1) {
        return sign + QStringLiteral("1 byte");
    }
    return sign + (size < 1000 ? QString::number(size) + QStringLiteral(" bytes") : inUnits(size));
}

QString Text::timeLeft(double seconds)
{
    if (!(seconds >= 0)) {
        return {};
    }
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    const auto about = [](double count, const char *unit) {
        return QStringLiteral("About %1 %2%3 left")
            .arg(QString::number(count), QLatin1String(unit), QLatin1String(count > 1 ? "s" : ""));
    };
    if (seconds < minute) {
        return QStringLiteral("Less than a minute left");
    }
    if (std::round(seconds / minute) < 60) {
        return about(std::round(seconds / minute), "minute");
    }
    if (std::round(seconds / hour) < 24) {
        return about(std::round(seconds / hour), "hour");
    }
    return QStringLiteral("More than a day left");
}

} // namespace brindle
