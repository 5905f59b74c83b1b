#pragma once

#include <QString>
#include <QStringView>

/// Text rules that do not depend on the locale. Call from any thread; no function fails.
namespace brindle::Text {

/// Tests for line feed, vertical tab, form feed, carriage return, next line, and the line and
/// paragraph separators.
bool isNewline(QChar c);

/// Removes characters that can make a text look like another: control characters (category Cc)
/// except tab and line feed, and characters with the property Bidi_Control.
QString withoutControls(const QString &text);
/// Removes newlines from both ends. The view lives as long as `text`.
QStringView withoutNewlines(QStringView text);
/// Removes tabs and characters of Unicode's category Zs from both ends. The view lives as long as
/// `text`.
QStringView withoutWhitespace(QStringView text);

/// Splits `text` at newline characters and passes each piece to `use`, until `use` returns false. A
/// carriage return with its line feed counts as two newlines.
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

/// Writes a byte count of 0 or more as macOS does for files: in powers of 1000, with "Zero KB", "1
/// byte", whole KB, at most one decimal for MB and at most two for larger units.
QString byteCount(qint64 bytes);

/// Writes a remaining time: "Less than a minute left", "About 2 minutes left". Returns an empty
/// text for a negative number or NaN.
QString timeLeft(double seconds);

} // namespace brindle::Text
