// torture-launcher ACTION HOME TEMPORARY HOST PROGRAMS: the launcher without its window, composed
// like the real one. ACTION is "play", "update", "reinstall", "remove" or "look". Each printed line
// begins with its kind: "phase: " and a headline, "log: " and a line of the log, "end: " and the
// result. "look" presses nothing and succeeds if the launcher is ready. A running game is stopped.
// Returns 0 if the action succeeded. On SIGTERM it cancels and ends, as the real launcher does, and
// prints "cancelled: " with the microseconds.

#include "base/Clock.h"
#include "base/Threads.h"
#include "core/AppModel.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "platform/TerminationSignals.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdio>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Presses the first button of every alert.
class AgreeingDesktop final : public Desktop
{
public:
    QCoro::Task<int> runAlert(Alert /*alert*/) override { co_return 0; }
    void reveal(const QString & /*path*/) override {}
    void copyText(const QString & /*text*/) override {}
    void openPage(const QUrl & /*page*/) override {}
};

QString storageRoot(const QStringList &arguments)
{
    return QDir(arguments.at(2)).filePath(u"data/Brindle"_s);
}

Dependencies parts(const QStringList &arguments)
{
    const QDir home(arguments.at(2));
    Dependencies parts;
    parts.storage = storageRoot(arguments);
    parts.temporaryFolder = arguments.at(3);
    parts.settings =
        std::make_unique<QSettings>(home.filePath(u"settings.ini"_s), QSettings::IniFormat);
    parts.codeHost = QUrl(arguments.at(4));
    parts.platform = Platform::current(arguments.at(5));
    parts.desktop = std::make_shared<AgreeingDesktop>();
    parts.clock = std::make_shared<SteadyClock>();
    return parts;
}

void print(const char *kind, const QString &text)
{
    std::printf("%s: %s\n", kind, qPrintable(text));
    std::fflush(stdout);
}

/// Prints each new line of the log, and stops the game soon after its start.
void followLog(AppModel &model, const QString &temporary)
{
    // Let the game run for a while, so that kills also hit it, and until the leftovers of earlier
    // launchers are gone.
    auto *const stopping = new QTimer(&model);
    stopping->callOnTimeout([&model, temporary, stopping, looks = 0]() mutable {
        if (++looks == 1000 || (looks > 10 && Files::names(temporary).isEmpty())) {
            stopping->stop();
            model.cancel();
        }
    });
    QObject::connect(&model.log, &LogStore::linesChanged, &model,
                     [&model, stopping, shown = qsizetype(0)]() mutable {
                         for (const auto &lines = model.log.lines(); shown < lines.size();
                              ++shown) {
                             print("log", lines.at(shown));
                             if (lines.at(shown) == u"The game is running.") {
                                 print("phase", u"The game runs"_s);
                                 stopping->start(10);
                             }
                         }
                     });
}

void begin(AppModel &model, const QString &action)
{
    if (action == u"update") {
        model.updateGame();
    } else if (action == u"reinstall") {
        model.reinstall();
    } else if (action == u"remove") {
        print("phase", u"Removing everything"_s);
        model.removeEverything();
    } else {
        model.startWork(true);
    }
}

/// Prints the result of the action and returns the exit code.
int result(const AppModel &model, const QString &action)
{
    const auto wanted =
        action == u"remove" ? AppState::Phase::notDownloaded : AppState::Phase::ready;
    const bool good = model.state().phase == wanted &&
                      (action != u"play" || model.log.lines().contains(u"• Game stopped"_s));
    print("end", good ? u"good"_s : u"bad "_s + model.state().text);
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    constexpr int expectedCount = 6;
    const Threads::ProgramEnd programEnd;
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != expectedCount) {
        std::fputs("torture-launcher ACTION HOME TEMPORARY HOST PROGRAMS\n", stderr);
        return 2;
    }
    const QString &action = arguments.at(1);
    const QString &temporary = arguments.at(3);
    AppModel::compose = [arguments] { return parts(arguments); };
    AppModel &model = AppModel::shared();
    if (action == u"look") {
        QCoro::waitFor(model.refreshState());
        return model.state().phase == AppState::Phase::ready ? 0 : 1;
    }
    QObject::connect(&model, &AppModel::changed, &model, [&model, last = QString()]() mutable {
        if (last != model.stepText() && !model.stepText().isEmpty()) {
            print("phase", model.stepText());
        }
        last = model.stepText();
    });
    followLog(model, temporary);
    QElapsedTimer cancelled; // runs since the cancellation
    QObject::connect(&model, &AppModel::workChanged, &application, [&] {
        if (!model.work() && cancelled.isValid()) {
            print("cancelled", QString::number(cancelled.nsecsElapsed() / 1000));
            QCoreApplication::exit(0);
        } else if (!model.work()) {
            QCoreApplication::exit(result(model, action));
        }
    });
    onTerminationSignal(QCoreApplication::instance(), [&] {
        if (!cancelled.isValid()) {
            cancelled.start();
            model.cancel();
        }
    });
    QTimer::singleShot(0, &application, [&] {
        Threads::start([temporary, root = storageRoot(arguments)] {
            StagingFolder::clearLeftovers(temporary, root);
        });
        begin(model, action);
    });
    return QCoreApplication::exec();
}
