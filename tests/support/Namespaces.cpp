#include "support/Namespaces.h"

#include <QByteArrayList>
#include <QFile>
#include <QProcess>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <vector>

namespace brindle {

namespace {

const char *const inside = "INSIDE_TEST_NAMESPACES";

// The first process of a process namespace adopts orphans, and its death kills all others. So a
// shell takes that role and waits.
const QByteArray firstProcess = R"(
folder=$(mktemp -d --tmpdir test-XXXXXX) &&
    mount -t tmpfs none "$folder" && ip link set lo up || exit
TMPDIR=$folder "$@"
code=$?
umount --lazy "$folder"
rmdir "$folder"
exit $code)";

[[noreturn]] void fail(const QByteArray &step)
{
    throw std::runtime_error((step + ": " + std::strerror(errno)).toStdString());
}

/// Returns a command that runs `program` inside. On most systems ordinary users need a user
/// namespace of their own for that.
QByteArrayList command(bool asOwnRoot, const QByteArrayList &program)
{
    QByteArrayList words{"unshare", "--mount", "--net",        "--ipc",
                         "--pid",   "--fork",  "--mount-proc", "--kill-child"};
    if (asOwnRoot) {
        words << "--map-root-user";
    }
    return words << "sh" << "-c" << firstProcess << "sh" << program;
}

} // namespace

bool Namespaces::enter(QString *reason)
{
    if (qEnvironmentVariableIsSet(inside)) {
        return qunsetenv(inside);
    }
    for (const bool asOwnRoot : {false, true}) {
        QStringList probe;
        for (const QByteArray &word : command(asOwnRoot, {"true"})) {
            probe << QString::fromUtf8(word);
        }
        QProcess process;
        process.start(probe.takeFirst(), probe);
        if (!process.waitForFinished() || process.exitCode() != 0) {
            *reason = QString::fromLocal8Bit(process.readAllStandardError()).simplified();
            continue;
        }
        QFile line(QStringLiteral("/proc/self/cmdline"));
        line.open(QIODevice::ReadOnly);
        QByteArrayList program = line.readAll().split('\0');
        program.removeLast(); // not needed after the last one
        program.first() = QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
        QByteArrayList words = command(asOwnRoot, program);
        std::vector<char *> arguments;
        for (QByteArray &word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        qputenv(inside, "1");
        execvp(arguments.front(), arguments.data());
    }
    return false;
}

void Namespaces::mountOver(const QString &existing, const QString &substitute)
{
    if (mount(QFile::encodeName(substitute).constData(), QFile::encodeName(existing).constData(),
              nullptr, MS_BIND, nullptr) != 0) {
        fail("can't mount over " + existing.toUtf8());
    }
}

SmallDisk::SmallDisk(const QString &folder, qint64 bytes)
    : folder_(QFile::encodeName(folder)), bytes_(bytes)
{
    mount(0);
}

SmallDisk::~SmallDisk()
{
    umount2(folder_.constData(), MNT_DETACH);
}

void SmallDisk::resize(qint64 bytes)
{
    bytes_ = bytes;
    mount(MS_REMOUNT);
}

void SmallDisk::setReadOnly(bool readOnly)
{
    mount(MS_REMOUNT | (readOnly ? static_cast<unsigned long>(MS_RDONLY) : 0));
}

void SmallDisk::mount(unsigned long flags) const
{
    if (::mount("none", folder_.constData(), "tmpfs", flags | MS_NOSUID | MS_NODEV,
                ("size=" + QByteArray::number(bytes_)).constData()) != 0) {
        fail("can't mount a small disk");
    }
}

qint64 SmallDisk::used() const
{
    struct statvfs status = {};
    if (statvfs(folder_.constData(), &status) != 0) {
        fail("can't measure the small disk");
    }
    return static_cast<qint64>((status.f_blocks - status.f_bfree) * status.f_frsize);
}

} // namespace brindle
