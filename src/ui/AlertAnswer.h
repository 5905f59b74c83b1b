#pragma once

#include <QEventLoop>
#include <QObject>

#include <utility>

namespace brindle {

/// Waits for the button that is pressed in an alert's window. Main thread only.
class AlertAnswer : public QObject
{
    Q_OBJECT

public:
    explicit AlertAnswer(int last) : index_(last) {}

    /// Serves events until `answer` has been called or the application ends.
    int wait()
    {
        if (!answered_) {
            loop_.exec();
        }
        return index_;
    }

public Q_SLOTS:
    /// The first answer counts.
    void answer(int index)
    {
        if (!std::exchange(answered_, true)) {
            index_ = index;
            loop_.quit();
        }
    }

private:
    QEventLoop loop_;
    int index_;
    bool answered_ = false;
};

} // namespace brindle
