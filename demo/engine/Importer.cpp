#include "Importer.h"

#include <QDir>
#include <QDirIterator>
#include <QThread>

#include <cstdio>

namespace {

void progress(int percent, const char *task, const QByteArray &text)
{
    std::printf("\x1b[90m[\x1b[1m %3d%% \x1b[22m] \x1b[39m\x1b[92m%s\x1b[0m | %s\n", percent, task,
                text.constData());
    std::fflush(stdout);
}

} // namespace

int Importer::run(const QString &project, const Behaviour &behaviour)
{
    if (!QFile::exists(project + QStringLiteral("/project.godot"))) {
        std::fprintf(stderr, "ERROR: Couldn't load file '%s/project.godot'.\n",
                     qPrintable(project));
        return 1;
    }
    QStringList files;
    QDirIterator entries(project, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        files << entries.next();
    }
    progress(0, "first_scan_filesystem", "Started Project initialization (5 steps)");
    QDir().mkpath(project + QStringLiteral("/.godot/imported"));
    const auto pause = static_cast<unsigned long>(
        behaviour.importSeconds * 1000 / static_cast<double>(std::max<qsizetype>(1, files.size())));
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString &path = files.at(i);
        progress(static_cast<int>(i * 100 / files.size()), "reimport",
                 QDir(project).relativeFilePath(path).toUtf8());
        if (path.endsWith(QStringLiteral(".svg"))) {
            QFile import(path + QStringLiteral(".import"));
            if (import.open(QIODevice::WriteOnly)) {
                import.write("[remap]\nimporter=\"texture\"\n");
            }
        }
        QThread::msleep(pause);
    }
    QFile cache(project + QStringLiteral("/.godot/global_script_class_cache.cfg"));
    if (cache.open(QIODevice::WriteOnly)) {
        cache.write("list=[]\n");
    }
    std::printf("\x1b[90m[\x1b[1m DONE \x1b[22m] \x1b[39m\x1b[92mreimport\x1b[0m\n");
    return behaviour.importExit;
}
