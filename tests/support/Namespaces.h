#pragma once

#include <QByteArray>
#include <QString>

namespace brindle {

/// Gives a test program namespaces of its own (Linux). Its mounts, ports and children exist only
/// there, and loopback is its only network.
namespace Namespaces {

/// Restarts the program inside the namespaces, with a new temporary folder, and returns true there.
/// The calling process waits outside and exits with the same code. If either process dies, all
/// processes inside die. Returns false, with the system's reason, if the system forbids this. Call
/// it first.
bool enter(QString *reason);

/// Mounts `substitute` over an existing file or folder. Throws std::runtime_error.
void mountOver(const QString &existing, const QString &substitute);

} // namespace Namespaces

/// A file system of a chosen size, mounted over a folder. Works inside the namespaces only. Throws
/// std::runtime_error.
class SmallDisk
{
public:
    SmallDisk(const QString &folder, qint64 bytes);
    /// Unmounts the disk. Its content is lost.
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
