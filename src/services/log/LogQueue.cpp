#include "log/LogQueue.h"

#include "log/LogStore.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

namespace brindle {

using namespace Qt::StringLiterals;

LogQueue::LogQueue(LogStore *log) : log_(log) {}

void LogQueue::append(const QString &line)
{
    QString entry = LogStore::cleaned(line);
    // An empty entry must not push another out of the queue.
    if (entry.isEmpty()) {
        return;
    }
    const std::lock_guard guard(lock_);
    waiting_.push_back(std::move(entry));
    if (waiting_.size() > static_cast<size_t>(LogStore::maxLines)) {
        waiting_.pop_front();
    }
    if (!scheduled_) {
        schedule();
    }
}

void LogQueue::note(const QString &text)
{
    flush();
    if (log_) {
        log_->append(u"• "_s + text);
    }
}

void LogQueue::flush()
{
    drain(std::numeric_limits<size_t>::max());
}

/// Posts the next turn. Call under the lock.
void LogQueue::schedule()
{
    scheduled_ = true;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [self = shared_from_this()] { self->drain(linesPerTurn); },
        Qt::QueuedConnection);
}

/// Moves at most `most` lines into the log. Schedules a turn for the rest.
void LogQueue::drain(size_t most)
{
    std::vector<QString> turn;
    {
        const std::lock_guard guard(lock_);
        const auto count = std::min(waiting_.size(), most);
        const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(count);
        turn.assign(std::make_move_iterator(waiting_.begin()), std::make_move_iterator(end));
        waiting_.erase(waiting_.begin(), end);
        scheduled_ = false;
        if (!waiting_.empty()) {
            schedule();
        }
    }
    for (QString &entry : turn) {
        if (log_) {
            log_->add(std::move(entry));
        }
    }
}

} // namespace brindle
