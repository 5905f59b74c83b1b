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

    /// `text` without newlines at its ends; those inside stay.
    static QString trimmedNewlines(QStringView text);
    /// `text` without white space (not newlines) at its ends.
    static QString trimmedWhitespace(QStringView text);
    /// `text` cut at every newline character. A carriage return and line feed give an empty piece
    /// between them.
    static QStringList splitAtNewlines(QStringView text);
};

} // namespace brindle
