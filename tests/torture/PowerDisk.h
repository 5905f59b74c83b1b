#pragma once

#include <QString>

namespace brindle {

/// A disk that can lose power: an ext4 file system in an image file. Needs Linux and the right to
/// mount. Throws std::runtime_error with the failed step and the reason. Blocks. Nobody else may
/// use the disk during `format`, `restorePower` and `unmount`.
class PowerDisk
{
public:
    /// @param folder holds the images and the mount point.
    explicit PowerDisk(QString folder);
    /// Unmounts the disk; the images stay.
    ~PowerDisk();
    PowerDisk(const PowerDisk &) = delete;
    PowerDisk &operator=(const PowerDisk &) = delete;

    /// Returns the mount point.
    QString path() const { return folder_ + QStringLiteral("/disk"); }
    /// Returns the image of the disk as it was at the last cut.
    QString imageOfCut() const { return folder_ + QStringLiteral("/cut.img"); }

    /// Empties the disk.
    void format();
    /// @param options as for mount(8).
    void mount(const QString &options = {});
    /// Makes the file system write its journal, which happens whenever any program saves a file.
    /// Names are on the disk then, but contents need not be.
    void commitJournal() const;
    /// Keeps everything that follows from the disk.
    void cutPower() const;
    /// Mounts a copy of the disk at the cut, which replays its journal.
    void restorePower();
    void unmount();

private:
    const QString folder_;
};

} // namespace brindle
