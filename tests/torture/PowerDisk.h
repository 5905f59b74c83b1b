#pragma once

#include <QString>

namespace brindle {

/// A disk that can lose power: an ext4 file system in an image file, by a loop device. Linux, with
/// the right to mount. Throws std::runtime_error that says which step failed and why. Blocks.
class PowerDisk
{
public:
    /// @param folder the images and the mount point are made in it.
    explicit PowerDisk(QString folder);
    /// Takes it away; the images stay.
    ~PowerDisk();
    PowerDisk(const PowerDisk &) = delete;
    PowerDisk &operator=(const PowerDisk &) = delete;

    /// Where it is mounted.
    QString path() const { return folder_ + QStringLiteral("/disk"); }
    /// What was on it when it last lost power.
    QString imageOfCut() const { return folder_ + QStringLiteral("/cut.img"); }

    /// Starts anew with an empty one.
    void format();
    /// `options` as mount(8) has them; empty for the default ones.
    void mount(const QString &options = {});
    /// Has the file system write its journal, as it does whenever any program saves a file: what
    /// was named is on the disk then, what was written need not be.
    void commitJournal() const;
    /// From now on nothing reaches the disk any more.
    void cutPower() const;
    /// Takes what was on the disk at the cut, and mounts a copy of it, by which its journal is
    /// replayed. Nobody may use the disk any more.
    void restorePower();
    /// Nobody may use the disk any more.
    void unmount();

private:
    const QString folder_;
};

} // namespace brindle
