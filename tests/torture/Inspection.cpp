#include "Inspection.h"

#include "project/ProjectInspector.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

namespace brindle {

namespace {

constexpr auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

const auto projectName = QStringLiteral("godot-brindle-main");
const auto cacheFile = QStringLiteral(".godot/editor/filesystem_cache10");

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

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// What the sample engine's import adds to such a project.
Tree importedFrom(const Tree &sources)
{
    const auto id = [](const QString &path) {
        return QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Md5).toHex();
    };
    Tree products;
    for (auto it = sources.entries().begin(); it != sources.entries().end(); ++it) {
        if (it->type == Tree::Type::link) {
            continue;
        }
        if (it.key().endsWith(u".gd")) {
            products.add(it.key() + QStringLiteral(".uid"),
                         "uid://" + id(it.key()).left(12) + '\n');
        }
        if (it.key().endsWith(u".svg")) {
            const QString imported =
                QStringLiteral(".godot/imported/%1-%2.ctex")
                    .arg(it.key().section(u'/', -1), QString::fromLatin1(id(it.key())));
            products.add(imported, "GST2\n");
            products.add(it.key() + QStringLiteral(".import"),
                         "[remap]\n\nimporter=\"texture\"\ntype=\"CompressedTexture2D\"\n"
                         "path=\"res://" +
                             imported.toUtf8() + "\"\n\n[deps]\n\nsource_file=\"res://" +
                             it.key().toUtf8() + "\"\n");
        }
    }
    products.add(QStringLiteral(".godot/.gdignore"), QByteArray());
    products.add(QStringLiteral(".godot/global_script_class_cache.cfg"), "list=[]\n");
    return products;
}

} // namespace

QString Inspection::root(const QString &name) const
{
    return setting_.home + QStringLiteral("/data/Brindle") +
           (name.isEmpty() ? QString() : u'/' + name);
}

int Inspection::installedCommit() const
{
    return Offers::commitOf(Tree::read(root(QStringLiteral("Game/") + projectName)));
}

QStringList Inspection::problems(const LauncherRun &run, const Expected &expected) const
{
    QStringList found;
    const Tree project = Tree::read(root(QStringLiteral("Game/") + projectName));
    const int commit = Offers::commitOf(project);
    if (!expected.commits.contains(commit)) {
        return {QStringLiteral("the game is of commit %1").arg(commit)};
    }
    found << problemsOfProject(project, expected, true);
    const QString version = Offers::engineVersion(commit);
    found << problemsOfEngines(version);
    found << problemsOfRun(run, version);

    const QString marker = QStringLiteral("imported-%1-stable.txt").arg(version);
    const auto listing = [&](const QString &folder, QStringList wanted) {
        wanted.sort();
        const QStringList there = names(folder);
        if (there != wanted) {
            found << QStringLiteral("%1 holds %2").arg(folder, there.join(QStringLiteral(", ")));
        }
    };
    listing(QFileInfo(root()).path(), {QStringLiteral("Brindle")});
    listing(root(), {QStringLiteral("Engine"), QStringLiteral("Game"), marker,
                     QStringLiteral("info.json")});
    listing(root(QStringLiteral("Game")), {projectName});
    listing(setting_.temporary, {});

    if (contentOf(root(marker)) != "ok") {
        found << QStringLiteral("the import marker is not whole");
    }
    return found + problemsOfInfo();
}

QStringList Inspection::problemsOfReady(const Expected &expected) const
{
    const Tree project = Tree::read(root(QStringLiteral("Game/") + projectName));
    const int commit = Offers::commitOf(project);
    if (!expected.commits.contains(commit)) {
        return {QStringLiteral("the game is of commit %1").arg(commit)};
    }
    const QString version = Offers::engineVersion(commit);
    const bool isImported =
        QFile::exists(root(QStringLiteral("imported-%1-stable.txt").arg(version)));
    return problemsOfProject(project, expected, isImported) + problemsOfEngines(version) +
           problemsOfInfo();
}

QStringList Inspection::problemsOfInfo() const
{
    const auto info = ProjectInfo::fromJson(contentOf(root(QStringLiteral("info.json"))));
    if (!info || *info != ProjectInspector::inspect(root(QStringLiteral("Game/") + projectName))) {
        return {QStringLiteral("info.json is not about this game")};
    }
    return {};
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
            return {QStringLiteral("the game is of commit %1, its add-on %2 of %3")
                        .arg(QString::number(commit), name, QString::number(addonCommit))};
        }
        sources.add(folder, offers_.addon(name, addonCommit));
    }
    if (!isImported) {
        // An import that was interrupted may have added anything.
        return with(QStringLiteral("game: "), project.differences(sources, Tree::Added::ignored));
    }
    Tree all = sources;
    const Tree products = importedFrom(sources);
    for (auto it = products.entries().begin(); it != products.entries().end(); ++it) {
        all.add(it.key(), it->content);
    }
    // Which names an import found depends on what an interrupted one had added by then.
    QStringList found;
    const QByteArray cache = project.content(cacheFile);
    for (const QByteArray &name : cache.trimmed().split('\n')) {
        if (!all.entries().contains(QString::fromUtf8(name))) {
            found << QStringLiteral("imported, but not there: ") + QString::fromUtf8(name);
        }
    }
    return found + with(QStringLiteral("game: "), project.without(cacheFile).differences(all));
}

QStringList Inspection::problemsOfEngines(const QString &needed) const
{
    QStringList found;
    const QString top = root(QStringLiteral("Engine"));
    const QStringList folders = names(top);
    if (!folders.contains(needed + QStringLiteral("-stable"))) {
        found << QStringLiteral("the engine is missing");
    }
    for (const QString &folder : folders) {
        const QString version = folder.section(u'-', 0, 0);
        if (!folder.endsWith(QStringLiteral("-stable")) ||
            !Offers::engineVersions().contains(version)) {
            found << QStringLiteral("in the engines' folder: ") + folder;
            continue;
        }
        found << with(folder + QStringLiteral(": "),
                      Tree::read(top + u'/' + folder).differences(offers_.engine(version)));
    }
    return found;
}

QStringList Inspection::problemsOfRun(const LauncherRun &run, const QString &version) const
{
    QStringList found;
    if (!run.good) {
        found << QStringLiteral("the launcher did not come to a good end");
    }
    // The last engine that ran is the game's.
    const QStringList log = run.log();
    const QString arguments =
        QStringLiteral("Arguments: --path %1/Game/%2 --windowed").arg(root(), projectName);
    const QString greeting =
        QStringLiteral("Godot Engine v%1.stable.sample - https://godotengine.org").arg(version);
    const qsizetype begin = log.lastIndexOf(greeting);
    if (begin < 0 || log.value(begin + 1) != arguments ||
        !log.contains(QStringLiteral("The game is running."))) {
        found << QStringLiteral("the game was not run by Godot ") + version;
    }
    for (const QString &line : run.lines) {
        if (line.startsWith(u"left: ")) {
            found << QStringLiteral("left in the temporary folder while the game ran: ") +
                         line.section(u' ', 1);
        }
    }
    return found;
}

} // namespace brindle
