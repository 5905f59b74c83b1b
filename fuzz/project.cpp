// Fuzzers for the files of a project.

#include "Fuzzers.h"
#include "base/Error.h"
#include "base/Text.h"
#include "engine/EngineManager.h"
#include "project/CodeHost.h"
#include "project/ProjectInspector.h"
#include "project/RepoDownloader.h"
#include "ui/DisplayText.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Inspects a project with one file of this content.
ProjectInfo inspect(const QString &name, const uint8_t *data, size_t size)
{
    static const QTemporaryDir folder;
    QFile file(folder.filePath(name));
    const auto count = static_cast<qint64>(size);
    expect(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
               file.write(reinterpret_cast<const char *>(data), count) == count, // NOLINT
           "the input can be written");
    file.close();
    ProjectInfo info = ProjectInspector::inspect(folder.path());
    expect(ProjectInfo::fromJson(info.toJson()) == info, "a description survives being saved");
    return info;
}

void expectOneTrimmedLine(const QString &text)
{
    expect(Text::withoutWhitespace(text) == text, "a text is trimmed");
    expect(std::none_of(text.cbegin(), text.cend(), Text::isNewline), "a text is one line");
}

} // namespace

void fuzzLicence(const uint8_t *data, size_t size)
{
    const ProjectInfo info = inspect(u"LICENSE"_s, data, size);
    for (const QString &text : {info.licenseName, info.copyright}) {
        expect(!text.isEmpty(), "there is always a title and a notice");
        expectOneTrimmedLine(text);
    }
}

void fuzzProjectFile(const uint8_t *data, size_t size)
{
    const ProjectInfo info = inspect(u"project.godot"_s, data, size);
    for (const QString &feature : info.features) {
        expect(!feature.contains(u'"'), "a feature stands between quotes");
    }
    try {
        const EngineSpec spec = EngineManager::spec(info);
        expect(!spec.zipName(Platform::current({})).contains(u'/'), "an archive's name is no path");
        expect(!spec.tag().contains(u".."), "an engine's folder leads nowhere else");
    } catch (const SetupError &error) {
        expect(!error.message.isEmpty(), "an error says something");
    }
}

void fuzzReadme(const uint8_t *data, size_t size)
{
    constexpr qsizetype maxControls = 8;
    constexpr int longest = 300;
    const ProjectInfo info = inspect(u"README.md"_s, data, size);
    expect(!info.tagline.isEmpty(), "there is always a line below the title");
    expect(info.controls.size() <= maxControls, "there are eight hints at most");
    for (const QString &text : info.controls + QStringList(info.tagline)) {
        expectOneTrimmedLine(text);
        const QString shown = DisplayText::of(text, longest);
        expect(shown.size() <= longest + 1, "a shown text is cut");
        expect(!shown.contains(QChar(0x202e)) && !shown.contains(QChar(0x1b)),
               "a shown text overrides no directions and controls nothing");
        expect(DisplayText::of(shown, longest + 1) == shown, "a shown text is fit to be shown");
    }
}

void fuzzSubmodules(const uint8_t *data, size_t size)
{
    static const QUrl host(u"https://github.com"_s);
    const ProjectInfo info = inspect(u".gitmodules"_s, data, size);
    expect(info.submodules.size() <= 256, "a list of submodules is short");
    for (const Submodule &submodule : info.submodules) {
        const auto folder = RepoDownloader::addonFolder(info.repoRoot, submodule.path);
        if (folder) {
            const QString rest = folder->mid(info.repoRoot.size());
            expect(folder->startsWith(info.repoRoot) && (rest.isEmpty() || rest.startsWith(u'/')),
                   "an add-on lies in the repository");
            expect(!(rest + u'/').contains(u"/../"), "an add-on's folder climbs nowhere");
        }
        const auto archive = CodeHost::repositoryArchive(host, submodule.url);
        expect(!archive || archive->host() == host.host(), "add-ons come from the code host");
    }
}

} // namespace brindle
