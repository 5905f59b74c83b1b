#include "net/Http.h"

#include <QHostAddress>

#include <fcntl.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace brindle {

namespace {

constexpr long receiveBufferBytes = 524'288;
constexpr qint64 maxHeaderBytes = 262'144;
constexpr long maxConnections = 8;        // a Play asks three hosts
constexpr qint64 longestPoll = 3'600'000; // milliseconds; it takes an int

CURL *newHandle()
{
    static const CURLcode initialised = curl_global_init(CURL_GLOBAL_DEFAULT);
    return initialised == CURLE_OK ? curl_easy_init() : nullptr;
}

/// Those that no request is using. One request at a time uses each, as libcurl's connections can't
/// be shared between threads that run at once.
class Idle
{
public:
    Http::Connections take()
    {
        const std::lock_guard guard(lock_);
        if (all_.empty()) {
            Http::Connections made(curl_multi_init(), &curl_multi_cleanup);
            curl_multi_setopt(made.get(), CURLMOPT_MAXCONNECTS, maxConnections);
            return made;
        }
        Http::Connections last = std::move(all_.back());
        all_.pop_back();
        return last;
    }

    void giveBack(Http::Connections connections)
    {
        const std::lock_guard guard(lock_);
        if (keepers_ > 0) {
            all_.push_back(std::move(connections));
        }
    }

    /// From now on so many more want them kept. Closing does not wait for anybody.
    void keep(int more)
    {
        const std::lock_guard guard(lock_);
        keepers_ += more;
        if (keepers_ == 0) {
            all_.clear();
        }
    }

private:
    std::mutex lock_;
    int keepers_ = 0;
    std::vector<Http::Connections> all_;
};

/// Never destroyed: a stuck thread may come to its end after the statics have gone, and the system
/// closes connections as well.
Idle &idle()
{
    static auto *const instance = new Idle;
    return *instance;
}

/// Kept connections are there when programs are started, which have no business with them.
int keepFromChildren(void *, curl_socket_t descriptor, curlsocktype) noexcept
{
    return ::fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0 ? CURL_SOCKOPT_OK : CURL_SOCKOPT_ERROR;
}

/// By libcurl's rules; not valid when there is no such address.
QUrl resolved(const QUrl &base, const QByteArray &location)
{
    const std::unique_ptr<CURLU, void (*)(CURLU *)> url(curl_url(), &curl_url_cleanup);
    char *text = nullptr;
    if (!url ||
        curl_url_set(url.get(), CURLUPART_URL, base.toEncoded().constData(), 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, location.constData(), CURLU_URLENCODE) !=
            CURLUE_OK ||
        curl_url_get(url.get(), CURLUPART_URL, &text, 0) != CURLUE_OK) {
        return {};
    }
    QUrl result = QUrl::fromEncoded(text);
    curl_free(text);
    return result;
}

void check(CURLMcode code)
{
    if (code != CURLM_OK) {
        throw TransferError(QString::fromUtf8(curl_multi_strerror(code)));
    }
}

} // namespace

bool Http::isInsecure(const QUrl &url)
{
    // QUrl writes schemes and host names in lower case.
    if (url.scheme() != QLatin1String("http")) {
        return false;
    }
    const QString host = url.host();
    return host != QLatin1String("localhost") && !QHostAddress(host).isLoopback();
}

bool Http::isRedirectStatus(int status)
{
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

QUrl Http::redirectTarget(const QUrl &from, const QByteArray &location)
{
    const QUrl to = resolved(from, location);
    const bool isSecure = to.scheme() == QLatin1String("https");
    if (!to.isValid() || !(isSecure || to.scheme() == QLatin1String("http"))) {
        throw TransferError(
            QStringLiteral("The server redirected to an address that can't be used."));
    }
    if (isInsecure(to) || (!isSecure && from.scheme() == QLatin1String("https"))) {
        throw TransferError(QStringLiteral("The server redirected to an insecure address (plain "
                                           "http), which was not followed."));
    }
    return to;
}

std::shared_ptr<void> Http::keepConnections()
{
    idle().keep(1);
    return {nullptr, [](void *) { idle().keep(-1); }};
}

Http::Request::Request(Listener &listener, TransferOptions options)
    : listener_(listener)
    , options_(std::move(options))
    , easy_(newHandle(), &curl_easy_cleanup)
    , multi_(idle().take())
{
    if (!easy_ || !multi_) {
        throw TransferError(QString::fromUtf8(curl_easy_strerror(CURLE_FAILED_INIT)));
    }
}

void Http::Request::wake()
{
    const std::lock_guard guard(lock_);
    if (multi_) {
        curl_multi_wakeup(multi_.get());
    }
}

void Http::Request::release()
{
    easy_.reset();
    const std::lock_guard guard(lock_);
    if (multi_) {
        idle().giveBack(std::move(multi_));
    }
}

std::optional<Http::Request::Failure>
Http::Request::run(const QUrl &url, const SystemNetwork::Proxy &way, const QByteArrayList &headers)
{
    url_ = url;
    isTunnelled_ = way.address.startsWith("http:") && url.scheme() == QLatin1String("https");
    isOnItsWay_ = hasHeader_ = hasHeaders_ = isEnough_ = false;
    headerBytes_ = 0;
    prepare(way);
    std::unique_ptr<curl_slist, void (*)(curl_slist *)> lines(nullptr, &curl_slist_free_all);
    for (const QByteArray &line : QByteArrayList{"Accept-Encoding: identity"} + headers) {
        lines.reset(curl_slist_append(lines.release(), line.constData()));
    }
    curl_easy_setopt(easy_.get(), CURLOPT_HTTPHEADER, lines.get());
    const CURLcode code = drive();
    if (code != CURLE_OK && !isEnough_) {
        return failure(code);
    }
    if (!hasHeaders_) {
        // libcurl takes a connection that ends within the headers for an empty answer.
        return Failure{TransferError(QStringLiteral("The server ended the connection in the middle "
                                                    "of its answer."))};
    }
    return std::nullopt;
}

void Http::Request::pause(std::chrono::milliseconds time)
{
    const auto longest = std::min<qint64>(time.count(), longestPoll);
    check(curl_multi_poll(multi_.get(), nullptr, 0, static_cast<int>(longest), nullptr));
}

void Http::Request::prepare(const SystemNetwork::Proxy &way)
{
    CURL *const easy = easy_.get();
    curl_easy_reset(easy);
    const QByteArray address = url_.toEncoded(QUrl::RemoveFragment);
    curl_easy_setopt(easy, CURLOPT_URL, address.constData());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "Brindle");
    // One request at a time gains nothing from HTTP/2, in which libcurl keeps up to the stream's
    // whole window in memory when the disk is slower than the network.
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, receiveBufferBytes);
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // A name look-up runs on a thread that can't be stopped: leave it behind.
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    // Time-outs are ours, by time without a byte.
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(options_.idleTimeout.count()) * 2);
    // A content coding would be stored as if it were the file; the listener refuses it.
    curl_easy_setopt(easy, CURLOPT_HTTP_CONTENT_DECODING, 0L);
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorText_);
    errorText_[0] = '\0';
    const QByteArray trusted = trustedCertificates();
    if (!trusted.isEmpty()) {
        curl_easy_setopt(easy, CURLOPT_CAINFO, trusted.constData());
    }
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &receive<&Request::takeHeader>);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &receive<&Request::takeBody>);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, &keepFromChildren);
    curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Request::onWay);
    curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);

    // Set even when empty: libcurl would otherwise read environment variables of its own choice.
    curl_easy_setopt(easy, CURLOPT_PROXY, way.address.constData());
    curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
    if (!way.user.isEmpty()) {
        curl_easy_setopt(easy, CURLOPT_PROXYUSERNAME, way.user.constData());
        curl_easy_setopt(easy, CURLOPT_PROXYPASSWORD, way.password.constData());
    }
}

/// The file of certificates to trust; empty to leave that to libcurl.
QByteArray Http::Request::trustedCertificates() const
{
    if (!options_.caFile.isEmpty()) {
        return options_.caFile.toLocal8Bit();
    }
    const char *const builtIn = info<char *>(CURLINFO_CAINFO);
    // Without a file of its own libcurl asks the system's store.
    return builtIn ? SystemNetwork::certificateFile(QString::fromLocal8Bit(builtIn)).toLocal8Bit()
                   : QByteArray();
}

CURLcode Http::Request::drive()
{
    lastByte_ = Clock::now();
    check(curl_multi_add_handle(multi_.get(), easy_.get()));
    struct Removal
    {
        const Request &request;
        ~Removal() { curl_multi_remove_handle(request.multi_.get(), request.easy_.get()); }
    } const removal{*this};

    for (;;) {
        int running = 0;
        const CURLMcode performed = curl_multi_perform(multi_.get(), &running);
        if (error_) {
            std::rethrow_exception(error_);
        }
        check(performed);
        const auto longest = listener_.onTurn();
        int left = 0;
        if (const CURLMsg *message = curl_multi_info_read(multi_.get(), &left)) {
            return message->data.result;
        }
        const auto idle =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - lastByte_);
        if (idle >= options_.idleTimeout) {
            return CURLE_OPERATION_TIMEDOUT;
        }
        pause(std::min(longest, options_.idleTimeout - idle));
    }
}

/// libcurl's callback for headers and body.
template <bool (Http::Request::*take)(std::string_view)>
size_t Http::Request::receive(char *bytes, size_t size, size_t count, void *request) noexcept
{
    auto &self = *static_cast<Request *>(request);
    try {
        return (self.*take)({bytes, size * count}) ? size * count : 0;
    } catch (...) {
        self.error_ = std::current_exception();
        return 0;
    }
}

/// libcurl's callback before it sends a request, on a connection that is new or was kept.
int Http::Request::onWay(void *request, char *, char *, int, int) noexcept
{
    static_cast<Request *>(request)->isOnItsWay_ = true;
    return CURL_PREREQFUNC_OK;
}

/// False ends the request.
bool Http::Request::takeHeader(std::string_view line)
{
    lastByte_ = Clock::now();
    hasHeader_ = true;
    headerBytes_ += static_cast<qint64>(line.size());
    if (headerBytes_ > maxHeaderBytes) {
        throw TransferError(QStringLiteral("The server's answer is not a sensible one."));
    }
    const bool isBlank = line == "\r\n" || line == "\n";
    if (!isBlank || hasHeaders_ || status() < 200) {
        return true; // after a proxy's or an interim answer the final one follows
    }
    hasHeaders_ = true;
    // The rest may be slow or without end. Where there is none, the connection can be kept.
    isEnough_ = !listener_.onHeaders() && header("Content-Length").trimmed() != "0";
    return !isEnough_;
}

bool Http::Request::takeBody(std::string_view bytes)
{
    listener_.onBody(bytes);
    lastByte_ = Clock::now(); // after the listener, whose time is not the server's
    return true;
}

QByteArray Http::Request::header(const char *name, unsigned origin) const
{
    QByteArray value;
    curl_header *found = nullptr;
    for (size_t i = 0; curl_easy_header(easy_.get(), name, i, origin, -1, &found) == CURLHE_OK;
         ++i) {
        value += (i > 0 ? ", " : "") + QByteArray(found->value);
    }
    return value;
}

/// Whether it ended before there was a way to the server.
bool Http::Request::isNoWay(CURLcode code) const
{
    if (code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_RESOLVE_HOST ||
        code == CURLE_COULDNT_CONNECT || code == CURLE_PROXY) {
        return true;
    }
    if (isOnItsWay_) {
        return false;
    }
    return isTunnelled_ ? tunnelStatus() / 100 != 2 : code == CURLE_OPERATION_TIMEDOUT;
}

/// Whether the answer came from a network that wants a visitor to sign in, or to read something.
bool Http::Request::isWebPage(CURLcode code) const
{
    if (code == CURLE_SSL_CONNECT_ERROR) {
        // So OpenSSL calls what is no TLS at all.
        return QByteArrayView(errorText_).contains("wrong version number");
    }
    const long status = tunnelStatus();
    if (isOnItsWay_ || !isTunnelled_ || status / 100 == 2) {
        return false;
    }
    if (status == 0) {
        return hasHeader_;
    }
    constexpr long wantsAPassword = 407; // proxies say that in HTML as well
    constexpr long wantsASignIn = 511;   // RFC 6585
    return status / 100 == 3 || status == wantsASignIn ||
           (status != wantsAPassword &&
            header("Content-Type", CURLH_CONNECT).toLower().startsWith("text/html"));
}

TransferError Http::Request::why(CURLcode code) const
{
    if (code == CURLE_OPERATION_TIMEDOUT) {
        const auto seconds = std::chrono::duration<double>(options_.idleTimeout).count();
        return TransferError(
            QStringLiteral("The connection timed out: nothing arrived for %1 seconds.")
                .arg(seconds));
    }
    if (isWebPage(code)) {
        return TransferError(
            QStringLiteral("The network answered with a web page in place of %1. It may want you "
                           "to sign in first: open any page in your web browser, then try again.")
                .arg(url_.host()));
    }
    return TransferError(
        QString::fromUtf8(errorText_[0] != '\0' ? errorText_ : curl_easy_strerror(code)));
}

} // namespace brindle
