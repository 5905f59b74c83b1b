#pragma once

#include "base/Error.h"
#include "support/Await.h"

namespace brindle {

/// Returns whether a task ends with CancellationError. Rethrows a failure.
template <typename T>
bool endsCancelled(QCoro::Task<T> task)
{
    try {
        await(std::move(task));
    } catch (const CancellationError &) {
        return true;
    }
    return false;
}

} // namespace brindle
