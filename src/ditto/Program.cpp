#include "ditto/Program.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace brindle::ditto {

namespace fs = std::filesystem;

namespace {

// Limits the address space beside the archive. An archive at every limit needs about 50 MiB.
constexpr uint64_t maxMemory = 64ULL << 20U;
constexpr mode_t creationMask = 0022;
constexpr mode_t executableMode = 0755; // also for folders
constexpr mode_t plainMode = 0644;
/// Smaller pieces would take longer than one sync at the end.
constexpr uint64_t writeBackBytes = 1U << 20U;

[[noreturn]] void fail(const std::string &path)
{
    if (errno == EEXIST) { // the file system treats two names as one
        throw Error("two entries for one place: " + path);
    }
    throw Error::notWritten(path, errno);
}

/// Makes a file, and starts early to write a large file to the disk. After a failure the program
/// ends, which closes the file.
void makeFile(const std::string &path, const Entry &entry, const ArchiveFile &archive)
{
    const mode_t mode = (entry.mode() & S_IXUSR) != 0 ? executableMode : plainMode;
    const int descriptor =
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (descriptor == -1) {
        fail(path);
    }
    uint64_t size = 0;
    uint64_t started = 0; // bytes that `startWriteBack` has seen
    archive.unpack(entry, [&](const unsigned char *bytes, size_t count) {
        for (std::span rest(bytes, count); !rest.empty();) {
            const ssize_t now = write(descriptor, rest.data(), rest.size());
            if (now == -1) {
                fail(path);
            }
            rest = rest.subspan(static_cast<size_t>(now));
        }
        size += count;
        if (size - started >= writeBackBytes) {
            startWriteBack(descriptor, started, size - started);
            started = size;
        }
    });
    if (close(descriptor) != 0) {
        fail(path);
    }
}

Links readLinks(const std::vector<Entry> &entries, const ArchiveFile &archive)
{
    Links links;
    for (const Entry &entry : entries) {
        if (entry.type() == Entry::Type::link) {
            std::string &target = links[entry.fileName];
            archive.unpack(entry, [&](const unsigned char *bytes, size_t count) {
                target.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
            });
        }
    }
    return links;
}

/// Replaces nothing and makes links last, so that no file is written through a link.
void fill(const ArchiveFile &archive, const std::string &destination)
{
    std::vector<Entry> entries = readDirectory(archive);
    checkDirectory(entries);
    const Links links = readLinks(entries, archive);
    checkLinks(links);

    const std::string root = destination + '/';
    const Entry *previous = nullptr;
    for (const Entry &entry : entries) {
        visitNewFolders(entry, std::exchange(previous, &entry), [&](std::string_view path) {
            const std::string folder = root + std::string(path);
            if (mkdir(folder.c_str(), executableMode) != 0) {
                fail(folder);
            }
        });
        if (entry.type() == Entry::Type::file) {
            makeFile(root + entry.fileName, entry, archive);
        }
    }
    for (const auto &[name, target] : links) {
        const std::string path = root + std::string(name);
        if (symlink(target.c_str(), path.c_str()) != 0) {
            fail(path);
        }
    }
}

int failed(const char *why, int status = 1)
{
    std::fprintf(stderr, "ditto: %s\n", why);
    return status;
}

} // namespace

void unpack(const ArchiveFile &archive, const std::string &destination)
{
    try {
        fill(archive, destination);
    } catch (...) {
        // The empty folder stays, because the sandbox forbids its removal.
        std::error_code ignored;
        fs::remove_all(destination, ignored);
        throw;
    }
}

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
    // Unpacked files get the same modes for every user.
    umask(creationMask);
    try {
        const ArchiveFile archive(argv[3]);
        fs::create_directory(destination);
        if (!fs::is_empty(destination)) {
            throw Error::notWritten(destination, ENOTEMPTY);
        }
        confine({destination, maxMemory + archive.size(), maxFileBytes});
        unpack(archive, destination);
        return 0;
    } catch (const Error &error) {
        return failed(error.what(), error.status());
    } catch (const fs::filesystem_error &error) { // raised for the destination
        return failed(error.what(), destinationFailed + error.code().value());
    } catch (const std::bad_alloc &) {
        return failed("not enough memory for this archive");
    } catch (const std::exception &error) {
        return failed(error.what());
    }
}

} // namespace brindle::ditto
