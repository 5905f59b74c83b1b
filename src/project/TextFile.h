#pragma once

#include <QString>

#include <optional>

namespace brindle {

/// Reads the small text files of a downloaded project, which may hold anything.
class TextFile
{
public:
    /// What is larger counts as unreadable: nobody writes such a README, and it is held in memory.
    static constexpr qint64 maxBytes = 16 * 1024 * 1024;

    /// The whole text of a regular file (links to one are followed) without a byte order mark;
    /// absent when it is missing, unreadable, too large or not valid UTF-8. Never waits for
    /// another program, whatever kind of file it is. Blocks: worker threads only.
    static std::optional<QString> read(const QString &path);
};

} // namespace brindle
