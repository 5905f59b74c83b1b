#pragma once

#include <QString>

namespace brindle {

/// Takes numbered pictures of the whole screen, other programs' windows included.
class Camera
{
public:
    /// @param folder where the pictures go; emptied of earlier ones. No pictures when empty.
    explicit Camera(QString folder);

    /// Saves "NN-name.png". Throws std::runtime_error when it can't be written.
    void take(const QString &name);

private:
    QString folder_;
    int taken_ = 0;
};

} // namespace brindle
