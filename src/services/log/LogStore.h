#pragma once

#include <QObject>
#include <QStringList>

namespace brindle {

/// The launcher's running log: at most `maxLines` entries, oldest first, terminal colour escapes
/// removed. Main thread only.
class LogStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList lines READ lines WRITE setLines NOTIFY linesChanged)

public:
    static constexpr qint64 maxLines = 5000;

    explicit LogStore(QObject *parent = nullptr);

    const QStringList &lines() const { return lines_; }

    /// Replaces the whole log, as "remove everything" does with an empty list.
    void setLines(const QStringList &lines);

    /// Adds one entry: escapes removed, newlines trimmed from both ends (not blanks, and not
    /// newlines inside). A text that is empty after that is not added and not announced.
    void append(const QString &text);

    /// Adds an entry that `cleaned` has made, if it is not empty. Cleaning it again might take
    /// something for an escape that was none.
    void add(QString entry);

    /// The entry that `append` makes of a text; empty when it would add none. Any thread.
    static QString cleaned(const QString &text);

    /// How many entries have been dropped from the front since the log was last replaced. With
    /// it a view can tell which of its lines are gone without comparing them.
    qint64 dropped() const { return dropped_; }

Q_SIGNALS:
    /// Before each change of `lines`, which still shows the old value.
    void willChange();
    /// After each change of `lines`.
    void linesChanged();
    /// After `setLines`: what a view has kept of the log is void.
    void reset();

private:
    QStringList lines_;
    qint64 dropped_ = 0;
};

} // namespace brindle
