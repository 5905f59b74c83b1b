// With libFuzzer, makes up inputs for the fuzzer that $FUZZER names.
// Otherwise "fuzz FUZZER FOLDER" passes every file of a folder to a fuzzer once.

#include "Fuzzers.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

using namespace brindle;

namespace {

Fuzzer *named(const char *name)
{
    static const std::map<std::string, Fuzzer *> fuzzers{
        {"checksum_list", fuzzChecksumList},
        {"info_json", fuzzInfoJson},
        {"licence", fuzzLicence},
        {"log_lines", fuzzLogLines},
        {"project_file", fuzzProjectFile},
        {"readme", fuzzReadme},
        {"submodules", fuzzSubmodules},
        {"zip_directory", fuzzZipDirectory},
    };
    const auto found = fuzzers.find(name ? name : "");
    if (found == fuzzers.end()) {
        std::fputs("fuzz: no such fuzzer\n", stderr);
        std::exit(2);
    }
    return found->second;
}

} // namespace

#ifdef BRINDLE_FUZZ

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Fuzzer *const fuzzer = named(std::getenv("FUZZER"));
    fuzzer(data, size);
    return 0;
}

#else

int main(int argc, char *argv[])
{
    Fuzzer *const fuzzer = named(argc == 3 ? argv[1] : nullptr);
    int count = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[2])) {
        if (entry.is_regular_file()) {
            std::printf("%s\n", entry.path().c_str());
            std::fflush(stdout); // the last line names the input of a crash
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            fuzzer(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}

#endif
