#pragma once

#include <QByteArray>

#include <chrono>
#include <optional>

/// What the headers of an answer say about asking once more. Pure, save for the time of day; any
/// thread.
namespace brindle::Resumption {

/// The headers of an answer that matter here; empty where it had none.
struct Headers
{
    QByteArray acceptRanges;
    QByteArray entityTag;
    QByteArray lastModified;
    QByteArray date;
};

/// What If-Range may carry so that an answer which breaks off can be continued: its entity tag, or
/// where it has none the time of its last change (RFC 9110, sections 8.8.2.2 and 13.1.5). Empty
/// when it can't be: the server serves no ranges, or what it says is too weak to tell two versions
/// apart.
QByteArray validator(const Headers &headers);

/// The whole's length, if `contentRange` says that all bytes from `offset` to the end follow.
std::optional<qint64> lengthIfContinued(const QByteArray &contentRange, qint64 offset);

/// How long a server asks to be left alone: seconds, or a time, which is taken relative to the
/// answer's own `date` where there is one. Absent for anything else.
std::optional<std::chrono::seconds> retryAfter(const QByteArray &retryAfter,
                                               const QByteArray &date);

} // namespace brindle::Resumption
