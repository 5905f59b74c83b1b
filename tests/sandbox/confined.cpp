// Makes one attempt in the sandbox and prints the number of the error, or 0. Tests only.
//
// usage: confined FOLDER FILE ATTEMPT PATH
//   FOLDER may be written, FILE is open before

#include "sandbox/Sandbox.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <set>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr uint64_t maxMemory = 1ULL << 30U;
constexpr uint64_t maxFileBytes = 100'000;

/// The calls that unpacking needs. Other attempts test the calls whose arguments matter.
const std::set<long> allowedCalls{
#ifdef __x86_64__
    SYS_stat, SYS_lstat, SYS_mkdir, SYS_symlink, SYS_unlink, SYS_rmdir, SYS_pipe,
    // uretprobe(2) and uprobe(2) pass every filter. They end a caller without a probe.
    335, 336,
#endif
    SYS_write, SYS_writev, SYS_lseek, SYS_sync_file_range, SYS_close, SYS_fstat, SYS_newfstatat,
    SYS_statx, SYS_statfs, SYS_fstatfs, SYS_getdents64, SYS_mkdirat, SYS_symlinkat, SYS_unlinkat,
    SYS_brk, SYS_munmap, SYS_mremap, SYS_madvise, SYS_futex, SYS_sched_yield, SYS_getrandom,
    SYS_clock_gettime, SYS_getpid, SYS_gettid, SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigreturn, SYS_sigaltstack, SYS_restart_syscall, SYS_exit, SYS_exit_group, SYS_openat,
    SYS_fcntl, SYS_pipe2, SYS_mmap, SYS_mprotect, SYS_tgkill};
const std::set<int> allowedCommands{F_GETFD, F_SETFD, F_GETFL};

int openBefore = -1;

int numberOf(long result)
{
    return result < 0 ? errno : 0;
}

/// Opens a file and tries to change its rights, which works with any descriptor.
int opened(const char *path, int flags)
{
    const int descriptor = open(path, flags | O_CLOEXEC);
    const int error = numberOf(descriptor);
    fchmod(descriptor, 0666);
    return error;
}

int written(const char *path, size_t count, mode_t mode = S_IRUSR | S_IWUSR)
{
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, mode);
    if (descriptor < 0) {
        return errno;
    }
    const std::string bytes(count, 'x');
    for (size_t done = 0; done < count;) {
        const ssize_t now = write(descriptor, bytes.data() + done, count - done);
        if (now < 0) {
            return errno;
        }
        done += static_cast<size_t>(now);
    }
    return 0;
}

int mapped(size_t count, int protection)
{
    const void *const memory = mmap(nullptr, count, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? errno : 0;
}

int madeExecutable()
{
    constexpr size_t page = 4096;
    void *const memory =
        mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return numberOf(mprotect(memory, page, PROT_READ | PROT_EXEC));
}

/// If the sandbox lets a forbidden call up to `last` pass, prints its number and returns 1;
/// otherwise returns 0. No call accepts the arguments.
template <typename Number, typename Call>
int unexpected(const std::set<Number> &allowed, Number last, Call call)
{
    for (Number number = 0; number <= last; ++number) {
        if (!allowed.contains(number) && (call(number) != -1 || errno != ENOSYS)) {
            std::fprintf(stderr, "call or command %ld is possible\n", static_cast<long>(number));
            return 1;
        }
    }
    return 0;
}

int unexpectedCall()
{
    return unexpected(allowedCalls, 512L,
                      [](long call) { return syscall(call, -1, -1, -1, -1, -1, -1); });
}

/// Tries the commands of fcntl(2): POSIX's, and Linux's own from F_SETLEASE on.
int unexpectedCommand()
{
    return unexpected(allowedCommands, F_SETLEASE + 64,
                      [](int command) { return fcntl(openBefore, command, -1); });
}

int coreLimit()
{
    struct rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    return static_cast<int>(limit.rlim_max);
}

using Attempt = int (*)(const char *path);

const std::map<std::string, Attempt> attempts{
    {"write", [](const char *path) { return written(path, 1); }},
    {"write to the limit", [](const char *path) { return written(path, maxFileBytes); }},
    {"write too much", [](const char *path) { return written(path, maxFileBytes + 1); }},
    {"write a set-user-id program", [](const char *path) { return written(path, 1, 04755); }},
    {"read", [](const char *path) { return opened(path, O_RDONLY); }},
    {"open for both", [](const char *path) { return opened(path, O_RDWR); }},
    {"open for neither", [](const char *path) { return opened(path, O_ACCMODE); }},
    {"open for neither, emptying",
     [](const char *path) { return opened(path, O_ACCMODE | O_TRUNC); }},
    {"open a path", [](const char *path) { return opened(path, O_PATH); }},
    {"empty", [](const char *path) { return opened(path, O_WRONLY | O_TRUNC); }},
    {"list", [](const char *path) { return opened(path, O_RDONLY | O_DIRECTORY); }},
    {"make a folder", [](const char *path) { return numberOf(mkdir(path, S_IRWXU)); }},
    {"make a link", [](const char *path) { return numberOf(symlink("x", path)); }},
    {"remove", [](const char *path) { return numberOf(unlink(path)); }},
    {"remove a folder", [](const char *path) { return numberOf(rmdir(path)); }},
    {"signal to another",
     [](const char *) { return numberOf(syscall(SYS_tgkill, getppid(), getppid(), 0)); }},
    {"signal to itself",
     [](const char *) { return numberOf(syscall(SYS_tgkill, getpid(), getpid(), 0)); }},
    {"map memory to run", [](const char *) { return mapped(1, PROT_READ | PROT_EXEC); }},
    {"make memory run", [](const char *) { return madeExecutable(); }},
    {"any other call", [](const char *) { return unexpectedCall(); }},
    {"any other command", [](const char *) { return unexpectedCommand(); }},
    {"call of another machine",
     [](const char *) { return numberOf(syscall(0x40000000 + SYS_getpid)); }},
    {"allocate", [](const char *) { return mapped(maxMemory / 4, PROT_READ | PROT_WRITE); }},
    {"allocate too much", [](const char *) { return mapped(maxMemory, PROT_READ | PROT_WRITE); }},
    {"limit of a core", [](const char *) { return coreLimit(); }},
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 5 || !attempts.contains(argv[3])) {
        return 2;
    }
    const Attempt attempt = attempts.at(argv[3]);
    openBefore = open(argv[2], O_RDONLY | O_CLOEXEC);
    brindle::Sandbox::enter({argv[1], maxMemory, maxFileBytes});
    std::printf("%d", attempt(argv[4]));
    return 0;
}
