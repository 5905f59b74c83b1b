#include "services/TransferJob.h"

#include "services/DetachedThreads.h"
#include "services/PlainHttp.h"
#include "services/Redirect.h"
#include "services/SystemProxy.h"
#include "services/Transfer.h"
#include "services/TransferError.h"
#include "services/TrustStore.h"

#include <csignal>

#include <algorithm>
#include <utility>

namespace brindle {

namespace {

constexpr int maxRedirects = 20;
constexpr qint64 maxHeaderBytes = 262'144;
// libcurl hands bodies over in pieces of 16 KiB; disks and listeners are better served with more.
constexpr std::size_t batchBytes = 262'144;
constexpr long receiveBufferBytes = 524'288;

struct EasyCleanup
{
    void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
};
struct ListCleanup
{
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

TransferError failure(const QString &text)
{
    return TransferError(TransferError::Code::failed, text);
}

TransferError cancellation()
{
    return TransferError(TransferError::Code::cancelled,
                         QStringLiteral("The transfer was cancelled."));
}

/// The values of all headers of that name, joined.
QByteArray headerValue(CURL *easy, const char *name)
{
    QByteArray value;
    curl_header *found = nullptr;
    for (size_t i = 0; curl_easy_header(easy, name, i, CURLH_HEADER, -1, &found) == CURLHE_OK;
         ++i) {
        value += (i > 0 ? ", " : "") + QByteArray(found->value);
    }
    return value;
}

} // namespace

/// How one request ended.
struct TransferJob::Hop
{
    int status = 0;
    QByteArray location;
};

TransferJob::TransferJob(QUrl url, QString file, qint64 memoryLimit, Progress onProgress,
                         TransferOptions options)
    : url_(std::move(url))
    , file_(std::move(file))
    , memoryLimit_(memoryLimit)
    , options_(std::move(options))
    , onProgress_(std::move(onProgress))
{}

void TransferJob::start()
{
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK) {
        throw failure(QString::fromUtf8(curl_easy_strerror(initialised)));
    }
    started_ = Clock::now();
    if (state_ == State::cancelled) {
        return;
    }
    const auto self = shared_from_this();
    DetachedThreads::start([self] { self->work(); }, [self] { self->cancel(); });
}

void TransferJob::cancel()
{
    const State before = state_.exchange(State::cancelled);
    if (before == State::free) {
        result_.fail(std::make_exception_ptr(cancellation()));
    }
    const std::lock_guard guard(wakeLock_);
    if (multi_) {
        curl_multi_wakeup(multi_);
    }
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
    // The owner keeps this object, and with it would keep these.
    onProgress_ = nullptr;
    output_.abandon();
    pending_ = std::string();
    if (error) {
        result_.fail(error);
    } else {
        result_.resume(std::move(answer));
    }
}

TransferResult TransferJob::perform()
{
    if (PlainHttp::isRefused(url_)) {
        throw failure(QStringLiteral("The address %1 is not secure (plain http), so nothing was "
                                     "downloaded from it.")
                          .arg(url_.toDisplayString()));
    }
    const std::unique_ptr<CURL, EasyCleanup> easy(curl_easy_init());
    easy_ = easy.get();
    if (!easy_) {
        throw failure(QString::fromUtf8(curl_easy_strerror(CURLE_FAILED_INIT)));
    }
    lastByte_ = Clock::now();
    QUrl url = url_;
    for (int redirects = 0;; ++redirects) {
        const Hop hop = request(url);
        if (!Redirect::isOne(hop.status) || hop.location.isEmpty()) {
            return {hop.status, url.host(), std::move(body_)};
        }
        if (redirects == maxRedirects) {
            throw failure(
                QStringLiteral("The server redirected more than %1 times.").arg(maxRedirects));
        }
        url = Redirect::target(url, hop.location);
    }
}

TransferJob::Hop TransferJob::request(const QUrl &url)
{
    curl_easy_reset(easy_);
    headersDone_ = false;
    prepare(url);
    const std::unique_ptr<curl_slist, ListCleanup> headers(
        curl_slist_append(nullptr, "Accept-Encoding: identity"));
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers.get());

    const CURLcode code = drive();
    if (error_) {
        std::rethrow_exception(error_);
    }
    checkCancelled();
    if (!answered_ && code != CURLE_OK) {
        const QString text =
            QString::fromUtf8(errorText_[0] != '\0' ? errorText_ : curl_easy_strerror(code));
        throw TransferError(code == CURLE_OPERATION_TIMEDOUT ? TransferError::Code::timedOut
                                                             : TransferError::Code::failed,
                            text);
    }
    if (!headersDone_) {
        // libcurl takes a connection that ends within the headers for an empty answer.
        throw failure(
            QStringLiteral("The server ended the connection in the middle of its answer."));
    }
    flush();
    if (!answered_ && !file_.isEmpty()) {
        output_.finish();
    }
    answered_ = false;
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return {static_cast<int>(status), headerValue(easy_, "Location")};
}

QByteArray TransferJob::trustedCertificates() const
{
    if (!options_.caFile.isEmpty()) {
        return options_.caFile.toLocal8Bit();
    }
    char *builtIn = nullptr;
    curl_easy_getinfo(easy_, CURLINFO_CAINFO, &builtIn);
    // Without a file of its own libcurl asks the system's store.
    return builtIn ? TrustStore::file(QString::fromLocal8Bit(builtIn), TrustStore::places())
                         .toLocal8Bit()
                   : QByteArray();
}

void TransferJob::prepare(const QUrl &url)
{
    const QByteArray address = url.toEncoded(QUrl::RemoveFragment);
    curl_easy_setopt(easy_, CURLOPT_URL, address.constData());
    curl_easy_setopt(easy_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy_, CURLOPT_USERAGENT, "Brindle");
    // One request per connection gains nothing from HTTP/2, in which libcurl keeps up to the
    // stream's whole window in memory when the disk is slower than the network.
    curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    curl_easy_setopt(easy_, CURLOPT_BUFFERSIZE, receiveBufferBytes);
    curl_easy_setopt(easy_, CURLOPT_FORBID_REUSE, 1L);
    curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
    // A name look-up runs on a thread that can't be stopped: leave it behind.
    curl_easy_setopt(easy_, CURLOPT_QUICK_EXIT, 1L);
    // Time-outs are ours, by time without a byte.
    curl_easy_setopt(easy_, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(options_.idleTimeout.count()) * 2);
    // A content coding would be stored as if it were the file; `headersEnd` refuses it.
    curl_easy_setopt(easy_, CURLOPT_HTTP_CONTENT_DECODING, 0L);
    curl_easy_setopt(easy_, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy_, CURLOPT_ERRORBUFFER, errorText_);
    errorText_[0] = '\0';
    const QByteArray trusted = trustedCertificates();
    if (!trusted.isEmpty()) {
        curl_easy_setopt(easy_, CURLOPT_CAINFO, trusted.constData());
    }
    curl_easy_setopt(easy_, CURLOPT_HEADERFUNCTION, &TransferJob::onHeader);
    curl_easy_setopt(easy_, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &TransferJob::onBody);
    curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);

    const SystemProxy proxy = SystemProxy::forUrl(url);
    // Set even when empty: libcurl would otherwise read environment variables of its own choice.
    curl_easy_setopt(easy_, CURLOPT_PROXY, proxy.address.constData());
    curl_easy_setopt(easy_, CURLOPT_NOPROXY, "");
    if (!proxy.user.isEmpty()) {
        curl_easy_setopt(easy_, CURLOPT_PROXYUSERNAME, proxy.user.constData());
        curl_easy_setopt(easy_, CURLOPT_PROXYPASSWORD, proxy.password.constData());
    }
}

CURLcode TransferJob::drive()
{
    CURLM *const multi = curl_multi_init();
    if (!multi) {
        throw failure(QString::fromUtf8(curl_easy_strerror(CURLE_OUT_OF_MEMORY)));
    }
    {
        const std::lock_guard guard(wakeLock_);
        multi_ = multi;
    }
    struct Cleanup
    {
        TransferJob &job;
        ~Cleanup()
        {
            CURLM *done = nullptr;
            {
                const std::lock_guard guard(job.wakeLock_);
                done = std::exchange(job.multi_, nullptr);
            }
            curl_multi_remove_handle(done, job.easy_);
            curl_multi_cleanup(done);
        }
    } const cleanup{*this};

    CURLMcode problem = curl_multi_add_handle(multi, easy_);
    while (problem == CURLM_OK) {
        // Seen at the latest here, by a cancellation that came before there was a handle to wake.
        checkCancelled();
        int running = 0;
        problem = curl_multi_perform(multi, &running);
        if (problem != CURLM_OK || error_) {
            break;
        }
        checkCancelled();
        flush(); // what a slow server has sent is not held back until there is a batch
        int left = 0;
        if (const CURLMsg *message = curl_multi_info_read(multi, &left)) {
            return message->data.result;
        }
        const auto idle =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - lastByte_);
        if (idle >= options_.idleTimeout) {
            const auto seconds = std::chrono::duration<double>(options_.idleTimeout).count();
            throw TransferError(
                TransferError::Code::timedOut,
                QStringLiteral("The connection timed out: nothing arrived for %1 seconds.")
                    .arg(seconds));
        }
        const auto wait = std::min<qint64>((options_.idleTimeout - idle).count(), 3'600'000);
        problem = curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait), nullptr);
    }
    if (problem != CURLM_OK) {
        throw failure(QString::fromUtf8(curl_multi_strerror(problem)));
    }
    return CURLE_WRITE_ERROR; // a callback has failed
}

void TransferJob::checkCancelled() const
{
    if (state_ == State::cancelled) {
        throw cancellation();
    }
}

bool TransferJob::enterBusy()
{
    State expected = State::free;
    return state_.compare_exchange_strong(expected, State::busy);
}

bool TransferJob::leaveBusy()
{
    State expected = State::busy;
    return state_.compare_exchange_strong(expected, State::free);
}

size_t TransferJob::onHeader(char *bytes, size_t size, size_t count, void *job) noexcept
{
    auto &self = *static_cast<TransferJob *>(job);
    try {
        return self.header({bytes, size * count}) ? size * count : 0;
    } catch (...) {
        self.error_ = std::current_exception();
        return 0;
    }
}

size_t TransferJob::onBody(char *bytes, size_t size, size_t count, void *job) noexcept
{
    auto &self = *static_cast<TransferJob *>(job);
    try {
        return self.body({bytes, size * count}) ? size * count : 0;
    } catch (...) {
        self.error_ = std::current_exception();
        return 0;
    }
}

bool TransferJob::header(std::string_view line)
{
    lastByte_ = Clock::now();
    headerBytes_ += static_cast<qint64>(line.size());
    if (headerBytes_ > maxHeaderBytes) {
        throw failure(QStringLiteral("The server's answer is not a sensible one."));
    }
    const bool blank = line == "\r\n" || line == "\n";
    return !blank || headersDone_ || headersEnd();
}

bool TransferJob::headersEnd()
{
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200) {
        return true; // an interim answer, the final one follows
    }
    headersDone_ = true;
    if (status != 200) {
        // Nobody wants the rest, which may be slow or without end.
        answered_ = true;
        return false;
    }
    checkCodings();
    if (!file_.isEmpty()) {
        openFile();
    }
    return true;
}

void TransferJob::checkCodings()
{
    const QByteArray content = headerValue(easy_, "Content-Encoding").trimmed().toLower();
    const QByteArray transfer = headerValue(easy_, "Transfer-Encoding").trimmed().toLower();
    const bool plain = content.isEmpty() || content == "identity";
    const bool simple = transfer.isEmpty() || transfer == "identity" || transfer == "chunked";
    if (!plain || !simple) {
        throw failure(QStringLiteral("The server sent the file in an encoding (%1) that it was not "
                                     "asked for.")
                          .arg(QString::fromUtf8((plain ? transfer : content).left(40))));
    }
}

bool TransferJob::body(std::string_view bytes)
{
    // Disks can be slow and one turn of libcurl long.
    checkCancelled();
    pending_ += bytes;
    if (pending_.size() >= batchBytes) {
        flush();
    }
    lastByte_ = Clock::now(); // after the write: the disk's time is not the server's
    return true;
}

void TransferJob::openFile()
{
    // The owner may delete the file's folder as soon as it has seen a cancellation, so none may be
    // seen until the file exists.
    if (!enterBusy()) {
        throw cancellation();
    }
    output_.open(file_);
    if (!leaveBusy()) {
        throw cancellation();
    }
}

void TransferJob::flush()
{
    if (pending_.empty()) {
        return;
    }
    const auto size = static_cast<qint64>(pending_.size());
    if (!file_.isEmpty()) {
        output_.write(pending_);
    } else if (size > memoryLimit_ - written_) {
        throw failure(QStringLiteral("The server's answer is larger than the expected %1 bytes.")
                          .arg(memoryLimit_));
    } else {
        body_ += QByteArrayView(pending_);
    }
    written_ += size;
    pending_.clear();
    report();
}

void TransferJob::report()
{
    if (!onProgress_) {
        return;
    }
    curl_off_t expected = -1;
    curl_easy_getinfo(easy_, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &expected);
    const double rate = Transfer::rate(written_, Clock::now() - started_);
    if (!enterBusy()) {
        throw cancellation();
    }
    onProgress_(written_, expected, rate);
    if (!leaveBusy()) {
        throw cancellation();
    }
}

} // namespace brindle
