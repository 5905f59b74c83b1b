// The README: its tagline and hints, as read and as shown.

#include "Expect.h"
#include "Fuzzer.h"
#include "ProjectFolder.h"
#include "base/Text.h"
#include "project/ProjectInspector.h"
#include "ui/DisplayText.h"

#include <algorithm>

using namespace brindle;

namespace {

void checkShown(const QString &text)
{
    constexpr int longest = 300;
    const QString shown = DisplayText::of(text, longest);
    expect(shown.size() <= longest + 1, "a shown text is cut");
    expect(!shown.contains(QChar(0x202e)) && !shown.contains(QChar(0x1b)),
           "a shown text overrides no directions and controls nothing");
    expect(DisplayText::of(shown, longest + 1) == shown, "a shown text is fit to be shown");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr qsizetype maxControls = 8;
    static const ProjectFolder folder("README.md");
    folder.put(data, size);
    const ProjectInfo info = ProjectInspector::inspect(folder.path());
    expect(ProjectInfo::fromJson(info.toJson()) == info, "a description survives being saved");
    expect(!info.tagline.isEmpty(), "there is always a line below the title");
    expect(info.controls.size() <= maxControls, "there are eight hints at most");
    for (const QString &text : info.controls + QStringList(info.tagline)) {
        expect(Text::withoutWhitespace(text) == text, "a text is trimmed");
        expect(std::none_of(text.cbegin(), text.cend(), Text::isNewline), "a text is one line");
        checkShown(text);
    }
    return 0;
}
