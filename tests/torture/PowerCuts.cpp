#include "PowerDisk.h"
#include "Rounds.h"
#include "files/Files.h"

#include <array>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// Decides when the file system writes its journal.
struct Journal
{
    const char *options; ///< options of mount(8)
    bool isWrittenAtCut; ///< true: as if another program had just saved a file
    int maxWait;         ///< milliseconds between the launcher's end and the cut
};

constexpr std::array<Journal, 3> journals{{
    {"", false, 6000}, // the default: every five seconds
    {"commit=1", false, 2000},
    {"", true, 500},
}};

class PowerCuts : public Rounds
{
public:
    PowerCuts(const QString &folder, const QString &programs, quint64 seed)
        : Rounds(folder + u"/disk"_s, programs, seed), disk_(folder)
    {}

    QString summary() const override
    {
        return u"%1; %2; %3 of them with the launcher ready after it"_s
            .arg(counted(u"power cuts"_s, rounds_), counted(u"runs"_s, phases_))
            .arg(ready_);
    }

private:
    QString measure() override
    {
        disk_.format();
        disk_.mount();
        Files::createFolder(setting_.temporary);
        return Rounds::measure({u"play"_s, u"update"_s, u"reinstall"_s});
    }

    /// Makes half of the cuts while the launcher works, and half after its end, when its last
    /// writes may still be in memory.
    void cut()
    {
        const Journal &journal = journals.at(static_cast<size_t>(random(journals.size())));
        const int length = lengths_.value(name_);
        const int after = random(2) == 0 ? random(length) : length + random(journal.maxWait);
        disk_.mount(QString::fromLatin1(journal.options));
        Files::createFolder(setting_.temporary);
        launch(name_, std::chrono::milliseconds(after), [&] {
            if (journal.isWrittenAtCut) {
                disk_.commitJournal();
            }
            disk_.cutPower();
        });
    }

    QStringList round(int number) override
    {
        const std::array actions{u"play"_s, u"play"_s, u"update"_s, u"reinstall"_s};
        name_ = number == 1 ? u"play"_s : actions.at(static_cast<size_t>(random(actions.size())));
        if (name_ == u"play") {
            disk_.format();
            installedCommit_ = commit_;
        } else {
            disk_.unmount();
        }
        if (name_ == u"update") {
            offers_.offer(++commit_);
        }
        const QSet<int> commits{installedCommit_, commit_};
        cut();
        QStringList problems = clearOrphans();
        disk_.restorePower();
        // First inspect the disk without pressing anything.
        if (launch(u"look"_s)->isGood()) {
            ++ready_;
            problems << Inspection(offers_, setting_).problemsOfReady(commits);
        }
        return problems + recover(commits);
    }

    PowerDisk disk_;
    int ready_ = 0; // rounds in which the next launcher was ready at once
};

} // namespace

std::unique_ptr<Rounds> Rounds::ofPowerCuts(const QString &folder, const QString &programs,
                                            quint64 seed)
{
    return std::make_unique<PowerCuts>(folder, programs, seed);
}

} // namespace brindle
