// "info.json", the saved description of the project.

#include "Expect.h"
#include "Fuzzer.h"
#include "project/ProjectInfo.h"

using namespace brindle;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char *>(data), // NOLINT
                          static_cast<qsizetype>(size));
    const auto read = ProjectInfo::fromJson(json);
    if (!read) {
        return 0;
    }
    // The first time, halves of characters that JSON can name but not hold are replaced.
    const auto once = ProjectInfo::fromJson(read->toJson());
    expect(once.has_value(), "what has been read can be saved and read");
    expect(ProjectInfo::fromJson(once->toJson()) == once, "a description survives being saved");
    return 0;
}
