#include "SmallDisk.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/statvfs.h>

namespace brindle {

namespace {

QByteArray sized(qint64 bytes)
{
    return "size=" + QByteArray::number(bytes);
}

[[noreturn]] void fail()
{
    throw std::runtime_error(std::string("no small disk to be had: ") + std::strerror(errno));
}

} // namespace

SmallDisk::SmallDisk(QString folder, qint64 bytes) : folder_(std::move(folder)), bytes_(bytes)
{
    if (mount("none", QFile::encodeName(folder_).constData(), "tmpfs", MS_NOSUID | MS_NODEV,
              sized(bytes).constData()) != 0) {
        fail();
    }
}

SmallDisk::~SmallDisk()
{
    umount2(QFile::encodeName(folder_).constData(), MNT_DETACH);
}

void SmallDisk::resize(qint64 bytes)
{
    bytes_ = bytes;
    setReadOnly(false);
}

void SmallDisk::setReadOnly(bool readOnly)
{
    const unsigned long flags =
        MS_REMOUNT | MS_NOSUID | MS_NODEV | (readOnly ? static_cast<unsigned long>(MS_RDONLY) : 0);
    if (mount("none", QFile::encodeName(folder_).constData(), "tmpfs", flags,
              sized(bytes_).constData()) != 0) {
        fail();
    }
}

qint64 SmallDisk::used() const
{
    struct statvfs status = {};
    if (statvfs(QFile::encodeName(folder_).constData(), &status) != 0) {
        fail();
    }
    return static_cast<qint64>((status.f_blocks - status.f_bfree) * status.f_frsize);
}

} // namespace brindle
