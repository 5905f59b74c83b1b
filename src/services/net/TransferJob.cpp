#include "net/TransferJob.h"

#include "base/DetachedThreads.h"
#include "base/Error.h"
#include "net/PlainHttp.h"
#include "net/Redirect.h"
#include "net/SystemProxy.h"
#include "net/Transfer.h"
#include "net/TrustStore.h"

#include <csignal>

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

namespace brindle {

namespace {

constexpr int maxRedirects = 20;
constexpr long receiveBufferBytes = 524'288;

struct EasyCleanup
{
    void operator()(CURL *easy) const { curl_easy_cleanup(easy); }
};
struct ListCleanup
{
    void operator()(curl_slist *list) const { curl_slist_free_all(list); }
};

TransferError cancellation()
{
    return TransferError(TransferError::Code::cancelled,
                         QStringLiteral("The transfer was cancelled."));
}

} // namespace

/// How one request ended.
struct TransferJob::Hop
{
    int status = 0;
    QByteArray location;
};

TransferJob::TransferJob(QUrl url, QString file, ProgressCallback onProgress,
                         TransferOptions options)
    : file_(std::move(file))
    , options_(std::move(options))
    , url_(std::move(url))
    , onProgress_(std::move(onProgress))
{}

void TransferJob::start()
{
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK) {
        throw TransferError(QString::fromUtf8(curl_easy_strerror(initialised)));
    }
    started_ = Clock::now();
    if (state_ == State::cancelled) {
        return;
    }
    const auto self = shared_from_this();
    try {
        DetachedThreads::start([self] { self->work(); }, [self] { self->cancel(); });
    } catch (const std::system_error &error) {
        throw SystemError(QStringLiteral("The download could not be started: %1")
                              .arg(QString::fromStdString(error.code().message())));
    }
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
    if (PlainHttp::isInsecure(url_)) {
        throw TransferError(
            QStringLiteral("The address %1 is not secure (plain http), so nothing was "
                           "downloaded from it.")
                .arg(url_.toDisplayString()));
    }
    const std::unique_ptr<CURL, EasyCleanup> easy(curl_easy_init());
    easy_ = easy.get();
    if (!easy_) {
        throw TransferError(QString::fromUtf8(curl_easy_strerror(CURLE_FAILED_INIT)));
    }
    // By hand, as each address has proxies of its own, and as libcurl's rules for redirects know
    // schemes, but neither "plain http to this machine only" nor "not back from https".
    for (int redirects = 0;; ++redirects) {
        const Hop hop = request();
        if (!Redirect::isRedirectStatus(hop.status) || hop.location.isEmpty()) {
            return {hop.status, url_.host(), std::move(body_)};
        }
        if (redirects == maxRedirects) {
            throw TransferError(
                QStringLiteral("The server redirected more than %1 times.").arg(maxRedirects));
        }
        url_ = Redirect::target(url_, hop.location);
    }
}

TransferJob::Hop TransferJob::request()
{
    headersDone_ = false;
    std::optional<TransferError> told;
    const QList<SystemProxy> ways = SystemProxy::forUrl(url_);
    for (qsizetype next = 1;; ++next) {
        const CURLcode code = tryWay(ways.at(next - 1));
        if (answered_ || code == CURLE_OK) {
            break;
        }
        const TransferError failed = failure(code);
        if (!isNoWay(code)) {
            throw failed;
        }
        // What a proxy had to say tells more than that the next one is not there.
        if (!told && tunnelStatus() != 0) {
            told = failed;
        }
        if (next == ways.size()) {
            throw told.value_or(failed);
        }
    }
    if (!headersDone_) {
        // libcurl takes a connection that ends within the headers for an empty answer.
        throw TransferError(
            QStringLiteral("The server ended the connection in the middle of its answer."));
    }
    flush();
    if (!answered_ && !file_.isEmpty()) {
        output_.finish();
    }
    answered_ = false;
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    return {static_cast<int>(status), headerValue("Location")};
}

CURLcode TransferJob::tryWay(const SystemProxy &way)
{
    curl_easy_reset(easy_);
    prepare(way);
    const std::unique_ptr<curl_slist, ListCleanup> headers(
        curl_slist_append(nullptr, "Accept-Encoding: identity"));
    curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, headers.get());
    anyHeader_ = false;
    lastByte_ = Clock::now();
    const CURLcode code = drive();
    if (error_) {
        std::rethrow_exception(error_);
    }
    checkCancelled();
    return code;
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

void TransferJob::prepare(const SystemProxy &way)
{
    const QByteArray address = url_.toEncoded(QUrl::RemoveFragment);
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

    // Set even when empty: libcurl would otherwise read environment variables of its own choice.
    curl_easy_setopt(easy_, CURLOPT_PROXY, way.address.constData());
    curl_easy_setopt(easy_, CURLOPT_NOPROXY, "");
    if (!way.user.isEmpty()) {
        curl_easy_setopt(easy_, CURLOPT_PROXYUSERNAME, way.user.constData());
        curl_easy_setopt(easy_, CURLOPT_PROXYPASSWORD, way.password.constData());
    }
    tunnelled_ = way.address.startsWith("http:") && url_.scheme() == QLatin1String("https");
}

CURLcode TransferJob::drive()
{
    CURLM *const multi = curl_multi_init();
    if (!multi) {
        throw TransferError(QString::fromUtf8(curl_easy_strerror(CURLE_OUT_OF_MEMORY)));
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
            return CURLE_OPERATION_TIMEDOUT;
        }
        const auto wait = std::min<qint64>((options_.idleTimeout - idle).count(), 3'600'000);
        problem = curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait), nullptr);
    }
    if (problem != CURLM_OK) {
        throw TransferError(QString::fromUtf8(curl_multi_strerror(problem)));
    }
    return CURLE_WRITE_ERROR; // a callback has failed
}

void TransferJob::checkCancelled() const
{
    if (state_ == State::cancelled) {
        throw cancellation();
    }
}

void TransferJob::enterBusy()
{
    State expected = State::free;
    if (!state_.compare_exchange_strong(expected, State::busy)) {
        throw cancellation();
    }
}

void TransferJob::leaveBusy()
{
    State expected = State::busy;
    if (!state_.compare_exchange_strong(expected, State::free)) {
        throw cancellation();
    }
}

} // namespace brindle
