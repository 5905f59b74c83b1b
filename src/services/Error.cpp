#include "services/Error.h"

namespace brindle {

const char *Error::what() const noexcept
{
    what_ = description().toUtf8();
    return what_.constData();
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
