// The running game: how it is started, and what is made of its end.

#include "base/Error.h"
#include "core/AppModel.h"
#include "log/LogQueue.h"

#include <QPointer>

namespace brindle {

namespace {

/// How long the last lines of output may take to reach the log.
constexpr Clock::Duration lastLinesDelay{0.2};
/// How many lines of the log a failure report shows.
constexpr qsizetype reportLines = 30;

} // namespace

QString AppModel::plainHint(const QStringList &lines)
{
    const QString text = lines.join(QLatin1Char('\n')).toLower();
    const auto mentions = [&text](QLatin1String word) { return text.contains(word); };
    if (mentions(QLatin1String("vulkan")) || mentions(QLatin1String("metal")) ||
        mentions(QLatin1String("gpu")) || mentions(QLatin1String("rendering"))) {
        return QStringLiteral("The graphics system reported a problem. The game may need a faster "
                              "Mac or a newer macOS.");
    }
    if (mentions(QLatin1String("script error")) || mentions(QLatin1String("parse error"))) {
        return QStringLiteral("The game's scripts reported errors. The log below shows where.");
    }
    return QStringLiteral("The last lines of the log below may show why.");
}

QCoro::Task<> AppModel::launchGame(QString engine, QString project, std::stop_token stop)
{
    state = AppState::starting();
    stepText = QStringLiteral("Starting the game…");
    progress = std::nullopt;
    detail = QString();

    QStringList arguments{QStringLiteral("--path"), project};
    arguments << (fullscreen() ? QStringLiteral("--fullscreen") : QStringLiteral("--windowed"));
    if (const auto size = ResolutionChoices::argument(resolution())) {
        arguments << QStringLiteral("--resolution") << *size;
    }
    log.append(QStringLiteral("• Starting: Godot ") + arguments.join(QLatin1Char(' ')));

    const LineCallback line = lineSink();
    const std::function<void()> stayedOpen = [model = QPointer<AppModel>(this)] {
        if (model && model->state().phase == AppState::Phase::starting) {
            model->state = AppState::playing();
            model->stepText = QStringLiteral("The game is open");
        }
    };
    std::exception_ptr error;
    PlayResult result;
    try {
        auto playing = runner.play(engine, arguments, line, stayedOpen);
        result = co_await playing;
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        state = AppState::needs(QStringLiteral("Could not start the engine: ") + describe(error));
        co_return;
    }

    // A stop ends the wait early; the end is classified all the same.
    auto settling = clock_->sleep(lastLinesDelay, stop);
    co_await settling;
    logQueue_->flush();
    classifyEnd(result);
}

void AppModel::classifyEnd(const PlayResult &result)
{
    if (result.userStopped) {
        log.append(QStringLiteral("• Game stopped"));
        refreshState();
        return;
    }
    const bool stayedOpen = result.seconds >= GameRunner::stayedOpenAfter.count();
    if (stayedOpen && result.exitCode == 0) {
        log.append(QStringLiteral("• Game closed normally"));
        refreshState();
        return;
    }
    const auto seconds = static_cast<qint64>(result.seconds);
    const QString message =
        stayedOpen
            ? QStringLiteral("The game stopped unexpectedly after %1 seconds (exit code %2).")
                  .arg(seconds)
                  .arg(result.exitCode)
            : QStringLiteral("The game closed after %1 second%2 (exit code %3), so it did not "
                             "start properly.")
                  .arg(QString::number(seconds), seconds == 1 ? QString() : QStringLiteral("s"),
                       QString::number(result.exitCode));
    const QStringList tail =
        log.lines().mid(std::max<qsizetype>(0, log.lines().size() - reportLines));
    failure = FailureReport{message + QLatin1Char(' ') + plainHint(tail), tail};
    state = AppState::needs(message);
}

} // namespace brindle
