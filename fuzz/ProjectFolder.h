#pragma once

#include "Expect.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

namespace brindle {

/// A project folder with one file, rewritten for each input.
class ProjectFolder
{
public:
    explicit ProjectFolder(const char *name) : file_(folder_.filePath(QString::fromLatin1(name))) {}

    QString path() const { return folder_.path(); }

    void put(const uint8_t *data, size_t size) const
    {
        QFile file(file_);
        const auto count = static_cast<qint64>(size);
        expect(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                   file.write(reinterpret_cast<const char *>(data), count) == count, // NOLINT
               "the input can be written");
    }

private:
    QTemporaryDir folder_;
    QString file_;
};

} // namespace brindle
