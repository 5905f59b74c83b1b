#pragma once

#include "files/OutputFile.h"
#include "net/Transfer.h"

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>

namespace brindle {

/// Where the body of an answer goes: a file, or memory. Blocks: worker threads only.
class Body
{
public:
    /// @param file empty for memory.
    /// @param options those that say how many bytes it takes, and whom to show them.
    Body(QString file, const TransferOptions &options)
        : file_(std::move(file)), limit_(options.limit), onBytes_(options.onBytes)
    {}

    /// Empties it for an answer of `host`, or creates the file. Refuses what is announced too large
    /// before a byte of it is taken. `announced` is 0 when unknown: `flush` counts in any case.
    /// Throws SystemError, and SetupError (TransferError for memory) when it is over the limit.
    void begin(qint64 announced, const QString &host);

    /// Takes bytes, which `flush` writes. Throws as `begin` does.
    void add(std::string_view bytes);
    void flush();
    /// Closes it in order and fills the result with what it holds. Throws SystemError.
    void finish(TransferResult &result);
    void abandon() noexcept { output_.abandon(); }

    /// Bytes that it holds, those not yet flushed left out.
    qint64 written() const { return written_; }

private:
    void checkLimit(qint64 bytes) const;

    const QString file_;
    const qint64 limit_;
    const BytesCallback onBytes_;
    QString host_;
    OutputFile output_;
    QByteArray memory_;
    std::string pending_; // arrived, not yet written
    qint64 written_ = 0;
    bool hasBegun_ = false;
};

} // namespace brindle
