#pragma once

#include "services/Error.h"

#include <utility>

namespace brindle {

/// A failure that the launcher raises itself. `message` is a complete English sentence, shown to
/// the user as it is.
class SetupError final : public Error
{
public:
    explicit SetupError(QString text) : message(std::move(text)) {}

    QString description() const override { return message; }
    void raise() const override { throw *this; }
    SetupError *clone() const override { return new SetupError(*this); }

    QString message;
};

} // namespace brindle
