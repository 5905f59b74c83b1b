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

[[noreturn]] void fail(const char *call, int reason = errno)
{
    throw std::system_error(reason, std::system_category(), call);
}

template <typename Resource>
void limit(Resource resource, uint64_t maximum)
{
    struct rlimit current{};
    if (getrlimit(resource, &current) != 0) {
        fail("getrlimit");
    }
    // Keep a tighter limit.
    current.rlim_max = std::min<rlim_t>(current.rlim_max, maximum);
    current.rlim_cur = std::min<rlim_t>(current.rlim_cur, current.rlim_max);
    if (setrlimit(resource, &current) != 0) {
        fail("setrlimit");
    }
}

#ifdef __linux__

// Landlock: https://docs.kernel.org/userspace-api/landlock.html

/// Returns Landlock's version, or 0 if it is missing, switched off or hidden by another sandbox.
int landlockAbi()
{
    const long version =
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return version > 0 ? static_cast<int>(version) : 0;
}

void confineFiles(const std::string &folder)
{
    const int abi = landlockAbi();
    // Refuse every access that the kernel's version knows. Version 1 ends with MAKE_SYM. Version 2
    // added moves between folders, which every ruleset refuses. The filter of system calls refuses
    // later additions, sockets and signals.
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1;
    rules.handled_access_fs |= abi >= 3 ? 1U << 14U : 0; // to empty a file
    rules.handled_access_fs |= abi >= 5 ? 1U << 15U : 0; // to control a device
    // After a failure the program ends, which closes both descriptors.
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    if (ruleset < 0) {
        fail("landlock_create_ruleset");
    }
    landlock_path_beneath_attr rule{};
    rule.allowed_access = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_DIR |
                          LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                          LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                          LANDLOCK_ACCESS_FS_MAKE_SYM;
    rule.parent_fd = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (rule.parent_fd >= 0) {
        if (syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0) {
            fail("landlock_add_rule");
        }
        close(rule.parent_fd);
    }
    // Without this only root may confine itself.
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        fail("prctl");
    }
    if (syscall(SYS_landlock_restrict_self, ruleset, 0) != 0) {
        fail("landlock_restrict_self");
    }
    close(ruleset);
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
    // A kernel with filters tries to read the null filter, and so fails with EFAULT.
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr, 0, 0) != 0 && errno == EFAULT;
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
    const auto check = [](int result) {
        if (result < 0) {
            fail("seccomp", -result);
        }
    };
    // Of several rules for one call, any may allow it.
    const auto allow = [&](const char *name, std::initializer_list<scmp_arg_cmp> arguments = {}) {
        const int call = seccomp_syscall_resolve_name(name);
        if (call >= 0) { // this machine has the call
            check(seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, call,
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
    check(seccomp_load(filter.get()));
}

#endif

} // namespace

Sandbox::Parts Sandbox::available()
{
#ifdef __linux__
    return {landlockAbi() > 0, hasSystemCallFilter(), memoryIsLimited};
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
