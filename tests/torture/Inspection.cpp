#include "Inspection.h"

#include "files/Files.h"
#include "project/ProjectInspector.h"
#include "support/TestFiles.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QRegularExpression>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto game = u"Game/godot-brindle-main"_s; // in the storage root

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
    , disk_(Tree::read(setting_.root()))
    , version_(Offers::engineVersion(installedCommit()))
{}

int Inspection::installedCommit() const
{
    return disk_.content(game + u'/' + Offers::commitFile).toInt();
}

QStringList Inspection::problems(const ConsoleLauncher &run, const QSet<int> &commits) const
{
    QStringList found = problemsOfDisk(commits, true, Tree::Added::counts) + problemsOfRun(run);
    if (Files::names(QFileInfo(setting_.root()).path()).size() != 1) {
        found << u"something is left beside the storage root"_s;
    }
    for (const QString &name : Files::names(setting_.temporary)) {
        found << u"left in the temporary folder: "_s + name;
    }
    return found;
}

QStringList Inspection::problemsOfReady(const QSet<int> &commits) const
{
    // Ignore added files: an interrupted import or step may leave any.
    QStringList found =
        problemsOfDisk(commits, QFile::exists(setting_.root(marker())), Tree::Added::ignored);
    return found.replaceInStrings(QRegularExpression(u"^"_s), u"called ready, but "_s);
}

QStringList Inspection::problemsOfDisk(const QSet<int> &commits, bool isImported,
                                       Tree::Added added) const
{
    const int commit = installedCommit();
    if (!commits.contains(commit)) {
        return {u"the game is of commit %1"_s.arg(commit)};
    }
    Tree sources = offers_.game(commit);
    for (const QString &name : Offers::addonNames()) {
        sources.add(Offers::addonFolder(name), Offers::addon(name, commit));
    }
    Tree expected;
    expected.add(game, isImported ? imported(sources) : sources);
    expected.add(u"info.json"_s, ProjectInspector::inspect(setting_.root(game)).toJson());
    if (isImported) {
        expected.add(marker(), "ok");
    }
    // Engines of earlier commits may still be installed.
    for (const QString &version : Offers::engineVersions()) {
        const QString folder = u"Engine/%1-stable"_s.arg(version);
        if (version == version_ || QFile::exists(setting_.root(folder))) {
            expected.add(folder, offers_.engine(version));
        }
    }
    return disk_.differences(expected, added);
}

QStringList Inspection::problemsOfRun(const ConsoleLauncher &run) const
{
    QStringList found;
    if (!run.isGood()) {
        found << u"the launcher did not come to a good end"_s;
    }
    // The last engine in the log must be the one that ran the game.
    const QStringList log = run.marked(u"log: "_s);
    const QString arguments = u"Arguments: --path %1 --windowed"_s.arg(setting_.root(game));
    const QString greeting =
        u"Godot Engine v%1.stable.sample - https://godotengine.org"_s.arg(version_);
    const qsizetype begin = log.lastIndexOf(greeting);
    if (begin < 0 || log.value(begin + 1) != arguments ||
        !log.contains(u"The game is running."_s)) {
        found << u"the game was not run by Godot "_s + version_;
    }
    return found;
}

} // namespace brindle
