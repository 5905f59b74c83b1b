#include "sandbox/Sandbox.h"

#include "sandbox/LinuxParts.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/resource.h>
#include <system_error>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define BRINDLE_ADDRESS_SANITIZER
#endif
#endif
#if defined(BRINDLE_ADDRESS_SANITIZER) || defined(__SANITIZE_ADDRESS__)
// A hook of the leak sanitizer, which names it so.
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

template <typename Resource>
void limit(Resource resource, uint64_t maximum)
{
    struct rlimit current{};
    if (getrlimit(resource, &current) != 0) {
        throw std::system_error(errno, std::system_category(), "getrlimit");
    }
    // A limit that is tighter already stays.
    current.rlim_max = std::min<rlim_t>(current.rlim_max, maximum);
    current.rlim_cur = std::min<rlim_t>(current.rlim_cur, current.rlim_max);
    if (setrlimit(resource, &current) != 0) {
        throw std::system_error(errno, std::system_category(), "setrlimit");
    }
}

} // namespace

Sandbox::Parts Sandbox::available()
{
    return {Landlock::available(), SystemCallFilter::available(), memoryIsLimited};
}

Sandbox::Parts Sandbox::enter(const Rules &rules)
{
    limit(RLIMIT_CORE, 0);
    if (rules.maxFileBytes > 0) {
        // Without this, going over the limit would end the process without a word.
        std::signal(SIGXFSZ, SIG_IGN);
        limit(RLIMIT_FSIZE, rules.maxFileBytes);
    }
    const Parts parts = available();
    if (rules.maxMemory > 0 && parts.memory) {
        limit(RLIMIT_AS, rules.maxMemory);
    }
    if (parts.files) {
        Landlock::confine(rules.writableFolder);
    }
    if (parts.calls) {
        SystemCallFilter::install();
    }
    return parts;
}

} // namespace brindle
