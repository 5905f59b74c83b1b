#include "services/SystemError.h"

#include <system_error>

namespace brindle {

SystemError SystemError::fromErrno(int errorNumber, const QString &path)
{
    const auto reason = QString::fromStdString(std::generic_category().message(errorNumber));
    return SystemError(QStringLiteral("%1: %2").arg(path, reason), errorNumber);
}

} // namespace brindle
