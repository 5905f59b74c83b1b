#include "project/ProjectInspector.h"

#include "base/Text.h"
#include "files/Files.h"
#include "project/Links.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringDecoder>

#include <filesystem>
#include <set>
#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

namespace fs = std::filesystem;

constexpr int maxDepth = 5;
constexpr qsizetype maxControls = 8;
constexpr qsizetype maxLineChars = 4'096;
constexpr qsizetype maxAddons = 256; // also the limit on submodules

/// Returns the text of a regular file without a byte order mark. Returns nothing when the file is
/// missing, too large, not valid UTF-8, or reached by a link out of `repository`.
std::optional<QString> readText(const QString &repository, const QString &path)
{
    QFile file(path);
    // Read regular files only: opening a pipe would wait for its writer.
    if (!QFileInfo(path).isFile() || !Links::stayInside(repository, path) ||
        !file.open(QIODevice::ReadOnly) || file.size() > ProjectInspector::maxFileBytes) {
        return std::nullopt;
    }
    // A stateless decoder also rejects a character that the file's end cuts off.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(file.readAll());
    const bool isGood = file.error() == QFileDevice::NoError && !decoder.hasError();
    return isGood ? std::optional(text) : std::nullopt;
}

/// Calls `use` with each trimmed line until `use` returns false. Skips lines that are too long. A
/// missing text counts as one empty line.
template <typename Use>
void eachLine(const std::optional<QString> &text, Use use)
{
    Text::eachLine(text.value_or(QString()), [&use](QStringView line) {
        return line.size() > maxLineChars || use(Text::withoutWhitespace(line));
    });
}

/// Returns the texts between pairs of double quotes.
QStringList quoted(const QString &line)
{
    const QStringList parts = line.split(u'"');
    QStringList items;
    for (qsizetype i = 1; i + 1 < parts.size(); i += 2) {
        items.append(parts[i]);
    }
    return items;
}

void readProjectFile(const QString &projectDir, ProjectInfo &info)
{
    const auto text = readText(info.repoRoot, projectDir + u"/project.godot"_s);
    eachLine(text, [&info](QStringView line) {
        constexpr QStringView version = u"config_version=";
        const QStringList items = quoted(line.toString());
        if (line.startsWith(version)) {
            const QStringView number = line.sliced(version.size());
            // toLongLong returns 0 for other texts, but accepts white space around a number.
            info.configVersion = number.trimmed() == number ? number.toLongLong() : 0;
        } else if (line.startsWith(u"config/name=")) {
            info.name = items.value(0, info.name);
        } else if (line.startsWith(u"config/features=")) {
            info.features = items;
        } else if (line.startsWith(u"run/main_scene=")) {
            info.mainScene = items.value(0);
        }
        return true;
    });
}

QString repositoryFolder(const QString &projectDir)
{
    for (const QString &candidate : {projectDir, QFileInfo(projectDir).path()}) {
        const QFileInfo modules(candidate + u"/.gitmodules"_s);
        if (modules.exists() || modules.isSymLink()) {
            return candidate;
        }
    }
    return projectDir;
}

QList<Submodule> readSubmodules(const QString &repository)
{
    QList<Submodule> submodules;
    QString path;
    const auto text = readText(repository, repository + u"/.gitmodules"_s);
    eachLine(text, [&](QStringView line) {
        const qsizetype equals = line.indexOf(u'=');
        // Both sides of the equals sign need text.
        if (equals == -1 || equals == line.size() - 1) {
            return true;
        }
        const QStringView key = Text::withoutWhitespace(line.first(equals));
        const QStringView value = Text::withoutWhitespace(line.sliced(equals + 1));
        if (key == u"path") {
            path = value.toString();
        } else if (key == u"url") {
            submodules.append({path, value.toString()});
        }
        return submodules.size() < maxAddons;
    });
    return submodules;
}

QStringList readAddons(const QString &repository, const QString &projectDir)
{
    const QString folder = projectDir + u"/addons"_s;
    QStringList names =
        Links::stayInside(repository, folder) ? Files::names(folder) : QStringList();
    names.removeIf([](const QString &name) { return name.startsWith(u'.'); });
    names.sort();
    return names.first(qMin(names.size(), maxAddons));
}

/// Returns the first readable text. Tries each name in the repository, then in the project.
std::optional<QString> readFirst(const QStringList &names, const QString &repository,
                                 const QString &projectDir)
{
    for (const QString &name : names) {
        for (const QString &folder : {repository, projectDir}) {
            if (auto text = readText(repository, folder + u'/' + name)) {
                return text;
            }
        }
    }
    return std::nullopt;
}

void readLicense(const std::optional<QString> &text, ProjectInfo &info)
{
    bool hasTitle = false;
    eachLine(text, [&](QStringView line) {
        if (line.isEmpty()) {
            return true;
        }
        if (!std::exchange(hasTitle, true)) {
            info.licenseName = line.toString();
        }
        const bool isNotice = line.contains(u"copyright", Qt::CaseInsensitive);
        if (isNotice) {
            info.copyright = line.toString();
        }
        return !isNotice;
    });
}

void readTagline(const std::optional<QString> &text, ProjectInfo &info)
{
    // These characters begin headings, images, badges, HTML, tables, list items, quotes and code
    // fences.
    constexpr QStringView markup = u"#![<|-*>`";
    eachLine(text, [&](QStringView line) {
        if (line.isEmpty() || markup.contains(line.front())) {
            return true;
        }
        info.tagline = line.toString();
        return false;
    });
}

QStringList controls(const std::optional<QString> &text)
{
    QStringList hints;
    bool inside = false;
    eachLine(text, [&](QStringView line) {
        if (line.startsWith(u'#')) {
            if (inside) {
                return false;
            }
            inside = line.contains(u"control", Qt::CaseInsensitive);
        } else if (inside && (line.startsWith(u'-') || line.startsWith(u'*'))) {
            hints.append(Text::withoutWhitespace(line.sliced(1)).toString());
        }
        return hints.size() < maxControls;
    });
    return hints;
}

} // namespace

std::optional<QString> ProjectInspector::findProject(const QString &folder)
{
    const fs::path top = QFile::encodeName(folder).toStdString();
    // Walk one level deeper each time: most projects lie on the second level.
    std::set<fs::path> found;
    for (int depth = 1; depth < maxDepth && found.empty(); ++depth) {
        std::error_code error;
        for (fs::recursive_directory_iterator entry(
                 top, fs::directory_options::skip_permission_denied, error);
             entry != fs::recursive_directory_iterator(); entry.increment(error)) {
            const fs::path name = entry->path().filename();
            if (name == "project.godot") {
                found.insert(entry->path().parent_path());
            }
            if (entry.depth() == depth || name.native().front() == '.') {
                entry.disable_recursion_pending();
            }
        }
    }
    return found.empty() ? std::nullopt : std::optional(QFile::decodeName(found.begin()->c_str()));
}

ProjectInfo ProjectInspector::inspect(const QString &projectDir)
{
    const QString project = QDir::cleanPath(QDir(projectDir).absolutePath());
    ProjectInfo info;
    info.repoRoot = repositoryFolder(project);
    readProjectFile(project, info);
    info.usesCSharp = info.features.contains(u"C#"_s);
    // The version becomes part of paths and addresses, so accept nothing else.
    static const QRegularExpression version(
        QRegularExpression::anchoredPattern(uR"([0-9]+\.[0-9]+(\.[0-9]+)?)"_s));
    const QStringList versions = info.features.filter(version);
    info.godotVersion = versions.isEmpty() ? std::nullopt : std::optional(versions.first());
    info.submodules = readSubmodules(info.repoRoot);
    info.addons = readAddons(info.repoRoot, project);
    readLicense(readFirst({u"LICENSE"_s, u"LICENSE.md"_s, u"LICENSE.txt"_s, u"COPYING"_s},
                          info.repoRoot, project),
                info);
    const auto readme =
        readFirst({u"README.md"_s, u"README"_s, u"readme.md"_s}, info.repoRoot, project);
    readTagline(readme, info);
    info.controls = controls(readme);
    return info;
}

} // namespace brindle
