#include "LauncherRun.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

QStringList LauncherRun::marked(const QString &mark) const
{
    QStringList found;
    for (const QString &line : lines) {
        if (line.startsWith(mark)) {
            found << line.mid(mark.size());
        }
    }
    return found;
}

QString LauncherRun::phase() const
{
    if (!killed) {
        return u"Ended"_s;
    }
    const QStringList phases = marked(u"phase: "_s);
    static const QRegularExpression version(u" [0-9.]+-stable$"_s);
    return phases.isEmpty() ? u"Starting"_s : QString(phases.last()).remove(version);
}

LauncherRun LauncherRun::of(const Setting &setting, const QString &action,
                            std::optional<std::chrono::milliseconds> killAfter,
                            const std::function<void()> &beforeKill)
{
    constexpr qint64 longest = 120'000; // milliseconds
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(setting.program,
                  {action, setting.home, setting.temporary, setting.host, setting.programs});
    LauncherRun run;
    process.waitForStarted();
    const qint64 rest = killAfter ? killAfter->count() - timer.elapsed() : longest;
    const bool ended = rest > 0 ? process.waitForFinished(static_cast<int>(rest))
                                : process.state() == QProcess::NotRunning;
    if (beforeKill) {
        const qint64 left = killAfter->count() - timer.elapsed();
        QThread::msleep(static_cast<unsigned long>(std::max<qint64>(left, 0)));
        beforeKill();
    }
    if (!ended) {
        process.kill();
        process.waitForFinished(-1);
    }
    run.killed = process.exitStatus() == QProcess::CrashExit;
    run.good = !run.killed && process.exitCode() == 0;
    run.time = std::chrono::milliseconds(timer.elapsed());
    run.lines = QString::fromUtf8(process.readAll()).split(u'\n', Qt::SkipEmptyParts);
    return run;
}

} // namespace brindle
