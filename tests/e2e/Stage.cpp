#include "Stage.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineSpec.h"
#include "support/Namespaces.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>

#include <stdexcept>

namespace brindle {

namespace {

// The real service's hosts: the code host itself, and where it redirects archives and releases to.
const auto codeHost = QStringLiteral("github.com");
const auto archiveHost = QStringLiteral("codeload.github.com");
const auto releaseHost = QStringLiteral("objects.githubusercontent.com");
const QByteArray realNames =
    "DNS:github.com,DNS:codeload.github.com,DNS:objects.githubusercontent.com";

const auto addon = QStringLiteral("tessel-works/brindle-minimap");
const auto engineVersion = QStringLiteral("4.3-stable");
// Enough to be seen on its way.
constexpr qint64 engineBytes = 6'000'000;

Platform platform()
{
    return Platform::linuxDesktop(QString(), QSysInfo::currentCpuArchitecture(), QString());
}

QString engineArchive()
{
    return EngineSpec{engineVersion}.zipName(platform());
}

/// Where libcurl looks for those whom it trusts, on Debian: for "ca-certificates.crt", which holds
/// all of them, and for files named by their hashes.
const auto trustFolder = QStringLiteral("/etc/ssl/certs");

} // namespace

Stage::Stage()
{
    constexpr long day = 86'400;
    TestCertificate::Options known;
    known.subject = "the authority that the system trusts";
    TestCertificate::Options unknown;
    unknown.subject = "an authority that anybody can make";
    const auto trusted = TestCertificate::make(known);
    const auto untrusted = TestCertificate::make(unknown);
    const auto real = QByteArrayLiteral("github.com");
    certificates_ = {
        {Certificate::good, TestCertificate::make({realNames, 0, day, real, &trusted})},
        {Certificate::untrusted, TestCertificate::make({realNames, 0, day, real, &untrusted})},
        {Certificate::selfSigned, TestCertificate::make({realNames, 0, day, real})},
        {Certificate::expired, TestCertificate::make({realNames, -2 * day, -day, real, &trusted})},
        {Certificate::wrongHost,
         TestCertificate::make({"DNS:example.com", 0, day, "example.com", &trusted})},
        {Certificate::wrongSecondHost,
         TestCertificate::make({"DNS:github.com", 0, day, real, &trusted})},
    };
    QDir(folder_.path()).mkdir(QStringLiteral("trusted"));
    write(QStringLiteral("trusted/ca-certificates.crt"), trusted.certificate);
    Namespaces::mountOver(trustFolder, file(QStringLiteral("trusted")));
    write(QStringLiteral("hosts"), QStringLiteral("127.0.0.1 localhost %1 %2 %3\n")
                                       .arg(codeHost, archiveHost, releaseHost)
                                       .toUtf8());
    Namespaces::mountOver(QStringLiteral("/etc/hosts"), file(QStringLiteral("hosts")));

    const QString demo = QStringLiteral(DEMO_FOLDER);
    GitArchive::pack(demo + QStringLiteral("/addon"), QStringLiteral("brindle-minimap-HEAD"),
                     file(QStringLiteral("addon.zip")));
    EngineArchive::pack(QStringLiteral(SAMPLE_ENGINE), platform(), engineVersion, false,
                        file(QStringLiteral("engine.zip")), engineBytes);
    offerGame({});
}

void Stage::open(Certificate certificate)
{
    host_.reset();
    ReleaseHost::Options options;
    options.tls = certificates_.value(certificate).serverConfiguration();
    options.port = 443;
    options.codeHost = codeHost;
    options.archiveHost = archiveHost;
    options.releaseHost = releaseHost;
    host_ = std::make_unique<ReleaseHost>(options);
    host_->offerGame(file(QStringLiteral("game.zip")));
    host_->offerAddon(addon, file(QStringLiteral("addon.zip")));
    host_->offerEngine(engineVersion, engineArchive(), file(QStringLiteral("engine.zip")));
}

void Stage::offerGame(const QByteArray &behaviour)
{
    GitArchive::pack(QStringLiteral(DEMO_FOLDER "/game"), QStringLiteral("godot-brindle-main"),
                     file(QStringLiteral("game.zip")), {},
                     {{QStringLiteral("sample-engine.ini"), behaviour}});
}

QString Stage::addonPath()
{
    return ReleaseHost::addonPath(addon);
}

QString Stage::checksumPath()
{
    return ReleaseHost::checksumPath(engineVersion);
}

QString Stage::enginePath()
{
    return ReleaseHost::enginePath(engineVersion, engineArchive());
}

void Stage::write(const QString &name, const QByteArray &content) const
{
    QFile output(file(name));
    if (!output.open(QIODevice::WriteOnly) || output.write(content) != content.size()) {
        throw std::runtime_error("can't write " + name.toStdString());
    }
}

} // namespace brindle
