#include "sandbox/LinuxParts.h"

#if defined(__linux__) && __has_include(<linux/landlock.h>)

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace brindle {

namespace {

/// landlock_ruleset_attr as of ABI 6, which may be newer than the system's header. A kernel that
/// knows less takes it as long as what it does not know is zero.
struct Ruleset
{
    uint64_t handledFiles = 0;
    uint64_t handledNetwork = 0; // since ABI 4
    uint64_t scoped = 0;         // since ABI 6
};

constexpr uint64_t forFolder = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_DIR |
                               LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                               LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
                               LANDLOCK_ACCESS_FS_MAKE_SYM;

[[noreturn]] void fail(const char *call)
{
    throw std::system_error(errno, std::system_category(), call);
}

/// 0 without Landlock: not built in, switched off at boot, or kept away by another sandbox.
int abi()
{
    const long version =
        syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    return version > 0 ? static_cast<int>(version) : 0;
}

/// All that a kernel with this ABI can refuse. Headers of the system may lack what is newer.
Ruleset everything(int abi)
{
    const auto since = [abi](int first, uint64_t bits) { return abi >= first ? bits : 0; };
    // As of ABI 1, whose newest this is. Moves between folders came with 2, and are refused unless
    // allowed.
    constexpr uint64_t first = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1U) - 1;
    constexpr uint64_t truncate = 1U << 14U;
    constexpr uint64_t deviceControl = 1U << 15U;
    constexpr uint64_t bindAndConnectTcp = 1U << 0U | 1U << 1U;
    constexpr uint64_t abstractSocketsAndSignals = 1U << 0U | 1U << 1U;
    return {first | since(3, truncate) | since(5, deviceControl), since(4, bindAndConnectTcp),
            since(6, abstractSocketsAndSignals)};
}

} // namespace

bool Landlock::available()
{
    return abi() > 0;
}

void Landlock::confine(const std::string &folder)
{
    const Ruleset rules = everything(abi());
    // Both end with this program at the latest, as it goes no further when it can't be confined.
    const auto ruleset =
        static_cast<int>(syscall(SYS_landlock_create_ruleset, &rules, sizeof rules, 0));
    if (ruleset < 0) {
        fail("landlock_create_ruleset");
    }
    const int place = open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (place >= 0) {
        landlock_path_beneath_attr rule{};
        rule.allowed_access = forFolder;
        rule.parent_fd = place;
        if (syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0) {
            fail("landlock_add_rule");
        }
        close(place);
    }
    // Without it only root may confine itself, and a program started could gain rights.
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) {
        fail("prctl");
    }
    if (syscall(SYS_landlock_restrict_self, ruleset, 0) != 0) {
        fail("landlock_restrict_self");
    }
    close(ruleset);
}

} // namespace brindle

#else

namespace brindle {

bool Landlock::available()
{
    return false;
}

void Landlock::confine(const std::string & /*folder*/) {}

} // namespace brindle

#endif
