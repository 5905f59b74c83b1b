#include "Inspection.h"

#include "files/Files.h"
#include "project/ProjectInspector.h"
#include "support/TestFiles.h"

#include <QCryptographicHash>
#include <QFileInfo>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto projectName = u"godot-brindle-main"_s;

QStringList with(const QString &before, QStringList lines)
{
    for (QString &line : lines) {
        line = before + line;
    }
    return lines;
}

/// Returns a project with the files that the sample engine's import adds.
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

Inspection::Inspection(const Offers &offers, ConsoleLauncher::Setting setting)
    : offers_(offers)
    , setting_(std::move(setting))
    , project_(Tree::read(setting_.root(u"Game/"_s + projectName)))
    , version_(Offers::engineVersion(installedCommit()))
{}

QStringList Inspection::problems(const ConsoleLauncher &run, const Expected &expected) const
{
    QStringList found = problemsOfDisk(expected, true) + problemsOfRun(run);
    const auto listing = [&](const QString &folder, QStringList wanted) {
        QStringList there = Files::names(folder);
        wanted.sort();
        there.sort();
        if (there != wanted) {
            found << u"%1 holds %2"_s.arg(folder, there.join(u", "_s));
        }
    };
    listing(QFileInfo(setting_.root()).path(), {u"Brindle"_s});
    listing(setting_.root(), {u"Engine"_s, u"Game"_s, marker(), u"info.json"_s});
    listing(setting_.root(u"Game"_s), {projectName});
    listing(setting_.temporary, {});
    if (readFile(setting_.root(marker())) != "ok") {
        found << u"the import marker is not whole"_s;
    }
    return found;
}

QStringList Inspection::problemsOfReady(const Expected &expected) const
{
    return with(u"called ready, but "_s,
                problemsOfDisk(expected, QFile::exists(setting_.root(marker()))));
}

QStringList Inspection::problemsOfDisk(const Expected &expected, bool isImported) const
{
    if (!expected.commits.contains(installedCommit())) {
        return {u"the game is of commit %1"_s.arg(installedCommit())};
    }
    QStringList found = problemsOfProject(expected, isImported) + problemsOfEngines();
    const auto info = ProjectInfo::fromJson(readFile(setting_.root(u"info.json"_s)));
    if (!info || *info != ProjectInspector::inspect(setting_.root(u"Game/"_s + projectName))) {
        found << u"info.json is not about this game"_s;
    }
    return found;
}

QStringList Inspection::problemsOfProject(const Expected &expected, bool isImported) const
{
    const int commit = installedCommit();
    Tree sources = offers_.game(commit);
    for (const QString &name : Offers::addonNames()) {
        const QString folder = Offers::addonFolder(name);
        const int addonCommit = Offers::commitOf(project_.below(folder));
        const bool fits = addonCommit == commit || (expected.mayMove && addonCommit > commit &&
                                                    addonCommit <= expected.newestCommit);
        if (!fits) {
            return {u"the game is of commit %1, its add-on %2 of %3"_s.arg(
                QString::number(commit), name, QString::number(addonCommit))};
        }
        sources.add(folder, Offers::addon(name, addonCommit));
    }
    // An interrupted import may have added anything.
    const QStringList found = isImported ? project_.differences(imported(sources))
                                         : project_.differences(sources, Tree::Added::ignored);
    return with(u"game: "_s, found);
}

QStringList Inspection::problemsOfEngines() const
{
    QStringList found;
    const QString top = setting_.root(u"Engine"_s);
    const QStringList folders = Files::names(top);
    if (!folders.contains(version_ + u"-stable"_s)) {
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

QStringList Inspection::problemsOfRun(const ConsoleLauncher &run) const
{
    QStringList found;
    if (!run.isGood()) {
        found << u"the launcher did not come to a good end"_s;
    }
    // The last engine in the log ran the game.
    const QStringList log = run.marked(u"log: "_s);
    const QString arguments =
        u"Arguments: --path %1 --windowed"_s.arg(setting_.root(u"Game/"_s + projectName));
    const QString greeting =
        u"Godot Engine v%1.stable.sample - https://godotengine.org"_s.arg(version_);
    const qsizetype begin = log.lastIndexOf(greeting);
    if (begin < 0 || log.value(begin + 1) != arguments ||
        !log.contains(u"The game is running."_s)) {
        found << u"the game was not run by Godot "_s + version_;
    }
    found << with(u"left in the temporary folder while the game ran: "_s, run.marked(u"left: "_s));
    return found;
}

} // namespace brindle
