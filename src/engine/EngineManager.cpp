#include "engine/EngineManager.h"

#include "base/Error.h"
#include "base/Text.h"
#include "base/Threads.h"
#include "files/OutputFile.h"
#include "files/StagingFolder.h"
#include "platform/ProcessLock.h"
#include "process/Tools.h"

#include <QDir>
#include <QFileInfo>

#include <array>
#include <memory>
#include <string_view>

#include <openssl/evp.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 maxChecksumBytes = 1LL << 20U;
constexpr qint64 maxArchiveBytes = 2LL << 30U;
constexpr int firstGodot4Format = 5;
constexpr int statusOk = 200;

} // namespace

EngineSpec EngineManager::spec(const ProjectInfo &info)
{
    if (info.configVersion < firstGodot4Format) {
        throw SetupError(u"This game was made with Godot 3 (config_version %1). This app only runs "
                         "Godot 4 games."_s.arg(info.configVersion));
    }
    if (!info.godotVersion) {
        throw SetupError(u"The game's project.godot does not say which Godot version it needs."_s);
    }
    return {*info.godotVersion + u"-stable"_s, info.usesCSharp};
}

std::optional<QString> EngineManager::binary(const EngineSpec &spec) const
{
    const QString program = spec.program(parts_.platform);
    const QString first = program.section(u'/', 0, 0);
    const QDir folder(spec.folder(parts_.storage));
    for (const QString &name : folder.entryList({first}, QDir::AllEntries | QDir::CaseSensitive)) {
        const QFileInfo candidate(folder.filePath(name + program.sliced(first.size())));
        if (candidate.isFile() && candidate.isExecutable()) {
            return candidate.filePath();
        }
    }
    return std::nullopt;
}

QCoro::Task<QString> EngineManager::install(EngineSpec spec, ProgressCallback progress,
                                            StatusCallback status, LineCallback log,
                                            std::stop_token stop)
{
    const QString zipName = spec.zipName(parts_.platform);
    const auto release = CodeHost::address(
        parts_.codeHost, u"/godotengine/godot-builds/releases/download/%1/"_s.arg(spec.version));
    if (!release) {
        throw SetupError(u"Internal error: bad engine address."_s);
    }

    const auto staging = co_await StagingFolder::create(parts_.temporaryFolder, parts_.storage);
    TransferOptions options;
    options.limit = maxChecksumBytes;
    auto listFile = co_await runOnWorker([path = staging->path() + u"/SHA512-SUMS.txt"_s] {
        return std::make_shared<OutputFile>(path);
    });
    const TransferResult answer = co_await Transfer::toFile(
        release->resolved(QUrl(u"SHA512-SUMS.txt"_s)), std::move(listFile), {}, stop, options);
    if (answer.status != statusOk) {
        throw SetupError(
            u"Godot %1 was not found on the official download page (status %2)."_s.arg(spec.version)
                .arg(answer.status));
    }
    const auto published = co_await runOnWorker(
        [file = answer.file, zipName] { return publishedDigest(file->readAll(), zipName); });
    if (!published) {
        throw SetupError(u"The official checksum list has no entry for %1."_s.arg(zipName));
    }

    const QString zip = staging->path() + u"/godot.zip"_s;
    options.limit = maxArchiveBytes;
    const std::shared_ptr<EVP_MD_CTX> hash(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    options.onBytes = [hash](qint64 offset, std::string_view bytes) {
        if (offset == 0) { // the download begins, perhaps anew
            EVP_DigestInit_ex(hash.get(), EVP_sha512(), nullptr);
        }
        EVP_DigestUpdate(hash.get(), bytes.data(), bytes.size());
    };
    downloader.onProgress = std::move(progress);
    auto file = co_await downloader.download(release->resolved(QUrl(zipName)), zip, stop, options);

    status(u"Checking the download"_s);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest = {};
    unsigned int size = 0; // stays 0 when libcrypto fails
    EVP_DigestFinal_ex(hash.get(), digest.data(), &size);
    if (QByteArrayView(digest.data(), size).toByteArray().toHex() != published->toLatin1()) {
        throw SetupError(u"The engine download did not match its official checksum, so it was "
                         "thrown away. Please try again."_s);
    }
    log(u"Checksum (SHA-512) matches the official list."_s);
    status(u"Unpacking the engine"_s);
    const QString folder = spec.folder(parts_.storage);
    co_await Tools::replaceFolder(parts_.platform.archiveTool, zip, std::move(file), folder, stop);

    log(u"Removing the macOS quarantine flag from the engine: it is a program downloaded from the "
        "internet, and without this macOS may block it or keep asking about it."_s);
    const Platform::Command step = parts_.platform.quarantineStep;
    try {
        if (!step.program.isEmpty()) {
            co_await Tools::run(step.program, step.filled(folder));
        }
    } catch (const SystemError &) {
        // Ignored: if the flag stays, macOS asks the user before the game starts.
    }
    const auto program = binary(spec);
    if (!program) {
        throw SetupError(u"The Godot engine was unpacked but its program was not found inside."_s);
    }
    co_return *program;
}

std::optional<QString> EngineManager::publishedDigest(const QByteArray &list,
                                                      const QString &zipName)
{
    std::optional<QString> digest;
    const QString text = QString::fromUtf8(list).replace(u'*', u' ');
    Text::eachLine(text, [&](QStringView line) {
        const QList<QStringView> pieces = line.split(u' ', Qt::SkipEmptyParts);
        if (pieces.size() > 1 && pieces[1] == zipName) {
            digest = pieces[0].toString().toLower();
        }
        return true;
    });
    return digest;
}

} // namespace brindle
