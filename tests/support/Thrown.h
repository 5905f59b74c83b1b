#pragma once

#include "base/Error.h"
#include "support/Await.h"

#include <optional>

namespace brindle {

/// Returns the text of a task's failure as shown to the user, or nothing if it succeeds.
template <typename T>
std::optional<QString> thrownBy(QCoro::Task<T> task)
{
    try {
        await(std::move(task));
    } catch (...) {
        return describe(std::current_exception());
    }
    return std::nullopt;
}

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
