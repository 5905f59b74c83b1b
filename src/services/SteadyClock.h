#pragma once

#include "services/Clock.h"

namespace brindle {

/// The real clock: the system's steady (monotonic) time.
class SteadyClock final : public Clock
{
public:
    Duration now() const override;
    QCoro::Task<bool> sleep(Duration duration, std::stop_token stop) override;
};

} // namespace brindle
