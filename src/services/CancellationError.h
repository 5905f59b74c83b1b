#pragma once

#include "services/Error.h"

#include <stop_token>

namespace brindle {

/// The task was asked to stop. Not a failure: a run that ends with it ends quietly.
class CancellationError final : public Error
{
public:
    QString description() const override { return QStringLiteral("The operation was cancelled."); }
    void raise() const override { throw *this; }
    CancellationError *clone() const override { return new CancellationError(*this); }
};

/// Throws CancellationError when a stop has been requested. Any thread.
inline void checkCancellation(const std::stop_token &stop)
{
    if (stop.stop_requested()) {
        throw CancellationError();
    }
}

} // namespace brindle
