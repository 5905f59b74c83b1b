#pragma once

#include "base/Error.h"
#include "net/SystemNetwork.h"
#include "net/Transfer.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QUrl>

#include <curl/curl.h>

#include <chrono>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

/// HTTP through libcurl, which nothing else includes, and the rules of where it may lead.
namespace brindle::Http {

/// Whether `url` asks for an unencrypted transfer that would leave this machine, which anyone on
/// the way could read and change. Loopback means 127.0.0.0/8, ::1 and "localhost", which libcurl
/// answers itself and never looks up (RFC 6761, section 6.3). Pure; any thread.
bool isInsecure(const QUrl &url);

/// Whether a status asks to go to the place in the Location header. Pure; any thread.
bool isRedirectStatus(int status);

/// The address that `location` names when `from` has answered with it, by libcurl's own rules,
/// which forgive what servers send. Throws TransferError for anything but http and https, for a way
/// from https to http, and for plain http that would leave this machine. Pure; any thread.
QUrl redirectTarget(const QUrl &from, const QByteArray &location);

/// See Transfer.
std::shared_ptr<void> keepConnections();

/// A handle of libcurl's with the connections that it keeps.
using Connections = std::unique_ptr<CURLM, CURLMcode (*)(CURLM *)>;

/// Whom a request tells, on the thread that runs it. What is thrown ends the request, which throws
/// it on.
class Listener
{
public:
    /// The headers of the final answer are there. False if its body is not wanted.
    virtual bool onHeaders() = 0;
    virtual void onBody(std::string_view bytes) = 0;
    /// What has arrived until now has been told. Comes at least once more after a `wake`, and after
    /// the time that it returns.
    virtual std::chrono::milliseconds onTurn() = 0;

protected:
    ~Listener() = default;
};

/// GET requests, one after the other. Blocks: worker threads only, one at a time.
class Request
{
public:
    /// That a request broke off on its way, or never got to the server.
    struct Failure
    {
        TransferError why;
        bool isNoWay = false; ///< there was no way to the server, so that another may be tried
        bool isToldByProxy = false;
    };

    /// `listener` must outlive it. Throws TransferError when libcurl does.
    Request(Listener &listener, TransferOptions options);
    ~Request() { release(); }
    Request(const Request &) = delete;
    Request &operator=(const Request &) = delete;

    /// Returns when the answer has been told. `headers` are lines that are sent besides its own.
    /// Throws TransferError for an answer that nobody should ask for again.
    std::optional<Failure> run(const QUrl &url, const SystemNetwork::Proxy &way,
                               const QByteArrayList &headers);

    /// Waits between requests, until a `wake` or at most that long.
    void pause(std::chrono::milliseconds time);

    /// Interrupts its waiting. Any thread.
    void wake();

    /// Lets others have its connections, if they are kept. No request follows, and nothing of the
    /// answer is known any more.
    void release();

    /// Of the answer. The values of all headers of that name are joined, the length is that of the
    /// body and negative when unknown.
    int status() const { return static_cast<int>(info<long>(CURLINFO_RESPONSE_CODE)); }
    QByteArray header(const char *name, unsigned origin = CURLH_HEADER) const;
    qint64 expectedLength() const
    {
        return info<curl_off_t>(CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, -1);
    }

private:
    using Clock = std::chrono::steady_clock;

    void prepare(const SystemNetwork::Proxy &way);
    QByteArray trustedCertificates() const;
    CURLcode drive();

    template <bool (Request::*take)(std::string_view)>
    static size_t receive(char *bytes, size_t size, size_t count, void *request) noexcept;
    static int onWay(void *request, char *, char *, int, int) noexcept;
    bool takeHeader(std::string_view line);
    bool takeBody(std::string_view bytes);

    bool isNoWay(CURLcode code) const;
    bool isWebPage(CURLcode code) const;
    Failure failure(CURLcode code) const { return {why(code), isNoWay(code), tunnelStatus() != 0}; }
    TransferError why(CURLcode code) const;
    long tunnelStatus() const { return info<long>(CURLINFO_HTTP_CONNECTCODE); }

    template <typename T>
    T info(CURLINFO what, T value = {}) const
    {
        curl_easy_getinfo(easy_.get(), what, &value);
        return value;
    }

    Listener &listener_;
    const TransferOptions options_;
    std::unique_ptr<CURL, void (*)(CURL *)> easy_;
    std::mutex lock_; // of those who wake and who release
    Connections multi_;
    QUrl url_;
    char errorText_[CURL_ERROR_SIZE] = {};
    std::exception_ptr error_; // thrown by the listener
    Clock::time_point lastByte_;
    qint64 headerBytes_ = 0;   // of all answers to a request, those of proxies included
    bool isTunnelled_ = false; // a proxy is asked for a connection to the server
    bool isOnItsWay_ = false;  // there was a way to the server
    bool hasHeader_ = false;   // any, a proxy's included
    bool hasHeaders_ = false;  // those of a final answer
    bool isEnough_ = false;    // the body is not wanted
};

} // namespace brindle::Http
