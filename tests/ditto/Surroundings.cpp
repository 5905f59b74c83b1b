#include "Surroundings.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>

namespace brindle {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

namespace {

void put(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qFatal("can't write %s", qPrintable(path));
    }
}

QByteArray contentOf(const fs::path &path)
{
    QFile file(QString::fromStdString(path.string()));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Returns one line with everything that the system knows of a path.
QString described(const fs::path &path)
{
    struct stat found{};
    if (lstat(path.c_str(), &found) != 0) {
        return QString::fromStdString(path.string()) + u": missing"_s;
    }
    QByteArray inner;
    if (S_ISREG(found.st_mode)) {
        inner = QCryptographicHash::hash(contentOf(path), QCryptographicHash::Sha256).toHex();
    } else if (S_ISLNK(found.st_mode)) {
        inner = QByteArray::fromStdString(fs::read_symlink(path).string());
    }
    const auto changed =
        fs::is_symlink(path) ? 0 : fs::last_write_time(path).time_since_epoch().count();
    return u"%1: %2 %3 %4 %5 %6 %7"_s.arg(QString::fromStdString(path.string()))
        .arg(found.st_mode, 0, 8)
        .arg(found.st_uid)
        .arg(found.st_ino)
        .arg(found.st_size)
        .arg(changed)
        .arg(QString::fromLatin1(inner));
}

} // namespace

Surroundings::Surroundings() : canary_(QDir::tempPath() + u"/canary-XXXXXX"_s)
{
    QDir top(top_.path());
    for (const char *folder : {"home", "guarded/folder", "parent"}) {
        top.mkpath(QString::fromLatin1(folder));
    }
    put(path("home/.profile"), "umask 022\n");
    put(path("guarded/file"), "known");
    put(path("guarded/folder/file"), "known");
    put(path("guarded/program"), "#!/bin/sh\n");
    QFile::setPermissions(path("guarded/program"), QFile::ReadOwner | QFile::ExeOwner);
    QFile::link(u"file"_s, path("guarded/link"));
    if (!canary_.open() || canary_.write("known") < 0 || !canary_.flush()) {
        qFatal("can't write to the temporary folder");
    }
}

Surroundings::~Surroundings()
{
    // Qt can't remove names that are not UTF-8.
    std::error_code ignored;
    fs::remove_all(path("parent").toStdString(), ignored);
    fs::remove(canary().toStdString() + ".new", ignored);
}

void Surroundings::putArchive(const QByteArray &bytes) const
{
    put(archive(), bytes);
}

Surroundings::Run Surroundings::unpack(const QString &tool) const
{
    return run(tool, {u"-x"_s, u"-k"_s, archive(), destination()});
}

void Surroundings::clear() const
{
    fs::remove_all(destination().toStdString());
}

QStringList Surroundings::beside() const
{
    return QDir(path("parent"))
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

QStringList Surroundings::outside() const
{
    QStringList found{described(canary().toStdString()), described(canary().toStdString() + ".new"),
                      described(top_.path().toStdString())};
    fs::recursive_directory_iterator it(top_.path().toStdString());
    for (; it != fs::recursive_directory_iterator(); ++it) {
        if (it.depth() == 0 && it->path().filename() == "parent") {
            it.disable_recursion_pending();
        } else {
            found << described(it->path());
        }
    }
    found.sort();
    return found;
}

QStringList Surroundings::special() const
{
    constexpr mode_t lent = S_ISUID | S_ISGID | S_ISVTX;
    QStringList found;
    for (const auto &entry : fs::recursive_directory_iterator(path("parent").toStdString())) {
        struct stat stat{};
        if (lstat(entry.path().c_str(), &stat) != 0) {
            qFatal("can't look at %s", entry.path().c_str());
        }
        const bool usual = S_ISREG(stat.st_mode) || S_ISDIR(stat.st_mode) || S_ISLNK(stat.st_mode);
        if (!usual || (!S_ISLNK(stat.st_mode) && (stat.st_mode & lent) != 0)) {
            found << described(entry.path());
        }
    }
    return found;
}

QStringList Surroundings::tree(const QString &folder)
{
    QStringList entries;
    const fs::path root = folder.toStdString();
    if (!fs::exists(root)) {
        return {};
    }
    for (const auto &entry : fs::recursive_directory_iterator(root)) {
        const QString name = QString::fromStdString(entry.path().lexically_relative(root).string());
        if (entry.is_symlink()) {
            entries << name + u" -> "_s +
                           QString::fromStdString(fs::read_symlink(entry.path()).string());
        } else if (entry.is_directory()) {
            entries << name + QLatin1Char('/');
        } else {
            const bool mayRun =
                (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
            entries << name + (mayRun ? u"* "_s : u" "_s) +
                           QString::fromLatin1(contentOf(entry.path()).toHex());
        }
    }
    entries.sort();
    return entries;
}

Surroundings::Run Surroundings::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.setChildProcessModifier([] {
        const rlimit limit{10, 10};
        setrlimit(RLIMIT_CPU, &limit);
    });
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s); // unzip's names
    environment.insert(u"HOME"_s, path("home"));
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(path("parent"));
    process.start(program, arguments);
    if (!process.waitForFinished(120'000)) {
        return {};
    }
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardError()};
}

} // namespace brindle
