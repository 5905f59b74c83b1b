#pragma once

#include <QString>

namespace brindle {

/// One git submodule as ".gitmodules" lists it.
struct Submodule
{
    QString path; ///< the add-on's folder, relative to the repository folder, as written
    QString url;  ///< its repository's address, as written

    bool operator==(const Submodule &) const = default;
};

} // namespace brindle
