#include "sandbox/Sandbox.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/resource.h>
#include <system_error>

#ifdef __linux__
#include <array>
#include <fcntl.h>
#include <initializer_list>
#include <linux/landlock.h>
#include <memory>
#include <new>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BRINDLE_ADDRESS_SANITIZER
#endif
#endif
#if defined(BRINDLE_ADDRESS_SANITIZER) || defined(__SANITIZE_ADDRESS__)
// The leak sanitizer asks this function whether to stay off.
extern "C" int __lsan_is_turned_off() // NOLINT(bugprone-reserved-identifier)
{
    return 1;
}
constexpr bool memoryIsLimited = false;
#else
constexpr bool memoryIsLimited = true;
#endif

namespace brindle {

namespace {

/// Returns the result of a system call. Throws if the call has failed.
int check(const char *call, long result)
{
    if (result == -1) {
        throw std::system_error(errno, std::system_category(), call);
    }
    return static_cast<int>(result);
}

template <typename Resource>
void limit(Resource resource, uint64_t maximum)
{
    struct rlimit current{};
    check("getrlimit", getrlimit(resource, &current));
    // Keep a tighter limit.
    current.rlim_max = std::min<rlim_t>(current.rlim_max, maximum);
    current.rlim_cur = std::min<rlim_t>(current.rlim_cur, current.rlim_max);
    check("setrlimit", setrlimit(resource, &current));
}

#ifdef __linux__

// Landlock: https://docs.kernel.org/userspace-api/landlock.html

/// Returns Landlock's version, or -1 if it is missing, switched off or hidden by another sandbox.
long landlockAbi()
{
    return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
}

void confineFiles(const std::string &folder)
{
    const long abi = landlockAbi();
    // Refuse every access that the kernel's version knows. Version 1 ends with MAKE_SYM. Version 2
    // added moves between folders, which every ruleset refuses. The filter of system calls refuses
    // later additions, sockets and signals.
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1;
    rules.handled_access_fs |= abi >= 3 ? 1U << 14U : 0; // to empty a file
    rules.handled_access_fs |= abi >= 5 ? 1U << 15U : 0; // to control a device
    // The end of the program closes both descriptors.
    const int ruleset = check("landlock_create_ruleset",
                              syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    landlock_path_beneath_attr rule{};
    rule.allowed_access = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_DIR |
                          LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                          LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                          LANDLOCK_ACCESS_FS_MAKE_SYM;
    rule.parent_fd = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (rule.parent_fd != -1) {
        check("landlock_add_rule",
              syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0));
    }
    // Without this only root may confine itself.
    check("prctl", prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0));
    check("landlock_restrict_self", syscall(SYS_landlock_restrict_self, ruleset, 0));
}

// seccomp: https://docs.kernel.org/userspace-api/seccomp_filter.html

/// Calls that unpacking needs, allowed with any arguments. Several do the same, because machines
/// and C libraries choose differently.
constexpr std::array allowedCalls{
    // open files
    "write", "writev", "lseek", "sync_file_range", "close",
    // status of files and disks
    "stat", "lstat", "fstat", "newfstatat", "statx", "statfs", "fstatfs", "getdents64",
    // paths, which Landlock restricts
    "mkdir", "mkdirat", "symlink", "symlinkat", "unlink", "unlinkat", "rmdir",
    // memory, locks, signals, exit
    "brk", "munmap", "mremap", "madvise", "futex", "sched_yield", "getrandom", "clock_gettime",
    "getpid", "gettid", "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sigaltstack",
    "restart_syscall", "exit", "exit_group",
    // for sanitizers, which test memory with them
    "pipe", "pipe2"};

bool hasSystemCallFilter()
{
    // The call always fails. A kernel with filters tries to read the null filter.
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr);
    return errno == EFAULT;
}

/// Makes all other calls fail with ENOSYS, as on a kernel without them. A call in another
/// architecture's numbering ends the process.
void confineCalls()
{
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(
        seccomp_init(SCMP_ACT_ERRNO(ENOSYS)), &seccomp_release);
    if (!filter) {
        throw std::bad_alloc();
    }
    const auto checkRule = [](int result) {
        if (result < 0) {
            throw std::system_error(-result, std::system_category(), "seccomp");
        }
    };
    // Of several rules for one call, any may allow it.
    const auto allow = [&](const char *name, std::initializer_list<scmp_arg_cmp> arguments = {}) {
        const int call = seccomp_syscall_resolve_name(name);
        if (call >= 0) { // this machine has the call
            checkRule(seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call,
                                             static_cast<unsigned>(arguments.size()),
                                             arguments.begin()));
        }
    };
    for (const char *name : allowedCalls) {
        allow(name);
    }
    // Allow opening a file only for reading or for writing. Landlock does not check a descriptor
    // for neither, but fchmod(2) accepts one. Before version 3 Landlock can't refuse to empty a
    // file, so refuse it here. Refuse also to make files that lend their owner's rights.
    constexpr uint64_t kind = O_ACCMODE | O_PATH | O_TRUNC;
    constexpr uint64_t lent = S_ISUID | S_ISGID | S_ISVTX;
    for (const uint64_t access : {O_RDONLY, O_WRONLY}) {
        allow("openat", {{2, SCMP_CMP_MASKED_EQ, kind, access}, {3, SCMP_CMP_MASKED_EQ, lent, 0}});
    }
    // Other fcntl commands send signals, take leases and copy descriptors.
    for (const uint64_t command : {F_GETFD, F_SETFD, F_GETFL}) {
        allow("fcntl", {{1, SCMP_CMP_EQ, command, 0}});
    }
    for (const char *call : {"mmap", "mprotect"}) {
        allow(call, {{2, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0}});
    }
    // abort() sends its signal with this call.
    allow("tgkill", {{0, SCMP_CMP_EQ, static_cast<uint64_t>(getpid()), 0}});
    checkRule(seccomp_load(filter.get()));
}

#endif

} // namespace

Sandbox::Parts Sandbox::available()
{
#ifdef __linux__
    return {landlockAbi() != -1, hasSystemCallFilter(), memoryIsLimited};
#else
    return {false, false, memoryIsLimited};
#endif
}

void Sandbox::enter(const Rules &rules)
{
    limit(RLIMIT_CORE, 0);
    // Without this, a write over the limit ends the process without a message.
    std::signal(SIGXFSZ, SIG_IGN);
    limit(RLIMIT_FSIZE, rules.maxFileBytes);
    const Parts parts = available();
    if (parts.memory) {
        limit(RLIMIT_AS, rules.maxMemory);
    }
#ifdef __linux__
    if (parts.files) {
        confineFiles(rules.writableFolder);
    }
    if (parts.calls) {
        confineCalls();
    }
#endif
}

void startWriteBack([[maybe_unused]] int descriptor, [[maybe_unused]] uint64_t offset,
                    [[maybe_unused]] uint64_t count)
{
#ifdef __linux__
    sync_file_range(descriptor, static_cast<off_t>(offset), static_cast<off_t>(count),
                    SYNC_FILE_RANGE_WRITE);
#endif
}

} // namespace brindle
