#include "demo/EngineArchive.h"

#include "demo/ZipWriter.h"

#include <QFile>
#include <QRandomGenerator>

#include <stdexcept>

namespace brindle {

namespace {

constexpr quint32 programMode = 0100755;
constexpr quint32 fileMode = 0100644;

/// Random words among repeated ones, from a fixed seed.
QByteArray filling(qint64 size)
{
    QByteArray bytes(size, '\0');
    QRandomGenerator random(4); // NOLINT: the same archive every time
    constexpr qint64 block = 4096;
    constexpr qint64 randomPart = block / 3;
    for (qint64 at = 0; at + block <= size; at += block) {
        for (qint64 i = 0; i < block; i += 4) {
            const quint32 word = i < randomPart ? random.generate()
                                                : static_cast<quint32>((at / block) % 251 + i / 64);
            memcpy(bytes.data() + at + i, &word, sizeof word);
        }
    }
    return bytes;
}

} // namespace

void EngineArchive::pack(const QString &program, const Platform &platform, const QString &version,
                         bool mono, const QString &zip, qint64 fillTo)
{
    QFile file(program);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + program.toStdString());
    }
    QByteArray content = file.readAll();
    if (content.size() < fillTo) {
        content += filling(fillTo - content.size());
    }
    QString path = mono ? platform.monoProgram : platform.standardProgram;
    path.replace(QStringLiteral("{version}"), version);
    path.replace(QStringLiteral("*.app"),
                 mono ? QStringLiteral("Godot_mono.app") : QStringLiteral("Godot.app"));

    ZipWriter writer(zip);
    writer.add(path, content, programMode);
    if (mono) {
        const QString folder = path.contains(QLatin1Char('/')) ? path.section(QLatin1Char('/'), 0, 0)
                                                               : QString();
        writer.add(folder + QStringLiteral("/GodotSharp/Api/README.txt"),
                   QByteArrayLiteral("The C# support would lie here.\n"), fileMode);
    }
    writer.close();
}

} // namespace brindle
