// Gives a fuzzer every file of a folder, once.
//
// usage: fuzz_replay FUZZER FOLDER

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string_view>
#include <vector>

using Fuzzer = int(const uint8_t *data, size_t size);

extern "C" Fuzzer fuzz_checksum_list, fuzz_info_json, fuzz_licence, fuzz_log_lines,
    fuzz_project_file, fuzz_readme, fuzz_submodules, fuzz_zip_directory;

int main(int argc, char *argv[])
{
    const std::map<std::string_view, Fuzzer *> fuzzers{
        {"checksum_list", fuzz_checksum_list},
        {"info_json", fuzz_info_json},
        {"licence", fuzz_licence},
        {"log_lines", fuzz_log_lines},
        {"project_file", fuzz_project_file},
        {"readme", fuzz_readme},
        {"submodules", fuzz_submodules},
        {"zip_directory", fuzz_zip_directory},
    };
    const auto fuzzer = argc == 3 ? fuzzers.find(argv[1]) : fuzzers.end();
    if (fuzzer == fuzzers.end()) {
        std::fputs("usage: fuzz_replay FUZZER FOLDER\n", stderr);
        return 2;
    }
    int count = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[2])) {
        if (entry.is_regular_file()) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout); // the last line names the input of a crash
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            fuzzer->second(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
