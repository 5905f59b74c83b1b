// A program behind the sandbox's walls, for their test. It tries one thing and prints the number of
// the error that it got, or 0.
//
// usage: confined FOLDER FILE ATTEMPT [PATH]
//   FOLDER may be written, FILE read; ATTEMPT is made at PATH

#include "platform/Sandbox.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <map>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

constexpr uint64_t mostMemory = 1ULL << 30U;
constexpr uint64_t mostFileBytes = 100'000;
constexpr int newCall = 100'000;
constexpr mode_t setUserId = 04755;

int numberOf(long result)
{
    return result < 0 ? errno : 0;
}

int forked()
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    return numberOf(child);
}

int started()
{
    pthread_t thread{};
    return pthread_create(&thread, nullptr, [](void *nothing) { return nothing; }, nullptr);
}

int replaced(const char *path)
{
    char *const arguments[] = {nullptr};
    return numberOf(execve(path, arguments, arguments));
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

int coreBytes()
{
    struct rlimit limit{};
    getrlimit(RLIMIT_CORE, &limit);
    return static_cast<int>(limit.rlim_max);
}

using Attempt = std::function<int(const char *path)>;

const std::map<std::string, Attempt> &attempts()
{
    static const std::map<std::string, Attempt> all{
        {"write", [](const char *path) { return written(path, 1); }},
        {"write to the limit", [](const char *path) { return written(path, mostFileBytes); }},
        {"write too much", [](const char *path) { return written(path, mostFileBytes + 1); }},
        {"read", [](const char *path) { return numberOf(open(path, O_RDONLY | O_CLOEXEC)); }},
        {"list",
         [](const char *path) { return numberOf(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC)); }},
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
         [](const char *path) {
             return numberOf(rename(path, (std::string(path) + ".moved").c_str()));
         }},
        {"move down",
         [](const char *path) {
             const std::string folder = std::string(path) + ".folder";
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
        {"run", replaced},
        {"internet socket", [](const char *) { return numberOf(socket(AF_INET, SOCK_STREAM, 0)); }},
        {"local socket", [](const char *) { return numberOf(socket(AF_UNIX, SOCK_STREAM, 0)); }},
        {"pair of sockets",
         [](const char *) {
             int ends[2] = {};
             return numberOf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
         }},
        {"fork", [](const char *) { return forked(); }},
        {"thread", [](const char *) { return started(); }},
        {"signal", [](const char *) { return numberOf(kill(getppid(), 0)); }},
        {"signal to a thread",
         [](const char *) { return numberOf(syscall(SYS_tgkill, getppid(), getppid(), 0)); }},
        {"signal to itself",
         [](const char *) { return numberOf(syscall(SYS_tgkill, getpid(), getpid(), 0)); }},
        {"trace",
         [](const char *) { return numberOf(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); }},
        {"own namespaces", [](const char *) { return numberOf(unshare(CLONE_NEWUSER)); }},
        {"memory file", [](const char *) { return numberOf(memfd_create("x", 0)); }},
        {"ring", [](const char *) { return numberOf(syscall(SYS_io_uring_setup, 1, nullptr)); }},
        {"type into the terminal", [](const char *) { return numberOf(ioctl(0, TIOCSTI, "x")); }},
        {"call from the future", [](const char *) { return numberOf(syscall(newCall)); }},
        {"call of another machine",
         [](const char *) { return numberOf(syscall(0x40000000 + SYS_getpid)); }},
        {"allocate", [](const char *) { return allocated(mostMemory / 4); }},
        {"allocate too much", [](const char *) { return allocated(mostMemory); }},
        {"core", [](const char *) { return coreBytes(); }},
    };
    return all;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 4 || !attempts().contains(argv[3])) {
        return 2;
    }
    const Attempt &attempt = attempts().at(argv[3]);
    brindle::Sandbox::enter({argv[1], argv[2], mostMemory, mostFileBytes});
    std::printf("%d", attempt(argc > 4 ? argv[4] : ""));
    return 0;
}
