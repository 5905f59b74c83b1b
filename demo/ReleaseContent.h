#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <memory>

namespace brindle {

/// What a release host sends: a file on disk, read anew for every answer, or bytes in memory.
/// A value; any thread.
class ReleaseContent
{
public:
    ReleaseContent() = default;
    ReleaseContent(const QString &file) : file_(file) {}       // NOLINT: either is meant to do
    ReleaseContent(const QByteArray &bytes) : bytes_(bytes) {} // NOLINT

    /// The file's path; empty for bytes in memory.
    QString file() const { return file_; }
    /// The content, open for reading; none when the file can't be read.
    std::unique_ptr<QIODevice> open() const;
    /// SHA-512 in lower-case hexadecimal. Throws std::runtime_error when the file can't be read.
    QByteArray sha512() const;

private:
    QString file_;
    QByteArray bytes_;
};

} // namespace brindle
