#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

namespace brindle {

/// Text rules that do not follow the C locale: Unicode's newline and white-space classes.
/// All functions: any thread, never fail.
class Text
{
public:
    /// Line feed, vertical tab, form feed, carriage return, next line, line and paragraph
    /// separator.
    static bool isNewline(QChar c);
    /// Tab and the characters of category Zs.
    static bool isWhitespace(QChar c);
    /// Control characters other than tab and line feed (category Cc), and those that only steer the
    /// direction of the text around them (property Bidi_Control). A terminal obeys the former; with
    /// either, a text reads as another.
    static bool isControl(QChar c);

    /// `text` without its control characters, and with all else.
    static QString withoutControls(const QString &text);
    /// `text` without newlines at its ends; those inside stay. The views live as long as `text`.
    static QStringView withoutNewlines(QStringView text);
    static QString trimmedNewlines(QStringView text);
    /// `text` without white space (not newlines) at its ends.
    static QStringView withoutWhitespace(QStringView text);
    static QString trimmedWhitespace(QStringView text);
    /// `text` cut at every newline character. A carriage return and line feed give an empty piece
    /// between them.
    static QStringList splitAtNewlines(QStringView text);
    /// Hands the pieces of `splitAtNewlines` to `use`, one after the other, until it returns
    /// false: for texts that may have more lines than one wants to hold.
    template <typename Use>
    static void eachLine(QStringView text, Use use)
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
};

} // namespace brindle
