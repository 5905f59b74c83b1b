#include "base/Error.h"

#include <system_error>

namespace brindle {

using namespace Qt::StringLiterals;

SystemError SystemError::fromErrno(int errorNumber, const QString &path)
{
    return SystemError(path + u": "_s +
                       QString::fromStdString(std::generic_category().message(errorNumber)));
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
        return u"An unknown error occurred."_s;
    }
}

} // namespace brindle
