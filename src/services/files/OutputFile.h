#pragma once

#include <QFile>
#include <QString>

#include <memory>
#include <string_view>

namespace brindle {

/// A new file that is written, then handed on for reading through the same descriptor. Blocks:
/// worker threads only. All functions throw SystemError naming the file.
class OutputFile
{
public:
    /// Creates the file, for this user alone. Fails if anything has that name. Errors name
    /// `shownPath` in place of `path` unless it is empty.
    explicit OutputFile(const QString &path, const QString &shownPath = {});

    const QString &path() const { return path_; }
    /// Appends all of `bytes`.
    void write(std::string_view bytes);
    /// Empties the file.
    void clear();
    /// Waits until the content is on the disk.
    void sync();
    /// Returns the open file, at its start.
    std::shared_ptr<QFile> take();

private:
    void check(bool isGood) const;

    QString path_; // in errors
    std::shared_ptr<QFile> file_;
};

} // namespace brindle
