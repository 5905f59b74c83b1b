#pragma once

#include "base/Callbacks.h"

#include <QByteArray>
#include <QCoroTask>
#include <QFile>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string_view>

namespace brindle {

/// Bytes of a body as they are stored, in order; those from offset 0 begin it, perhaps anew. Called
/// on the transfer's thread, perhaps for what it had in hand when it was cancelled.
using BytesCallback = std::function<void(qint64 offset, std::string_view bytes)>;

/// What a transfer's owner may set. The defaults are what players get.
struct TransferOptions
{
    /// A transfer fails when nothing has arrived for this long. Finding out about proxies does not
    /// count, and each of them is given that long to open a way to the server.
    std::chrono::milliseconds idleTimeout = std::chrono::seconds(60);
    /// A PEM file of certificates to trust in place of the system's; empty for the system's.
    QString caFile;
    /// A body of more bytes is a failure. No archive of a game or an add-on comes near it.
    qint64 limit = 8LL * 1024 * 1024 * 1024;
    BytesCallback onBytes = {};
    /// How long a wait before another attempt is to last really; for tests. Called on the
    /// transfer's thread.
    std::function<std::chrono::milliseconds(std::chrono::milliseconds)> waiting = {};
};

/// What a finished transfer tells about the answer.
struct TransferResult
{
    int status = 0;              ///< HTTP status of the last answer
    QString host;                ///< host that finally answered, after redirects; may be empty
    QByteArray body;             ///< of a transfer into memory
    std::shared_ptr<QFile> file; ///< the one that was written, for reading; null if none was
};

/// One HTTP(S) GET on a worker thread of its own, which is its serial event queue.
///
/// Plain http is refused except to this machine itself (see Http::isInsecure). Follows up to 20
/// redirects, never from https to http. 60 seconds without a byte are a time-out, however long the
/// whole takes. A body shorter than announced is a failure, as is one in a content encoding; of one
/// that is longer, the announced length counts. The ways that the system's proxy settings name are
/// tried in their order until one leads to the server. Memory stays flat.
///
/// An answer that breaks off or stalls is continued, if it said that it can be (see Resumption),
/// and begun anew where the server does not continue it. After an attempt that brings nothing it
/// waits, up to 8 seconds, and after six of them in a row it fails with what the last one met, as
/// it does after a hundred in a row that together bring less than 64 KiB. A server that is too busy
/// is left alone for as long as it asks, if that is a minute at most, twice.
///
/// `onProgress` is called when something has arrived, and each second while nothing does.
///
/// Resumes on the caller's thread. Any HTTP status is a result; what is thrown is a TransferError,
/// a SystemError when the file can't be written, a SetupError when it is larger than allowed, or
/// a CancellationError. A request of `stop` ends the transfer at once, even while the server is
/// silent or a name look-up hangs; one after the end has no effect. After the end `onProgress` is
/// not called any more, and the file not created.
namespace Transfer {

/// A transfer into the file `file`, which is created or overwritten as the bytes arrive, and not
/// synced. Only the body of a final answer with status 200 is written; other bodies are not even
/// received. One that is announced larger than what the disk has left fails before its first byte.
/// After a failure a part of it may be there.
QCoro::Task<TransferResult> toFile(QUrl url, QString file, ProgressCallback onProgress,
                                   std::stop_token stop, TransferOptions options = {});

/// A transfer into memory; a body over `limit` bytes is a failure.
QCoro::Task<TransferResult> toMemory(QUrl url, qint64 limit, std::stop_token stop,
                                     TransferOptions options = {});

/// Until what it returns goes, connections are kept for the next transfer of this program that goes
/// the same way. Any thread.
std::shared_ptr<void> keepConnections();

/// Bytes per second, by at least a millisecond. Pure; any thread.
double rate(qint64 written, std::chrono::duration<double> elapsed);

} // namespace Transfer

} // namespace brindle
