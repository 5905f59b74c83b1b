#pragma once

#include <QPointer>
#include <QString>

#include <deque>
#include <memory>
#include <mutex>

namespace brindle {

class LogStore;

/// Brings lines from any thread to a log on the main thread, in order.
///
/// An engine may print faster than anybody reads. So the queue is bounded like the log and drops
/// its oldest lines. The main thread takes lines in short turns between other events.
class LogQueue : public std::enable_shared_from_this<LogQueue>
{
public:
    /// A turn takes a few milliseconds at most.
    static constexpr size_t linesPerTurn = 500;

    /// Call on the main thread. Does not keep the log alive.
    explicit LogQueue(LogStore *log);

    /// Queues a line. Any thread.
    void append(const QString &line);

    /// Flushes, then adds a line of the launcher's own, which begins with "• ". Main thread.
    void note(const QString &text);

    /// Brings all waiting lines into the log. Main thread.
    void flush();

private:
    void schedule();
    void drain(size_t most);

    QPointer<LogStore> log_; // main thread only
    std::mutex lock_;        // guards the fields below
    std::deque<QString> waiting_;
    bool scheduled_ = false;
};

} // namespace brindle
