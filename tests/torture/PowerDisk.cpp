#include "PowerDisk.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 imageBytes = 128LL * 1024 * 1024;

// ext4 has this request from XFS, but no installed header has it:
// https://man7.org/linux/man-pages/man2/ioctl_xfs_goingdown.2.html
constexpr unsigned long shutDown = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

void check(bool good, const QString &step)
{
    if (!good) {
        throw std::runtime_error(step.toStdString() + ": " + std::strerror(errno));
    }
}

void run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        throw std::runtime_error(program.toStdString() + ": " +
                                 process.errorString().toStdString() + ' ' +
                                 process.readAll().simplified().toStdString());
    }
}

} // namespace

PowerDisk::PowerDisk(QString folder) : folder_(std::move(folder)), image_(folder_ + u"/disk.img"_s)
{
    QDir().mkpath(path());
}

PowerDisk::~PowerDisk()
{
    umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
}

void PowerDisk::format() const
{
    umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
    QFile::remove(image_);
    QFile file(image_);
    check(file.open(QIODevice::WriteOnly) && file.resize(imageBytes), image_);
    file.close();
    run(u"mkfs.ext4"_s, {u"-q"_s, image_});
}

void PowerDisk::mount(const QString &options) const
{
    const QString all = options.isEmpty() ? u"loop"_s : u"loop,"_s + options;
    run(u"mount"_s, {u"-t"_s, u"ext4"_s, u"-o"_s, all, image_, path()});
}

void PowerDisk::commitJournal() const
{
    QFile other(path() + u"/other"_s);
    check(other.open(QIODevice::WriteOnly) && other.write("x") == 1 && other.flush() &&
              fsync(other.handle()) == 0,
          other.fileName());
}

void PowerDisk::cutPower() const
{
    const int top = open(QFile::encodeName(path()).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::uint32_t how = withoutLogFlush;
    check(top >= 0 && ioctl(top, shutDown, &how) == 0, u"EXT4_IOC_SHUTDOWN"_s);
    close(top);
}

void PowerDisk::restorePower() const
{
    unmount();
    const QString cut = imageOfCut(folder_);
    QFile::remove(cut);
    check(QFile::rename(image_, cut), image_);
    run(u"cp"_s, {u"--sparse=always"_s, cut, image_});
    mount();
}

void PowerDisk::unmount() const
{
    // A killed process may still hold the disk for a moment.
    constexpr int maxTries = 6'000;
    for (int i = 0; umount2(QFile::encodeName(path()).constData(), 0) != 0; ++i) {
        check(errno == EBUSY && i < maxTries, u"umount"_s);
        QThread::msleep(10);
    }
}

} // namespace brindle
