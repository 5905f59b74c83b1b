#include "Torture.h"

#include "Orphans.h"
#include "Rounds.h"
#include "files/Files.h"

#include <QDir>

#include <algorithm>
#include <utility>

namespace brindle {

namespace {

const auto play = QStringLiteral("play");
/// A Play with everything there.
const auto launch = QStringLiteral("launch");

} // namespace

Torture::Torture(const QString &folder, const QString &secondTemporary, const QString &programs,
                 quint64 seed)
    : folder_(folder)
    , secondTemporary_(secondTemporary)
    , setting_{programs + QStringLiteral("/torture-launcher"),
               folder + QStringLiteral("/home"),
               folder + QStringLiteral("/temporary"),
               {},
               programs}
    , offers_(folder + QStringLiteral("/offers"), programs + QStringLiteral("/sample-engine"),
              Platform::current(programs))
    , generator_(seed)
{
    setting_.host = offers_.url().toString();
    Files::createFolder(setting_.temporary);
    offers_.offer(++commit_);
}

int Torture::random(int below)
{
    // Not a distribution of the library's: those may differ from one library to the next.
    return static_cast<int>(generator_() % static_cast<quint64>(std::max(1, below)));
}

QString Torture::nameOf(Kind kind)
{
    switch (kind) {
    case Kind::firstPlay:
        return QStringLiteral("first play");
    case Kind::update:
        return QStringLiteral("update");
    case Kind::movingUpdate:
        return QStringLiteral("moving update");
    case Kind::reinstall:
        return QStringLiteral("reinstall");
    case Kind::removeEverything:
        break;
    }
    return QStringLiteral("remove everything");
}

QString Torture::actionOf(Kind kind)
{
    switch (kind) {
    case Kind::firstPlay:
        break;
    case Kind::update:
    case Kind::movingUpdate:
        return QStringLiteral("update");
    case Kind::reinstall:
        return QStringLiteral("reinstall");
    case Kind::removeEverything:
        return QStringLiteral("remove");
    }
    return play;
}

QString Torture::measure()
{
    constexpr int times = 5;
    QMap<QString, QList<int>> lengths;
    for (int i = 0; i < times; ++i) {
        for (const QString &action : {play, QStringLiteral("update"), QStringLiteral("reinstall"),
                                      QStringLiteral("remove")}) {
            if (action == u"update") {
                offers_.offer(++commit_);
            }
            const LauncherRun run = LauncherRun::of(setting_, action == launch ? play : action);
            if (!run.good) {
                return QStringLiteral("an undisturbed \"%1\" failed:\n%2")
                    .arg(action, run.lines.join(u'\n'));
            }
            lengths[action] << static_cast<int>(run.time.count());
        }
    }
    for (auto it = lengths.begin(); it != lengths.end(); ++it) {
        std::sort(it->begin(), it->end());
        lengths_.insert(it.key(), it->at(times / 2));
    }
    return {};
}

Torture::Kind Torture::randomKind(int number)
{
    constexpr std::array shares{Kind::firstPlay,       Kind::firstPlay, Kind::firstPlay,
                                Kind::update,          Kind::update,    Kind::movingUpdate,
                                Kind::reinstall,       Kind::reinstall, Kind::removeEverything,
                                Kind::removeEverything};
    return number == 1 ? Kind::firstPlay
                       : shares.at(static_cast<size_t>(random(static_cast<int>(shares.size()))));
}

LauncherRun Torture::killedRun(const QString &action)
{
    // Of a Play that has nothing to set up, little would be left to be killed.
    const bool isShort = action == play && isSetUp_;
    const int after = random(lengths_.value(isShort ? launch : action));
    const LauncherRun run = LauncherRun::of(setting_, action, std::chrono::milliseconds(after));
    isSetUp_ = action != u"remove" && run.good;
    ++kills_[run.phase()];
    story_ << QStringLiteral("--- %1, to be killed after %2 ms; %3")
                  .arg(action, QString::number(after), run.phase())
           << run.lines;
    return run;
}

QString Torture::round(int number)
{
    const Kind kind = randomKind(number);
    ++rounds_[nameOf(kind)];
    story_.clear();
    setting_.temporary = folder_ + QStringLiteral("/temporary");
    if (!secondTemporary_.isEmpty() && random(2) == 0) {
        setting_.temporary = secondTemporary_;
    }

    Inspection::Expected expected;
    // Who has not fetched the newest one keeps what there is.
    expected.commits = {installedCommit_, commit_};
    expected.mayMove = hasNewerAddons_ || kind == Kind::movingUpdate;
    if (kind == Kind::firstPlay) {
        QDir(setting_.home).removeRecursively();
    }
    if (kind == Kind::update || kind == Kind::movingUpdate) {
        offers_.offer(++commit_);
        expected.commits.insert(commit_);
    }
    isSetUp_ = false;
    killedRun(actionOf(kind));
    if (kind == Kind::movingUpdate) {
        offers_.offer(++commit_);
        expected.commits.insert(commit_);
    }
    // Misfortunes seldom come alone.
    constexpr int maxKills = 3;
    for (int more = random(maxKills); more > 0; --more) {
        killedRun(play);
    }
    expected.newestCommit = commit_;

    const LauncherRun run = LauncherRun::of(setting_, play);
    story_ << QStringLiteral("--- play") << run.lines;
    QStringList problems;
    for (const QString &orphan : Orphans::clear()) {
        problems << QStringLiteral("still running: ") + orphan;
    }
    const Inspection inspection(offers_, setting_);
    problems << inspection.problems(run, expected);
    const int installed = inspection.installedCommit();
    hasNewerAddons_ = kind == Kind::movingUpdate ||
                      (hasNewerAddons_ && installed == std::exchange(installedCommit_, installed));
    installedCommit_ = installed;
    return problems.isEmpty() ? QString() : report(number, kind, problems);
}

QString Torture::report(int number, Kind kind, const QStringList &problems) const
{
    return QStringLiteral("round %1 (%2) failed:\n%3\n\nWhat happened:\n%4")
        .arg(QString::number(number), nameOf(kind), problems.join(u'\n'), story_.join(u'\n'));
}

QString Torture::summary() const
{
    int total = 0;
    for (const int count : rounds_) {
        total += count;
    }
    int kills = 0;
    for (auto it = kills_.begin(); it != kills_.end(); ++it) {
        kills += it.key() == u"Ended" ? 0 : *it;
    }
    return QStringLiteral("%1 rounds (%2); %3 kills (%4)")
        .arg(QString::number(total), Rounds::listed(rounds_), QString::number(kills),
             Rounds::listed(kills_));
}

} // namespace brindle
