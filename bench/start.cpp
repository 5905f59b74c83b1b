// The way from a press of Play on a set-up machine to the game: from startWork(true) until the
// engine's program has begun.
//
// usage: bench_start CHILD WORK
//   CHILD stands in for the engine and prints when it began; WORK is emptied

#include "Measure.h"
#include "base/Clock.h"
#include "core/AppModel.h"
#include "files/Files.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>

#include <chrono>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

class NoDesktop final : public Desktop
{
public:
    QCoro::Task<int> runAlert(Alert) override { co_return 0; }
    void reveal(const QString &) override {}
    void copyText(const QString &) override {}
    void openPage(const QUrl &) override {}
};

qint64 now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void measure(const QString &child, const QString &work)
{
    const QString root = work + u"/root"_s;
    Files::remove(work);

    // What a whole setup leaves on the disk.
    const ProjectInfo info;
    const EngineSpec spec = EngineManager::spec(info);
    const Platform platform = Platform::current(QCoreApplication::applicationDirPath());
    Files::createFolder(root + u"/Game/game-main"_s);
    Files::writeAtomically(root + u"/Game/game-main/project.godot"_s, "config_version=5\n");
    Files::createFolder(spec.folder(root));
    QFile::copy(child, spec.folder(root) + u'/' + spec.program(platform));
    Files::writeAtomically(root + u"/info.json"_s, info.toJson());
    Files::writeAtomically(root + u"/imported-"_s + spec.tag() + u".txt"_s, "ok");

    Dependencies parts;
    parts.storageRoot = root;
    parts.temporaryFolder = work + u"/temporary"_s;
    parts.settings = std::make_unique<QSettings>(work + u"/settings.ini"_s, QSettings::IniFormat);
    parts.codeHost = QUrl(u"http://127.0.0.1:9"_s);
    parts.platform = platform;
    parts.desktop = std::make_shared<NoDesktop>();
    parts.clock = std::make_shared<SteadyClock>();
    AppModel model(std::move(parts));
    if (model.state() != AppState::ready()) {
        throw std::runtime_error("the model is not ready");
    }

    std::vector<double> times;
    for (int i = 0; i < 4 * Measure::runs; ++i) {
        model.log.setLines({});
        QEventLoop loop;
        QObject::connect(&model, &AppModel::workChanged, &loop, [&] {
            if (!model.work()) {
                loop.quit();
            }
        });
        const qint64 pressed = now();
        model.startWork(true);
        loop.exec();
        const QStringList lines = model.log.lines();
        const qint64 began = lines.isEmpty() ? 0 : lines.last().toLongLong();
        if (began < pressed) {
            throw std::runtime_error("the engine did not run:\n" + lines.join(u'\n').toStdString());
        }
        times.push_back(static_cast<double>(began - pressed) / 1e6);
    }
    Files::remove(work);
    Measure::printLimit("from Play to the engine's first instruction", Measure::median(times), "ms",
                        20);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(
        argc, argv, "bench_start CHILD WORK", 2,
        [](const QStringList &arguments) { measure(arguments.at(0), arguments.at(1)); });
}
