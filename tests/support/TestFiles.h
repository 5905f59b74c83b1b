#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <functional>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

/// Returns a file's content, or nothing if it can't be read.
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

/// Sets permission bits. Throws std::runtime_error.
inline void setMode(const QString &path, mode_t mode)
{
    if (::chmod(QFile::encodeName(path).constData(), mode) != 0) {
        throw std::runtime_error("can't set the mode of " + path.toStdString());
    }
}

/// Gives an entry to another user. Only the administrator can do that.
inline void giveToNobody(const QString &path)
{
    constexpr uid_t nobody = 65534;
    (void)::lchown(QFile::encodeName(path).constData(), nobody, nobody);
}

/// Runs `action` as an ordinary user, because permission bits do not bind the administrator.
inline void asOrdinaryUser(const std::function<void()> &action)
{
    constexpr uid_t nobody = 65534;
    const bool isRoot = ::geteuid() == 0;
    if (isRoot && ::seteuid(nobody) != 0) {
        throw std::runtime_error("can't become an ordinary user");
    }
    action();
    if (isRoot && ::seteuid(0) != 0) {
        throw std::runtime_error("can't become the administrator again");
    }
}

} // namespace brindle
