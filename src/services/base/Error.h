#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <stop_token>

namespace brindle {

/// Base class of every failure that the launcher's own code throws. Any thread.
class Error : public std::exception
{
public:
    /// The text to show to the user, unchanged.
    const QString &description() const { return text_; }
    const char *what() const noexcept override { return bytes_.constData(); }

protected:
    explicit Error(const QString &text) : text_(text), bytes_(text.toUtf8()) {}

private:
    QString text_;
    QByteArray bytes_;
};

/// A failure that the launcher raises itself.
class SetupError final : public Error
{
public:
    /// @param text a complete English sentence.
    explicit SetupError(const QString &text) : Error(text), message(text) {}

    QString message;
};

/// A failure of the operating system.
class SystemError final : public Error
{
public:
    /// @param text names the thing that failed, for example a path.
    explicit SystemError(const QString &text) : Error(text) {}

    /// Returns the error of a failed call on `path`: the path, ": " and the system's text.
    static SystemError fromErrno(int errorNumber, const QString &path);
};

/// A failure of the network layer, in that layer's own words.
class TransferError final : public Error
{
public:
    explicit TransferError(const QString &text) : Error(text) {}
};

/// A stop was requested. This is not a failure, so a run that throws it ends quietly.
class CancellationError final : public Error
{
public:
    CancellationError() : Error(QStringLiteral("The operation was cancelled.")) {}
};

/// Throws CancellationError when a stop has been requested. Any thread.
inline void checkCancellation(const std::stop_token &stop)
{
    if (stop.stop_requested()) {
        throw CancellationError();
    }
}

/// Returns the text to show for any caught exception. Any thread; never throws.
QString describe(const std::exception_ptr &error);

} // namespace brindle
