#pragma once

#include <QString>
#include <QStringView>

/// Text rules that do not depend on the locale. All functions: any thread, never fail.
namespace brindle::Text {

/// Tests for line feed, vertical tab, form feed, carriage return, next line, and the line and
/// paragraph separators.
bool isNewline(QChar c);

/// Removes what can make a text read as another: control characters (category Cc) except tab and
/// line feed, and characters with the property Bidi_Control.
QString withoutControls(const QString &text);
/// Removes newlines from both ends. The view lives as long as `text`.
QStringView withoutNewlines(QStringView text);
/// Removes tabs and characters of Unicode's category Zs from both ends. The view lives as long as
/// `text`.
QStringView withoutWhitespace(QStringView text);

/// Passes each piece of `text` between newline characters to `use`, until `use` returns false.
/// There is an empty piece between a carriage return and its line feed.
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

/// Writes a byte count of 0 or more as macOS does for files: powers of 1000, "Zero KB", "1 byte",
/// whole KB, MB with at most one decimal, larger units with at most two.
QString byteCount(qint64 bytes);

/// Writes a remaining time: "Less than a minute left", "About 2 minutes left". Returns an empty
/// text for a negative number or no number.
QString timeLeft(double seconds);

} // namespace brindle::Text
