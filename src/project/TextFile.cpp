#include "project/TextFile.h"

#include <QFile>
#include <QStringDecoder>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

std::optional<QString> TextFile::read(const QString &path)
{
    // Opening a pipe would wait for its writer.
    const int descriptor =
        open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > maxBytes) {
        close(descriptor);
        return std::nullopt;
    }
    QFile file;
    if (!file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        close(descriptor);
        return std::nullopt;
    }
    // In pieces: a buffer of the most that may come costs more than nearly every file.
    constexpr qint64 pieceBytes = 65'536;
    QByteArray bytes;
    for (QByteArray piece = file.read(pieceBytes); !piece.isEmpty() && bytes.size() <= maxBytes;
         piece = file.read(pieceBytes)) {
        bytes += piece;
    }
    if (file.error() != QFileDevice::NoError || bytes.size() > maxBytes) {
        return std::nullopt;
    }
    // Stateless, so that a sequence cut off by the file's end is an error too.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return text;
}

} // namespace brindle
