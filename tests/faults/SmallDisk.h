#pragma once

#include <QString>

namespace brindle {

/// A file system of a size that the test chooses, in place of a folder. Inside namespaces of the
/// test's own only. Linux. Throws std::runtime_error.
class SmallDisk
{
public:
    SmallDisk(QString folder, qint64 bytes);
    /// Takes it away again, with all that is on it.
    ~SmallDisk();
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    void resize(qint64 bytes);
    void setReadOnly(bool readOnly);

    /// The bytes that are taken.
    qint64 used() const;

private:
    const QString folder_;
    qint64 bytes_;
};

} // namespace brindle
