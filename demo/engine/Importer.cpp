#include "Importer.h"

#include "Console.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QThread>

namespace {

constexpr int percentWhole = 100;
constexpr double millisecondsPerSecond = 1000;

QString idOf(const QString &path)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5).toHex());
}

void write(const QString &path, const QString &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0) {
        Console::error(QStringLiteral("ERROR: Cannot save file '%1'.\n"
                                      "   at: save (core/io/config_file.cpp:217)")
                           .arg(path));
    }
}

bool isPicture(const QString &path)
{
    return path.endsWith(u".svg") || path.endsWith(u".png");
}

void importFile(const Project &project, const QString &path)
{
    if (isPicture(path)) {
        const QString imported =
            QStringLiteral(".godot/imported/%1-%2.ctex").arg(path.section(u'/', -1), idOf(path));
        write(project.file(imported), QStringLiteral("GST2\n"));
        write(project.file(path + QStringLiteral(".import")),
              QStringLiteral("[remap]\n\nimporter=\"texture\"\ntype=\"CompressedTexture2D\"\n"
                             "path=\"res://%1\"\n\n[deps]\n\nsource_file=\"res://%2\"\n")
                  .arg(imported, path));
    } else if (path.endsWith(u".gd")) {
        write(project.file(path + QStringLiteral(".uid")),
              QStringLiteral("uid://%1\n").arg(idOf(path).left(12)));
    }
}

} // namespace

void Importer::run(const Project &project, double seconds)
{
    const QString scan = QStringLiteral("first_scan_filesystem");
    const QString classes = QStringLiteral("update_scripts_classes");
    const QString import = QStringLiteral("reimport");
    const QString layout = QStringLiteral("loading_editor_layout");

    Console::progress(0, scan, QStringLiteral("Started Project initialization (5 steps)"));
    Console::progress(0, scan, QStringLiteral("Scanning file structure..."));
    const QStringList files = project.files();
    Console::progress(83, scan, QStringLiteral("Starting file scan..."));
    Console::taskDone(scan);

    Console::progress(0, classes,
                      QStringLiteral("Started Registering global classes... (1 steps)"));
    Console::taskDone(classes);

    if (!QDir().mkpath(project.file(QStringLiteral(".godot/imported"))) ||
        !QDir().mkpath(project.file(QStringLiteral(".godot/editor")))) {
        Console::error(QStringLiteral("ERROR: Could not create directory '%1'.\n"
                                      "   at: make_dir_recursive (core/io/dir_access.cpp:192)")
                           .arg(project.file(QStringLiteral(".godot"))));
    }
    write(project.file(QStringLiteral(".godot/.gdignore")), {});
    Console::progress(0, import,
                      QStringLiteral("Started (Re)Importing Assets (%1 steps)").arg(files.size()));
    const auto pause =
        static_cast<unsigned long>(seconds * millisecondsPerSecond /
                                   static_cast<double>(std::max<qsizetype>(1, files.size())));
    for (qsizetype i = 0; i < files.size(); ++i) {
        Console::progress(static_cast<int>(i * percentWhole / files.size()), import, files.at(i));
        importFile(project, files.at(i));
        QThread::msleep(pause);
    }
    Console::taskDone(import);

    write(project.file(QStringLiteral(".godot/global_script_class_cache.cfg")),
          QStringLiteral("list=[]\n"));
    write(project.file(QStringLiteral(".godot/editor/filesystem_cache10")),
          files.join(u'\n') + u'\n');
    Console::progress(0, layout, QStringLiteral("Started Loading editor (5 steps)"));
    Console::taskDone(layout);
}
