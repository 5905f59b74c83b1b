#pragma once

#include "base/Error.h"
#include "support/Await.h"

namespace brindle {

/// Whether a task ends the way a cancelled one does. A failure is thrown on.
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
