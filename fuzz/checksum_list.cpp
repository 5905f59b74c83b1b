// A release's list of digests.

#include "Expect.h"
#include "Fuzzer.h"
#include "base/Text.h"
#include "engine/EngineManager.h"

#include <algorithm>

using namespace brindle;
using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const auto name = u"Godot_v4.3-stable_linux.x86_64.zip"_s;
    const QByteArray list(reinterpret_cast<const char *>(data), // NOLINT
                          static_cast<qsizetype>(size));
    const auto digest = EngineManager::publishedDigest(list, name);
    expect(!digest || QString::fromUtf8(list).contains(name), "only a listed archive has a digest");
    expect(!digest || !digest->isEmpty(), "a digest is not empty");
    expect(!digest || (!digest->contains(u' ') &&
                       std::none_of(digest->cbegin(), digest->cend(), Text::isNewline)),
           "a digest is one word");
    expect(!digest || *digest == digest->toLower(), "a digest is in lower case");
    return 0;
}
