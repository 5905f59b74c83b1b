#include "Offers.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineSpec.h"
#include "support/TestFiles.h"

#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr int unitCount = 40;
constexpr qsizetype pictureBytes = 300'000;
// With this size an engine takes about as long as the game to download and unpack.
constexpr qsizetype engineBytes = 4'000'000;

QByteArray fill(int commit, qsizetype size)
{
    const QByteArray piece = "commit " + QByteArray::number(commit) + " of many\n";
    return piece.repeated(size / piece.size() + 1).left(size);
}

} // namespace

Offers::Offers(const QString &programs)
{
    const Platform platform = Platform::current(programs);
    const QByteArray program = readFile(programs + u"/sample-engine"_s);
    QByteArray padding(engineBytes - program.size(), '\0');
    // The padding compresses to half its size.
    std::generate_n(padding.begin(), padding.size() / 2, [random = QRandomGenerator(1)]() mutable {
        return static_cast<char>(random.generate());
    });
    for (const QString &version : engineVersions()) {
        const EngineSpec spec{version + u"-stable"_s};
        const QByteArray content = program + padding + version.toUtf8();
        engines_[version].add(spec.program(platform), content, Tree::Type::program);
        host_.offerEngine(spec.version, spec.zipName(platform),
                          EngineArchive::pack(content, platform, spec.version, false));
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
    // Two successive commits share a version, so only some updates need another engine.
    return engineVersions().at(commit / 2 % engineVersions().size());
}

Tree Offers::game(int commit) const
{
    const QByteArray number = QByteArray::number(commit);
    QByteArray modules;
    for (const QString &name : addonNames()) {
        modules += u"[submodule \"%1\"]\n\tpath = %2\n\turl = %3/tessel-works/%1.git\n"_s
                       .arg(name, addonFolder(name), url())
                       .toUtf8();
    }
    Tree tree;
    tree.add(commitFile, number);
    tree.add(u".gitmodules"_s, modules);
    tree.add(u"project.godot"_s, "config_version=5\nconfig/name=\"Torture " + number +
                                     "\"\nconfig/features=PackedStringArray(\"" +
                                     engineVersion(commit).toUtf8() + "\")\n");
    tree.add(u"sample-engine.ini"_s, "importSeconds=0.1\n");
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

Tree Offers::addon(const QString &name, int commit)
{
    const QByteArray number = QByteArray::number(commit);
    Tree tree;
    tree.add(commitFile, number);
    tree.add(u"plugin.cfg"_s, "name=\"" + name.toUtf8() + ' ' + number + "\"\n");
    tree.add(u"of_%1.gd"_s.arg(commit), fill(commit, 2000));
    tree.add(u"data.bin"_s, fill(commit, pictureBytes / 2));
    return tree;
}

void Offers::offer(int commit)
{
    const auto pack = [](const Tree &tree, const QString &topFolder) {
        const QTemporaryDir folder;
        tree.write(folder.filePath(u"tree"_s));
        return GitArchive::pack(folder.filePath(u"tree"_s), topFolder);
    };
    for (const QString &name : addonNames()) {
        host_.offerAddon(u"tessel-works/"_s + name, pack(addon(name, commit), name + u"-HEAD"_s));
    }
    host_.offerGame(pack(game(commit), u"godot-brindle-main"_s));
}

} // namespace brindle
