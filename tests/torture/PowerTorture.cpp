#include "PowerTorture.h"

#include "Orphans.h"
#include "Rounds.h"
#include "files/Files.h"

#include <algorithm>
#include <array>

namespace brindle {

namespace {

const auto play = QStringLiteral("play");
const auto update = QStringLiteral("update");
const auto reinstall = QStringLiteral("reinstall");

} // namespace

PowerTorture::PowerTorture(const QString &folder, const QString &programs, quint64 seed)
    : disk_(folder)
    , setting_{programs + QStringLiteral("/torture-launcher"),
               disk_.path() + QStringLiteral("/home"),
               disk_.path() + QStringLiteral("/temporary"),
               {},
               programs}
    , offers_(folder + QStringLiteral("/offers"), programs + QStringLiteral("/sample-engine"),
              Platform::current(programs))
    , generator_(seed)
{
    setting_.host = offers_.url().toString();
    offers_.offer(++commit_);
}

int PowerTorture::random(int below)
{
    // Not a distribution of the library's: those may differ from one library to the next.
    return static_cast<int>(generator_() % static_cast<quint64>(std::max(1, below)));
}

QString PowerTorture::measure()
{
    disk_.format();
    disk_.mount();
    Files::createFolder(setting_.temporary);
    for (const QString &action : {play, update, reinstall}) {
        const LauncherRun run = LauncherRun::of(setting_, action);
        if (!run.good) {
            return QStringLiteral("an undisturbed \"%1\" failed:\n%2")
                .arg(action, run.lines.join(u'\n'));
        }
        lengths_.insert(action, static_cast<int>(run.time.count()));
    }
    installedCommit_ = commit_;
    return {};
}

QStringList PowerTorture::clearOrphans()
{
    QStringList problems;
    for (const QString &orphan : Orphans::clear()) {
        problems << QStringLiteral("still running: ") + orphan;
    }
    return problems;
}

/// Half of the cuts come while the launcher works, half of them when it has ended: what it wrote
/// last is not on the disk by then.
LauncherRun PowerTorture::cutRun(const QString &action)
{
    constexpr std::array journals{Journal::everyFiveSeconds, Journal::everySecond,
                                  Journal::atTheCut};
    constexpr std::array maxWaits{6000, 2000, 500}; // milliseconds; with each of them
    const auto which = static_cast<size_t>(random(static_cast<int>(journals.size())));
    const Journal journal = journals.at(which);
    const int length = lengths_.value(action);
    const int after = random(2) == 0 ? random(length) : length + random(maxWaits.at(which));
    disk_.mount(journal == Journal::everySecond ? QStringLiteral("commit=1") : QString());
    Files::createFolder(setting_.temporary);

    const auto cut = [&] {
        if (journal == Journal::atTheCut) {
            disk_.commitJournal();
        }
        disk_.cutPower();
    };
    LauncherRun run = LauncherRun::of(setting_, action, std::chrono::milliseconds(after), cut);
    ++cuts_[run.phase()];
    story_ << QStringLiteral("--- %1, cut after %2 ms, journal %3; %4")
                  .arg(action, QString::number(after), QString::number(which), run.phase())
           << run.lines;
    return run;
}

/// What the launcher says before anything is pressed, and whether it is true.
QStringList PowerTorture::problemsOfState(const Inspection &inspection,
                                          const Inspection::Expected &expected)
{
    const LauncherRun look = LauncherRun::of(setting_, QStringLiteral("look"));
    story_ << QStringLiteral("--- look") << look.lines;
    if (!look.lines.contains(QStringLiteral("state: ready"))) {
        return {};
    }
    ++ready_;
    QStringList problems = inspection.problemsOfReady(expected);
    for (QString &problem : problems) {
        problem.prepend(QStringLiteral("said to be ready, but "));
    }
    return problems;
}

QString PowerTorture::round(int number)
{
    const std::array actions{play, play, update, reinstall};
    const QString action =
        number == 1 ? play : actions.at(static_cast<size_t>(random(actions.size())));
    ++rounds_[action];
    story_.clear();

    Inspection::Expected expected;
    if (action == play) {
        disk_.format();
        installedCommit_ = commit_;
    }
    if (action == update) {
        offers_.offer(++commit_);
    }
    expected.commits = {installedCommit_, commit_};
    expected.newestCommit = commit_;
    if (action != play) {
        disk_.unmount();
    }
    cutRun(action);
    QStringList problems = clearOrphans();
    disk_.restorePower();

    const Inspection inspection(offers_, setting_);
    problems << problemsOfState(inspection, expected);
    const LauncherRun run = LauncherRun::of(setting_, play);
    story_ << QStringLiteral("--- play") << run.lines;
    problems << clearOrphans() << inspection.problems(run, expected);
    installedCommit_ = inspection.installedCommit();
    return problems.isEmpty() ? QString()
                              : QStringLiteral("round %1 (%2) failed:\n%3\n\nWhat happened:\n%4")
                                    .arg(QString::number(number), action, problems.join(u'\n'),
                                         story_.join(u'\n'));
}

QString PowerTorture::summary() const
{
    int total = 0;
    for (const int count : rounds_) {
        total += count;
    }
    return QStringLiteral("%1 power cuts (%2; %3), %4 of them with the launcher ready after it")
        .arg(QString::number(total), Rounds::listed(rounds_), Rounds::listed(cuts_),
             QString::number(ready_));
}

} // namespace brindle
