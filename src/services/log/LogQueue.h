#pragma once

#include <QPointer>
#include <QString>

#include <deque>
#include <memory>
#include <mutex>

namespace brindle {

class LogStore;

/// The one way of lines to a log on the main thread, from any thread and in order.
///
/// An engine may print far faster than anyone reads. Lines wait in a bounded queue; when it is
/// full the oldest are let go, which the log, being bounded as well, would have dropped anyway.
/// The main thread takes them over in short turns, so that it goes on serving events. They are
/// cleaned before that, where they come from.
class LogQueue : public std::enable_shared_from_this<LogQueue>
{
public:
    /// A few milliseconds of work at most.
    static constexpr size_t linesPerTurn = 500;

    /// Main thread. Does not keep the log alive.
    explicit LogQueue(LogStore *log);

    /// Queues a line. Any thread.
    void append(const QString &line);

    /// Adds a line of the launcher's own, behind "• ": at once, with all that waits before it. Main
    /// thread.
    void note(const QString &text);

    /// Brings all that waits into the log at once. Main thread.
    void flush();

private:
    void schedule();
    void takeTurn();
    bool drain(size_t most);

    QPointer<LogStore> log_; // read on the main thread only
    std::mutex lock_;        // guards the fields below
    std::deque<QString> waiting_;
    bool scheduled_ = false;
};

} // namespace brindle
