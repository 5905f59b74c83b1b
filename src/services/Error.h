#pragma once

#include <QException>
#include <QString>

#include <exception>

namespace brindle {

/// Root of every failure that the launcher's own code throws. Derived from QException so that it
/// also crosses QtConcurrent unchanged.
class Error : public QException
{
public:
    /// The text shown to the user, as it is. Any thread.
    virtual QString description() const = 0;

    const char *what() const noexcept override;

private:
    mutable QByteArray what_;
};

/// The text to show for any caught failure: `Error::description()` where there is one, otherwise
/// what the standard exception says. Any thread; never throws.
QString describe(const std::exception_ptr &error);

} // namespace brindle
