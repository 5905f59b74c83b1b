#include "base/Clock.h"

#include <QCoroTimer>
#include <QTimer>

namespace brindle {

Clock::Duration SteadyClock::now() const
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

QCoro::Task<bool> SteadyClock::sleep(Duration duration, std::stop_token stop)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    timer.start(std::chrono::ceil<std::chrono::milliseconds>(duration));
    const std::stop_callback wake(
        stop, [&timer] { QMetaObject::invokeMethod(&timer, [&timer] { timer.start(0); }); });
    co_await timer;
    co_return !stop.stop_requested();
}

} // namespace brindle
