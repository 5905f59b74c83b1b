#include "ditto/Program.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string_view>
#include <sys/stat.h>
#include <system_error>

namespace brindle::ditto {

namespace fs = std::filesystem;

namespace {

// Limits the address space. An archive at all limits needs about 50 MiB.
constexpr uint64_t maxMemory = 64ULL << 20U;
constexpr mode_t creationMask = 0022;

int fail(const char *why, int status = 1)
{
    std::fprintf(stderr, "ditto: %s\n", why);
    return status;
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
    // The modes of unpacked files do not depend on the user.
    umask(creationMask);
    try {
        const ArchiveFile archive(argv[3]);
        prepareDestination(destination);
        confine({destination, maxMemory, maxFileBytes});
        unpack(archive, destination);
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
