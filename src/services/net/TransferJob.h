#pragma once

#include "base/Callbacks.h"
#include "base/OneShot.h"
#include "files/OutputFile.h"
#include "net/TransferOptions.h"
#include "net/TransferResult.h"

#include <QUrl>

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace brindle {

class TransferError;
struct SystemProxy;

/// The work of one `Transfer`: what runs on its thread, and what other threads may do to it.
class TransferJob : public std::enable_shared_from_this<TransferJob>
{
public:
    /// The body goes to `file`, or into memory when `file` is empty.
    TransferJob(QUrl url, QString file, ProgressCallback onProgress, TransferOptions options);

    /// Starts the thread, unless cancelled already. Call once.
    void start();

    /// Delivers the cancellation to whoever awaits `result` and has the thread end. Any thread.
    void cancel();

    /// Where the result arrives. Once it has, no progress call runs or will, and the file is
    /// neither created nor, save for what a cancelled write still had in hand, written.
    const OneShot<TransferResult> &result() const { return result_; }

private:
    using Clock = std::chrono::steady_clock;
    struct Hop;

    // What the thread is at, as far as a cancellation must know.
    enum class State {
        free, // a cancellation may be delivered at once
        busy, // calls back or creates the file: the thread delivers a cancellation after that
        cancelled,
    };

    void work();
    TransferResult perform();
    Hop request();
    CURLcode tryWay(const SystemProxy &way);
    /// The file of certificates to trust; empty to leave that to libcurl.
    QByteArray trustedCertificates() const;
    void prepare(const SystemProxy &way);
    CURLcode drive();
    void checkCancelled() const;
    // Around what a cancellation must not overtake. Both throw one that came.
    void enterBusy();
    void leaveBusy();

    // What to make of the failure of a way.
    bool isNoWay(CURLcode code) const;
    bool isWebPage(CURLcode code) const;
    TransferError failure(CURLcode code) const;
    long tunnelStatus() const;

    // libcurl's callbacks; false ends the request.
    static size_t onHeader(char *bytes, size_t size, size_t count, void *job) noexcept;
    static size_t onBody(char *bytes, size_t size, size_t count, void *job) noexcept;
    bool header(std::string_view line);
    bool headersEnd();
    bool body(std::string_view bytes);
    QByteArray headerValue(const char *name, unsigned origin = CURLH_HEADER) const;
    void checkCodings() const;
    void checkLength() const;
    [[noreturn]] void refuseLength() const;
    void openFile();
    void flush();
    void report();

    const QString file_;
    const TransferOptions options_;
    const OneShot<TransferResult> result_;
    std::atomic<State> state_ = State::free;

    std::mutex wakeLock_; // guards multi_ between its thread and those that wake it
    CURLM *multi_ = nullptr;

    // The rest belongs to the transfer's thread.
    QUrl url_; // that of the last redirect, once there was one
    ProgressCallback onProgress_;
    CURL *easy_ = nullptr;
    bool tunnelled_ = false; // a proxy is asked for a connection to the server
    char errorText_[CURL_ERROR_SIZE] = {};
    std::exception_ptr error_; // thrown by a callback
    Clock::time_point started_;
    Clock::time_point lastByte_;
    qint64 headerBytes_ = 0;   // of all answers, those of proxies included
    bool anyHeader_ = false;   // on this way
    bool headersDone_ = false; // of a final answer
    bool answered_ = false;    // the status is all that is wanted
    OutputFile output_;
    std::string pending_; // arrived, not yet written
    qint64 written_ = 0;
    QByteArray body_;
};

} // namespace brindle
