#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <stop_token>
#include <utility>

namespace brindle {

/// Root of every failure that the launcher's own code throws.
class Error : public std::exception
{
public:
    /// The text shown to the user, as it is. Any thread.
    virtual QString description() const = 0;

    const char *what() const noexcept override;

private:
    mutable QByteArray what_;
};

/// A failure that the launcher raises itself. `message` is a complete English sentence, shown to
/// the user as it is.
class SetupError final : public Error
{
public:
    explicit SetupError(QString text) : message(std::move(text)) {}

    QString description() const override { return message; }

    QString message;
};

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

    int code;
    QString path; ///< of what failed; empty when unknown

private:
    QString text_;
};

/// A failure of the network layer; its description is that layer's own text.
class TransferError final : public Error
{
public:
    explicit TransferError(QString text) : text_(std::move(text)) {}

    QString description() const override { return text_; }

private:
    QString text_;
};

/// The task was asked to stop. Not a failure: a run that ends with it ends quietly.
class CancellationError final : public Error
{
public:
    QString description() const override { return QStringLiteral("The operation was cancelled."); }
};

/// Throws CancellationError when a stop has been requested. Any thread.
inline void checkCancellation(const std::stop_token &stop)
{
    if (stop.stop_requested()) {
        throw CancellationError();
    }
}

/// The text to show for any caught failure: `Error::description()` where there is one, otherwise
/// what the standard exception says. Any thread; never throws.
QString describe(const std::exception_ptr &error);

} // namespace brindle
