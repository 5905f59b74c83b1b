#include "sandbox/LinuxParts.h"

#ifdef __linux__

#include <array>
#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <initializer_list>
#include <memory>
#include <new>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace brindle {

namespace {

/// Whatever their arguments. Which of several alike is called depends on the machine and its libc.
constexpr std::array unconditional{
    // open files
    "pread64", "write", "writev", "lseek", "sync_file_range", "close",
    // what there is, and how much room
    "stat", "lstat", "fstat", "newfstatat", "statx", "statfs", "fstatfs", "getdents64",
    // places: Landlock knows which
    "mkdir", "mkdirat", "symlink", "symlinkat", "unlink", "unlinkat", "rmdir",
    // memory, locks, signals, the end
    "brk", "munmap", "mremap", "madvise", "futex", "sched_yield", "getrandom", "clock_gettime",
    "getpid", "gettid", "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sigaltstack",
    "restart_syscall", "exit", "exit_group",
    // by which the sanitizers learn whether memory can be read
    "pipe", "pipe2"};

void check(int result)
{
    if (result < 0) {
        throw std::system_error(-result, std::system_category(), "seccomp");
    }
}

/// A call that is named more than once may have the arguments of either.
void allow(scmp_filter_ctx filter, const char *name,
           std::initializer_list<scmp_arg_cmp> arguments = {})
{
    const int call = seccomp_syscall_resolve_name(name);
    if (call >= 0) { // not every machine has every call
        check(seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call,
                                     static_cast<unsigned>(arguments.size()), arguments.begin()));
    }
}

/// The argument at `index`, of whose bits in `mask` exactly `bits` are set.
scmp_arg_cmp masked(unsigned index, uint64_t mask, uint64_t bits)
{
    return {index, SCMP_CMP_MASKED_EQ, mask, bits};
}

scmp_arg_cmp equal(unsigned index, uint64_t value)
{
    return {index, SCMP_CMP_EQ, value, 0};
}

} // namespace

bool SystemCallFilter::available()
{
    // The kernel looks for the filter first: EFAULT says that there would be one to read.
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr, 0, 0) != 0 && errno == EFAULT;
}

void SystemCallFilter::install()
{
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> owner(
        seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), &seccomp_release);
    if (!owner) {
        throw std::bad_alloc();
    }
    const scmp_filter_ctx filter = owner.get();
    for (const char *name : unconditional) {
        allow(filter, name);
    }
    // Neither both nor none of reading and writing: Landlock has no say in a descriptor for
    // neither, which is good for changes of rights; nor, before its third version, in emptying a
    // file. No file that lends its owner's rights.
    constexpr uint64_t kind = O_ACCMODE | O_PATH | O_TRUNC;
    constexpr uint64_t lent = S_ISUID | S_ISGID | S_ISVTX;
    for (const uint64_t access : {O_RDONLY, O_WRONLY}) {
        allow(filter, "openat", {masked(2, kind, access), masked(3, lent, 0)});
    }
    // The others send signals, take leases and copy descriptors.
    for (const uint64_t command : {F_GETFD, F_SETFD, F_GETFL}) {
        allow(filter, "fcntl", {equal(1, command)});
    }
    allow(filter, "mmap", {masked(2, PROT_EXEC, 0)});
    allow(filter, "mprotect", {masked(2, PROT_EXEC, 0)});
    // abort() raises a signal by this call; anybody else's threads are out of reach.
    allow(filter, "tgkill", {equal(0, static_cast<uint64_t>(getpid()))});
    check(seccomp_load(filter));
}

} // namespace brindle

#else

namespace brindle {

bool SystemCallFilter::available()
{
    return false;
}

void SystemCallFilter::install() {}

} // namespace brindle

#endif
