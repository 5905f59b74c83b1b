#include "support/SystemCalls.h"

#include <QFile>
#include <QRegularExpression>

#include <cerrno>
#include <cstdio>
#include <mutex>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

std::mutex lock; // guards the two variables below
SystemCalls *recorder = nullptr;
QStringList recorded;

QString pathOf(int descriptor)
{
    return QFile::symLinkTarget(u"/proc/self/fd/%1"_s.arg(descriptor));
}

/// Records a line. Returns the errno with which the call must fail, or 0.
int record(QString line)
{
    static const QRegularExpression hidden(u"/\\.brindle-[0-9a-f-]{36}"_s);
    line.replace(hidden, u"/.brindle-…"_s);
    SystemCalls *current = nullptr;
    {
        const std::lock_guard guard(lock);
        current = recorder;
        recorded << line;
    }
    return current && current->before ? current->before(line) : 0;
}

bool isRecording()
{
    const std::lock_guard guard(lock);
    return recorder;
}

/// Makes the call, or fails with `error` if that is not 0.
template <typename Call>
int answer(int error, Call call)
{
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(call());
}

} // namespace

SystemCalls::SystemCalls()
{
    const std::lock_guard guard(lock);
    recorder = this;
    recorded.clear();
}

SystemCalls::~SystemCalls()
{
    const std::lock_guard guard(lock);
    recorder = nullptr;
}

QStringList SystemCalls::lines() const // NOLINT(readability-convert-member-functions-to-static)
{
    const std::lock_guard guard(lock);
    return recorded;
}

void SystemCalls::clear() // NOLINT(readability-convert-member-functions-to-static)
{
    const std::lock_guard guard(lock);
    recorded.clear();
}

} // namespace brindle

#ifdef Q_OS_LINUX

extern "C" {

int fsync(int descriptor)
{
    using namespace brindle;
    if (!isRecording()) {
        return static_cast<int>(syscall(SYS_fsync, descriptor));
    }
    return answer(record(u"sync "_s + pathOf(descriptor)), [] { return 0; });
}

int syncfs(int descriptor) noexcept
{
    using namespace brindle;
    if (!isRecording()) {
        return static_cast<int>(syscall(SYS_syncfs, descriptor));
    }
    return answer(record(u"sync all of "_s + pathOf(descriptor)), [] { return 0; });
}

int rename(const char *from, const char *to) noexcept
{
    using namespace brindle;
    const auto call = [&] { return renameat(AT_FDCWD, from, AT_FDCWD, to); };
    if (!isRecording()) {
        return call();
    }
    const QString line = u"rename %1 to %2"_s.arg(QFile::decodeName(from), QFile::decodeName(to));
    return answer(record(line), call);
}

int flock(int descriptor, int operation) noexcept
{
    using namespace brindle;
    const auto call = [&] { return syscall(SYS_flock, descriptor, operation); };
    if (!isRecording()) {
        return static_cast<int>(call());
    }
    return answer(record(u"lock "_s + pathOf(descriptor)), call);
}
}

#endif
