#include "ditto/EntryPath.h"

#include "ditto/ArchiveError.h"

#include <algorithm>

namespace brindle {

namespace {

// POSIX NAME_MAX and PATH_MAX of the systems that we run on.
constexpr size_t maxComponent = 255;
constexpr size_t maxPath = 4095;
// Deeper than any tree that somebody works in; each folder costs its whole path.
constexpr size_t maxComponents = 256;

/// RFC 3629, without surrogates and over-long forms.
bool isUtf8(const std::string &text)
{
    const auto byteAt = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    for (size_t i = 0; i < text.size();) {
        const unsigned lead = byteAt(i);
        const size_t length = lead < 0x80   ? 1
                              : lead < 0xC2 ? 0
                              : lead < 0xE0 ? 2
                              : lead < 0xF0 ? 3
                              : lead < 0xF5 ? 4
                                            : 0;
        if (length == 0 || i + length > text.size()) {
            return false;
        }
        for (size_t k = 1; k < length; ++k) {
            if ((byteAt(i + k) & 0xC0U) != 0x80U) {
                return false;
            }
        }
        const unsigned second = length > 1 ? byteAt(i + 1) : 0;
        if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second > 0x9F) ||
            (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second > 0x8F)) {
            return false;
        }
        i += length;
    }
    return true;
}

bool isControl(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

/// A name that can be printed on one line.
std::string shown(const std::string &name)
{
    constexpr size_t maxShown = 80;
    std::string text = name.substr(0, maxShown);
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return '"' + text + (name.size() > maxShown ? "…\"" : "\"");
}

} // namespace

EntryPath EntryPath::parse(const std::string &name)
{
    const auto refuse = [&name](const char *why) {
        throw ArchiveError(std::string(why) + ": " + shown(name));
    };
    if (name.empty()) {
        refuse("an entry without a name");
    }
    if (name.size() > maxPath) {
        refuse("an over-long name");
    }
    if (name.front() == '/') {
        refuse("an absolute name");
    }
    if (name.find('\\') != std::string::npos) {
        refuse("a name with a backslash");
    }
    if (std::any_of(name.begin(), name.end(), isControl)) {
        refuse("a name with a control character");
    }
    if (!isUtf8(name)) {
        refuse("a name that is not UTF-8");
    }
    EntryPath path;
    size_t start = 0;
    while (start < name.size()) {
        const size_t end = std::min(name.find('/', start), name.size());
        const std::string component = name.substr(start, end - start);
        if (component.empty()) {
            refuse("a name with an empty part");
        }
        if (component == "." || component == "..") {
            refuse("a name with a relative part");
        }
        if (component.size() > maxComponent) {
            refuse("an over-long name");
        }
        if (path.components_.size() == maxComponents) {
            refuse("a name with too many parts");
        }
        path.components_.push_back(component);
        start = end + 1;
    }
    return path;
}

std::string EntryPath::string() const
{
    return prefix(components_.size());
}

std::string EntryPath::prefix(size_t count) const
{
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += (i == 0 ? "" : "/") + components_[i];
    }
    return text;
}

} // namespace brindle
