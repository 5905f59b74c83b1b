#include "Surroundings.h"

#include <QDir>
#include <QProcess>

#include <filesystem>
#include <sys/resource.h>

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

/// Returns the output of find(1), sorted by line.
QStringList find(const QStringList &arguments)
{
    QProcess process;
    process.start(u"find"_s, arguments);
    process.waitForFinished();
    QStringList lines =
        QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    lines.sort();
    return lines;
}

} // namespace

Surroundings::Surroundings()
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
}

Surroundings::~Surroundings()
{
    // Qt can't remove names that are not UTF-8.
    std::error_code ignored;
    fs::remove_all(path("parent").toStdString(), ignored);
}

void Surroundings::putArchive(const QByteArray &bytes) const
{
    put(archive(), bytes);
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
    return find({top_.path(), u"-path"_s, path("parent"), u"-prune"_s, u"-o"_s, u"-printf"_s,
                 u"%p %M %U %i %s %T+ %l\n"_s});
}

QStringList Surroundings::special() const
{
    return find({path("parent"), u"!"_s, u"-type"_s, u"l"_s, u"("_s, u"-perm"_s, u"/7000"_s,
                 u"-o"_s, u"!"_s, u"-type"_s, u"f"_s, u"!"_s, u"-type"_s, u"d"_s, u")"_s});
}

QStringList Surroundings::tree(const QString &folder)
{
    return find({folder, u"-mindepth"_s, u"1"_s, u"-type"_s, u"d"_s, u"-printf"_s, u"%P/\n"_s,
                 u"-o"_s, u"-type"_s, u"f"_s, u"-perm"_s, u"/100"_s, u"-printf"_s, u"%P*\n"_s,
                 u"-o"_s, u"-printf"_s, u"%P %y\n"_s});
}

Surroundings::Run Surroundings::unpack(const QString &tool) const
{
    return run(tool, {u"-x"_s, u"-k"_s, archive(), destination()});
}

Surroundings::Run Surroundings::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.setChildProcessModifier([] {
        const rlimit limit{10, 10};
        setrlimit(RLIMIT_CPU, &limit);
    });
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s); // for the names that unzip writes
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
