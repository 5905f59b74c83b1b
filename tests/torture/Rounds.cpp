#include "Rounds.h"

#include "Orphans.h"

#include <algorithm>
#include <numeric>

namespace brindle {

using namespace Qt::StringLiterals;

Rounds::Rounds(const QString &folder, const QString &home, const QString &temporary,
               const QString &programs, quint64 seed)
    : setting_{programs + u"/torture-launcher"_s, home, temporary, {}, programs}
    , offers_(folder + u"/offers"_s, programs + u"/sample-engine"_s, Platform::current(programs))
    , generator_(seed)
{
    setting_.host = offers_.url().toString();
    offers_.offer(++commit_);
}

int Rounds::random(int below)
{
    // The library's distributions differ from one library to the next.
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

QString Rounds::measure(const QStringList &actions, int times)
{
    QMap<QString, QList<int>> lengths;
    for (int i = 0; i < times; ++i) {
        for (const QString &action : actions) {
            if (action == u"update") {
                offers_.offer(++commit_);
            }
            const LauncherRun run = LauncherRun::of(setting_, action);
            if (!run.good) {
                return u"an undisturbed \"%1\" failed:\n%2"_s.arg(action, run.lines.join(u'\n'));
            }
            lengths[action] << static_cast<int>(run.time.count());
        }
    }
    for (auto it = lengths.begin(); it != lengths.end(); ++it) {
        std::sort(it->begin(), it->end());
        lengths_.insert(it.key(), it->at(times / 2));
    }
    installedCommit_ = commit_;
    return {};
}

LauncherRun Rounds::launch(const QString &action,
                           std::optional<std::chrono::milliseconds> killAfter,
                           const std::function<void()> &beforeKill)
{
    const LauncherRun run = LauncherRun::of(setting_, action, killAfter, beforeKill);
    story_ << u"--- "_s + action;
    if (killAfter) {
        story_.last() += u", to end after %1 ms; %2"_s.arg(killAfter->count()).arg(run.phase());
        ++phases_[run.phase()];
    }
    story_ << run.lines;
    return run;
}

QStringList Rounds::recover(const Inspection::Expected &expected)
{
    const LauncherRun run = launch(u"play"_s);
    QStringList problems = Orphans::clear();
    const Inspection inspection(offers_, setting_);
    problems << inspection.problems(run, expected);
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

} // namespace brindle
