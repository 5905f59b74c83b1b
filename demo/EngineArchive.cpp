#include "demo/EngineArchive.h"

#include "demo/ProgramFill.h"
#include "demo/ZipWriter.h"
#include "engine/EngineSpec.h"

#include <QFile>
#include <QTemporaryFile>

#include <set>
#include <stdexcept>

namespace brindle {

namespace {

constexpr quint32 programMode = 0100755;
constexpr quint32 fileMode = 0100644;
constexpr quint32 folderMode = 0040755;
constexpr qint64 chunkBytes = 1'048'576;

void require(bool good, const QFileDevice &file)
{
    if (!good) {
        throw std::runtime_error(file.fileName().toStdString() + ": " +
                                 file.errorString().toStdString());
    }
}

/// Writes the program and its padding into `padded`.
void pad(const QString &program, qint64 fillTo, QTemporaryFile &padded)
{
    QFile original(program);
    require(original.open(QIODevice::ReadOnly), original);
    require(padded.open(), padded);
    qint64 size = 0;
    while (!original.atEnd()) {
        const QByteArray chunk = original.read(chunkBytes);
        require(!chunk.isEmpty() && padded.write(chunk) == chunk.size(), padded);
        size += chunk.size();
    }
    ProgramFill fill;
    while (size < fillTo) {
        const QByteArray chunk = fill.next(std::min(chunkBytes, fillTo - size));
        require(padded.write(chunk) == chunk.size(), padded);
        size += chunk.size();
    }
    require(padded.flush(), padded);
}

/// Where the program lies inside the archive.
QString programPath(const Platform &platform, const QString &version, bool mono)
{
    QString path = EngineSpec{version, mono}.program(platform);
    if (path.startsWith(u'*')) {
        path.replace(0, 1, mono ? QStringLiteral("Godot_mono") : QStringLiteral("Godot"));
    }
    return path;
}

/// Adds files with the folders that lead to them, each folder once.
class Packer
{
public:
    explicit Packer(const QString &zip) : writer(zip) {}

    void addText(const QString &path, const QByteArray &text)
    {
        addFoldersOf(path);
        writer.add(path, text, fileMode);
    }

    void addProgram(const QString &path, const QString &source)
    {
        addFoldersOf(path);
        writer.addFile(path, source, programMode);
    }

    ZipWriter writer;

private:
    void addFoldersOf(const QString &path)
    {
        for (qsizetype at = path.indexOf(u'/'); at > 0; at = path.indexOf(u'/', at + 1)) {
            if (folders_.insert(path.left(at)).second) {
                writer.addFolder(path.left(at), folderMode);
            }
        }
    }

    std::set<QString> folders_;
};

QByteArray infoPlist(const QString &version)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
           "<plist version=\"1.0\">\n<dict>\n"
           "\t<key>CFBundleExecutable</key>\n\t<string>Godot</string>\n"
           "\t<key>CFBundleIdentifier</key>\n\t<string>org.godotengine.godot</string>\n"
           "\t<key>CFBundlePackageType</key>\n\t<string>APPL</string>\n"
           "\t<key>CFBundleShortVersionString</key>\n\t<string>" +
           version.section(u'-', 0, 0).toUtf8() + "</string>\n</dict>\n</plist>\n";
}

} // namespace

void EngineArchive::pack(const QString &program, const Platform &platform, const QString &version,
                         bool mono, const QString &zip, qint64 fillTo)
{
    const QString path = programPath(platform, version, mono);
    const qsizetype bundleEnd = path.indexOf(u"/Contents/");
    const QString contents =
        bundleEnd < 0 ? QString() : path.left(bundleEnd) + QStringLiteral("/Contents");

    if (!QFile::exists(program)) {
        throw std::runtime_error("there is no program " + program.toStdString());
    }
    Packer packer(zip);
    if (!contents.isEmpty()) {
        packer.addText(contents + QStringLiteral("/Info.plist"), infoPlist(version));
    }
    QTemporaryFile padded(zip + QStringLiteral(".program-XXXXXX"));
    if (QFile(program).size() < fillTo) {
        pad(program, fillTo, padded);
        packer.addProgram(path, padded.fileName());
    } else {
        packer.addProgram(path, program);
    }
    if (mono) {
        // Beside the program on Linux, in the bundle's resources on macOS.
        const QString place = contents.isEmpty() ? path.section(u'/', 0, -2)
                                                 : contents + QStringLiteral("/Resources");
        packer.addText(place + QStringLiteral("/GodotSharp/Api/Release/GodotSharp.xml"),
                       "<?xml version=\"1.0\"?>\n<doc><assembly><name>GodotSharp</name></assembly>"
                       "</doc>\n");
    }
    packer.writer.close();
}

} // namespace brindle
