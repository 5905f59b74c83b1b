#include "base/Clock.h"

#include "base/OneShot.h"

#include <QTimer>

namespace brindle {

Clock::Duration SteadyClock::now() const
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

QCoro::Task<bool> SteadyClock::sleep(Duration duration, std::stop_token stop)
{
    const OneShot<bool> woken;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [woken] { woken.resume(true); });
    timer.start(std::chrono::ceil<std::chrono::milliseconds>(duration));
    const std::stop_callback wake(stop, [woken] { woken.resume(false); });
    co_return co_await woken;
}

} // namespace brindle
