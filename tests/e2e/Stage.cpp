#include "Stage.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineSpec.h"
#include "support/Namespaces.h"
#include "support/TestFiles.h"

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

// The real service's hosts. The code host redirects archives and releases to the other two.
const auto codeHost = u"github.com"_s;
const auto archiveHost = u"codeload.github.com"_s;
const auto releaseHost = u"objects.githubusercontent.com"_s;
const QByteArray realNames =
    "DNS:github.com,DNS:codeload.github.com,DNS:objects.githubusercontent.com";

const auto addon = u"tessel-works/brindle-minimap"_s;
const auto engineVersion = u"4.3-stable"_s;
// Large enough to stop the download half-way.
constexpr qint64 engineBytes = 6'000'000;

QString engineArchive()
{
    return EngineSpec{engineVersion, false}.zipName(Platform::current({}));
}

} // namespace

Stage::Stage()
{
    constexpr long day = 86'400;
    const QByteArray real = "github.com";
    TestCertificate::Options known;
    known.subject = "the authority that the system trusts";
    TestCertificate::Options unknown;
    unknown.subject = "an authority that anybody can make";
    const auto trusted = TestCertificate::make(known);
    const auto untrusted = TestCertificate::make(unknown);
    certificates_ = {
        {Certificate::good, TestCertificate::make({realNames, 0, day, real, &trusted})},
        {Certificate::untrusted, TestCertificate::make({realNames, 0, day, real, &untrusted})},
        {Certificate::expired, TestCertificate::make({realNames, -2 * day, -day, real, &trusted})},
        {Certificate::wrongSecondHost,
         TestCertificate::make({"DNS:github.com", 0, day, real, &trusted})},
    };
    // On Debian, libcurl trusts this folder's "ca-certificates.crt" and files named by hashes.
    writeFile(file(u"trusted/ca-certificates.crt"_s), trusted.certificate);
    Namespaces::mountOver(u"/etc/ssl/certs"_s, file(u"trusted"_s));
    writeFile(file(u"hosts"_s),
              u"127.0.0.1 localhost %1 %2 %3\n"_s.arg(codeHost, archiveHost, releaseHost).toUtf8());
    Namespaces::mountOver(u"/etc/hosts"_s, file(u"hosts"_s));

    addon_ = GitArchive::pack(QStringLiteral(DEMO_FOLDER "/addon"), u"brindle-minimap-HEAD"_s);
    engine_ = EngineArchive::pack(readFile(QStringLiteral(SAMPLE_ENGINE)), Platform::current({}),
                                  engineVersion, false, engineBytes);
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
    offerGame({});
    host_->offerAddon(addon, addon_);
    host_->offerEngine(engineVersion, engineArchive(), engine_);
}

void Stage::offerGame(const QByteArray &behaviour)
{
    host_->offerGame(GitArchive::pack(QStringLiteral(DEMO_FOLDER "/game"), u"godot-brindle-main"_s,
                                      {{u"sample-engine.ini"_s, behaviour}}));
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

} // namespace brindle
