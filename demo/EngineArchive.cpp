#include "demo/EngineArchive.h"

#include "demo/ZipWriter.h"
#include "engine/EngineSpec.h"

#include <algorithm>
#include <random>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 programMode = 0100755;
constexpr quint32 fileMode = 0100644;

/// Returns random bytes, then zeros, which pack quickly to a third. Every call returns the same.
QByteArray filling(qsizetype size)
{
    std::minstd_rand random; // NOLINT: repeatable on purpose
    QByteArray bytes(std::max<qsizetype>(size, 0), '\0');
    std::generate_n(bytes.begin(), bytes.size() / 3,
                    [&] { return static_cast<char>(random() / 1024); });
    return bytes;
}

const QByteArray infoPlist = "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
                             "<string>Godot</string></dict></plist>\n";

} // namespace

QByteArray EngineArchive::pack(const QByteArray &program, const Platform &platform,
                               const QString &version, bool mono, qint64 fillTo)
{
    QString path = EngineSpec{version, mono}.program(platform);
    if (path.startsWith(u'*')) {
        path.replace(0, 1, mono ? u"Godot_mono"_s : u"Godot"_s);
    }
    const bool isBundle = path.contains(u"/Contents/");
    const QString contents = path.section(u'/', 0, 1);

    ZipWriter writer;
    if (isBundle) {
        writer.add(contents + u"/Info.plist"_s, infoPlist, fileMode);
    }
    writer.add(path, program + filling(fillTo - program.size()), programMode);
    if (mono) {
        // The folder lies beside the program on Linux, and in the bundle's resources on macOS.
        const QString folder = isBundle ? contents + u"/Resources"_s : path.section(u'/', 0, -2);
        writer.add(folder + u"/GodotSharp/Api/Release/GodotSharp.xml"_s,
                   "<doc><assembly><name>GodotSharp</name></assembly></doc>\n", fileMode);
    }
    return writer.close();
}

} // namespace brindle
