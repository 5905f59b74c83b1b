#include "net/TransferJob.h"

#include "base/Threads.h"
#include "net/Resumption.h"
#include "net/SystemNetwork.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <utility>

namespace brindle {

namespace {

using namespace std::chrono_literals;

// Between two reports, of which a second then has at most 50, and some ends of transfers.
constexpr auto interval = 20ms;
// After which it is told that nothing has arrived: how fast it goes is news as well.
constexpr auto silence = 1000ms;
constexpr int maxRedirects = 20;
constexpr int statusOk = 200;
constexpr int statusPartialContent = 206;
constexpr int statusTooManyRequests = 429;
constexpr int statusUnavailable = 503;
constexpr int maxDelays = 2;
constexpr std::chrono::seconds longestDelay(60);
// After the first attempt that brought nothing, the second, and so on.
constexpr std::array waits{500ms, 1000ms, 2000ms, 4000ms, 8000ms};
// Attempts in a row that together bring less than that.
constexpr int maxSlow = 100;
constexpr qint64 leastHeadway = 65'536;

TransferError unfinished()
{
    return TransferError(QStringLiteral("The server did not send the whole of its answer."));
}

} // namespace

void TransferJob::start()
{
    auto work = [self = shared_from_this()](const std::stop_token &programEnds) {
        const std::stop_callback onEnd(programEnds, [&job = *self] { job.cancel(); });
        self->work();
    };
    if (!Threads::start(std::move(work))) {
        throw SystemError::fromErrno(EAGAIN, QStringLiteral("The download could not be started"));
    }
}

void TransferJob::cancel()
{
    const State before = state_.exchange(State::cancelled);
    if (before == State::free) {
        result.fail(std::make_exception_ptr(CancellationError()));
    }
    request_.wake();
}

void TransferJob::work()
{
    // A server that leaves during the end of TLS must not end the process.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    TransferResult answer;
    std::exception_ptr error;
    try {
        answer = perform();
    } catch (...) {
        error = std::current_exception();
    }
    // First, so that neither what the callback holds nor the file is in use after the result, and
    // that the next transfer finds the connections.
    onProgress_ = nullptr;
    body_.abandon();
    request_.release();
    if (error) {
        result.fail(error);
    } else {
        result.resume(std::move(answer));
    }
}

TransferResult TransferJob::perform()
{
    if (Http::isInsecure(address_)) {
        throw TransferError(
            QStringLiteral("The address %1 is not secure (plain http), so nothing was "
                           "downloaded from it.")
                .arg(address_.toDisplayString()));
    }
    int fruitless = 0;
    int slow = 0;
    qint64 headway = 0;
    for (int delays = 0;;) {
        const qint64 before = most_;
        const auto broken = attempt();
        if (!broken && isWanted_) {
            TransferResult whole{statusOk, url_.host(), {}, {}};
            body_.finish(whole);
            return whole;
        }
        if (broken && validator_.isEmpty()) {
            throw *broken;
        }
        if (!broken) {
            const auto delay = askedDelay();
            if (delay && delays < maxDelays) {
                ++delays;
                wait(*delay);
                continue;
            }
            if (startsOver_) {
                return {request_.status(), url_.host(), {}, {}};
            }
            startsOver_ = true;
        }
        fruitless = most_ > before ? 0 : fruitless + 1;
        slow = most_ >= headway + leastHeadway ? 0 : slow + 1;
        headway = slow == 0 ? most_ : headway;
        if (fruitless > static_cast<int>(waits.size()) || slow == maxSlow) {
            throw broken.value_or(unfinished());
        }
        if (fruitless > 0) {
            wait(waits.at(static_cast<std::size_t>(fruitless - 1)));
        }
    }
}

/// Asks for what is missing of the body. Returns what it broke off with.
std::optional<TransferError> TransferJob::attempt()
{
    isWanted_ = false;
    auto broken = follow();
    if (!isWanted_) {
        return broken;
    }
    store();
    if (hasNews_) {
        tell();
    }
    startsOver_ = body_.written() == 0;
    if (!broken && request_.status() == statusPartialContent && body_.written() != length_) {
        broken = unfinished();
    }
    return broken;
}

/// Follows redirects from the address on. That of a redirect may have been signed for a short time,
/// so an attempt to go on begins at the address as well.
std::optional<TransferError> TransferJob::follow()
{
    url_ = address_;
    // By hand: libcurl's own rules know schemes, but neither "plain http to this machine only" nor
    // "not back from https"; it would use one proxy for all addresses, and tell of what it refuses
    // in the words of an unsupported protocol.
    for (int redirects = 0;; ++redirects) {
        if (auto broken = ask()) {
            return broken;
        }
        const QByteArray location = request_.header("Location");
        if (!Http::isRedirectStatus(request_.status()) || location.isEmpty()) {
            return std::nullopt;
        }
        if (redirects == maxRedirects) {
            throw TransferError(
                QStringLiteral("The server redirected more than %1 times.").arg(maxRedirects));
        }
        url_ = Http::redirectTarget(url_, location);
    }
}

/// Asks for the current address, over one way after the other until one leads to the server.
std::optional<TransferError> TransferJob::ask()
{
    std::optional<Http::Request::Failure> told;
    for (const SystemNetwork::Proxy &way : SystemNetwork::proxiesFor(url_)) {
        checkCancelled();
        const auto failure = request_.run(url_, way, rangeHeaders());
        if (!failure) {
            return std::nullopt;
        }
        if (!failure->isNoWay) {
            return failure->why;
        }
        // What a proxy had to say tells more than that the next one is not there.
        if (!told || !told->isToldByProxy) {
            told = failure;
        }
    }
    return told->why; // NOLINT(bugprone-unchecked-optional-access): there is one way at least
}

QByteArrayList TransferJob::rangeHeaders() const
{
    if (startsOver_) {
        return {};
    }
    return {"Range: bytes=" + QByteArray::number(body_.written()) + '-', "If-Range: " + validator_};
}

/// Absent when the server did not ask, or for too much.
std::optional<std::chrono::milliseconds> TransferJob::askedDelay() const
{
    const int status = request_.status();
    if (status != statusTooManyRequests && status != statusUnavailable) {
        return std::nullopt;
    }
    const auto asked =
        Resumption::retryAfter(request_.header("Retry-After"), request_.header("Date"));
    return asked && *asked <= longestDelay ? asked : std::nullopt;
}

void TransferJob::wait(std::chrono::milliseconds time)
{
    const auto end = Clock::now() + (waiting_ ? waiting_(time) : time);
    for (;;) {
        const auto turn = onTurn();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left <= 0ms) {
            return;
        }
        request_.pause(std::min(left, turn));
    }
}

bool TransferJob::onHeaders()
{
    const int status = request_.status();
    if (!startsOver_ && status == statusPartialContent) {
        const auto length =
            Resumption::lengthIfContinued(request_.header("Content-Range"), body_.written());
        isWanted_ = length && (length_ < 0 || *length == length_);
        length_ = isWanted_ ? *length : length_;
    } else {
        isWanted_ = status == statusOk;
    }
    if (!isWanted_) {
        return false;
    }
    checkCodings();
    if (status == statusOk) {
        begin();
    }
    if (most_ > 0) {
        since_ = Clock::now();
        base_ = body_.written();
    }
    return true;
}

void TransferJob::begin()
{
    validator_ = Resumption::validator({request_.header("Accept-Ranges"), request_.header("ETag"),
                                        request_.header("Last-Modified"), request_.header("Date")});
    startsOver_ = true;
    // 0 where none is announced, or nonsense.
    const qint64 announced = request_.header("Content-Length").toLongLong();
    // The owner may delete the file's folder as soon as it has seen a cancellation, so none may be
    // seen until the file exists.
    uninterrupted([&] { body_.begin(announced, url_.host()); });
}

void TransferJob::checkCodings() const
{
    const QByteArray content = request_.header("Content-Encoding").trimmed().toLower();
    const QByteArray transfer = request_.header("Transfer-Encoding").trimmed().toLower();
    const bool isPlain = content.isEmpty() || content == "identity";
    const bool isSimple = transfer.isEmpty() || transfer == "identity" || transfer == "chunked";
    if (!isPlain || !isSimple) {
        throw TransferError(
            QStringLiteral("The server sent the file in an encoding (%1) that it was not "
                           "asked for.")
                .arg(QString::fromUtf8((isPlain ? transfer : content).left(40))));
    }
}

void TransferJob::onBody(std::string_view bytes)
{
    // Disks can be slow and one turn of libcurl long.
    checkCancelled();
    body_.add(bytes);
    hasNews_ = true;
    onTurn();
}

std::chrono::milliseconds TransferJob::onTurn()
{
    checkCancelled();
    // What a slow server has sent is not held back until there is a batch.
    const auto due = lastTold_ + (hasNews_ ? interval : silence);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now());
    if (left > 0ms) {
        return left;
    }
    if (hasNews_) {
        store();
        tell();
    } else if (most_ > 0) {
        tell();
    }
    return silence;
}

/// Writes what has arrived.
void TransferJob::store()
{
    body_.flush();
    if (request_.status() == statusOk) {
        length_ = request_.expectedLength();
    }
    most_ = std::max(most_, body_.written());
}

/// Tells how much there is.
void TransferJob::tell()
{
    hasNews_ = false;
    lastTold_ = Clock::now();
    if (!onProgress_) {
        return;
    }
    // Begun anew, it does not fall back behind what was told.
    const qint64 done = length_ < 0 ? most_ : std::min(most_, length_);
    const double rate = Transfer::rate(body_.written() - base_, lastTold_ - since_);
    uninterrupted([&] { onProgress_(done, length_, rate); });
}

} // namespace brindle
