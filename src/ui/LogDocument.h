#pragma once

#include "log/LogStore.h"

#include <QPointer>
#include <QQuickItem>
#include <QTextCursor>
#include <QTextDocument>

namespace brindle {

/// Keeps a read-only TextEdit's document equal to the log: one block for each entry. What has
/// arrived is added at most once a frame, what the log has dropped is taken off the front, and
/// nothing is rebuilt, so that a selection survives and a flood of lines leaves time to draw. A
/// long log is shown from its end at once; the older entries follow in the next frames.
///
/// The view follows the end while it is at the end; elsewhere it keeps showing the same lines.
/// Main thread only.
class LogDocument : public QQuickItem
{
    Q_OBJECT
    QML_ELEMENT
    /// All are set once, at its creation. A LogStore.
    Q_PROPERTY(QObject *log MEMBER source_ REQUIRED)
    /// A TextEdit, which this object fills.
    Q_PROPERTY(QQuickItem *edit MEMBER edit_ REQUIRED)
    /// The Flickable that scrolls it.
    Q_PROPERTY(QQuickItem *scroller MEMBER scroller_ REQUIRED)
    /// What the text says while the log has no lines.
    Q_PROPERTY(QString placeholder MEMBER placeholder_)

public:
    /// Most characters added in one frame, one whole entry at least.
    static constexpr qsizetype charactersPerFrame = 8 * 1024;

    explicit LogDocument(QQuickItem *parent = nullptr);

protected:
    void componentComplete() override;
    void updatePolish() override;

private:
    void startOver();
    bool isEmpty() const { return !log_ || log_->lines().isEmpty(); }
    qint64 end() const { return first_ + count_; }
    /// Both change the document and the scroll position together.
    void removeFront(qint64 count);
    void insert(qint64 from, qint64 count);
    qreal topOf(qint64 block) const;
    qreal lastY() const;
    qreal contentY() const;

    QPointer<QObject> source_;
    QPointer<LogStore> log_; // the same
    QPointer<QQuickItem> edit_;
    QPointer<QTextDocument> document_;
    QPointer<QQuickItem> scroller_;
    // Entries are numbered from when the log was last replaced.
    qint64 first_ = 0; // the first entry shown
    qint64 count_ = 0; // entries shown
    QString placeholder_;
};

} // namespace brindle
