#pragma once

#include <QString>
#include <QStringList>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>

namespace brindle {

/// Collects lines from any thread.
class Lines
{
public:
    /// Returns a callback that adds to `lines`. The callback keeps `lines` alive.
    static std::function<void(QString)> into(const std::shared_ptr<Lines> &lines)
    {
        return [lines](const QString &line) {
            const std::lock_guard guard(lines->lock_);
            lines->all_.append(line);
        };
    }

    QStringList all() const
    {
        const std::lock_guard guard(lock_);
        return all_;
    }
    bool contains(const QString &line) const { return all().contains(line); }
    bool isEmpty() const { return all().isEmpty(); }

private:
    mutable std::mutex lock_; // guards all_
    QStringList all_;
};

} // namespace brindle
