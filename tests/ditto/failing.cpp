// Starts a program and makes some of its system calls fail, as on a broken disk. Tests only.
//
// usage: failing FAULT ERRNO PROGRAM [ARGUMENT…]
//   If ERRNO is 0, the first such call ends the program.

#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <seccomp.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct Fault
{
    std::vector<const char *> calls; // architectures have different calls
    std::vector<scmp_arg_cmp> arguments{};
};

// The tool's writes are recognised by their size: loader and sanitizers write fewer bytes.
const std::map<std::string, Fault> faults{
    {"create", {{"openat"}, {{2, SCMP_CMP_MASKED_EQ, O_CREAT | O_EXCL, O_CREAT | O_EXCL}}}},
    {"write", {{"write"}, {{2, SCMP_CMP_GT, 60'000, 0}}}},
    {"folder", {{"mkdir", "mkdirat"}}},
    {"link", {{"symlink", "symlinkat"}}},
    {"write-back", {{"sync_file_range"}}},
};

bool install(const Fault &fault, int number)
{
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    const uint32_t action =
        number == 0 ? SCMP_ACT_KILL_PROCESS : SCMP_ACT_ERRNO(static_cast<uint32_t>(number));
    for (const char *call : fault.calls) {
        const int which = seccomp_syscall_resolve_name(call);
        if (which >= 0 && seccomp_rule_add_array(filter, action, which,
                                                 static_cast<unsigned>(fault.arguments.size()),
                                                 fault.arguments.data()) != 0) {
            return false;
        }
    }
    return seccomp_load(filter) == 0;
}

} // namespace

int main(int argc, char *argv[])
{
    constexpr int notStarted = 127;
    if (argc > 3 && install(faults.at(argv[1]), std::atoi(argv[2]))) { // NOLINT: ours
        execv(argv[3], argv + 3);
    }
    return notStarted;
}
