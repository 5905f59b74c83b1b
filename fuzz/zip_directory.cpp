// Reads a zip archive with every check. Then reads it without checks, because these stop early at
// most inputs.

#include "Fuzzers.h"
#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

using namespace brindle;
using namespace brindle::ditto;

namespace {

constexpr uint64_t maxUnpacked = 1U << 20U; // keeps every input short

std::string unpacked(const Entry &entry, const ArchiveFile &archive)
{
    std::string content;
    archive.unpack(entry, [&](const unsigned char *bytes, size_t count) {
        expect(count <= entry.uncompressedSize - content.size(),
               "no more bytes come than are announced");
        content.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
        if (content.size() > maxUnpacked) {
            throw ditto::Error("enough for now");
        }
    });
    expect(content.size() == entry.uncompressedSize, "as many bytes come as are announced");
    return content;
}

void readStrictly(const ArchiveFile &archive)
{
    namespace fs = std::filesystem;
    std::vector<Entry> entries = readDirectory(archive);
    checkDirectory(entries);
    Links links;
    for (const Entry &entry : entries) {
        const fs::path place = fs::path(entry.fileName).lexically_normal();
        expect(place.is_relative() && *place.begin() != "..", "entries lie in the destination");
        const std::string content = unpacked(entry, archive);
        if (entry.type() == Entry::Type::link) {
            links[entry.fileName] = content;
        }
    }
    checkLinks(links);
    for (const auto &[link, target] : links) {
        expect(fs::path(target).is_relative(), "links are relative");
        if (links.size() == 1) { // with more links, ".." may lead elsewhere
            const fs::path end = (fs::path(link).parent_path() / target).lexically_normal();
            expect(*end.begin() != "..", "links stay in the destination");
        }
    }
}

void readUnchecked(const ArchiveFile &archive)
{
    constexpr size_t enough = 200;
    const std::vector<Entry> entries = readDirectory(archive);
    for (size_t i = 0; i < std::min(entries.size(), enough); ++i) {
        try {
            unpacked(entries[i], archive);
        } catch (const ditto::Error &) { // NOLINT(bugprone-empty-catch): the next may be good
        }
    }
}

void ignoringRefusals(void (*read)(const ArchiveFile &archive), const std::string &path)
{
    try {
        read(ArchiveFile(path));
    } catch (const ditto::Error &error) {
        expect(*error.what() != '\0', "a refusal says why");
    }
}

} // namespace

void brindle::fuzzZipDirectory(const uint8_t *data, size_t size)
{
    static const std::string path =
        (std::filesystem::temp_directory_path() / ("archive-" + std::to_string(getpid()))).string();
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size)); // NOLINT
    expect(std::filesystem::file_size(path) == size, "the input can be written");
    ignoringRefusals(&readStrictly, path);
    ignoringRefusals(&readUnchecked, path);
    std::filesystem::remove(path);
}
