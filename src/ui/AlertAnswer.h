#pragma once

#include <QEventLoop>
#include <QObject>

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
    void answer(int index)
    {
        index_ = index;
        answered_ = true;
        loop_.quit();
    }

private:
    QEventLoop loop_;
    int index_;
    bool answered_ = false;
};

} // namespace brindle
