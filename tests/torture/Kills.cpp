#include "Rounds.h"
#include "files/Files.h"

#include <QDir>

#include <array>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

struct Kind
{
    const char *name;
    const char *action;
    int share;
};

constexpr std::array<Kind, 4> kinds{{
    {"first play", "play", 3},
    {"update", "update", 3},
    {"reinstall", "reinstall", 2},
    {"remove everything", "remove", 2},
}};
constexpr int allShares = 10;

class Kills : public Rounds
{
public:
    Kills(const QString &folder, const QString &programs, quint64 seed)
        : Rounds(folder, programs, seed)
    {
        Files::createFolder(setting_.temporary);
    }

private:
    QString measure() override
    {
        return Rounds::measure({u"play"_s, u"update"_s, u"reinstall"_s, u"remove"_s});
    }

    void kill(const QString &action)
    {
        // A Play without setup takes less time than a first Play.
        constexpr int toLaunch = 300; // milliseconds
        const int length = action == u"play" && isSetUp_ ? toLaunch : lengths_.value(action);
        const auto run = launch(action, std::chrono::milliseconds(random(length)));
        isSetUp_ = action != u"remove" && run->isGood();
    }

    QStringList round(int number) override
    {
        size_t kind = 0; // the first round must be a first Play
        for (int share = number == 1 ? 0 : random(allShares); share >= kinds.at(kind).share;
             ++kind) {
            share -= kinds.at(kind).share;
        }
        name_ = QString::fromLatin1(kinds.at(kind).name);
        const QString action = QString::fromLatin1(kinds.at(kind).action);
        isSetUp_ = false;
        if (action == u"play") {
            QDir(setting_.home).removeRecursively();
        } else if (action == u"update") {
            offers_.offer(++commit_);
        }
        kill(action);
        constexpr int maxKills = 3;
        for (int more = random(maxKills); more > 0; --more) {
            kill(u"play"_s);
        }
        // Without the newest commit, the launcher keeps the earlier one.
        return recover({installedCommit_, commit_});
    }

    bool isSetUp_ = false; // the last run left a complete setup
};

} // namespace

std::unique_ptr<Rounds> Rounds::ofKills(const QString &folder, const QString &programs,
                                        quint64 seed)
{
    return std::make_unique<Kills>(folder, programs, seed);
}

} // namespace brindle
