#pragma once

#include <QFile>
#include <QString>

#include <memory>
#include <string_view>

namespace brindle {

/// A new file that is first written, then read through the same descriptor. Blocks: worker threads
/// only. All functions throw a SystemError that names the file.
class OutputFile
{
public:
    /// Creates the file, for this user alone. Fails if `path` exists. Errors name `shownPath`, or
    /// `path` if `shownPath` is empty.
    explicit OutputFile(const QString &path, const QString &shownPath = {});

    const QString &path() const { return path_; }
    /// Appends all of `bytes`.
    void write(std::string_view bytes);
    /// Empties the file.
    void clear();
    /// Waits until the disk holds the content.
    void sync();
    /// Returns the open file, rewound to its start. Call last.
    std::shared_ptr<QFile> take();

private:
    void check(bool isGood) const;

    QString path_; // named in errors
    std::shared_ptr<QFile> file_;
};

} // namespace brindle
