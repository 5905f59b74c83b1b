#include "ui/LogDocument.h"

#include "ui/DisplayText.h"

#include <QAbstractTextDocumentLayout>
#include <QQuickTextDocument>
#include <QTextBlock>

#include <algorithm>

namespace brindle {

namespace {

// The view cuts longer lines; the Copy button copies whole lines.
constexpr int maxShown = 4'000;

// The most characters added per frame, but at least one whole entry.
constexpr qsizetype charactersPerFrame = 8'192;

// Laying out a block costs about as much as this many characters.
constexpr qsizetype blockCost = 54;

/// Returns the entry as one block. Characters that would begin a block become line breaks.
QString asBlock(const QString &line)
{
    QString entry = DisplayText::of(line, maxShown);
    const auto beginsBlock = [](QChar c) {
        return c == u'\n' || c == QChar::ParagraphSeparator || c == QChar(0xfdd0) ||
               c == QChar(0xfdd1); // frame marks inside a QTextDocument
    };
    // Most entries have no such character, and need no copy.
    if (std::any_of(entry.cbegin(), entry.cend(), beginsBlock)) {
        std::replace_if(entry.begin(), entry.end(), beginsBlock, QChar(QChar::LineSeparator));
    }
    return entry;
}

} // namespace

void LogDocument::componentComplete()
{
    QQuickItem::componentComplete();
    document_ = edit_->property("textDocument").value<QQuickTextDocument *>()->textDocument();
    document_->setUndoRedoEnabled(false);
    connect(log_, &LogStore::linesChanged, this, &LogDocument::polish);
    connect(log_, &LogStore::reset, this, &LogDocument::startOver);
    startOver();
}

void LogDocument::startOver()
{
    if (!document_) {
        return; // the view is being destroyed
    }
    QTextCursor cursor(document_);
    cursor.select(QTextCursor::Document);
    cursor.insertText(isEmpty() ? QStringLiteral("Nothing yet.") : QString());
    count_ = 0;
    first_ = log_ ? log_->dropped() + log_->lines().size() : 0;
    if (!isEmpty()) {
        polish();
    }
}

void LogDocument::updatePolish()
{
    if (isEmpty() || !document_) {
        return;
    }
    const QStringList &lines = log_->lines();
    const qint64 dropped = log_->dropped();
    const qint64 newest = dropped + lines.size();
    if (count_ == 0 || dropped >= end()) {
        // The log has dropped every shown entry, so begin again from its end.
        removeFront(count_);
        first_ = newest;
    } else if (dropped > first_) {
        removeFront(dropped - first_);
    }

    qsizetype room = charactersPerFrame;
    const auto take = [&](qint64 entry) {
        room -= lines.at(entry - dropped).size() + blockCost;
        return room > 0;
    };
    qint64 to = end();
    for (bool more = true; more && to < newest; ++to) {
        more = take(to);
    }
    insert(end(), to - end());
    qint64 from = first_;
    for (bool more = true; more && from > dropped && room > 0;) {
        more = take(--from);
    }
    insert(from, first_ - from);

    if (end() < newest || first_ > dropped) {
        // The rest follows in the next frame.
        QMetaObject::invokeMethod(this, [this] { polish(); }, Qt::QueuedConnection);
    }
}

void LogDocument::removeFront(qint64 count)
{
    if (count <= 0) {
        return;
    }
    const bool all = count >= count_;
    const qreal y = contentY() - (all ? 0 : topOf(count) - topOf(0));
    QTextCursor cursor(document_);
    if (all) {
        cursor.movePosition(QTextCursor::End, QTextCursor::KeepAnchor);
    } else {
        cursor.setPosition(document_->findBlockByNumber(static_cast<int>(count)).position(),
                           QTextCursor::KeepAnchor);
    }
    cursor.removeSelectedText();
    first_ += std::min(count, count_);
    count_ -= std::min(count, count_);
    QMetaObject::invokeMethod(scroller_, "scrollTo", Q_ARG(QVariant, y));
}

/// Inserts entries directly before or after the shown entries.
void LogDocument::insert(qint64 from, qint64 count)
{
    if (count <= 0) {
        return;
    }
    QString text;
    for (qint64 entry = from; entry < from + count; ++entry) {
        if (entry > from) {
            text += QLatin1Char('\n');
        }
        text += asBlock(log_->lines().at(entry - log_->dropped()));
    }
    const bool behind = from >= first_;
    const int anchor = edit_->property("selectionStart").toInt();
    const int position = edit_->property("selectionEnd").toInt();
    const bool backwards = edit_->property("cursorPosition").toInt() == anchor;

    QTextCursor cursor(document_);
    if (behind) {
        cursor.movePosition(QTextCursor::End);
    }
    // Text inserted at a selection's end must not extend the selection.
    const bool touched =
        behind && count_ > 0 && anchor != position && position == cursor.position();
    const qreal y = contentY();
    if (count_ == 0) {
        cursor.select(QTextCursor::Document); // the placeholder
        cursor.insertText(text);
        first_ = from;
    } else if (behind) {
        cursor.insertText(QLatin1Char('\n') + text);
    } else {
        cursor.insertText(text + QLatin1Char('\n'));
        first_ = from;
        scroller_->setProperty("contentY", y + topOf(count) - topOf(0));
    }
    count_ += count;
    if (touched) {
        QMetaObject::invokeMethod(edit_, "select", Q_ARG(int, backwards ? position : anchor),
                                  Q_ARG(int, backwards ? anchor : position));
    }
}

qreal LogDocument::topOf(qint64 block) const
{
    return document_->documentLayout()
        ->blockBoundingRect(document_->findBlockByNumber(static_cast<int>(block)))
        .top();
}

qreal LogDocument::contentY() const
{
    return scroller_->property("contentY").toReal();
}

} // namespace brindle
