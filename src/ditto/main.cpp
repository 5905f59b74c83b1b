// ditto -x -k ARCHIVE DESTINATION: unpacks a zip archive into a folder. Exits with 0, or with 1 and
// one line on standard error that says why.

#include "ditto/Unpacker.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string_view>

namespace {

std::atomic<bool> stopRequested = false; // lock-free, so that a signal handler may set it

void requestStop(int /*signal*/)
{
    stopRequested = true;
}

} // namespace

int main(int argc, char *argv[])
{
    using std::string_view_literals::operator""sv;
    constexpr int expectedCount = 5;
    if (argc != expectedCount || argv[1] != "-x"sv || argv[2] != "-k"sv) {
        std::fputs("usage: ditto -x -k archive destination\n", stderr);
        return 1;
    }
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    std::signal(SIGHUP, requestStop);
    try {
        brindle::Unpacker::unpack(argv[3], argv[4], [] { return stopRequested.load(); });
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ditto: %s\n", error.what());
        return 1;
    }
}
