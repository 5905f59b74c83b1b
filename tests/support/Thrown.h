#pragma once

#include "base/Error.h"
#include "support/Await.h"

#include <optional>

namespace brindle {

/// What a task throws, in the words that the user would see; absent when it succeeds.
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

} // namespace brindle
