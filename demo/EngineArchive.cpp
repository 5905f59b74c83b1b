#include "demo/EngineArchive.h"

#include "demo/ZipWriter.h"
#include "engine/EngineSpec.h"

#include <QFile>
#include <QTemporaryFile>

#include <algorithm>
#include <random>
#include <stdexcept>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 programMode = 0100755;
constexpr quint32 fileMode = 0100644;

/// Writes bytes that pack about as well as a program: short pieces of earlier bytes between new
/// ones. Writes the same bytes every time.
void fill(QIODevice &file, qint64 size)
{
    std::minstd_rand random; // NOLINT: repeatable on purpose
    QByteArray bytes(16'384, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(random() % 256); });
    while (size > 0) {
        // Each round repeats pieces of the last one, inside deflate's window of 32 KiB.
        QByteArray next;
        while (next.size() < bytes.size()) {
            next.append(bytes.sliced(static_cast<qsizetype>(random() % 16'000),
                                     static_cast<qsizetype>(4 + random() % 12)));
            for (auto count = random() % 4; count > 0; --count) {
                next.append(static_cast<char>(std::min(random() % 256, random() % 256)));
            }
        }
        next.truncate(std::min<qint64>(bytes.size(), size));
        if (file.write(next) != next.size()) {
            throw std::runtime_error(file.errorString().toStdString());
        }
        size -= next.size();
        bytes.replace(0, next.size(), next);
    }
}

const QByteArray infoPlist = "<plist version=\"1.0\"><dict><key>CFBundleExecutable</key>"
                             "<string>Godot</string></dict></plist>\n";

} // namespace

void EngineArchive::pack(const QString &program, const Platform &platform, const QString &version,
                         bool mono, const QString &zip, qint64 fillTo)
{
    QString path = EngineSpec{version, mono}.program(platform);
    if (path.startsWith(u'*')) {
        path.replace(0, 1, mono ? u"Godot_mono"_s : u"Godot"_s);
    }
    const bool isBundle = path.contains(u"/Contents/");
    const QString contents = path.section(u'/', 0, 1);

    QFile original(program);
    QTemporaryFile padded(zip + u".program-XXXXXX"_s);
    if (!original.open(QIODevice::ReadOnly) || !padded.open()) {
        throw std::runtime_error("can't read " + program.toStdString());
    }
    padded.write(original.readAll());
    fill(padded, fillTo - padded.size());
    padded.flush();

    ZipWriter writer(zip);
    if (isBundle) {
        writer.add(contents + u"/Info.plist"_s, infoPlist, fileMode);
    }
    writer.addFile(path, padded.fileName(), programMode);
    if (mono) {
        // The folder lies beside the program on Linux, and in the bundle's resources on macOS.
        const QString folder = isBundle ? contents + u"/Resources"_s : path.section(u'/', 0, -2);
        writer.add(folder + u"/GodotSharp/Api/Release/GodotSharp.xml"_s,
                   "<doc><assembly><name>GodotSharp</name></assembly></doc>\n", fileMode);
    }
    writer.close();
}

} // namespace brindle
