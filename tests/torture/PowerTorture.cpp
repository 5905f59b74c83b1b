#include "PowerTorture.h"

#include "Orphans.h"
#include "files/Files.h"

#include <QRegularExpression>

#include <array>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

/// When the file system writes its journal.
struct Journal
{
    const char *options; ///< of mount(8)
    bool isWrittenAtCut; ///< as if some other program had just saved a file
    int maxWait;         ///< milliseconds between the launcher's end and the cut
};

constexpr std::array<Journal, 3> journals{{
    {"", false, 6000}, // ext4 writes it every five seconds
    {"commit=1", false, 2000},
    {"", true, 500},
}};

} // namespace

PowerTorture::PowerTorture(const QString &folder, const QString &programs, quint64 seed)
    : Rounds(folder, folder + u"/disk/home"_s, folder + u"/disk/temporary"_s, programs, seed)
    , disk_(folder)
{}

QString PowerTorture::measure()
{
    disk_.format();
    disk_.mount();
    Files::createFolder(setting_.temporary);
    return Rounds::measure({u"play"_s, u"update"_s, u"reinstall"_s}, 1);
}

/// Half of the cuts come while the launcher works, half of them after its end, when its last writes
/// have not reached the disk.
void PowerTorture::cut(const QString &action)
{
    const Journal &journal = journals.at(static_cast<size_t>(random(journals.size())));
    const int length = lengths_.value(action);
    const int after = random(2) == 0 ? random(length) : length + random(journal.maxWait);
    disk_.mount(QString::fromLatin1(journal.options));
    Files::createFolder(setting_.temporary);
    launch(action, std::chrono::milliseconds(after), [&] {
        if (journal.isWrittenAtCut) {
            disk_.commitJournal();
        }
        disk_.cutPower();
    });
}

/// Checks what the launcher says before anything is pressed.
QStringList PowerTorture::problemsOfState(const Inspection::Expected &expected)
{
    if (!launch(u"look"_s).lines.contains(u"state: ready"_s)) {
        return {};
    }
    ++ready_;
    QStringList problems = Inspection(offers_, setting_).problemsOfReady(expected);
    return problems.replaceInStrings(QRegularExpression(u"^"_s), u"said to be ready, but "_s);
}

QStringList PowerTorture::round(int number)
{
    const std::array actions{u"play"_s, u"play"_s, u"update"_s, u"reinstall"_s};
    name_ = number == 1 ? u"play"_s : actions.at(static_cast<size_t>(random(actions.size())));
    Inspection::Expected expected;
    if (name_ == u"play") {
        disk_.format();
        installedCommit_ = commit_;
    } else {
        disk_.unmount();
    }
    if (name_ == u"update") {
        offers_.offer(++commit_);
    }
    expected.commits = {installedCommit_, commit_};
    expected.newestCommit = commit_;
    cut(name_);
    QStringList problems = Orphans::clear();
    disk_.restorePower();
    problems << problemsOfState(expected);
    return problems + recover(expected);
}

QString PowerTorture::summary() const
{
    return u"%1; %2; %3 of them with the launcher ready after it"_s
        .arg(counted(u"power cuts"_s, rounds_), counted(u"runs"_s, phases_))
        .arg(ready_);
}

} // namespace brindle
