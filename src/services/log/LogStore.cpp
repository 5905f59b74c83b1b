#include "log/LogStore.h"

#include "base/Text.h"

#include <QRegularExpression>

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

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

QString LogStore::cleaned(const QString &text)
{
    QString plain = text;
    // Most lines have no escape, and this check is faster than the expression.
    if (plain.contains(u'\x1b')) {
        static const QRegularExpression colour(u"\x1b\\[[0-9;]*[A-Za-z]"_s);
        plain.remove(colour);
    }
    const QStringView trimmed = Text::withoutNewlines(plain);
    return trimmed.size() == plain.size() ? plain : trimmed.toString();
}

} // namespace brindle
