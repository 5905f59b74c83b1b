#include "Rounds.h"

#include "support/TestFiles.h"

#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <numeric>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

QList<pid_t> children()
{
    QList<pid_t> found;
    for (const QByteArray &pid :
         readFile(u"/proc/thread-self/children"_s).simplified().split(' ')) {
        if (!pid.isEmpty()) {
            found << pid.toInt();
        }
    }
    return found;
}

} // namespace

Rounds::Rounds(const QString &folder, const QString &programs, quint64 seed)
    : setting_{folder + u"/home"_s, folder + u"/temporary"_s, {}, programs}
    , offers_(programs)
    , generator_(seed)
{
    // Makes orphaned descendants children of this process.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    setting_.host = offers_.url();
    offers_.offer(++commit_);
}

int Rounds::random(int below)
{
    // The standard libraries' distributions differ, so one seed would give different numbers.
    return static_cast<int>(generator_() % static_cast<quint64>(std::max(1, below)));
}

QString Rounds::run(int count)
{
    const QString problem = measure();
    if (!problem.isEmpty()) {
        return problem;
    }
    for (int i = 1; i <= count; ++i) {
        story_.clear();
        const QStringList problems = round(i);
        ++rounds_[name_];
        if (!problems.isEmpty()) {
            return u"round %1 (%2) failed:\n%3\n\nWhat happened:\n%4"_s.arg(
                QString::number(i), name_, problems.join(u'\n'), story_.join(u'\n'));
        }
    }
    return {};
}

QString Rounds::measure(const QStringList &actions)
{
    for (const QString &action : actions) {
        if (action == u"update") {
            offers_.offer(++commit_);
        }
        QElapsedTimer timer;
        timer.start();
        const auto run = launch(action);
        if (!run->isGood()) {
            return u"an undisturbed \"%1\" failed:\n%2"_s.arg(action, run->lines().join(u'\n'));
        }
        lengths_[action] = static_cast<int>(timer.elapsed());
    }
    installedCommit_ = commit_;
    return {};
}

std::unique_ptr<ConsoleLauncher> Rounds::launch(const QString &action,
                                                std::optional<std::chrono::milliseconds> killAfter,
                                                const std::function<void()> &beforeKill)
{
    auto run = std::make_unique<ConsoleLauncher>(setting_);
    QElapsedTimer timer;
    timer.start();
    run->start(action);
    const auto left = [&] {
        return std::max(std::chrono::milliseconds(0),
                        *killAfter - std::chrono::milliseconds(timer.elapsed()));
    };
    killAfter ? run->waitForEnd(left()) : run->waitForEnd();
    if (beforeKill) {
        QThread::msleep(static_cast<unsigned long>(left().count()));
        beforeKill();
    }
    run->kill();
    // Until it runs its program, a child holds the dead launcher's locks. The next launcher would
    // leave the locked folder to the one after it.
    const auto isFork = [](pid_t pid) {
        return readFile(u"/proc/%1/cmdline"_s.arg(pid)).contains("torture-launcher");
    };
    while (std::ranges::any_of(children(), isFork)) {
        QThread::msleep(1);
    }
    story_ << u"--- "_s + action;
    if (killAfter) {
        story_.last() += u", to end after %1 ms; %2"_s.arg(killAfter->count()).arg(run->phase());
        ++phases_[run->phase()];
    }
    story_ << run->lines();
    return run;
}

QStringList Rounds::clearOrphans()
{
    constexpr qint64 patience = 60'000; // milliseconds
    QElapsedTimer timer;
    timer.start();
    QStringList stubborn;
    for (;;) {
        const QList<pid_t> left = children();
        if (left.isEmpty()) {
            return stubborn;
        }
        for (const pid_t pid : left) {
            if (waitpid(pid, nullptr, WNOHANG) == pid) {
                continue;
            }
            const QByteArray line = readFile(u"/proc/%1/cmdline"_s.arg(pid)).replace('\0', ' ');
            const bool isGame = line.contains(" --windowed");
            if (!isGame && timer.elapsed() > patience) {
                stubborn << u"still running: "_s + QString::fromUtf8(line);
            }
            if (isGame || timer.elapsed() > patience) {
                kill(pid, SIGKILL);
            }
        }
        QThread::msleep(1);
    }
}

QStringList Rounds::recover(const QSet<int> &commits)
{
    const auto run = launch(u"play"_s);
    QStringList problems = clearOrphans();
    const Inspection inspection(offers_, setting_);
    problems << inspection.problems(*run, commits);
    installedCommit_ = inspection.installedCommit();
    return problems;
}

QString Rounds::counted(const QString &what, const QMap<QString, int> &counts)
{
    QStringList parts;
    for (auto it = counts.begin(); it != counts.end(); ++it) {
        parts << u"%1 %2"_s.arg(it.key()).arg(*it);
    }
    return u"%1 %2 (%3)"_s.arg(std::accumulate(counts.begin(), counts.end(), 0))
        .arg(what, parts.join(u", "_s));
}

QString Rounds::summary() const
{
    QMap<QString, int> kills = phases_;
    const int ended = kills.take(u"Ended"_s);
    return u"%1; %2; %3 runs ended before"_s
        .arg(counted(u"rounds"_s, rounds_), counted(u"kills"_s, kills))
        .arg(ended);
}

} // namespace brindle
