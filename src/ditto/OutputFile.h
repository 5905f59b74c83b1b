#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace brindle {

/// A new file; every step is checked. Throws ArchiveError that names the file.
class OutputFile
{
public:
    /// Mode 0755 or 0644, less the process's umask. Fails when something is there already, under
    /// this name or, on a file system that takes two names for one, under another.
    OutputFile(const std::string &path, bool executable);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// What is much is on its way to the disk then, not on it.
    void write(const unsigned char *bytes, size_t count);
    void close();

private:
    std::string path_;
    int descriptor_;
    uint64_t size_ = 0;
    uint64_t started_ = 0; // bytes on their way to the disk
};

} // namespace brindle
