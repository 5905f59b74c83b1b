#pragma once

#include <QFile>
#include <QString>

#include <memory>
#include <string_view>

namespace brindle {

/// A file being written, every step of it checked: what can't be stored is an error, never a file
/// that is too short. Blocks: worker threads only. Everything throws SystemError naming the file.
class OutputFile
{
public:
    OutputFile() = default;
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;
    ~OutputFile() { abandon(); }

    /// Creates the file, for this user alone, or empties it. A link in its place is not followed.
    void open(const QString &path);
    /// Keeps room for that many bytes in all, where the file system can.
    void reserve(qint64 bytes);
    /// Appends all of `bytes`.
    void write(std::string_view bytes);
    /// Waits until the bytes are on the disk. Not for files that are thrown away.
    void sync();
    /// This very file for reading, from its start, whatever lies at its path by now.
    std::shared_ptr<QFile> reader() const;
    /// Closes.
    void finish();
    /// Closes without a check when open, for ways out that throw the file away. Never throws.
    void abandon() noexcept;

private:
    QString path_;
    int descriptor_ = -1;
};

} // namespace brindle
