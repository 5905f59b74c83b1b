#include "platform/SystemCallFilter.h"

#if defined(__linux__) && (defined(__x86_64__) || defined(__aarch64__))

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace brindle {

namespace {

#if defined(__x86_64__)
constexpr uint32_t machine = AUDIT_ARCH_X86_64;
#else
constexpr uint32_t machine = AUDIT_ARCH_AARCH64;
#endif

/// Numbers from here on are those of x32, a second set of calls on x86_64.
constexpr uint32_t firstOfX32 = 0x40000000;

/// Later ones may do what is denied below: fchmodat2 is 452.
constexpr uint32_t newestKnown = SYS_landlock_restrict_self;

constexpr std::array denied{
    // sockets
    SYS_socket,
    SYS_socketpair,
    SYS_connect,
    SYS_bind,
    SYS_listen,
    SYS_accept,
    SYS_accept4,
    SYS_sendto,
    SYS_sendmsg,
    SYS_sendmmsg,
    SYS_recvfrom,
    SYS_recvmsg,
    SYS_recvmmsg,
    // programs, processes and threads
    SYS_execve,
    SYS_execveat,
    SYS_clone,
    SYS_clone3,
    SYS_unshare,
    SYS_setns,
    SYS_ptrace,
    SYS_process_vm_readv,
    SYS_process_vm_writev,
    SYS_process_madvise,
    SYS_kcmp,
    SYS_kill,
    SYS_tkill,
    SYS_rt_sigqueueinfo,
    SYS_rt_tgsigqueueinfo,
    SYS_pidfd_open,
    SYS_pidfd_getfd,
    SYS_pidfd_send_signal,
    SYS_prlimit64,
    // rights and times of files, which Landlock leaves alone; fchmod needs an open file
    SYS_fchmodat,
    SYS_fchown,
    SYS_fchownat,
    SYS_setxattr,
    SYS_lsetxattr,
    SYS_fsetxattr,
    SYS_removexattr,
    SYS_lremovexattr,
    SYS_fremovexattr,
    SYS_utimensat,
    SYS_truncate,
    SYS_mknodat,
    SYS_name_to_handle_at,
    SYS_open_by_handle_at,
    SYS_ioctl,
    // the way around this filter
    SYS_io_uring_setup,
    SYS_io_uring_enter,
    SYS_io_uring_register,
    // shared memory, queues and keys
    SYS_shmget,
    SYS_msgget,
    SYS_semget,
    SYS_mq_open,
    SYS_memfd_create,
    SYS_add_key,
    SYS_request_key,
    SYS_keyctl,
    // the system
    SYS_mount,
    SYS_umount2,
    SYS_pivot_root,
    SYS_chroot,
    SYS_open_tree,
    SYS_move_mount,
    SYS_fsopen,
    SYS_fsconfig,
    SYS_fsmount,
    SYS_fspick,
    SYS_mount_setattr,
    SYS_swapon,
    SYS_swapoff,
    SYS_reboot,
    SYS_sethostname,
    SYS_setdomainname,
    SYS_init_module,
    SYS_finit_module,
    SYS_delete_module,
    SYS_kexec_load,
    SYS_kexec_file_load,
    SYS_bpf,
    SYS_perf_event_open,
    SYS_userfaultfd,
    SYS_fanotify_init,
    SYS_acct,
    SYS_quotactl,
    SYS_quotactl_fd,
    SYS_syslog,
    SYS_settimeofday,
    SYS_clock_settime,
    SYS_clock_adjtime,
    SYS_adjtimex,
    SYS_lookup_dcookie,
#if defined(__x86_64__)
    // older forms that newer machines don't have
    SYS_fork,
    SYS_vfork,
    SYS_chmod,
    SYS_chown,
    SYS_lchown,
    SYS_utime,
    SYS_utimes,
    SYS_futimesat,
    SYS_mknod,
    SYS_iopl,
    SYS_ioperm,
    SYS_modify_ldt,
    SYS_uselib,
#endif
};

class Filter
{
public:
    Filter()
    {
        load(offsetof(seccomp_data, arch));
        unless(BPF_JEQ, machine, SECCOMP_RET_KILL_PROCESS);
        load(offsetof(seccomp_data, nr));
#if defined(__x86_64__)
        when(BPF_JGE, firstOfX32, SECCOMP_RET_KILL_PROCESS);
#endif
        when(BPF_JGT, newestKnown, SECCOMP_RET_ERRNO | ENOSYS);
        for (const auto call : denied) {
            when(BPF_JEQ, static_cast<uint32_t>(call), SECCOMP_RET_ERRNO | EPERM);
        }
        // abort() raises a signal by this call; anybody else's threads are out of reach. The lower
        // half of an argument comes first, as on every machine here.
        unless(BPF_JEQ, SYS_tgkill, SECCOMP_RET_ALLOW);
        load(offsetof(seccomp_data, args));
        unless(BPF_JEQ, static_cast<uint32_t>(getpid()), SECCOMP_RET_ERRNO | EPERM);
        add(BPF_RET | BPF_K, SECCOMP_RET_ALLOW);
    }

    sock_fprog program() { return {static_cast<unsigned short>(steps_.size()), steps_.data()}; }

private:
    void add(uint16_t code, uint32_t value, uint8_t onTrue = 0, uint8_t onFalse = 0)
    {
        steps_.push_back({code, onTrue, onFalse, value});
    }
    void load(size_t offset) { add(BPF_LD | BPF_W | BPF_ABS, static_cast<uint32_t>(offset)); }
    void when(uint16_t comparison, uint32_t value, uint32_t answer)
    {
        add(BPF_JMP | comparison | BPF_K, value, 0, 1);
        add(BPF_RET | BPF_K, answer);
    }
    void unless(uint16_t comparison, uint32_t value, uint32_t answer)
    {
        add(BPF_JMP | comparison | BPF_K, value, 1, 0);
        add(BPF_RET | BPF_K, answer);
    }

    std::vector<sock_filter> steps_;
};

} // namespace

bool SystemCallFilter::available()
{
    // The kernel looks for the filter first: EFAULT says that there would be one to read.
    return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr, 0, 0) != 0 && errno == EFAULT;
}

void SystemCallFilter::install()
{
    Filter filter;
    sock_fprog program = filter.program();
    // Without it only root may do this, and a program started could gain rights.
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) != 0) {
        throw std::system_error(errno, std::system_category(), "prctl");
    }
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
