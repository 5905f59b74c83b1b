#include "Project.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

Project Project::open(const QString &folder)
{
    Project project;
    project.folder = folder;
    QFile file(project.file(QStringLiteral("project.godot")));
    project.exists = file.open(QIODevice::ReadOnly);
    const QByteArray key = "config/name=";
    while (project.exists && !file.atEnd()) {
        const QByteArray line = file.readLine().trimmed();
        if (line.startsWith(key)) {
            project.name = QString::fromUtf8(line.mid(key.size())).remove(u'"');
        }
    }
    return project;
}

QStringList Project::files() const
{
    const QDir top(folder);
    QStringList paths;
    QDirIterator entries(folder, QDir::Files, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString path = top.relativeFilePath(entries.next());
        if (!path.startsWith(u'.') && !path.contains(u"/.")) {
            paths.append(path);
        }
    }
    paths.sort();
    return paths;
}
