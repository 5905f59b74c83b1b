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

// https://man7.org/linux/man-pages/man2/ioctl_xfs_goingdown.2.html: the request that ext4 has taken
// over, for which no header is installed.
constexpr unsigned long shutDown = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t withoutLogFlush = 2;

[[noreturn]] void fail(const QString &step, const QString &reason)
{
    throw std::runtime_error((step + u": "_s + reason).toStdString());
}

void check(bool good, const QString &step)
{
    if (!good) {
        fail(step, QString::fromLocal8Bit(std::strerror(errno)));
    }
}

void run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(-1)) {
        fail(program, process.errorString());
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        fail(program, QString::fromLocal8Bit(process.readAll()).simplified());
    }
}

} // namespace

PowerDisk::PowerDisk(QString folder) : folder_(std::move(folder))
{
    QDir().mkpath(path());
}

PowerDisk::~PowerDisk()
{
    umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
}

void PowerDisk::format()
{
    umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
    const QString image = folder_ + u"/disk.img"_s;
    QFile::remove(image);
    QFile file(image);
    check(file.open(QIODevice::WriteOnly) && file.resize(imageBytes), image);
    file.close();
    run(u"mkfs.ext4"_s, {u"-q"_s, image});
}

void PowerDisk::mount(const QString &options)
{
    const QString all = options.isEmpty() ? u"loop"_s : u"loop,"_s + options;
    run(u"mount"_s, {u"-t"_s, u"ext4"_s, u"-o"_s, all, folder_ + u"/disk.img"_s, path()});
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
    const bool isCut = top >= 0 && ioctl(top, shutDown, &how) == 0;
    const int error = errno;
    if (top >= 0) {
        close(top);
    }
    errno = error;
    check(isCut, u"EXT4_IOC_SHUTDOWN"_s);
}

void PowerDisk::restorePower()
{
    unmount();
    const QString image = folder_ + u"/disk.img"_s;
    QFile::remove(imageOfCut());
    check(QFile::rename(image, imageOfCut()), image);
    run(u"cp"_s, {u"--sparse=always"_s, imageOfCut(), image});
    mount();
}

void PowerDisk::unmount()
{
    // Who was killed may take a moment to let go.
    constexpr int maxTries = 500;
    const QByteArray place = QFile::encodeName(path());
    for (int i = 0; umount2(place.constData(), 0) != 0; ++i) {
        check(errno == EBUSY && i < maxTries, u"umount"_s);
        QThread::msleep(10);
    }
}

} // namespace brindle
