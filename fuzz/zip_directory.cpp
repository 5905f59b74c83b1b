// Reads a zip archive, but writes no files: once with every check, and once without checks, since
// those end nearly all inputs early.

#include "Expect.h"
#include "Fuzzer.h"
#include "ditto/Checks.h"
#include "ditto/Error.h"
#include "ditto/Inflater.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace brindle::ditto;

namespace {

constexpr uint64_t maxUnpacked = 1U << 20U; // so that no input takes long

/// One temporary file, which holds each input in turn.
class InputFile
{
public:
    InputFile()
    {
        path_ = (std::filesystem::temp_directory_path() / "archive-XXXXXX").string();
        descriptor_ = mkstemp(path_.data());
        expect(descriptor_ >= 0, "a temporary file can be made");
    }
    ~InputFile()
    {
        close(descriptor_);
        unlink(path_.c_str());
    }
    InputFile(const InputFile &) = delete;
    InputFile &operator=(const InputFile &) = delete;

    const std::string &path() const { return path_; }

    void put(const uint8_t *data, size_t size) const
    {
        expect(ftruncate(descriptor_, 0) == 0 &&
                   pwrite(descriptor_, data, size, 0) == static_cast<ssize_t>(size),
               "the input can be written");
    }

private:
    std::string path_;
    int descriptor_ = -1;
};

std::string unpacked(const Entry &entry, Inflater &inflater)
{
    std::string content;
    inflater.unpack(entry, [&](const unsigned char *bytes, size_t count) {
        expect(count <= entry.uncompressedSize - content.size(),
               "no more bytes come than are announced");
        content.append(reinterpret_cast<const char *>(bytes), count); // NOLINT
        if (content.size() > maxUnpacked) {
            throw Error("enough for now");
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
    checkSpace(entries, fs::temp_directory_path().string());
    Inflater inflater(archive);
    Links links;
    for (const Entry &entry : entries) {
        const fs::path place = fs::path(entry.fileName).lexically_normal();
        expect(place.is_relative() && *place.begin() != "..", "entries lie in the destination");
        const std::string content = unpacked(entry, inflater);
        if (entry.type() == Entry::Type::link) {
            links[entry.fileName] = content;
        }
    }
    checkLinks(links);
    for (const auto &[link, target] : links) {
        expect(fs::path(target).is_relative(), "links are relative");
        if (links.size() == 1) { // then no other link changes what ".." means
            const fs::path end = (fs::path(link).parent_path() / target).lexically_normal();
            expect(*end.begin() != "..", "links stay in the destination");
        }
    }
}

void readUnchecked(const ArchiveFile &archive)
{
    constexpr size_t enough = 200;
    const std::vector<Entry> entries = readDirectory(archive);
    Inflater inflater(archive);
    for (size_t i = 0; i < std::min(entries.size(), enough); ++i) {
        try {
            unpacked(entries[i], inflater);
        } catch (const Error &) { // NOLINT(bugprone-empty-catch): the next may be good
        }
    }
}

void ignoringRefusals(void (*read)(const ArchiveFile &archive), const std::string &path)
{
    try {
        read(ArchiveFile(path));
    } catch (const Error &error) {
        expect(*error.what() != '\0', "a refusal says why");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const InputFile file;
    file.put(data, size);
    ignoringRefusals(&readStrictly, file.path());
    ignoringRefusals(&readUnchecked, file.path());
    return 0;
}
