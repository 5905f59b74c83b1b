#pragma once

#include <QString>
#include <QStringView>

/// Text rules that do not follow the C locale: Unicode's newline and white-space classes, and sizes
/// as the platform writes them. All functions: any thread, never fail.
namespace brindle::Text {

/// Line feed, vertical tab, form feed, carriage return, next line, line and paragraph separator.
bool isNewline(QChar c);
/// Tab and the characters of category Zs.
bool isWhitespace(QChar c);

/// `text` without control characters other than tab and line feed (category Cc), and without those
/// that only steer the direction of the text around them (property Bidi_Control). A terminal obeys
/// the former; with either, a text reads as another.
QString withoutControls(const QString &text);
/// `text` without newlines at its ends; those inside stay. The view lives as long as `text`.
QStringView withoutNewlines(QStringView text);
/// `text` without white space (not newlines) at its ends. The view lives as long as `text`.
QStringView withoutWhitespace(QStringView text);

/// Hands the pieces of `text` between newline characters to `use`, one after the other, until it
/// returns false. A carriage return and line feed give an empty piece between them.
template <typename Use>
void eachLine(QStringView text, Use use)
{
    qsizetype begin = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isNewline(text[i])) {
            if (!use(text.sliced(begin, i - begin))) {
                return;
            }
            begin = i + 1;
        }
    }
    use(text.sliced(begin));
}

/// A byte count as the platform's formatter writes it in its file style, the same on every system:
/// powers of 1000, "Zero KB", "1 byte", "999 bytes", KB without decimals, MB with at most one, GB
/// and up with at most two, no trailing zeros; what rounds up to 1000 moves to the next unit.
QString byteCount(qint64 bytes);

/// How long something still takes, in plain words, for a number of seconds: "Less than a minute
/// left", "About 2 minutes left". Empty for what is no time.
QString timeLeft(double seconds);

} // namespace brindle::Text
