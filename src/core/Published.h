#pragma once

#include <QObject>

#include <utility>

namespace brindle {

/// A field that announces itself before each assignment (readers still see the old value) and
/// after it, equal values included. Belongs to its owner's thread.
template <typename T, typename Owner>
class Published
{
public:
    using Signal = void (Owner::*)();

    Published(Owner *owner, Signal willChange, Signal didChange, T initial = T())
        : owner_(owner), willChange_(willChange), didChange_(didChange), value_(std::move(initial))
    {}
    Published(const Published &) = delete;
    Published &operator=(const Published &) = delete;

    const T &operator()() const { return value_; }

    Published &operator=(T value)
    {
        Q_EMIT(owner_->*willChange_)();
        value_ = std::move(value);
        Q_EMIT(owner_->*didChange_)();
        return *this;
    }

private:
    Owner *owner_;
    Signal willChange_;
    Signal didChange_;
    T value_;
};

} // namespace brindle
