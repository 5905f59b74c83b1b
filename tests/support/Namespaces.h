#pragma once

#include <QByteArray>
#include <QString>

namespace brindle {

/// Namespaces of this process alone: its mounts, its ports and its children exist only there. The
/// only network is loopback. Linux.
namespace Namespaces {

/// Starts the program anew inside the namespaces, with a new temporary folder. The calling process
/// waits outside and exits with the same code. When either dies, all processes inside go too.
/// Returns true inside, and false, with the system's reason, where this is not permitted. Call it
/// first.
bool enter(QString *reason);

/// Hides an existing file or folder behind another one. Throws std::runtime_error.
void mountOver(const QString &existing, const QString &substitute);

} // namespace Namespaces

/// A file system of a chosen size, mounted over a folder. Works inside the namespaces only. Throws
/// std::runtime_error.
class SmallDisk
{
public:
    SmallDisk(const QString &folder, qint64 bytes);
    /// Unmounts the disk and drops its content.
    ~SmallDisk();
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    void resize(qint64 bytes);
    void setReadOnly(bool readOnly);
    /// Returns the number of bytes in use.
    qint64 used() const;

private:
    void mount(unsigned long flags) const;

    const QByteArray folder_;
    qint64 bytes_;
};

} // namespace brindle
