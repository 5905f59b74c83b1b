// The archive tool without its checks, for tests. It makes every entry under its packed name,
// follows links, replaces files, sets every mode, reserves the announced size, and ignores
// failures.
//
// usage: ditto_unchecked   -x -k ARCHIVE DESTINATION   (in the sandbox)
//        ditto_unsandboxed -x -k ARCHIVE DESTINATION   (without)

#include "ditto/Directory.h"
#include "ditto/Error.h"
#include "ditto/Program.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

using namespace brindle;
using namespace brindle::ditto;

namespace {

namespace fs = std::filesystem;

constexpr mode_t modeBits = 07777;
constexpr mode_t usualMode = 0644;
constexpr uint64_t largeFile = 1ULL << 32U;

/// Writes only the file's last byte, so that the file has no blocks before it.
void makeRoom(int descriptor, uint64_t size)
{
    lseek(descriptor, static_cast<off_t>(size - 1), SEEK_SET);
    if (write(descriptor, "", 1) < 0) {
        std::fputs(std::strerror(errno), stderr);
    }
    lseek(descriptor, 0, SEEK_SET);
}

void addFile(const Entry &entry, const std::string &place, const ArchiveFile &archive)
{
    const int descriptor = open(place.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, usualMode);
    if (descriptor >= 0 && entry.uncompressedSize > largeFile) {
        makeRoom(descriptor, entry.uncompressedSize);
    }
    try {
        archive.unpack(entry, [descriptor](const unsigned char *bytes, size_t count) {
            if (descriptor >= 0 && write(descriptor, bytes, count) < 0) {
                throw Error("can't write");
            }
        });
    } catch (const Error &) { // NOLINT(bugprone-empty-catch): the file keeps its bytes
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

void addLink(const Entry &entry, const std::string &place, const ArchiveFile &archive)
{
    std::string target;
    archive.unpack(entry, [&target](const unsigned char *bytes, size_t count) {
        target.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
    });
    unlink(place.c_str());
    symlink(target.c_str(), place.c_str()); // NOLINT: goes on after a failure
}

void giveMode(const Entry &entry, const std::string &place)
{
    if (entry.mode() != 0 && entry.type() != Entry::Type::link) {
        chmod(place.c_str(), entry.mode() & modeBits);
    }
}

void unpackUnchecked(const ArchiveFile &archive, const std::string &destination)
{
    for (const Entry &entry : readDirectory(archive)) {
        const std::string place = (fs::path(destination) / entry.fileName).string();
        const bool isFolder = entry.type() == Entry::Type::folder;
        std::error_code ignored;
        fs::create_directories(isFolder ? fs::path(place) : fs::path(place).parent_path(), ignored);
        if (entry.type() == Entry::Type::file) {
            addFile(entry, place, archive);
        } else if (entry.type() == Entry::Type::link) {
            addLink(entry, place, archive);
        } else if (!isFolder) {
            mknod(place.c_str(), entry.mode(), 0x0103);
        }
        giveMode(entry, place);
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const auto confine = [](const Sandbox::Rules &rules) {
        if (BRINDLE_SANDBOX) {
            Sandbox::enter(rules);
        }
    };
    return ditto::run(argc, argv, confine, &unpackUnchecked);
}
