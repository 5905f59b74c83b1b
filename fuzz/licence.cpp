// The licence: its title and its notice.

#include "Expect.h"
#include "Fuzzer.h"
#include "ProjectFolder.h"
#include "base/Text.h"
#include "project/ProjectInspector.h"

#include <algorithm>

using namespace brindle;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const ProjectFolder folder("LICENSE");
    folder.put(data, size);
    const ProjectInfo info = ProjectInspector::inspect(folder.path());
    expect(ProjectInfo::fromJson(info.toJson()) == info, "a description survives being saved");
    for (const QString &text : {info.licenseName, info.copyright}) {
        expect(!text.isEmpty(), "there is always a title and a notice");
        expect(Text::withoutWhitespace(text) == text, "a text is trimmed");
        expect(std::none_of(text.cbegin(), text.cend(), Text::isNewline), "a text is one line");
    }
    return 0;
}
