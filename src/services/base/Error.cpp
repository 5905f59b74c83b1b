#include "base/Error.h"

#include <system_error>

namespace brindle {

const char *Error::what() const noexcept
{
    what_ = description().toUtf8();
    return what_.constData();
}

SystemError SystemError::fromErrno(int errorNumber, const QString &path)
{
    const auto reason = QString::fromStdString(std::generic_category().message(errorNumber));
    SystemError error(QStringLiteral("%1: %2").arg(path, reason), errorNumber);
    error.path = path;
    return error;
}

QString describe(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (const Error &known) {
        return known.description();
    } catch (const std::exception &other) {
        return QString::fromLocal8Bit(other.what());
    } catch (...) {
        return QStringLiteral("An unknown error occurred.");
    }
}

} // namespace brindle
