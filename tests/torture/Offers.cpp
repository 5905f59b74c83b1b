#include "Offers.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineSpec.h"

#include <QFile>
#include <QRandomGenerator>

#include <algorithm>
#include <stdexcept>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr int unitCount = 40;
constexpr qsizetype pictureBytes = 300'000;
// Downloading and unpacking an engine then takes about as long as for the game.
constexpr qsizetype engineBytes = 4'000'000;

const auto commitFile = u"commit.txt"_s;
const auto behaviourFile = u"sample-engine.ini"_s;

QByteArray fill(int commit, qsizetype size)
{
    const QByteArray piece = "commit " + QByteArray::number(commit) + " of many\n";
    return piece.repeated(size / piece.size() + 1).left(size);
}

int numberIn(const QByteArray &text)
{
    bool isNumber = false;
    const int number = text.trimmed().toInt(&isNumber);
    return isNumber ? number : -1;
}

} // namespace

Offers::Offers(QString folder, const QString &sampleEngine, Platform platform)
    : folder_(std::move(folder)), platform_(std::move(platform))
{
    QFile program(sampleEngine);
    if (!program.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + sampleEngine.toStdString());
    }
    program_ = program.readAll();
    for (const QString &version : engineVersions()) {
        packEngine(version);
    }
}

QStringList Offers::addonNames()
{
    return {u"minimap"_s, u"weather"_s, u"voices"_s};
}

QString Offers::addonFolder(const QString &name)
{
    return u"addons/"_s + name;
}

QStringList Offers::engineVersions()
{
    return {u"4.2.2"_s, u"4.3"_s, u"4.4"_s};
}

QString Offers::engineVersion(int commit)
{
    // Two commits in a row for each, so that an update may need another engine or may not.
    return engineVersions().at(commit / 2 % engineVersions().size());
}

int Offers::commitOf(const Tree &project)
{
    return numberIn(project.content(commitFile));
}

int Offers::addonCommitOf(const Tree &addon)
{
    return numberIn(addon.content(commitFile));
}

Tree Offers::game(int commit) const
{
    const QByteArray number = QByteArray::number(commit);
    QByteArray modules;
    for (const QString &name : addonNames()) {
        modules += "[submodule \"" + name.toUtf8() + "\"]\n\tpath = " + addonFolder(name).toUtf8() +
                   "\n\turl = " + host_.url().toString().toUtf8() + "/tessel-works/" +
                   name.toUtf8() + ".git\n";
    }
    Tree tree;
    tree.add(commitFile, number);
    tree.add(u".gitmodules"_s, modules);
    tree.add(u"project.godot"_s, "config_version=5\nconfig/name=\"Torture " + number +
                                     "\"\nconfig/features=PackedStringArray(\"" +
                                     engineVersion(commit).toUtf8() + "\")\n");
    tree.add(behaviourFile, "importSeconds=0.1\n");
    tree.add(u"icon.svg"_s, "<svg><!-- " + number + " --></svg>\n");
    tree.add(u"picture.bin"_s, fill(commit, pictureBytes));
    tree.add(u"tools/export.sh"_s, "#!/bin/sh\n# " + number + '\n', Tree::Type::program);
    tree.add(u"latest"_s, "levels/" + number, Tree::Type::link);
    for (int i = 0; i < unitCount; ++i) {
        tree.add(u"units/unit_%1.gd"_s.arg(i), fill(commit, 100 * (i + 1)));
        tree.add(u"levels/%1/level_%2.gd"_s.arg(commit).arg(i), fill(commit, 1000));
    }
    return tree;
}

Tree Offers::addon(const QString &name, int commit) const
{
    const QByteArray number = QByteArray::number(commit);
    Tree tree;
    tree.add(commitFile, number);
    tree.add(u"plugin.cfg"_s, "name=\"" + name.toUtf8() + ' ' + number + "\"\n");
    tree.add(u"of_%1.gd"_s.arg(commit), fill(commit, 2000));
    tree.add(u"data.bin"_s, fill(commit, pictureBytes / 2));
    return tree;
}

Tree Offers::engine(const QString &version) const
{
    return engines_.value(version);
}

void Offers::offer(int commit)
{
    for (const QString &name : addonNames()) {
        const QString folder = file(u"addon"_s);
        const QString zip = file(u"%1-%2.zip"_s.arg(name).arg(commit));
        addon(name, commit).write(folder);
        GitArchive::pack(folder, name + u"-HEAD"_s, zip);
        host_.offerAddon(u"tessel-works/"_s + name, zip);
        QFile::remove(file(u"%1-%2.zip"_s.arg(name).arg(commit - 2)));
    }
    const QString folder = file(u"game"_s);
    const QString zip = file(u"game-%1.zip"_s.arg(commit));
    game(commit).write(folder);
    GitArchive::pack(folder, u"godot-brindle-main"_s, zip);
    host_.offerGame(zip);
    QFile::remove(file(u"game-%1.zip"_s.arg(commit - 2)));
}

void Offers::packEngine(const QString &version)
{
    const QString tag = version + u"-stable"_s;
    const EngineSpec spec{tag};
    const QString name = spec.program(platform_);
    QByteArray padding(engineBytes - program_.size(), Qt::Uninitialized);
    std::generate(padding.begin(), padding.end(), [random = QRandomGenerator(1)]() mutable {
        return random.bounded(16); // packs to half
    });
    Tree tree;
    tree.add(name, program_ + padding + version.toUtf8(), Tree::Type::program);
    const QString folder = file(u"engine"_s);
    tree.write(folder);
    const QString zip = file(tag + u".zip"_s);
    EngineArchive::pack(folder + u'/' + name, platform_, tag, false, zip);
    host_.offerEngine(tag, spec.zipName(platform_), zip);
    engines_.insert(version, tree);
}

} // namespace brindle
