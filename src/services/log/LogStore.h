#pragma once

#include <QObject>
#include <QStringList>

namespace brindle {

/// The launcher's running log: at most `maxLines` entries, oldest first, without terminal colours.
/// Main thread only.
class LogStore : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QStringList lines READ lines WRITE setLines NOTIFY linesChanged)

public:
    static constexpr qint64 maxLines = 5000;

    explicit LogStore(QObject *parent = nullptr);

    const QStringList &lines() const { return lines_; }

    /// Replaces the whole log.
    void setLines(const QStringList &lines);

    /// Adds `cleaned(text)` as one entry.
    void append(const QString &text);

    /// Adds an entry that `cleaned` returned. An empty entry changes nothing.
    void add(QString entry);

    /// Removes colour escapes from `text`, and newlines from its ends. Any thread.
    static QString cleaned(const QString &text);

    /// Returns how many entries were dropped from the front since the log was last replaced. Views
    /// need this to drop the same lines.
    qint64 dropped() const { return dropped_; }

Q_SIGNALS:
    /// Emitted before each change of `lines`.
    void willChange();
    /// Emitted after each change of `lines`.
    void linesChanged();
    /// Emitted after `setLines`: views must read the whole log again.
    void reset();

private:
    QStringList lines_;
    qint64 dropped_ = 0;
};

} // namespace brindle
