#pragma once

#include <QByteArray>
#include <QIcon>
#include <QImage>

namespace brindle {

/// The application's icon: the banner's colours and flags on a tile. Drawn, not loaded. Stateless;
/// the main thread, `image` and `svg` any.
class AppIcon
{
public:
    /// For windows, in the sizes that desktops ask for.
    static QIcon icon();
    /// A square picture of that many pixels a side.
    static QImage image(int side);
    /// The same as a scalable drawing (SVG 1.1).
    static QByteArray svg();
};

} // namespace brindle
