#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <stdexcept>

namespace brindle {

/// Returns a file's content; empty when it can't be read.
inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Writes a file and its parent folders. Throws std::runtime_error.
inline void writeFile(const QString &path, const QByteArray &content, bool isExecutable = false)
{
    QFile file(path);
    if (!QDir().mkpath(QFileInfo(path).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(content) != content.size()) {
        throw std::runtime_error("can't write " + path.toStdString());
    }
    const auto plain = QFile::ReadOwner | QFile::WriteOwner;
    file.setPermissions(isExecutable ? plain | QFile::ExeOwner : plain);
}

/// Writes an executable shell script.
inline void writeScript(const QString &path, const QByteArray &script)
{
    writeFile(path, "#!/bin/sh\n" + script + '\n', true);
}

} // namespace brindle
