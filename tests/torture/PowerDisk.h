#pragma once

#include <QString>

namespace brindle {

/// A disk that can lose power: an ext4 file system in an image file. Needs Linux and the right to
/// mount. Throws std::runtime_error with the failed step and the reason. Blocks. No process may use
/// the disk during `format`, `restorePower` and `unmount`.
class PowerDisk
{
public:
    /// @param folder the folder for the images and the mount point "disk".
    explicit PowerDisk(QString folder);
    /// Unmounts the disk. The images stay.
    ~PowerDisk();
    PowerDisk(const PowerDisk &) = delete;
    PowerDisk &operator=(const PowerDisk &) = delete;

    /// Returns the image of the disk as it was at the last cut.
    static QString imageOfCut(const QString &folder) { return folder + QStringLiteral("/cut.img"); }

    /// Empties the disk.
    void format() const;
    /// @param options as for mount(8).
    void mount(const QString &options = {}) const;
    /// Makes the file system write its journal, as if another program saved a file. The disk then
    /// has all names, but perhaps not all contents.
    void commitJournal() const;
    /// Drops all data that has not reached the disk, and all later writes.
    void cutPower() const;
    /// Mounts a copy of the disk as it was at the cut. Mounting replays the journal.
    void restorePower() const;
    void unmount() const;

private:
    QString path() const { return folder_ + QStringLiteral("/disk"); }

    const QString folder_;
    const QString image_;
};

} // namespace brindle
