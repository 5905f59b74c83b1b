// What libcurl hands over: headers, the body, and why there is none.

#include "base/ByteCount.h"
#include "base/Error.h"
#include "net/Transfer.h"
#include "net/TransferJob.h"

#include <QFile>
#include <QFileInfo>

#include <sys/statvfs.h>

#include <cerrno>

namespace brindle {

namespace {

constexpr qint64 maxHeaderBytes = 262'144;
// libcurl hands bodies over in pieces of 16 KiB; disks and listeners are better served with more.
constexpr std::size_t batchBytes = 262'144;

} // namespace

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
    anyHeader_ = true;
    headerBytes_ += static_cast<qint64>(line.size());
    if (headerBytes_ > maxHeaderBytes) {
        throw TransferError(QStringLiteral("The server's answer is not a sensible one."));
    }
    const bool blank = line == "\r\n" || line == "\n";
    return !blank || headersDone_ || headersEnd();
}

bool TransferJob::headersEnd()
{
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200) {
        return true; // a proxy's or an interim answer, the final one follows
    }
    headersDone_ = true;
    if (status != 200) {
        // Nobody wants the rest, which may be slow or without end.
        answered_ = true;
        return false;
    }
    checkCodings();
    checkLength();
    if (!file_.isEmpty()) {
        openFile();
    }
    return true;
}

/// The values of all headers of that name, joined.
QByteArray TransferJob::headerValue(const char *name, unsigned origin) const
{
    QByteArray value;
    curl_header *found = nullptr;
    for (size_t i = 0; curl_easy_header(easy_, name, i, origin, -1, &found) == CURLHE_OK; ++i) {
        value += (i > 0 ? ", " : "") + QByteArray(found->value);
    }
    return value;
}

void TransferJob::checkCodings() const
{
    const QByteArray content = headerValue("Content-Encoding").trimmed().toLower();
    const QByteArray transfer = headerValue("Transfer-Encoding").trimmed().toLower();
    const bool plain = content.isEmpty() || content == "identity";
    const bool simple = transfer.isEmpty() || transfer == "identity" || transfer == "chunked";
    if (!plain || !simple) {
        throw TransferError(
            QStringLiteral("The server sent the file in an encoding (%1) that it was not "
                           "asked for.")
                .arg(QString::fromUtf8((plain ? transfer : content).left(40))));
    }
}

/// Refuses what was announced too large before a byte of it is taken.
void TransferJob::checkLength() const
{
    // 0 where none is announced, or nonsense; `flush` counts in any case.
    const qint64 announced = headerValue("Content-Length").toLongLong();
    if (announced > options_.limit) {
        refuseLength();
    }
    const QByteArray folder = QFile::encodeName(QFileInfo(file_).path());
    struct statvfs disk = {};
    // Some file systems don't know their size and call it 0.
    if (!file_.isEmpty() && statvfs(folder.constData(), &disk) == 0 && disk.f_blocks > 0 &&
        announced > static_cast<qint64>(disk.f_bavail) * static_cast<qint64>(disk.f_frsize)) {
        throw SystemError::fromErrno(ENOSPC, file_);
    }
}

void TransferJob::refuseLength() const
{
    if (file_.isEmpty()) {
        throw TransferError(
            QStringLiteral("The server's answer is larger than the expected %1 bytes.")
                .arg(options_.limit));
    }
    throw SetupError(QStringLiteral("The download from %1 is larger than the %2 that this app "
                                    "accepts, so it was stopped.")
                         .arg(url_.host(), ByteCount::string(options_.limit)));
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
    enterBusy();
    output_.open(file_);
    leaveBusy();
}

void TransferJob::flush()
{
    if (pending_.empty()) {
        return;
    }
    const auto size = static_cast<qint64>(pending_.size());
    if (size > options_.limit - written_) {
        refuseLength();
    }
    if (file_.isEmpty()) {
        body_ += QByteArrayView(pending_);
    } else {
        output_.write(pending_);
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
    enterBusy();
    onProgress_(written_, expected, rate);
    leaveBusy();
}

long TransferJob::tunnelStatus() const
{
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_HTTP_CONNECTCODE, &status);
    return status;
}

/// Whether it ended before there was a way to the server, so that another may be tried.
bool TransferJob::isNoWay(CURLcode code) const
{
    switch (code) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_PROXY:
        return true;
    default:
        break;
    }
    if (tunnelled_) {
        return tunnelStatus() / 100 != 2;
    }
    curl_off_t ready = 0;
    curl_easy_getinfo(easy_, CURLINFO_PRETRANSFER_TIME_T, &ready);
    return code == CURLE_OPERATION_TIMEDOUT && ready == 0;
}

/// Whether the answer came from a network that wants a visitor to sign in, or to read something.
bool TransferJob::isWebPage(CURLcode code) const
{
    if (code == CURLE_SSL_CONNECT_ERROR) {
        // So OpenSSL calls what is no TLS at all.
        return QByteArrayView(errorText_).contains("wrong version number");
    }
    const long status = tunnelStatus();
    if (!tunnelled_ || status / 100 == 2) {
        return false;
    }
    if (status == 0) {
        return anyHeader_;
    }
    constexpr long wantsAPassword = 407; // proxies say that in HTML as well
    constexpr long wantsASignIn = 511;   // RFC 6585
    return status / 100 == 3 || status == wantsASignIn ||
           (status != wantsAPassword &&
            headerValue("Content-Type", CURLH_CONNECT).toLower().startsWith("text/html"));
}

TransferError TransferJob::failure(CURLcode code) const
{
    if (code == CURLE_OPERATION_TIMEDOUT) {
        const auto seconds = std::chrono::duration<double>(options_.idleTimeout).count();
        return {TransferError::Code::timedOut,
                QStringLiteral("The connection timed out: nothing arrived for %1 seconds.")
                    .arg(seconds)};
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
