#include "CarelessTreeWriter.h"

#include "ditto/ArchiveError.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace brindle {

namespace fs = std::filesystem;

namespace {

constexpr mode_t modeBits = 07777;
constexpr mode_t usualMode = 0644;
constexpr uint64_t wellPacked = 1ULL << 32U;
constexpr std::string_view connectPrefix = "connect to ";

void makeFoldersAbove(const std::string &place)
{
    std::error_code ignored;
    fs::create_directories(fs::path(place).parent_path(), ignored);
}

void giveMode(const std::string &place, const ArchiveEntry &entry)
{
    if (entry.mode != 0) {
        chmod(place.c_str(), entry.mode & modeBits);
    }
}

/// By the file's last byte, which takes no place on the disk.
void makeRoom(int descriptor, uint64_t size)
{
    lseek(descriptor, static_cast<off_t>(size - 1), SEEK_SET);
    if (write(descriptor, "", 1) < 0) {
        std::fputs(std::strerror(errno), stderr);
    }
    lseek(descriptor, 0, SEEK_SET);
}

} // namespace

CarelessTreeWriter::CarelessTreeWriter(std::string root) : root_(std::move(root)) {}

void CarelessTreeWriter::addFolder(const ArchiveEntry &entry)
{
    const std::string place = placeOf(entry);
    std::error_code ignored;
    fs::create_directories(place, ignored);
    giveMode(place, entry);
}

void CarelessTreeWriter::addFile(const ArchiveEntry &entry, const Source &content)
{
    const std::string place = placeOf(entry);
    makeFoldersAbove(place);
    const int descriptor = open(place.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, usualMode);
    if (descriptor >= 0 && entry.size > wellPacked) {
        makeRoom(descriptor, entry.size);
    }
    try {
        content([descriptor](const unsigned char *bytes, size_t count) {
            if (descriptor >= 0 && write(descriptor, bytes, count) < 0) {
                throw ArchiveError("can't write");
            }
        });
    } catch (const ArchiveError &) { // NOLINT(bugprone-empty-catch): what came is kept
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
    giveMode(place, entry);
    if ((entry.mode & S_IXUSR) != 0) {
        run(place);
    }
    if (entry.name.starts_with(connectPrefix)) {
        connectTo(std::atoi(entry.name.c_str() + connectPrefix.size())); // NOLINT: ours
    }
}

void CarelessTreeWriter::addLink(const ArchiveEntry &entry, const std::string &target)
{
    const std::string place = placeOf(entry);
    makeFoldersAbove(place);
    unlink(place.c_str());
    symlink(target.c_str(), place.c_str()); // NOLINT: goes on after what fails
}

void CarelessTreeWriter::addOther(const ArchiveEntry &entry)
{
    const std::string place = placeOf(entry);
    makeFoldersAbove(place);
    mknod(place.c_str(), entry.mode, 0x0103);
    giveMode(place, entry);
}

void CarelessTreeWriter::finish() {}

void CarelessTreeWriter::run(const std::string &place)
{
    std::string path = place;
    char *const arguments[] = {path.data(), nullptr};
    const pid_t child = fork();
    if (child == 0) {
        execve(path.c_str(), arguments, environ);
        _exit(1);
    }
    if (child > 0) {
        waitpid(child, nullptr, 0);
    } else {
        // Then in its own place.
        execve(path.c_str(), arguments, environ);
    }
}

void CarelessTreeWriter::connectTo(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    if (descriptor >= 0) {
        connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address); // NOLINT
        close(descriptor);
    }
}

std::string CarelessTreeWriter::placeOf(const ArchiveEntry &entry) const
{
    return (fs::path(root_) / entry.name).string();
}

} // namespace brindle
