#include "project/ProjectInspector.h"

#include "base/Text.h"
#include "files/Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

namespace fs = std::filesystem;

constexpr int maxDepth = 5;
constexpr qsizetype maxControls = 8;

/// One folder's visible entries: whether the project file is among them, and its sub-folders.
struct Listing
{
    bool hasProject = false;
    std::vector<fs::path> folders;
};

Listing listed(const fs::path &folder)
{
    Listing listing;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().native();
        if (name == "project.godot") {
            listing.hasProject = true;
            return listing;
        }
        std::error_code ignored; // an entry that can't be looked at is passed over
        if (name.front() != '.' && !entry->is_symlink(ignored) && entry->is_directory(ignored)) {
            listing.folders.push_back(entry->path());
        }
    }
    std::sort(listing.folders.begin(), listing.folders.end());
    return listing;
}

/// The whole text of a regular file (links to one are followed) without a byte order mark; absent
/// when it is missing, unreadable, too large or not valid UTF-8. Never waits for another program,
/// whatever kind of file it is.
std::optional<QString> readText(const QString &path)
{
    // Opening a pipe would wait for its writer.
    const int descriptor =
        open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    struct stat status = {};
    QFile file;
    if (descriptor < 0 ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle) ||
        fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    // In pieces: a buffer of the most that may come costs more than nearly every file.
    constexpr qint64 pieceBytes = 65'536;
    constexpr qint64 maxBytes = ProjectInspector::maxFileBytes;
    QByteArray bytes;
    for (QByteArray piece = file.read(pieceBytes); !piece.isEmpty() && bytes.size() <= maxBytes;
         piece = file.read(pieceBytes)) {
        bytes += piece;
    }
    if (file.error() != QFileDevice::NoError || bytes.size() > maxBytes) {
        return std::nullopt;
    }
    // Stateless, so that a sequence cut off by the file's end is an error too.
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

/// Hands each line to `use`, without white space at its ends, until that returns false. What can't
/// be read is one empty line.
template <typename Use>
void eachLine(const std::optional<QString> &text, Use use)
{
    Text::eachLine(text.value_or(QString()),
                   [&use](QStringView line) { return use(Text::withoutWhitespace(line)); });
}

QStringList quoted(const QString &line)
{
    static const QRegularExpression pattern(QStringLiteral(R"re("([^"]*)")re"));
    QStringList items;
    for (auto match = pattern.globalMatch(line); match.hasNext();) {
        items.append(match.next().captured(1));
    }
    return items;
}

/// Decimal digits with an optional sign; anything else, or what does not fit, is 0.
qint64 integer(const QString &text)
{
    static const QRegularExpression pattern(
        QRegularExpression::anchoredPattern(QStringLiteral("[+-]?[0-9]+")));
    return pattern.match(text).hasMatch() ? text.toLongLong() : 0;
}

/// Whether `view` begins with `prefix`, which is then taken off.
bool take(QStringView &view, QStringView prefix)
{
    const bool begins = view.startsWith(prefix);
    if (begins) {
        view = view.sliced(prefix.size());
    }
    return begins;
}

void readProjectFile(const QString &projectDir, ProjectInfo &info)
{
    const auto text = readText(QDir(projectDir).filePath(QStringLiteral("project.godot")));
    eachLine(text, [&info](QStringView line) {
        QStringView rest = line;
        if (take(rest, u"config_version=")) {
            info.configVersion = integer(rest.toString());
        } else if (take(rest, u"config/name=")) {
            const QStringList items = quoted(line.toString());
            if (!items.isEmpty()) {
                info.name = items.first();
            }
        } else if (take(rest, u"config/features=")) {
            info.features = quoted(line.toString());
        } else if (take(rest, u"run/main_scene=")) {
            info.mainScene = quoted(line.toString()).value(0);
        }
        return true;
    });
}

QString repositoryFolder(const QString &projectDir)
{
    for (const QString &candidate : {projectDir, QFileInfo(projectDir).path()}) {
        const QFileInfo modules(QDir(candidate).filePath(QStringLiteral(".gitmodules")));
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
    const auto text = readText(QDir(repository).filePath(QStringLiteral(".gitmodules")));
    eachLine(text, [&](QStringView line) {
        const qsizetype equals = line.indexOf(u'=');
        // An empty side is no piece, and two are needed.
        if (equals <= 0 || equals == line.size() - 1) {
            return true;
        }
        const QStringView key = Text::withoutWhitespace(line.first(equals));
        const QStringView value = Text::withoutWhitespace(line.sliced(equals + 1));
        if (key == u"path") {
            path = value.toString();
        } else if (key == u"url") {
            submodules.append({path, value.toString()});
        }
        return true;
    });
    return submodules;
}

QStringList readAddons(const QString &projectDir)
{
    QStringList names = Files::names(QDir(projectDir).filePath(QStringLiteral("addons")));
    names.removeIf([](const QString &name) { return name.startsWith(u'.'); });
    std::sort(names.begin(), names.end());
    return names;
}

/// The first readable file: each name is tried in each folder before the next name.
std::optional<QString> readFirst(const QStringList &names, const QStringList &folders)
{
    for (const QString &name : names) {
        for (const QString &folder : folders) {
            if (auto text = readText(QDir(folder).filePath(name))) {
                return text;
            }
        }
    }
    return std::nullopt;
}

void readLicense(const QStringList &folders, ProjectInfo &info)
{
    const auto text = readFirst({QStringLiteral("LICENSE"), QStringLiteral("LICENSE.md"),
                                 QStringLiteral("LICENSE.txt"), QStringLiteral("COPYING")},
                                folders);
    bool hasTitle = false;
    eachLine(text, [&](QStringView line) {
        if (line.isEmpty()) {
            return true;
        }
        if (!hasTitle) {
            info.licenseName = line.toString();
            hasTitle = true;
        }
        const QString kept = line.toString();
        const bool isNotice = kept.toLower().contains(u"copyright");
        if (isNotice) {
            info.copyright = kept;
        }
        return !isNotice;
    });
}

void readTagline(const std::optional<QString> &text, ProjectInfo &info)
{
    // Headings, images, links and badges, HTML, tables, list items, quotes, code fences.
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
            inside = line.toString().toLower().contains(u"control");
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
    std::vector<fs::path> level{fs::path(QFile::encodeName(folder).toStdString())};
    for (int depth = 1; depth <= maxDepth && !level.empty(); ++depth) {
        std::vector<fs::path> next;
        for (const fs::path &candidate : level) {
            Listing listing = listed(candidate);
            if (listing.hasProject) {
                return QFile::decodeName(candidate.c_str());
            }
            std::move(listing.folders.begin(), listing.folders.end(), std::back_inserter(next));
        }
        level = std::move(next);
    }
    return std::nullopt;
}

ProjectInfo ProjectInspector::inspect(const QString &projectDir)
{
    const QString project = QDir::cleanPath(QDir(projectDir).absolutePath());
    ProjectInfo info;
    readProjectFile(project, info);
    info.usesCSharp = info.features.contains(QStringLiteral("C#"));
    const auto version =
        std::find_if(info.features.begin(), info.features.end(), ProjectInfo::isVersion);
    info.godotVersion = version == info.features.end() ? std::nullopt : std::optional(*version);
    info.repoRoot = repositoryFolder(project);
    info.submodules = readSubmodules(info.repoRoot);
    info.addons = readAddons(project);
    const QStringList folders{info.repoRoot, project};
    readLicense(folders, info);
    const auto readme = readFirst(
        {QStringLiteral("README.md"), QStringLiteral("README"), QStringLiteral("readme.md")},
        folders);
    readTagline(readme, info);
    info.controls = controls(readme);
    return info;
}

} // namespace brindle
