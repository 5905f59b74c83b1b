// Makes one attempt in the sandbox and prints the number of the error, or 0. Tests only.
//
// usage: confined FOLDER FILE ATTEMPT [PATH]
//   FOLDER may be written, FILE is open before; PATH is also the number or name of an object

#include "sandbox/Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <linux/openat2.h>
#include <map>
#include <mqueue.h>
#include <pthread.h>
#include <sched.h>
#include <set>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/msg.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;

constexpr uint64_t maxMemory = 1ULL << 30U;
constexpr uint64_t maxFileBytes = 100'000;
constexpr int newCall = 100'000;
constexpr mode_t setUserId = 04755;
constexpr mode_t everybodys = 0666;

/// The calls that unpacking takes. Attempts of their own try those whose arguments matter.
const std::set<long> allowedCalls{
#ifdef __x86_64__
    SYS_stat, SYS_lstat, SYS_mkdir, SYS_symlink, SYS_unlink, SYS_rmdir, SYS_pipe,
    // uretprobe(2) and uprobe(2) pass every filter. They end a caller without a probe.
    335, 336,
#endif
    SYS_pread64, SYS_write, SYS_writev, SYS_lseek, SYS_sync_file_range, SYS_close, SYS_fstat,
    SYS_newfstatat, SYS_statx, SYS_statfs, SYS_fstatfs, SYS_getdents64, SYS_mkdirat, SYS_symlinkat,
    SYS_unlinkat, SYS_brk, SYS_munmap, SYS_mremap, SYS_madvise, SYS_futex, SYS_sched_yield,
    SYS_getrandom, SYS_clock_gettime, SYS_getpid, SYS_gettid, SYS_rt_sigaction, SYS_rt_sigprocmask,
    SYS_rt_sigreturn, SYS_sigaltstack, SYS_restart_syscall, SYS_exit, SYS_exit_group, SYS_openat,
    SYS_fcntl, SYS_pipe2, SYS_mmap, SYS_mprotect, SYS_tgkill};
const std::set<int> allowedCommands{F_GETFD, F_SETFD, F_GETFL};

int openBefore = -1;

int numberOf(long result)
{
    return result < 0 ? errno : 0;
}

int written(const char *path, size_t count)
{
    const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
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

int allocated(size_t count)
{
    return mmap(nullptr, count, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) ==
                   MAP_FAILED
               ? errno
               : 0;
}

/// Any descriptor for a file is enough to change its rights.
int opened(const char *path, int flags)
{
    const int descriptor = open(path, flags);
    if (descriptor < 0) {
        return errno;
    }
    fchmod(descriptor, everybodys);
    return 0;
}

/// Returns the first system call that exists and that unpacking does not take: its number, -1 for
/// number 0, or 0 for none. Calls with arguments that no call accepts.
int unexpectedCall()
{
    constexpr long newestTried = 512;
    for (long call = 0; call <= newestTried; ++call) {
        if (!allowedCalls.contains(call) &&
            (syscall(call, -1, -1, -1, -1, -1, -1) != -1 || errno != ENOSYS)) {
            return call == 0 ? -1 : static_cast<int>(call);
        }
    }
    return 0;
}

/// Likewise for the commands of fcntl(2): those of POSIX, and Linux's own from F_SETLEASE on.
int unexpectedCommand()
{
    constexpr int newestTried = F_SETLEASE + 64;
    for (int command = 0; command <= newestTried; ++command) {
        if (!allowedCommands.contains(command) &&
            (fcntl(STDOUT_FILENO, command, -1) != -1 || errno != ENOSYS)) {
            return command == 0 ? -1 : command;
        }
    }
    return 0;
}

int memoryToRun()
{
    constexpr size_t page = 4096;
    if (mmap(nullptr, page, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) !=
        MAP_FAILED) {
        return 0;
    }
    void *const plain =
        mmap(nullptr, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return numberOf(mprotect(plain, page, PROT_READ | PROT_EXEC));
}

using Attempt = int (*)(const char *path);

const std::map<std::string, Attempt> attempts{
    {"write", [](const char *path) { return written(path, 1); }},
    {"write to the limit", [](const char *path) { return written(path, maxFileBytes); }},
    {"write too much", [](const char *path) { return written(path, maxFileBytes + 1); }},
    {"read", [](const char *path) { return numberOf(open(path, O_RDONLY | O_CLOEXEC)); }},
    {"read on",
     [](const char *) {
         char first = 0;
         return numberOf(pread(openBefore, &first, 1, 0));
     }},
    {"open for both", [](const char *path) { return opened(path, O_RDWR); }},
    {"open for neither", [](const char *path) { return opened(path, O_ACCMODE); }},
    {"open for neither, emptying",
     [](const char *path) { return opened(path, O_ACCMODE | O_TRUNC); }},
    {"open a path", [](const char *path) { return opened(path, O_PATH); }},
    {"open anew",
     [](const char *path) {
         open_how how{};
         how.flags = O_ACCMODE;
         return numberOf(syscall(SYS_openat2, AT_FDCWD, path, &how, sizeof how));
     }},
    {"write what is another's to run",
     [](const char *path) { return numberOf(open(path, O_WRONLY | O_CREAT, setUserId)); }},
    {"change rights of an open file",
     [](const char *) { return numberOf(fchmod(openBefore, everybodys)); }},
    {"list", [](const char *path) { return numberOf(open(path, O_RDONLY | O_DIRECTORY)); }},
    {"empty", [](const char *path) { return numberOf(open(path, O_WRONLY | O_TRUNC)); }},
    {"cut", [](const char *path) { return numberOf(truncate(path, 0)); }},
    {"make a folder", [](const char *path) { return numberOf(mkdir(path, S_IRWXU)); }},
    {"make a link", [](const char *path) { return numberOf(symlink("x", path)); }},
    {"make a pipe", [](const char *path) { return numberOf(mkfifo(path, S_IRUSR)); }},
    {"make a device",
     [](const char *path) { return numberOf(mknod(path, S_IFCHR | S_IRUSR, 0x103)); }},
    {"remove", [](const char *path) { return numberOf(unlink(path)); }},
    {"remove a folder", [](const char *path) { return numberOf(rmdir(path)); }},
    {"move away",
     [](const char *path) { return numberOf(rename(path, (path + ".moved"s).c_str())); }},
    {"move down",
     [](const char *path) {
         const std::string folder = path + ".folder"s;
         mkdir(folder.c_str(), S_IRWXU);
         return numberOf(rename(path, (folder + "/moved").c_str()));
     }},
    {"change rights", [](const char *path) { return numberOf(chmod(path, setUserId)); }},
    {"change the owner", [](const char *path) { return numberOf(chown(path, 1, 1)); }},
    {"change times",
     [](const char *path) { return numberOf(utimensat(AT_FDCWD, path, nullptr, 0)); }},
    {"change attributes",
     [](const char *path) { return numberOf(setxattr(path, "user.x", "x", 1, 0)); }},
    {"change the root", [](const char *path) { return numberOf(chroot(path)); }},
    {"mount", [](const char *path) { return numberOf(mount("x", path, "tmpfs", 0, "")); }},
    {"run",
     [](const char *path) {
         char *const arguments[] = {nullptr};
         return numberOf(execve(path, arguments, arguments));
     }},
    {"internet socket", [](const char *) { return numberOf(socket(AF_INET, SOCK_STREAM, 0)); }},
    {"local socket", [](const char *) { return numberOf(socket(AF_UNIX, SOCK_STREAM, 0)); }},
    {"pair of sockets",
     [](const char *) {
         int ends[2] = {};
         return numberOf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
     }},
    {"fork",
     [](const char *) {
         const pid_t child = fork();
         if (child == 0) {
             _exit(0);
         }
         return numberOf(child);
     }},
    {"thread",
     [](const char *) {
         pthread_t thread{};
         return pthread_create(&thread, nullptr, [](void *nothing) { return nothing; }, nullptr);
     }},
    {"signal", [](const char *) { return numberOf(kill(getppid(), 0)); }},
    {"signal to a thread",
     [](const char *) { return numberOf(syscall(SYS_tgkill, getppid(), getppid(), 0)); }},
    {"signal to itself",
     [](const char *) { return numberOf(syscall(SYS_tgkill, getpid(), getpid(), 0)); }},
    {"trace", [](const char *) { return numberOf(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); }},
    {"own namespaces", [](const char *) { return numberOf(unshare(CLONE_NEWUSER)); }},
    {"memory file", [](const char *) { return numberOf(memfd_create("x", 0)); }},
    {"ring", [](const char *) { return numberOf(syscall(SYS_io_uring_setup, 1, nullptr)); }},
    {"type into the terminal", [](const char *) { return numberOf(ioctl(0, TIOCSTI, "x")); }},
    {"foreign shared memory",
     [](const char *id) {
         const void *const memory = shmat(std::atoi(id), nullptr, 0);
         return numberOf(memory == reinterpret_cast<void *>(-1) ? -1 : 0); // NOLINT
     }},
    {"end of foreign shared memory",
     [](const char *id) { return numberOf(shmctl(std::atoi(id), IPC_RMID, nullptr)); }},
    {"foreign messages",
     [](const char *id) {
         const long letter[] = {1, 0}; // kind and text
         return numberOf(msgsnd(std::atoi(id), letter, 1, IPC_NOWAIT));
     }},
    {"foreign semaphores",
     [](const char *id) { return numberOf(semctl(std::atoi(id), 0, GETVAL)); }},
    {"foreign queue", [](const char *name) { return numberOf(mq_unlink(name)); }},
    {"priority of another",
     [](const char *) {
         return numberOf(setpriority(PRIO_PROCESS, static_cast<id_t>(getppid()), 0));
     }},
    {"processors of another",
     [](const char *) {
         cpu_set_t all;
         std::memset(&all, 0xFF, sizeof all);
         return numberOf(sched_setaffinity(getppid(), sizeof all, &all));
     }},
    {"scheduler of another",
     [](const char *) {
         const sched_param usual{};
         return numberOf(sched_setscheduler(getppid(), SCHED_OTHER, &usual));
     }},
    {"signals of a descriptor",
     [](const char *) { return numberOf(fcntl(openBefore, F_SETOWN, getppid())); }},
    {"lease", [](const char *) { return numberOf(fcntl(openBefore, F_SETLEASE, F_RDLCK)); }},
    {"any other call", [](const char *) { return unexpectedCall(); }},
    {"any other command", [](const char *) { return unexpectedCommand(); }},
    {"memory to run", [](const char *) { return memoryToRun(); }},
    {"call from the future", [](const char *) { return numberOf(syscall(newCall)); }},
    {"call of another machine",
     [](const char *) { return numberOf(syscall(0x40000000 + SYS_getpid)); }},
    {"allocate", [](const char *) { return allocated(maxMemory / 4); }},
    {"allocate too much", [](const char *) { return allocated(maxMemory); }},
    {"core",
     [](const char *) {
         struct rlimit limit{};
         getrlimit(RLIMIT_CORE, &limit);
         return static_cast<int>(limit.rlim_max);
     }},
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 4 || !attempts.contains(argv[3])) {
        return 2;
    }
    const Attempt attempt = attempts.at(argv[3]);
    openBefore = open(argv[2], O_RDONLY | O_CLOEXEC);
    brindle::Sandbox::enter({argv[1], maxMemory, maxFileBytes});
    std::printf("%d", attempt(argc > 4 ? argv[4] : ""));
    return 0;
}
