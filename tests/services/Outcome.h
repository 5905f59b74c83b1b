#pragma once

#include "base/Error.h"

#include "support/Await.h"

#include <QCoroTask>

#include <optional>

namespace brindle {

/// The end of a task: a value or one of the launcher's failures.
template <typename T>
struct Outcome
{
    std::optional<T> value;
    std::optional<CancellationError> cancellation;
    std::optional<TransferError> transferError;
    std::optional<SystemError> systemError;
    std::optional<SetupError> setupError;

    bool cancelled() const { return cancellation.has_value(); }

    /// Returns the failure's description; empty for a value.
    QString text() const
    {
        if (cancellation) {
            return cancellation->description();
        }
        if (transferError) {
            return transferError->description();
        }
        if (systemError) {
            return systemError->description();
        }
        return setupError ? setupError->description() : QString();
    }
};

template <typename T>
auto outcomeOf(QCoro::Task<T> task)
{
    using Value = std::conditional_t<std::is_void_v<T>, bool, T>;
    Outcome<Value> outcome;
    try {
        if constexpr (std::is_void_v<T>) {
            await(std::move(task));
            outcome.value = true;
        } else {
            outcome.value = await(std::move(task));
        }
    } catch (const CancellationError &error) {
        outcome.cancellation = error;
    } catch (const TransferError &error) {
        outcome.transferError = error;
    } catch (const SystemError &error) {
        outcome.systemError = error;
    } catch (const SetupError &error) {
        outcome.setupError = error;
    }
    return outcome;
}

} // namespace brindle
