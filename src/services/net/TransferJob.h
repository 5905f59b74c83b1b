#pragma once

#include "base/Callbacks.h"
#include "base/Error.h"
#include "base/OneShot.h"
#include "net/Body.h"
#include "net/Http.h"
#include "net/Transfer.h"

#include <QByteArrayList>
#include <QUrl>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace brindle {

/// One transfer: what runs on its thread, and how others end it.
class TransferJob final : public std::enable_shared_from_this<TransferJob>, Http::Listener
{
public:
    TransferJob(QUrl url, QString file, ProgressCallback onProgress, const TransferOptions &options)
        : address_(std::move(url))
        , waiting_(options.waiting)
        , onProgress_(std::move(onProgress))
        , body_(std::move(file), options)
        , request_(*this, options)
    {}

    /// Starts the thread. Call once.
    void start();

    /// Delivers the cancellation to whoever awaits `result` and has the thread end. Any thread.
    void cancel();

    /// Where the result arrives. Once it has, no progress call runs or will, and the file is
    /// neither created nor, save for what a cancelled write still had in hand, written.
    const OneShot<TransferResult> result;

private:
    // What the thread is at, as far as a cancellation must know.
    enum class State {
        free, // a cancellation may be delivered at once
        busy, // in the middle of what must not be overtaken: the thread delivers it after that
        cancelled,
    };

    void work();
    TransferResult perform();
    std::optional<TransferError> attempt();
    std::optional<TransferError> follow();
    std::optional<TransferError> ask();
    QByteArrayList rangeHeaders() const;
    std::optional<std::chrono::milliseconds> askedDelay() const;
    void wait(std::chrono::milliseconds time);
    bool onHeaders() override;
    void onBody(std::string_view bytes) override;
    std::chrono::milliseconds onTurn() override;
    void checkCodings() const;
    void begin();
    void store();
    void tell();

    void checkCancelled() const
    {
        if (state_ == State::cancelled) {
            throw CancellationError();
        }
    }

    void pass(State from, State to)
    {
        if (!state_.compare_exchange_strong(from, to)) {
            throw CancellationError();
        }
    }

    /// Does what a cancellation must not overtake; throws one that came.
    template <typename F>
    void uninterrupted(F step)
    {
        pass(State::free, State::busy);
        step();
        pass(State::busy, State::free);
    }

    using Clock = std::chrono::steady_clock;

    std::atomic<State> state_ = State::free;

    // The rest belongs to the transfer's thread, save for the request's `wake`.
    const QUrl address_;
    const std::function<std::chrono::milliseconds(std::chrono::milliseconds)> waiting_;
    ProgressCallback onProgress_;
    Body body_;
    Http::Request request_;

    QUrl url_;               // of the last request: the address, or where it was redirected to
    bool isWanted_ = false;  // the last answer's body
    bool startsOver_ = true; // the next request does not go on where the body ends
    QByteArray validator_;   // tells the body's version; empty when it can't be continued
    qint64 length_ = -1;     // of the whole body
    bool hasNews_ = false;   // bytes that were not told
    qint64 most_ = 0;        // and at any time

    Clock::time_point lastTold_ = {};
    // The rate is that of the attempt that brings the bytes.
    Clock::time_point since_ = Clock::now();
    qint64 base_ = 0;
};

} // namespace brindle
