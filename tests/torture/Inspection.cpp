#include "Inspection.h"

#include "project/ProjectInspector.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

const auto projectName = u"godot-brindle-main"_s;

QStringList names(const QString &folder)
{
    return QDir(folder).entryList(everything, QDir::Name);
}

QStringList with(const QString &before, QStringList lines)
{
    for (QString &line : lines) {
        line = before + line;
    }
    return lines;
}

/// Adds what the sample engine's import adds to a project.
Tree imported(const Tree &sources)
{
    Tree all = sources;
    for (auto it = sources.entries().begin(); it != sources.entries().end(); ++it) {
        const QByteArray path = it.key().toUtf8();
        const QByteArray id = QCryptographicHash::hash(path, QCryptographicHash::Md5).toHex();
        if (path.endsWith(".gd")) {
            all.add(it.key() + u".uid"_s, "uid://" + id.left(12) + '\n');
        } else if (path.endsWith(".svg")) {
            const QByteArray product = ".godot/imported/" + id + ".ctex";
            all.add(QString::fromLatin1(product), "GST2\n");
            all.add(it.key() + u".import"_s, "[remap]\n\npath=\"res://" + product + "\"\n");
        }
    }
    all.add(u".godot/.gdignore"_s, QByteArray());
    return all;
}

} // namespace

QString Inspection::root(const QString &name) const
{
    return setting_.home + u"/data/Brindle"_s + (name.isEmpty() ? QString() : u'/' + name);
}

int Inspection::installedCommit() const
{
    return Offers::commitOf(Tree::read(root(u"Game/"_s + projectName)));
}

QStringList Inspection::problems(const LauncherRun &run, const Expected &expected) const
{
    const QString version = Offers::engineVersion(installedCommit());
    QStringList found = problemsOfDisk(expected, true) + problemsOfRun(run, version);

    const QString marker = u"imported-%1-stable.txt"_s.arg(version);
    const auto listing = [&](const QString &folder, QStringList wanted) {
        wanted.sort();
        const QStringList there = names(folder);
        if (there != wanted) {
            found << u"%1 holds %2"_s.arg(folder, there.join(u", "_s));
        }
    };
    listing(QFileInfo(root()).path(), {u"Brindle"_s});
    listing(root(), {u"Engine"_s, u"Game"_s, marker, u"info.json"_s});
    listing(root(u"Game"_s), {projectName});
    listing(setting_.temporary, {});

    if (contentOf(root(marker)) != "ok") {
        found << u"the import marker is not whole"_s;
    }
    return found;
}

QStringList Inspection::problemsOfReady(const Expected &expected) const
{
    const QString version = Offers::engineVersion(installedCommit());
    return problemsOfDisk(expected, QFile::exists(root(u"imported-%1-stable.txt"_s.arg(version))));
}

QStringList Inspection::problemsOfDisk(const Expected &expected, bool isImported) const
{
    const QString folder = root(u"Game/"_s + projectName);
    const Tree project = Tree::read(folder);
    const int commit = Offers::commitOf(project);
    if (!expected.commits.contains(commit)) {
        return {u"the game is of commit %1"_s.arg(commit)};
    }
    QStringList found = problemsOfProject(project, expected, isImported) +
                        problemsOfEngines(Offers::engineVersion(commit));
    const auto info = ProjectInfo::fromJson(contentOf(root(u"info.json"_s)));
    if (!info || *info != ProjectInspector::inspect(folder)) {
        found << u"info.json is not about this game"_s;
    }
    return found;
}

QStringList Inspection::problemsOfProject(const Tree &project, const Expected &expected,
                                          bool isImported) const
{
    const int commit = Offers::commitOf(project);
    Tree sources = offers_.game(commit);
    for (const QString &name : Offers::addonNames()) {
        const QString folder = Offers::addonFolder(name);
        const int addonCommit = Offers::addonCommitOf(project.below(folder));
        const bool fits = addonCommit == commit || (expected.mayMove && addonCommit > commit &&
                                                    addonCommit <= expected.newestCommit);
        if (!fits) {
            return {u"the game is of commit %1, its add-on %2 of %3"_s.arg(
                QString::number(commit), name, QString::number(addonCommit))};
        }
        sources.add(folder, offers_.addon(name, addonCommit));
    }
    // An interrupted import may have added anything.
    const QStringList found = isImported ? project.differences(imported(sources))
                                         : project.differences(sources, Tree::Added::ignored);
    return with(u"game: "_s, found);
}

QStringList Inspection::problemsOfEngines(const QString &needed) const
{
    QStringList found;
    const QString top = root(u"Engine"_s);
    const QStringList folders = names(top);
    if (!folders.contains(needed + u"-stable"_s)) {
        found << u"the engine is missing"_s;
    }
    for (const QString &folder : folders) {
        const QString version = folder.section(u'-', 0, 0);
        if (!folder.endsWith(u"-stable"_s) || !Offers::engineVersions().contains(version)) {
            found << u"in the engines' folder: "_s + folder;
            continue;
        }
        found << with(folder + u": "_s,
                      Tree::read(top + u'/' + folder).differences(offers_.engine(version)));
    }
    return found;
}

QStringList Inspection::problemsOfRun(const LauncherRun &run, const QString &version) const
{
    QStringList found;
    if (!run.good) {
        found << u"the launcher did not come to a good end"_s;
    }
    // The last engine in the log ran the game.
    const QStringList log = run.marked(u"log: "_s);
    const QString arguments = u"Arguments: --path %1/Game/%2 --windowed"_s.arg(root(), projectName);
    const QString greeting =
        u"Godot Engine v%1.stable.sample - https://godotengine.org"_s.arg(version);
    const qsizetype begin = log.lastIndexOf(greeting);
    if (begin < 0 || log.value(begin + 1) != arguments ||
        !log.contains(u"The game is running."_s)) {
        found << u"the game was not run by Godot "_s + version;
    }
    found << with(u"left in the temporary folder while the game ran: "_s, run.marked(u"left: "_s));
    return found;
}

} // namespace brindle
