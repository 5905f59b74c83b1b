#include "engine/EngineManager.h"

#include "base/Error.h"
#include "base/Text.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "process/Tools.h"
#include "project/CodeHost.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <memory>
#include <string_view>

#include <openssl/evp.h>

namespace brindle {

namespace {

constexpr qint64 maxChecksumBytes = 1'048'576;
constexpr qint64 maxArchiveBytes = 2LL * 1024 * 1024 * 1024;
constexpr qint64 hashChunk = 4'194'304;
constexpr int firstGodot4Format = 5;
constexpr int statusOk = 200;

/// A SHA-512 under way.
class Sha512
{
public:
    Sha512() { begin(); }

    void begin()
    {
        isGood_ = context_ && EVP_DigestInit_ex(context_.get(), EVP_sha512(), nullptr) == 1;
    }

    void add(std::string_view bytes)
    {
        isGood_ = isGood_ && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) == 1;
    }

    /// As 128 lower-case hexadecimal digits. Throws SystemError that names `file`. Call once.
    QString digest(const QString &file)
    {
        QByteArray digest(EVP_MAX_MD_SIZE, Qt::Uninitialized);
        unsigned int size = 0;
        if (!isGood_ ||
            EVP_DigestFinal_ex(context_.get(),
                               reinterpret_cast<unsigned char *>(digest.data()), // NOLINT
                               &size) != 1) {
            throw SystemError(QStringLiteral("%1: the SHA-512 digest can't be computed").arg(file));
        }
        digest.truncate(size);
        return QString::fromLatin1(digest.toHex());
    }

private:
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_{EVP_MD_CTX_new(),
                                                                           &EVP_MD_CTX_free};
    bool isGood_ = false;
};

} // namespace

EngineManager::EngineManager(QUrl codeHost, Storage storage, QString temporaryFolder,
                             Platform platform)
    : codeHost_(std::move(codeHost))
    , storage_(std::move(storage))
    , temporaryFolder_(std::move(temporaryFolder))
    , platform_(std::move(platform))
{}

EngineSpec EngineManager::spec(const ProjectInfo &info)
{
    if (info.configVersion < firstGodot4Format) {
        throw SetupError(QStringLiteral("This game was made with Godot 3 (config_version %1). This "
                                        "app only runs Godot 4 games.")
                             .arg(info.configVersion));
    }
    if (!info.godotVersion) {
        throw SetupError(QStringLiteral("The game's project.godot does not say which Godot version "
                                        "it needs."));
    }
    return {*info.godotVersion + QStringLiteral("-stable"), info.usesCSharp};
}

std::optional<QString> EngineManager::binary(const EngineSpec &spec) const
{
    if (!spec.isWellFormed()) {
        return std::nullopt;
    }
    const QString program = spec.program(platform_);
    const QString first = program.section(u'/', 0, 0);
    const QDir folder(spec.folder(storage_));
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::CaseSensitive;
    for (const QString &name : folder.entryList({first}, all)) {
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
    const QString zipName = spec.zipName(platform_);
    const QString base =
        QStringLiteral("/godotengine/godot-builds/releases/download/%1/").arg(spec.version);
    const auto archive = CodeHost::address(codeHost_, base + zipName);
    const auto list = CodeHost::address(codeHost_, base + QStringLiteral("SHA512-SUMS.txt"));
    if (!spec.isWellFormed() || !archive || !list) {
        throw SetupError(QStringLiteral("Internal error: bad engine address."));
    }

    const TransferResult answer = co_await Transfer::toMemory(*list, maxChecksumBytes, stop);
    if (answer.status != statusOk) {
        throw SetupError(QStringLiteral("Godot %1 was not found on the official download page "
                                        "(status %2).")
                             .arg(spec.version)
                             .arg(answer.status));
    }
    const auto digest = publishedDigest(answer.body, zipName);
    if (!digest) {
        throw SetupError(
            QStringLiteral("The official checksum list has no entry for %1.").arg(zipName));
    }

    const StagingFolder::Work fetchAndInstall = [=, this, address = *archive,
                                                 expected = *digest](QString folder) {
        return installArchive(spec, address, folder + QStringLiteral("/godot.zip"), expected,
                              progress, status, log, stop);
    };
    co_return co_await StagingFolder::with(temporaryFolder_, storage_, fetchAndInstall);
}

/// Returns the archive, open where the tool takes it so, once it is the expected one.
QCoro::Task<std::shared_ptr<QFile>> EngineManager::fetchArchive(QUrl archive, QString zip,
                                                                QString expectedDigest,
                                                                StatusCallback status,
                                                                std::stop_token stop)
{
    TransferOptions wishes;
    wishes.limit = maxArchiveBytes;
    const auto hash = std::make_shared<Sha512>();
    wishes.onBytes = [hash](qint64 offset, std::string_view bytes) {
        if (offset == 0) {
            hash->begin();
        }
        hash->add(bytes);
    };
    auto opened = co_await downloader.download(archive, zip, stop, wishes);

    checkCancellation(stop);
    status(QStringLiteral("Checking the download"));
    checkCancellation(stop);
    QString digest;
    if (platform_.archiveToolTakesOpenFiles) {
        digest = hash->digest(zip);
    } else {
        // The tool reads what lies at the path by then, so that is what is checked.
        opened.reset();
        digest = co_await runOnWorker([zip, stop] { return sha512(zip, stop); });
    }
    if (digest != expectedDigest) {
        throw SetupError(QStringLiteral("The engine download did not match its official checksum, "
                                        "so it was thrown away. Please try again."));
    }
    co_return opened;
}

/// The part of an install that has something in the staging folder.
QCoro::Task<QString> EngineManager::installArchive(EngineSpec spec, QUrl archive, QString zip,
                                                   QString expectedDigest,
                                                   ProgressCallback progress, StatusCallback status,
                                                   LineCallback log, std::stop_token stop)
{
    downloader.setOnProgress(std::move(progress));
    Tools::UnzipOptions options;
    options.removesArchive = true;
    // What was checked is what is unpacked, whoever may change the staging folder meanwhile.
    options.opened = co_await fetchArchive(archive, zip, expectedDigest, status, stop);
    log(QStringLiteral("Checksum (SHA-512) matches the official list."));
    status(QStringLiteral("Unpacking the engine"));

    const QString folder = spec.folder(storage_);
    const auto removeOld = [folder, engines = storage_.enginesFolder()] {
        Files::removeIfPossible(folder);
        Files::removeLeftovers(engines);
    };
    co_await runOnWorker(removeOld);
    co_await Tools::unzip(platform_.archiveTool, zip, folder, stop, std::move(options));

    log(QStringLiteral("Removing the macOS quarantine flag from the engine: it is a program "
                       "downloaded from the internet, and without this macOS may block it or keep "
                       "asking about it."));
    co_await clearQuarantine(folder);

    const auto program = binary(spec);
    if (!program) {
        throw SetupError(QStringLiteral("The Godot engine was unpacked but its program was not "
                                        "found inside."));
    }
    co_return *program;
}

/// Not checked: where the flag stays, the system asks the user instead.
QCoro::Task<> EngineManager::clearQuarantine(QString folder) const
{
    const Platform::Command step = platform_.quarantineStep;
    if (step.program.isEmpty()) {
        co_return;
    }
    try {
        co_await Tools::run(step.program, step.filled(folder, folder));
    } catch (const SystemError &) {
        // Ignored: not even to be started is the same to us as a failure of it.
    }
}

std::optional<QString> EngineManager::publishedDigest(const QByteArray &list,
                                                      const QString &zipName)
{
    const auto isBetween = [](QChar c) { return c == u' ' || c == u'*'; };
    const auto takePiece = [&isBetween](QStringView &line) {
        const auto begin = std::find_if_not(line.begin(), line.end(), isBetween);
        const auto end = std::find_if(begin, line.end(), isBetween);
        const QStringView piece(begin, end);
        line = QStringView(end, line.end());
        return piece;
    };
    std::optional<QString> digest;
    const QString text = QString::fromUtf8(list);
    Text::eachLine(text, [&](QStringView line) {
        const QStringView first = takePiece(line);
        if (takePiece(line) == zipName) {
            digest = first.toString().toLower();
        }
        return true;
    });
    return digest;
}

QString EngineManager::sha512(const QString &path, const std::stop_token &stop)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Unbuffered)) {
        throw SystemError(QStringLiteral("%1: %2").arg(path, file.errorString()));
    }
    Sha512 hash;
    QByteArray chunk(hashChunk, Qt::Uninitialized);
    for (;;) {
        checkCancellation(stop);
        const qint64 count = file.read(chunk.data(), chunk.size());
        if (count < 0) {
            throw SystemError(QStringLiteral("%1: %2").arg(path, file.errorString()));
        }
        if (count == 0) {
            return hash.digest(path);
        }
        hash.add({chunk.constData(), static_cast<std::size_t>(count)});
    }
}

} // namespace brindle
