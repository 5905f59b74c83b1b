#pragma once

#include "services/Error.h"

#include <utility>

namespace brindle {

/// A failure of the network layer; its description is that layer's own text.
class TransferError final : public Error
{
public:
    enum class Code {
        cancelled, ///< the transfer was cancelled by its owner
        timedOut,  ///< no byte arrived for the time-out's length
        failed,    ///< everything else: no connection, TLS, cut short, too many redirects …
    };

    TransferError(Code errorCode, QString text) : code(errorCode), text_(std::move(text)) {}
    explicit TransferError(QString text) : TransferError(Code::failed, std::move(text)) {}

    QString description() const override { return text_; }
    void raise() const override { throw *this; }
    TransferError *clone() const override { return new TransferError(*this); }

    Code code;

private:
    QString text_;
};

} // namespace brindle
