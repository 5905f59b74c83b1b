// torture-launcher ACTION HOME TEMPORARY HOST PROGRAMS: the launcher without its window, composed
// like the real one. ACTION is "play", "update", "reinstall", "remove" or "look". Each printed line
// begins with its kind: "phase: " and a headline, "log: " and a line of the log, "end: " and the
// result. "look" presses nothing and prints "state: ready" if the launcher is ready. A running game
// is stopped. Returns 0 if the action succeeded. On SIGTERM it cancels and ends, as the real
// launcher does, and prints "cancelled: " with the microseconds.

#include "base/Clock.h"
#include "base/Threads.h"
#include "core/AppModel.h"
#include "core/Dependencies.h"
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
    parts.storageRoot = storageRoot(arguments);
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

class Session : public QObject
{
public:
    Session(AppModel &model, QString action, QString temporary)
        : model_(model), action_(std::move(action)), temporary_(std::move(temporary))
    {
        connect(&model_, &AppModel::stepTextChanged, this, &Session::showPhase);
        connect(&model_.log, &LogStore::linesChanged, this, &Session::showLog);
        connect(&model_, &AppModel::workChanged, this, &Session::endWhenIdle);
    }

    void begin()
    {
        if (action_ == u"update") {
            model_.updateGame();
        } else if (action_ == u"reinstall") {
            model_.reinstall();
        } else if (action_ == u"remove") {
            print("phase", u"Removing everything"_s);
            model_.removeEverything();
        } else {
            model_.startWork(true);
        }
    }

    void quit()
    {
        if (!cancelled_.isValid()) {
            cancelled_.start();
            model_.cancel();
        }
    }

private:
    void showPhase()
    {
        if (!model_.stepText().isEmpty()) {
            print("phase", model_.stepText());
        }
    }

    void showLog()
    {
        const auto &lines = model_.log.lines();
        for (; shown_ < lines.size(); ++shown_) {
            print("log", lines.at(shown_));
            if (lines.at(shown_) == u"The game is running.") {
                print("phase", u"The game runs"_s);
                // Kills must also hit a running game.
                QTimer::singleShot(shortGame, this, &Session::stopWhenClear);
            }
        }
    }

    /// Stops the game once the leftovers of earlier launchers are deleted, or after ten seconds.
    void stopWhenClear()
    {
        const QStringList left =
            QDir(temporary_).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        if (left.isEmpty() || ++looks_ == maxLooks) {
            for (const QString &name : left) {
                print("left", name);
            }
            model_.cancel();
            return;
        }
        QTimer::singleShot(lookAfter, this, &Session::stopWhenClear);
    }

    void endWhenIdle()
    {
        if (model_.work()) {
            return;
        }
        if (cancelled_.isValid()) {
            constexpr qint64 nanosecondsPerMicrosecond = 1000;
            print("cancelled",
                  QString::number(cancelled_.nsecsElapsed() / nanosecondsPerMicrosecond));
            QCoreApplication::exit(0);
            return;
        }
        const auto phase = model_.state().phase;
        const bool stopped = model_.log.lines().contains(u"• Game stopped"_s);
        bool good = phase == AppState::Phase::ready;
        if (action_ == u"remove") {
            good = phase == AppState::Phase::notDownloaded;
        } else if (action_ == u"play") {
            good = good && stopped;
        }
        print("end", good ? u"good"_s : u"bad "_s + model_.state().text);
        QCoreApplication::exit(good ? 0 : 1);
    }

    static constexpr int maxLooks = 1000;
    static constexpr int lookAfter = 10;  // milliseconds
    static constexpr int shortGame = 100; // milliseconds

    AppModel &model_;
    const QString action_;
    const QString temporary_;
    QElapsedTimer cancelled_; // since when
    qsizetype shown_ = 0;
    int looks_ = 0;
};

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
    AppModel::compose([arguments] { return parts(arguments); });
    if (arguments.at(1) == u"look") {
        QCoro::waitFor(AppModel::shared().refreshState());
        const bool isReady = AppModel::shared().state().phase == AppState::Phase::ready;
        print("state", isReady ? u"ready"_s : u"not ready"_s);
        return 0;
    }
    Session session(AppModel::shared(), arguments.at(1), arguments.at(3));
    const TerminationSignals endSignals;
    QObject::connect(&endSignals, &TerminationSignals::requested, &session, &Session::quit);
    QTimer::singleShot(0, &session, [&] {
        StagingFolder::startClearingLeftovers(arguments.at(3), storageRoot(arguments));
        session.begin();
    });
    return QCoreApplication::exec();
}
