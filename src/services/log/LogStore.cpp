#include "log/LogStore.h"

#include "base/Text.h"

#include <utility>

namespace brindle {

namespace {

constexpr QChar escape(0x1b);

/// The position behind the colour escape that begins at `begin`, or `begin` when there is none:
/// the escape character, "[", decimal digits and semicolons, one ASCII letter.
qsizetype endOfEscape(QStringView text, qsizetype begin)
{
    qsizetype i = begin + 1;
    if (i >= text.size() || text[i] != u'[') {
        return begin;
    }
    do {
        ++i;
    } while (i < text.size() && ((text[i] >= u'0' && text[i] <= u'9') || text[i] == u';'));
    const bool letter = i < text.size() && ((text[i] >= u'A' && text[i] <= u'Z') ||
                                            (text[i] >= u'a' && text[i] <= u'z'));
    return letter ? i + 1 : begin;
}

} // namespace

LogStore::LogStore(QObject *parent) : QObject(parent) {}

void LogStore::setLines(const QStringList &lines)
{
    Q_EMIT willChange();
    lines_ = lines;
    dropped_ = 0;
    Q_EMIT reset();
    Q_EMIT linesChanged();
}

void LogStore::append(const QString &text)
{
    add(cleaned(text));
}

void LogStore::add(QString entry)
{
    if (entry.isEmpty()) {
        return;
    }
    Q_EMIT willChange();
    lines_.append(std::move(entry));
    if (lines_.size() > maxLines) {
        const qsizetype excess = lines_.size() - maxLines;
        lines_.remove(0, excess);
        dropped_ += excess;
    }
    Q_EMIT linesChanged();
}

// Written by hand: the engine prints tens of thousands of lines a second, nearly all of them
// without an escape, and a regular expression takes several times as long to find that out.
QString LogStore::cleaned(const QString &text)
{
    const QStringView view(text);
    qsizetype next = view.indexOf(escape);
    if (next < 0) {
        const QStringView trimmed = Text::withoutNewlines(view);
        return trimmed.size() == text.size() ? text : trimmed.toString();
    }
    QString plain;
    plain.reserve(text.size());
    qsizetype kept = 0; // up to here `text` has been taken over or dropped
    while (next >= 0) {
        const qsizetype end = endOfEscape(view, next);
        if (end == next) {
            next = view.indexOf(escape, next + 1);
            continue;
        }
        plain.append(view.sliced(kept, next - kept));
        kept = end;
        next = view.indexOf(escape, end);
    }
    plain.append(view.sliced(kept));
    const QStringView trimmed = Text::withoutNewlines(plain);
    return trimmed.size() == plain.size() ? plain : trimmed.toString();
}

} // namespace brindle
