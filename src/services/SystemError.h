#pragma once

#include "services/Error.h"

#include <utility>

namespace brindle {

/// A failure of the operating system (file system, process launch) with its own description.
class SystemError final : public Error
{
public:
    /// @param text what the user sees; names the thing that failed, e.g. a path.
    /// @param errorNumber errno where known, else 0.
    explicit SystemError(QString text, int errorNumber = 0)
        : code(errorNumber), text_(std::move(text))
    {}

    /// The error of a failed call on `path`: the path, ": " and the system's text for the errno.
    static SystemError fromErrno(int errorNumber, const QString &path);

    QString description() const override { return text_; }
    void raise() const override { throw *this; }
    SystemError *clone() const override { return new SystemError(*this); }

    int code;

private:
    QString text_;
};

} // namespace brindle
