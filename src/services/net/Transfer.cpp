#include "net/Transfer.h"

#include "base/Error.h"
#include "base/OneShot.h"
#include "base/Text.h"
#include "base/Threads.h"
#include "files/OutputFile.h"
#include "net/Http.h"

#include <QFile>
#include <QFileInfo>

#include <sys/statvfs.h>

#include <csignal>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace brindle {

namespace {

constexpr int maxRedirects = 20;
constexpr int statusOk = 200;
// libcurl hands bodies over in pieces of 16 KiB; disks and listeners are better served with more.
constexpr std::size_t batchBytes = 262'144;

/// Where the body of an answer goes: a file, or memory when `file` is empty. Blocks.
class Body
{
public:
    Body(QString file, qint64 limit) : file_(std::move(file)), limit_(limit) {}

    qint64 written() const { return written_; }
    QByteArray take() { return std::move(memory_); }

    /// Refuses what `host` announces too large before a byte of it is taken. `announced` is 0 when
    /// unknown: `flush` counts in any case.
    void open(qint64 announced, const QString &host)
    {
        host_ = host;
        checkLimit(announced);
        if (file_.isEmpty()) {
            return;
        }
        const QByteArray folder = QFile::encodeName(QFileInfo(file_).path());
        struct statvfs disk = {};
        // Some file systems don't know their size and call it 0.
        if (statvfs(folder.constData(), &disk) == 0 && disk.f_blocks > 0 &&
            announced > static_cast<qint64>(disk.f_bavail) * static_cast<qint64>(disk.f_frsize)) {
            throw SystemError::fromErrno(ENOSPC, file_);
        }
        output_.open(file_);
    }

    /// Whether that makes a batch for `flush`.
    bool add(std::string_view bytes)
    {
        pending_ += bytes;
        return pending_.size() >= batchBytes;
    }

    /// Whether there was anything.
    bool flush()
    {
        if (pending_.empty()) {
            return false;
        }
        const auto size = static_cast<qint64>(pending_.size());
        checkLimit(written_ + size);
        if (file_.isEmpty()) {
            memory_ += QByteArrayView(pending_);
        } else {
            output_.write(pending_);
        }
        written_ += size;
        pending_.clear();
        return true;
    }

    void finish()
    {
        if (!file_.isEmpty()) {
            output_.finish();
        }
    }

    void abandon() noexcept { output_.abandon(); }

private:
    void checkLimit(qint64 bytes) const
    {
        if (bytes <= limit_) {
            return;
        }
        if (file_.isEmpty()) {
            throw TransferError(
                QStringLiteral("The server's answer is larger than the expected %1 bytes.")
                    .arg(limit_));
        }
        throw SetupError(QStringLiteral("The download from %1 is larger than the %2 that this app "
                                        "accepts, so it was stopped.")
                             .arg(host_, Text::byteCount(limit_)));
    }

    const QString file_;
    const qint64 limit_;
    QString host_;
    OutputFile output_;
    QByteArray memory_;
    std::string pending_; // arrived, not yet written
    qint64 written_ = 0;
};

/// One transfer: what runs on its thread, and how others end it.
class Job final : public std::enable_shared_from_this<Job>, Http::Listener
{
public:
    Job(QUrl url, QString file, ProgressCallback onProgress, const TransferOptions &options)
        : url_(std::move(url))
        , onProgress_(std::move(onProgress))
        , body_(std::move(file), options.limit)
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
    void ask();
    bool onHeaders() override;
    void onBody(std::string_view bytes) override;
    void onTurn() override;
    void checkCodings() const;
    void flush();

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

    std::atomic<State> state_ = State::free;
    const std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();

    // The rest belongs to the transfer's thread, save for the request's `wake`.
    QUrl url_; // that of the last redirect, once there was one
    ProgressCallback onProgress_;
    Body body_;
    Http::Request request_;
};

void Job::start()
{
    auto work = [self = shared_from_this()](const std::stop_token &programEnds) {
        const std::stop_callback onEnd(programEnds, [&job = *self] { job.cancel(); });
        self->work();
    };
    if (!Threads::start(std::move(work))) {
        throw SystemError::fromErrno(EAGAIN, QStringLiteral("The download could not be started"));
    }
}

void Job::cancel()
{
    const State before = state_.exchange(State::cancelled);
    if (before == State::free) {
        result.fail(std::make_exception_ptr(CancellationError()));
    }
    request_.wake();
}

void Job::work()
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
    // First, so that neither what the callback holds nor the file is in use after the result.
    onProgress_ = nullptr;
    body_.abandon();
    if (error) {
        result.fail(error);
    } else {
        result.resume(std::move(answer));
    }
}

TransferResult Job::perform()
{
    if (Http::isInsecure(url_)) {
        throw TransferError(
            QStringLiteral("The address %1 is not secure (plain http), so nothing was "
                           "downloaded from it.")
                .arg(url_.toDisplayString()));
    }
    // Redirects are followed by hand. libcurl's own rules for them know schemes, but neither
    // "plain http to this machine only" nor "not back from https"; it would use one proxy for all
    // addresses, and tell of what it refuses in the words of an unsupported protocol.
    for (int redirects = 0;; ++redirects) {
        ask();
        const int status = request_.status();
        const QByteArray location = request_.header("Location");
        if (!Http::isRedirectStatus(status) || location.isEmpty()) {
            if (status == statusOk) {
                body_.finish();
            }
            return {status, url_.host(), body_.take()};
        }
        if (redirects == maxRedirects) {
            throw TransferError(
                QStringLiteral("The server redirected more than %1 times.").arg(maxRedirects));
        }
        url_ = Http::redirectTarget(url_, location);
    }
}

/// Asks for the current address, over one way after the other until one leads to the server.
void Job::ask()
{
    std::optional<Http::Request::NoWay> told;
    for (const SystemNetwork::Proxy &way : SystemNetwork::proxiesFor(url_)) {
        checkCancelled();
        const auto noWay = request_.run(url_, way);
        if (!noWay) {
            return;
        }
        // What a proxy had to say tells more than that the next one is not there.
        if (!told || !told->isToldByProxy) {
            told = noWay;
        }
    }
    throw told->why;
}

bool Job::onHeaders()
{
    if (request_.status() != statusOk) {
        return false;
    }
    checkCodings();
    // 0 where none is announced, or nonsense.
    const qint64 announced = request_.header("Content-Length").toLongLong();
    // The owner may delete the file's folder as soon as it has seen a cancellation, so none may be
    // seen until the file exists.
    uninterrupted([&] { body_.open(announced, url_.host()); });
    return true;
}

void Job::checkCodings() const
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

void Job::onBody(std::string_view bytes)
{
    // Disks can be slow and one turn of libcurl long.
    checkCancelled();
    if (body_.add(bytes)) {
        flush();
    }
}

void Job::onTurn()
{
    checkCancelled();
    flush(); // what a slow server has sent is not held back until there is a batch
}

void Job::flush()
{
    if (!body_.flush() || !onProgress_) {
        return;
    }
    const double rate =
        Transfer::rate(body_.written(), std::chrono::steady_clock::now() - started_);
    uninterrupted([&] { onProgress_(body_.written(), request_.expectedLength(), rate); });
}

} // namespace

QCoro::Task<TransferResult> Transfer::toFile(QUrl url, QString file, ProgressCallback onProgress,
                                             std::stop_token stop, TransferOptions options)
{
    checkCancellation(stop);
    auto job =
        std::make_shared<Job>(std::move(url), std::move(file), std::move(onProgress), options);
    const OneShot<TransferResult> result = job->result;
    const std::stop_callback onStop(stop, [weak = std::weak_ptr(job)] {
        if (const auto running = weak.lock()) {
            running->cancel();
        }
    });
    job->start();
    // Only its thread keeps it, and so clears up after it, which may take a while.
    job.reset();
    co_return co_await result;
}

QCoro::Task<TransferResult> Transfer::toMemory(QUrl url, qint64 limit, std::stop_token stop,
                                               TransferOptions options)
{
    options.limit = limit;
    // Without a name of a file the body stays in memory.
    return toFile(std::move(url), {}, {}, std::move(stop), std::move(options));
}

double Transfer::rate(qint64 written, std::chrono::duration<double> elapsed)
{
    return static_cast<double>(written) / std::max(elapsed.count(), 0.001);
}

} // namespace brindle
