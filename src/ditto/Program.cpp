#include "ditto/Program.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace brindle::ditto {

namespace fs = std::filesystem;

namespace {

// Limits the address space. An archive at all limits needs about 50 MiB.
constexpr uint64_t maxMemory = 64ULL << 20U;
constexpr mode_t creationMask = 0022;

std::atomic<bool> stopRequested = false; // lock-free, so that a signal handler may set it

void requestStop(int /*signal*/)
{
    stopRequested = true;
}

int fail(const char *why, int status = 1)
{
    std::fprintf(stderr, "ditto: %s\n", why);
    return status;
}

/// Standard input may be a terminal, which a hostile archive must not reach.
void emptyStandardInput()
{
    if (!std::freopen("/dev/null", "r", stdin)) {
        throw std::system_error(errno, std::system_category(), "/dev/null");
    }
}

void prepareDestination(const std::string &folder)
{
    std::error_code error;
    fs::create_directory(folder, error);
    const bool isEmpty = !error && fs::is_empty(folder, error);
    if (!error && !isEmpty) {
        error = std::make_error_code(std::errc::directory_not_empty);
    }
    if (error) {
        throw Error::notWritten(folder, error.value());
    }
}

} // namespace

int run(int argc, char **argv, const std::function<Confine> &confine,
        const std::function<Unpack> &unpack)
{
    using std::string_view_literals::operator""sv;
    constexpr int expectedCount = 5;
    if (argc != expectedCount || argv[1] != "-x"sv || argv[2] != "-k"sv) {
        std::fputs("usage: ditto -x -k archive destination\n", stderr);
        return 1;
    }
    const char *const destination = argv[4];
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    std::signal(SIGHUP, requestStop);
    // The modes of unpacked files do not depend on the user.
    umask(creationMask);
    try {
        const ArchiveFile archive(argv[3]);
        if (archive.descriptor() != STDIN_FILENO) { // the archive's if standard input was closed
            emptyStandardInput();
        }
        prepareDestination(destination);
        confine({destination, maxMemory, maxFileBytes});
        unpack(archive, destination, stopRequested);
        return 0;
    } catch (const Error &error) {
        return fail(error.what(), error.status());
    } catch (const std::bad_alloc &) {
        return fail("not enough memory for this archive");
    } catch (const std::exception &error) {
        return fail(error.what());
    }
}

} // namespace brindle::ditto
