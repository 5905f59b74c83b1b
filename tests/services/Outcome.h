#pragma once

#include "base/Error.h"

#include "support/Await.h"

#include <QCoroTask>

#include <exception>
#include <optional>

namespace brindle {

/// The end of a task: a value or a failure.
template <typename T>
struct Outcome
{
    std::optional<T> value;
    std::exception_ptr error;

    /// Returns the failure if it is an `E`.
    template <typename E>
    std::optional<E> as() const
    {
        try {
            if (error) {
                std::rethrow_exception(error);
            }
        } catch (const E &failure) {
            return failure;
        } catch (...) {
            // Ignored: a failure of another kind.
        }
        return std::nullopt;
    }
    bool cancelled() const { return as<CancellationError>().has_value(); }

    /// Returns the failure's description; empty for a value.
    QString text() const { return error ? describe(error) : QString(); }
};

template <typename T>
Outcome<T> outcomeOf(QCoro::Task<T> task)
{
    Outcome<T> outcome;
    try {
        outcome.value = await(std::move(task));
    } catch (...) {
        outcome.error = std::current_exception();
    }
    return outcome;
}

} // namespace brindle
