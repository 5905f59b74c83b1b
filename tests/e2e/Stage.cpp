#include "Stage.h"

#include "Namespaces.h"
#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "platform/Platform.h"

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

const auto engineVersion = QStringLiteral("4.3-stable");
// Enough to be seen on its way.
constexpr qint64 engineBytes = 6'000'000;

Platform platform()
{
    return Platform::linuxDesktop(QString(), QSysInfo::currentCpuArchitecture(), QString());
}

QString engineArchive()
{
    return QStringLiteral("Godot_v") + engineVersion + platform().standardArchiveSuffix;
}

/// Where libcurl looks for those whom it trusts, on Debian.
const auto trusted = QStringLiteral("/etc/ssl/certs/ca-certificates.crt");

} // namespace

Stage::Stage()
{
    constexpr long day = 86'400;
    certificates_ = {
        {Certificate::good, TestCertificate::make({realNames})},
        {Certificate::untrusted, TestCertificate::make({realNames})},
        {Certificate::expired, TestCertificate::make({realNames, -2 * day, -day})},
        {Certificate::wrongHost, TestCertificate::make({"DNS:example.com"})},
    };
    QByteArray bundle;
    for (const Certificate known :
         {Certificate::good, Certificate::expired, Certificate::wrongHost}) {
        bundle += certificates_.value(known).certificate;
    }
    write(QStringLiteral("trusted"), bundle);
    Namespaces::mountOver(trusted, file(QStringLiteral("trusted")));
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
    open();
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
    host_->offerAddon(QStringLiteral("tessel-works/brindle-minimap"),
                      file(QStringLiteral("addon.zip")));
    host_->offerEngine(engineVersion, engineArchive(), file(QStringLiteral("engine.zip")));
}

void Stage::offerGame(const QByteArray &behaviour)
{
    GitArchive::pack(QStringLiteral(DEMO_FOLDER "/game"), QStringLiteral("godot-brindle-main"),
                     file(QStringLiteral("game.zip")), {}, {},
                     {{QStringLiteral("sample-engine.ini"), behaviour}});
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
