#pragma once

#include "log/LogStore.h"

#include <QPointer>
#include <QQuickItem>
#include <QTextCursor>
#include <QTextDocument>

namespace brindle {

/// Keeps a read-only TextEdit's document equal to the log, with one block per entry. Once per frame
/// it adds new entries, and removes dropped entries from the front. It never rebuilds the text, so
/// a selection survives, and a flood of lines leaves time to draw. A long log appears from its end;
/// older entries follow in later frames.
///
/// The view keeps showing the same lines, unless its scroller follows the end. Main thread only.
class LogDocument : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    /// Set all properties once, at creation.
    Q_PROPERTY(LogStore *log MEMBER log_ REQUIRED)
    /// The TextEdit to fill.
    Q_PROPERTY(QQuickItem *edit MEMBER edit_ REQUIRED)
    /// The Flickable that scrolls the TextEdit.
    Q_PROPERTY(QQuickItem *scroller MEMBER scroller_ REQUIRED)

protected:
    void componentComplete() override;
    void updatePolish() override;

private:
    void startOver();
    bool isEmpty() const { return !log_ || log_->lines().isEmpty(); }
    qint64 end() const { return first_ + count_; }
    /// Each of these two changes the document and the scroll position together.
    void removeFront(qint64 count);
    void insert(qint64 from, qint64 count);
    qreal topOf(qint64 block) const;
    qreal contentY() const;

    QPointer<LogStore> log_;
    QPointer<QQuickItem> edit_;
    QPointer<QTextDocument> document_;
    QPointer<QQuickItem> scroller_;
    // Entries are numbered from 0 at the log's last reset.
    qint64 first_ = 0; // the first entry shown
    qint64 count_ = 0; // number of entries shown
};

} // namespace brindle
