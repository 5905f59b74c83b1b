#include "LauncherRun.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>

namespace brindle {

namespace {

constexpr int maxRun = 120'000; // milliseconds

const auto phaseMark = QStringLiteral("phase: ");
const auto logMark = QStringLiteral("log: ");

} // namespace

QString LauncherRun::phase() const
{
    if (!killed) {
        return QStringLiteral("Ended");
    }
    QString phase = QStringLiteral("Starting");
    for (const QString &line : lines) {
        if (line.startsWith(phaseMark)) {
            phase = line.mid(phaseMark.size());
        }
    }
    static const QRegularExpression numbers(QStringLiteral(" [0-9.]+-stable$"));
    return phase.remove(numbers);
}

QStringList LauncherRun::log() const
{
    QStringList log;
    for (const QString &line : lines) {
        if (line.startsWith(logMark)) {
            log << line.mid(logMark.size());
        }
    }
    return log;
}

LauncherRun LauncherRun::of(const Setting &setting, const QString &action,
                            std::optional<std::chrono::milliseconds> killAfter,
                            const std::function<void()> &beforeKill)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    process.start(setting.program,
                  {action, setting.home, setting.temporary, setting.host, setting.programs});
    LauncherRun run;
    process.waitForStarted();
    const qint64 rest = killAfter ? killAfter->count() - timer.elapsed() : maxRun;
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
