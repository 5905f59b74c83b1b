#include "net/Transfer.h"

#include "base/Error.h"
#include "base/Text.h"
#include "base/Threads.h"
#include "files/OutputFile.h"
#include "net/HttpRules.h"

#include <QFileInfo>
#include <QScopeGuard>
#include <QStorageInfo>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <exception>
#include <optional>
#include <utility>

#include <curl/curl.h>
#include <openssl/crypto.h>

namespace brindle {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr auto reportInterval = 20ms;
constexpr auto silenceInterval = 1000ms;
constexpr int maxRedirects = 20;
constexpr int statusOk = 200;
constexpr int statusPartialContent = 206;
constexpr int maxDelays = 2;
constexpr std::chrono::seconds longestDelay(60);
// Waits after the first fruitless attempt in a row, the second and so on.
constexpr std::array waits{500ms, 1000ms, 2000ms, 4000ms, 8000ms};
constexpr qint64 leastHeadway = 1024; // an attempt with fewer new bytes is fruitless
constexpr long receiveBufferBytes = 1L << 19U;

/// The last transfer's handle, with its open connections; null while a transfer uses it. Never
/// freed at the program's end, because OpenSSL has cleaned up by then.
std::atomic<CURLM *> idle = nullptr;

void check(CURLMcode code)
{
    if (code != CURLM_OK) {
        throw TransferError(QString::fromUtf8(curl_multi_strerror(code)));
    }
}

/// Runs one transfer on one thread.
class TransferJob
{
public:
    TransferJob(QUrl url, std::shared_ptr<OutputFile> file, ProgressCallback onProgress,
                std::stop_token stop, TransferOptions options)
        : address_(std::move(url))
        , file_(std::move(file))
        , stop_(std::move(stop))
        , options_(std::move(options))
        , onProgress_(std::move(onProgress))
    {}

    /// Blocks for the whole transfer. Call once.
    TransferResult run()
    {
        // Closing TLS to a server that has gone raises SIGPIPE, which would end the process.
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &signals, nullptr);

        multi_.reset(idle.exchange(nullptr));
        if (!multi_) {
            multi_.reset(curl_multi_init()); // with libcurl's default of four kept connections
        }
        // Clean up before the caller gets the result: it may start a transfer or end the program.
        const auto end = qScopeGuard([this] {
            multi_.reset(idle.exchange(multi_.release()));
            multi_.reset();        // frees the handle of another transfer, if one ran meanwhile
            OPENSSL_thread_stop(); // otherwise the thread frees its state too late
        });
        const std::stop_callback wake(stop_, [this] { curl_multi_wakeup(multi_.get()); });
        return answer();
    }

private:
    TransferResult answer()
    {
        if (HttpRules::isInsecure(address_)) {
            throw TransferError(u"The address %1 is not secure (plain http), so nothing was "
                                "downloaded from it."_s.arg(address_.toDisplayString()));
        }
        int delays = 0;
        for (int fruitless = 0;;) {
            const qint64 before = most_;
            auto broken = follow();
            if (isWanted_) {
                if (hasNews_) {
                    publishProgress();
                }
                if (!broken && status() == statusPartialContent && written_ != length_) {
                    broken = unfinished();
                }
                if (!broken) {
                    return {statusOk, url_.host(), file_->take()};
                }
            } else if (!broken) {
                if (const auto delay = askedDelay(); delay && delays < maxDelays) {
                    ++delays;
                    wait(*delay);
                    continue;
                }
                if (written_ == 0) {
                    return {status(), url_.host(), {}};
                }
                written_ = 0; // the server refuses the rest
            }
            if (broken && validator_.isEmpty()) {
                throw *broken;
            }
            fruitless = most_ >= before + leastHeadway ? 0 : fruitless + 1;
            if (fruitless > static_cast<int>(waits.size())) {
                throw broken.value_or(unfinished());
            }
            if (fruitless > 0) {
                wait(waits.at(static_cast<std::size_t>(fruitless - 1)));
            }
        }
    }

    /// Follows redirects, always from the first address, because a redirect's target may expire
    /// soon. libcurl's own rules can't tell this machine from others, and use one proxy for all
    /// hosts.
    std::optional<TransferError> follow()
    {
        url_ = address_;
        for (int redirects = 0;; ++redirects) {
            if (auto broken = request()) {
                return broken;
            }
            const QByteArray location = header("Location");
            constexpr std::array statuses{301, 302, 303, 307, 308};
            if (std::count(statuses.begin(), statuses.end(), status()) == 0 || location.isEmpty()) {
                return std::nullopt;
            }
            if (redirects == maxRedirects) {
                throw TransferError(
                    u"The server redirected more than %1 times."_s.arg(maxRedirects));
            }
            url_ = HttpRules::redirectTarget(url_, location);
        }
    }

    /// Sends one request to `url_` and receives its answer. Returns the error if the answer broke.
    std::optional<TransferError> request()
    {
        hasAnswer_ = isWanted_ = false;
        prepare();
        std::unique_ptr<curl_slist, void (*)(curl_slist *)> lines(nullptr, &curl_slist_free_all);
        if (written_ > 0) {
            lines.reset(curl_slist_append(nullptr, ("If-Range: " + validator_).constData()));
            set(CURLOPT_HTTPHEADER, lines.get());
            set(CURLOPT_RANGE, (QByteArray::number(written_) + '-').constData());
        }
        const CURLcode code = drive();
        if (hasAnswer_ && !isWanted_) {
            return std::nullopt; // a callback ended the transfer before an unwanted body
        }
        if (code != CURLE_OK) {
            return failure(code);
        }
        if (!hasAnswer_) {
            // If a connection ends within the headers, libcurl reports an empty answer.
            return TransferError(u"The server ended the connection in the middle of its answer."_s);
        }
        return std::nullopt;
    }

    void prepare()
    {
        const QByteArray proxy = HttpRules::proxyFor(url_);
        curl_easy_reset(easy_.get());
        set(CURLOPT_URL, url_.toEncoded().constData());
        set(CURLOPT_PROTOCOLS_STR, "http,https");
        set(CURLOPT_USERAGENT, "Brindle");
        // With HTTP/2 libcurl buffers a whole window when the disk is slower than the network.
        set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
        set(CURLOPT_BUFFERSIZE, receiveBufferBytes);
        set(CURLOPT_NOSIGNAL, 1L);
        // Don't wait for a name look-up, whose thread can't be stopped.
        set(CURLOPT_QUICK_EXIT, 1L);
        set(CURLOPT_ACCEPT_ENCODING, "identity");
        set(CURLOPT_ERRORBUFFER, errorText_);
        const QString trusted =
            options_.caFile.isEmpty()
                ? HttpRules::certificateFile(QString::fromLocal8Bit(info<char *>(CURLINFO_CAINFO)))
                : options_.caFile;
        if (!trusted.isEmpty()) {
            set(CURLOPT_CAINFO, QFile::encodeName(trusted).constData());
        }
        set(CURLOPT_HEADERFUNCTION, &receive<&TransferJob::takeHeader>);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, &receive<&TransferJob::takeBody>);
        set(CURLOPT_WRITEDATA, this);
        // An empty proxy keeps libcurl from reading environment variables.
        set(CURLOPT_PROXY, proxy.constData());
        set(CURLOPT_NOPROXY, "");
    }

    CURLcode drive()
    {
        CURLM *const multi = multi_.get();
        check(curl_multi_add_handle(multi, easy_.get()));
        const auto removal = qScopeGuard([&] { curl_multi_remove_handle(multi, easy_.get()); });
        lastByte_ = Clock::now();
        for (;;) {
            int running = 0;
            check(curl_multi_perform(multi, &running));
            if (error_) {
                std::rethrow_exception(std::exchange(error_, nullptr));
            }
            const Milliseconds longest = report();
            int left = 0;
            if (const CURLMsg *message = curl_multi_info_read(multi, &left)) {
                return message->data.result;
            }
            // libcurl's low-speed limit averages, and counts the time of a slow disk.
            const auto end = lastByte_ + options_.idleTimeout;
            const auto patience = std::chrono::ceil<Milliseconds>(end - Clock::now());
            if (patience <= Milliseconds::zero()) {
                return CURLE_OPERATION_TIMEDOUT;
            }
            poll(std::min(longest, patience));
        }
    }

    /// Waits at most `longest` for the network or a cancellation.
    void poll(Milliseconds longest)
    {
        check(
            curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(longest.count()), nullptr));
    }

    /// Waits before the next attempt. Keeps reporting.
    void wait(Milliseconds time)
    {
        const auto end = Clock::now() + (options_.waiting ? options_.waiting(time) : time);
        for (;;) {
            const Milliseconds longest = report();
            const auto left = std::chrono::ceil<Milliseconds>(end - Clock::now());
            if (left <= Milliseconds::zero()) {
                return;
            }
            poll(std::min(left, longest));
        }
    }

    /// Passes bytes from libcurl to `take`. Stops libcurl if `take` returns false or throws.
    template <bool (TransferJob::*take)(std::string_view)>
    static size_t receive(char *bytes, size_t size, size_t count, void *job) noexcept
    {
        auto &self = *static_cast<TransferJob *>(job);
        try {
            const bool wantsMore = (self.*take)({bytes, size * count});
            self.lastByte_ = Clock::now();
            return wantsMore ? size * count : CURL_WRITEFUNC_ERROR;
        } catch (...) {
            self.error_ = std::current_exception();
            return CURL_WRITEFUNC_ERROR;
        }
    }

    /// Takes one header line. Returns false to stop before an unwanted body.
    bool takeHeader(std::string_view line)
    {
        const bool isBlank = line == "\r\n" || line == "\n";
        if (!isBlank || hasAnswer_ || status() < 200) {
            return true; // not yet the end of the final answer's headers
        }
        hasAnswer_ = true;
        isWanted_ = continues() || status() == statusOk;
        if (status() == statusOk) {
            begin();
        }
        // An unwanted body may be endless, so stop. After an empty body the connection can be kept.
        return isWanted_ || header("Content-Length") == "0";
    }

    /// Returns whether the answer has exactly the missing bytes of the same version.
    bool continues()
    {
        const QString rest = u"bytes %1-%2/%3"_s.arg(written_).arg(length_ - 1).arg(length_);
        return written_ > 0 && status() == statusPartialContent &&
               header("Content-Range").toLower() == rest.toLatin1() && header("ETag") == validator_;
    }

    /// Prepares for a whole body.
    void begin()
    {
        validator_ = HttpRules::validator(header("Accept-Ranges"), header("ETag"));
        written_ = 0;
        const qint64 announced = header("Content-Length").toLongLong(); // 0 if unknown
        checkLimit(announced);
        file_->clear();
        const QStorageInfo disk(QFileInfo(file_->path()).path());
        // Some file systems report a size of 0.
        if (disk.bytesTotal() > 0 && announced > disk.bytesAvailable()) {
            throw SystemError::fromErrno(ENOSPC, file_->path());
        }
    }

    bool takeBody(std::string_view bytes)
    {
        if (!isWanted_) {
            return false;
        }
        checkLimit(written_ + static_cast<qint64>(bytes.size()));
        file_->write(bytes);
        if (options_.onBytes) {
            options_.onBytes(written_, bytes);
        }
        written_ += static_cast<qint64>(bytes.size());
        most_ = std::max(most_, written_);
        if (status() == statusOk) {
            length_ = info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
        }
        hasNews_ = true;
        report();
        return true;
    }

    void checkLimit(qint64 bytes) const
    {
        if (bytes > options_.limit) {
            throw SetupError(
                u"The download from %1 is larger than the %2 that this app accepts, so it was "
                "stopped."_s.arg(url_.host(), Text::byteCount(options_.limit)));
        }
    }

    /// Returns the pause that a busy server asks for; nothing without a request or if it is too
    /// long.
    std::optional<Milliseconds> askedDelay() const
    {
        const bool isBusy = status() == 429 || status() == 503;
        if (!isBusy || header("Retry-After").isEmpty()) {
            return std::nullopt;
        }
        // A date in the past gives a negative delay.
        const std::chrono::seconds asked(info<curl_off_t>(CURLINFO_RETRY_AFTER));
        return asked > longestDelay
                   ? std::nullopt
                   : std::optional<Milliseconds>(std::max(asked, std::chrono::seconds::zero()));
    }

    static TransferError unfinished()
    {
        return TransferError(u"The server did not send the whole of its answer."_s);
    }

    TransferError failure(CURLcode code) const
    {
        if (code == CURLE_OPERATION_TIMEDOUT) {
            const std::chrono::duration<double> seconds = options_.idleTimeout;
            return TransferError(u"The connection timed out: nothing arrived for %1 seconds."_s.arg(
                seconds.count()));
        }
        // OpenSSL says this about bytes that are not TLS, such as a network's sign-in page.
        if (code == CURLE_SSL_CONNECT_ERROR &&
            QByteArrayView(errorText_).contains("wrong version number")) {
            return TransferError(
                u"The network answered with a web page in place of %1. It may want you to sign in "
                "first: open any page in your web browser, then try again."_s.arg(url_.host()));
        }
        return TransferError(
            QString::fromUtf8(errorText_[0] != '\0' ? errorText_ : curl_easy_strerror(code)));
    }

    /// Reports progress if a report is due. Returns the time until the next report.
    Milliseconds report()
    {
        checkCancellation(stop_);
        if (most_ == 0) {
            return 1h;
        }
        const auto due = lastReport_ + (hasNews_ ? reportInterval : silenceInterval);
        const auto left = std::chrono::ceil<Milliseconds>(due - Clock::now());
        if (left > Milliseconds::zero()) {
            return left;
        }
        publishProgress();
        return silenceInterval;
    }

    void publishProgress()
    {
        hasNews_ = false;
        lastReport_ = Clock::now();
        if (!onProgress_) {
            return;
        }
        // Never report less than before, even if the body has begun anew.
        const qint64 done = length_ == -1 ? most_ : std::min(most_, length_);
        const std::chrono::duration<double> elapsed = lastReport_ - started_;
        onProgress_(done, length_, static_cast<double>(done) / std::max(elapsed.count(), 0.001));
    }

    template <typename T>
    void set(CURLoption option, T value)
    {
        curl_easy_setopt(easy_.get(), option, value);
    }

    template <typename T>
    T info(CURLINFO what) const
    {
        T value{};
        curl_easy_getinfo(easy_.get(), what, &value);
        return value;
    }

    int status() const { return static_cast<int>(info<long>(CURLINFO_RESPONSE_CODE)); }

    /// Returns a header of the last answer, or nothing. libcurl trims its blanks.
    QByteArray header(const char *name) const
    {
        curl_header *found = nullptr;
        return curl_easy_header(easy_.get(), name, 0, CURLH_HEADER, -1, &found) == CURLHE_OK
                   ? QByteArray(found->value)
                   : QByteArray();
    }

    const QUrl address_;
    const std::shared_ptr<OutputFile> file_;
    const std::stop_token stop_;
    const TransferOptions options_;
    const ProgressCallback onProgress_;
    std::unique_ptr<CURLM, CURLMcode (*)(CURLM *)> multi_{nullptr, &curl_multi_cleanup};
    std::unique_ptr<CURL, void (*)(CURL *)> easy_{curl_easy_init(), &curl_easy_cleanup};

    // The current request:
    QUrl url_;
    char errorText_[CURL_ERROR_SIZE] = {};
    std::exception_ptr error_; // thrown in a callback
    bool hasAnswer_ = false;   // all headers of the final answer are in
    bool isWanted_ = false;    // the answer's body is to be stored
    Clock::time_point lastByte_;

    // The body:
    qint64 written_ = 0;
    qint64 most_ = 0;      // the largest `written_`
    qint64 length_ = -1;   // -1 when unknown
    QByteArray validator_; // for If-Range; empty if the body can't be continued

    // The reports:
    const Clock::time_point started_ = Clock::now();
    Clock::time_point lastReport_ = {};
    bool hasNews_ = false;
};

} // namespace

QCoro::Task<TransferResult> Transfer::toFile(QUrl url, std::shared_ptr<OutputFile> file,
                                             ProgressCallback onProgress, std::stop_token stop,
                                             TransferOptions options)
{
    auto job = std::make_shared<TransferJob>(std::move(url), std::move(file), std::move(onProgress),
                                             stop, std::move(options));
    return runOnWorker([job = std::move(job)] { return job->run(); }, std::move(stop),
                       &Threads::start);
}

} // namespace brindle
