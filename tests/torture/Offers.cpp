#include "Offers.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineSpec.h"

#include <QFile>
#include <QRandomGenerator>

#include <algorithm>
#include <stdexcept>

namespace brindle {

namespace {

constexpr int unitCount = 40;
constexpr qsizetype pictureBytes = 300'000;
/// So that its download, check and unpacking take about as long as those of the game.
constexpr qsizetype engineBytes = 4'000'000;

const auto commitFile = QStringLiteral("commit.txt");
const auto behaviourFile = QStringLiteral("sample-engine.ini");

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
    return {QStringLiteral("minimap"), QStringLiteral("weather"), QStringLiteral("voices")};
}

QString Offers::addonFolder(const QString &name)
{
    return QStringLiteral("addons/") + name;
}

QStringList Offers::engineVersions()
{
    return {QStringLiteral("4.2.2"), QStringLiteral("4.3"), QStringLiteral("4.4")};
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
    tree.add(QStringLiteral(".gitmodules"), modules);
    tree.add(QStringLiteral("project.godot"), "config_version=5\nconfig/name=\"Torture " + number +
                                                  "\"\nconfig/features=PackedStringArray(\"" +
                                                  engineVersion(commit).toUtf8() + "\")\n");
    tree.add(behaviourFile, "importSeconds=0.1\n");
    tree.add(QStringLiteral("icon.svg"), "<svg><!-- " + number + " --></svg>\n");
    tree.add(QStringLiteral("picture.bin"), fill(commit, pictureBytes));
    tree.add(QStringLiteral("tools/export.sh"), "#!/bin/sh\n# " + number + '\n',
             Tree::Type::program);
    tree.add(QStringLiteral("latest"), "levels/" + number, Tree::Type::link);
    for (int i = 0; i < unitCount; ++i) {
        tree.add(QStringLiteral("units/unit_%1.gd").arg(i), fill(commit, 100 * (i + 1)));
        tree.add(QStringLiteral("levels/%1/level_%2.gd").arg(commit).arg(i), fill(commit, 1000));
    }
    return tree;
}

Tree Offers::addon(const QString &name, int commit) const
{
    const QByteArray number = QByteArray::number(commit);
    Tree tree;
    tree.add(commitFile, number);
    tree.add(QStringLiteral("plugin.cfg"), "name=\"" + name.toUtf8() + ' ' + number + "\"\n");
    tree.add(QStringLiteral("of_%1.gd").arg(commit), fill(commit, 2000));
    tree.add(QStringLiteral("data.bin"), fill(commit, pictureBytes / 2));
    return tree;
}

Tree Offers::engine(const QString &version) const
{
    return engines_.value(version);
}

void Offers::offer(int commit)
{
    for (const QString &name : addonNames()) {
        const QString folder = file(QStringLiteral("addon"));
        const QString zip = file(QStringLiteral("%1-%2.zip").arg(name).arg(commit));
        addon(name, commit).write(folder);
        GitArchive::pack(folder, name + QStringLiteral("-HEAD"), zip);
        host_.offerAddon(QStringLiteral("tessel-works/") + name, zip);
        QFile::remove(file(QStringLiteral("%1-%2.zip").arg(name).arg(commit - 2)));
    }
    const QString folder = file(QStringLiteral("game"));
    const QString zip = file(QStringLiteral("game-%1.zip").arg(commit));
    game(commit).write(folder);
    GitArchive::pack(folder, QStringLiteral("godot-brindle-main"), zip);
    host_.offerGame(zip);
    QFile::remove(file(QStringLiteral("game-%1.zip").arg(commit - 2)));
}

void Offers::packEngine(const QString &version)
{
    const QString tag = version + QStringLiteral("-stable");
    const EngineSpec spec{tag};
    const QString name = spec.program(platform_);
    QByteArray padding(engineBytes - program_.size(), Qt::Uninitialized);
    std::generate(padding.begin(), padding.end(), [random = QRandomGenerator(1)]() mutable {
        return random.bounded(16); // packs to half
    });
    Tree tree;
    tree.add(name, program_ + padding + version.toUtf8(), Tree::Type::program);
    const QString folder = file(QStringLiteral("engine"));
    tree.write(folder);
    const QString zip = file(tag + QStringLiteral(".zip"));
    EngineArchive::pack(folder + u'/' + name, platform_, tag, false, zip);
    host_.offerEngine(tag, spec.zipName(platform_), zip);
    engines_.insert(version, tree);
}

} // namespace brindle
