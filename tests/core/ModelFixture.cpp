#include "ModelFixture.h"

#include "files/Files.h"
#include "project/ProjectInspector.h"
#include "support/Await.h"
#include "support/EngineScript.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSysInfo>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

/// Returns the running system's platform, or macOS's with stand-ins for its tools.
Platform row(const QTemporaryDir &folder)
{
    if (qEnvironmentVariable("BRINDLE_TEST_PLATFORM") == u"macOS") {
        Platform platform = Platform::macOS(folder.path());
        platform.quarantineStep.program = u"/bin/true"_s;
        return platform;
    }
    return Platform::linuxDesktop(folder.filePath(u"share"_s), QSysInfo::currentCpuArchitecture(),
                                  QFileInfo(QStringLiteral(BRINDLE_DITTO)).path());
}

} // namespace

ModelFixture::ModelFixture() : platform(row(folder_))
{
    platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
    Files::createFolder(temporaryFolder());
}

ModelFixture::~ModelFixture() = default;

AppModel &ModelFixture::model()
{
    if (!model_) {
        await(modelAtStart().refreshState());
    }
    return *model_;
}

AppModel &ModelFixture::modelAtStart()
{
    if (!model_) {
        Dependencies parts;
        parts.storageRoot = root();
        parts.temporaryFolder = temporaryFolder();
        parts.settings = std::make_unique<QSettings>(settingsFile(), settingsFormat);
        parts.codeHost = codeHost;
        parts.platform = platform;
        parts.desktop = desktop;
        parts.clock = modelClock;
        model_ = std::make_unique<AppModel>(std::move(parts));
    }
    return *model_;
}

void ModelFixture::restart()
{
    model_.reset();
}

void ModelFixture::waitUntilIdle(int seconds)
{
    spinUntil([this] { return !model().work(); }, seconds);
}

QStringList ModelFixture::leftovers() const
{
    return Files::names(temporaryFolder());
}

void ModelFixture::installByHand(const QByteArray &engine, const QString &version)
{
    const QString project = root(u"Game/godot-brindle-main"_s);
    write(project + u"/project.godot"_s,
          QByteArrayLiteral("config_version=5\nconfig/name=\"By hand\"\n"
                            "config/features=PackedStringArray(\"") +
              version.toUtf8() + QByteArrayLiteral("\")\n"));
    ProjectInfo info = ProjectInspector::inspect(project);
    write(root(u"info.json"_s), info.toJson());
    const EngineSpec spec{version + u"-stable"_s, false};
    QString program = spec.program(platform);
    if (program.startsWith(u'*')) {
        program.replace(0, 1, u"Godot"_s);
    }
    write(spec.folder(root()) + u'/' + program, engine, true);
    write(root(u"imported-%1.txt"_s.arg(spec.tag())), QByteArrayLiteral("ok"));
}

void ModelFixture::write(const QString &path, const QByteArray &content, bool executable)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        throw std::runtime_error("can't write " + path.toStdString());
    }
    file.close();
    if (executable) {
        file.setPermissions(file.permissions() | QFile::ExeOwner | QFile::ExeUser);
    }
}

QByteArray ModelFixture::read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray ModelFixture::engineScript(int importExit)
{
    return brindle::engineScript("printf '%s\\n' \"$@\" > \"$2/play arguments\"\n"
                                 "rm -f \"$2/finish\"\n"
                                 "mkfifo \"$2/finish\"\n"
                                 "echo \"engine is playing\"\n"
                                 "read code < \"$2/finish\"\n"
                                 "exit \"$code\"",
                                 "printf '%s\\n' \"$@\" > \"$4/import arguments\"\n"
                                 "echo \"engine is importing\"\n"
                                 "exit " +
                                     QByteArray::number(importExit));
}

void ModelFixture::finishGame(const QString &projectFolder, int code)
{
    QFile fifo(projectFolder + u"/finish"_s);
    if (!fifo.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        throw std::runtime_error("no engine is playing");
    }
    fifo.write(QByteArray::number(code) + '\n');
}

} // namespace brindle
