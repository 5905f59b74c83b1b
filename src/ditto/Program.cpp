#include "ditto/Program.h"

#include "ditto/DirectoryCheck.h"
#include "ditto/StagingArea.h"
#include "ditto/Unpacker.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string_view>
#include <sys/stat.h>

namespace brindle {

namespace {

// An archive at all limits takes a fifth of it.
constexpr uint64_t mostMemory = 1ULL << 30U;
constexpr mode_t creationMask = 0022;

std::atomic<bool> stopRequested = false; // lock-free, so that a signal handler may set it

void requestStop(int /*signal*/)
{
    stopRequested = true;
}

int refuse(const char *why)
{
    std::fprintf(stderr, "ditto: %s\n", why);
    return 1;
}

} // namespace

int Program::run(int argc, char **argv, const UnpackPolicy &policy, const Confine &confine)
{
    using std::string_view_literals::operator""sv;
    constexpr int expectedCount = 5;
    if (argc != expectedCount || argv[1] != "-x"sv || argv[2] != "-k"sv) {
        std::fputs("usage: ditto -x -k archive destination\n", stderr);
        return 1;
    }
    const char *const archive = argv[3];
    const char *const destination = argv[4];
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    std::signal(SIGHUP, requestStop);
    // What is unpacked has the same modes for everybody.
    umask(creationMask);
    try {
        confine({StagingArea::parentOf(destination), archive, mostMemory,
                 DirectoryCheck::mostFileBytes});
        Unpacker(policy).unpack(archive, destination, [] { return stopRequested.load(); });
        return 0;
    } catch (const std::bad_alloc &) {
        return refuse("not enough memory for this archive");
    } catch (const std::exception &error) {
        return refuse(error.what());
    }
}

} // namespace brindle
