#include "ui/LauncherModel.h"

#include "base/ByteCount.h"
#include "ui/DisplayText.h"

#include <QDesktopServices>
#include <QPointer>

#include <utility>

namespace brindle {

namespace {

// More than any honest text needs, and no more than can be laid out in a moment.
constexpr qsizetype maxLine = 500;
constexpr qsizetype maxMessage = 2'000;
constexpr qsizetype maxControls = 50;

} // namespace

LauncherModel::LauncherModel(AppModel &app, QObject *parent) : QObject(parent), app_(app)
{
    connect(&app, &AppModel::stateChanged, this, &LauncherModel::stateChanged);
    connect(&app, &AppModel::stateChanged, this, &LauncherModel::canPlayChanged);
    connect(&app, &AppModel::workChanged, this, &LauncherModel::canPlayChanged);
    connect(&app, &AppModel::stepTextChanged, this, &LauncherModel::stepTextChanged);
    connect(&app, &AppModel::progressChanged, this, &LauncherModel::progressChanged);
    connect(&app, &AppModel::detailChanged, this, &LauncherModel::detailChanged);
    connect(&app, &AppModel::failureChanged, this, &LauncherModel::failureChanged);
    connect(&app, &AppModel::infoChanged, this, &LauncherModel::infoChanged);
    connect(&app, &AppModel::fullscreenChanged, this, &LauncherModel::fullscreenChanged);
    connect(&app, &AppModel::resolutionChanged, this, &LauncherModel::resolutionChanged);
    connect(&app, &AppModel::workChanged, this, [this] {
        if (!app_.work() && measurements_ > 0) {
            measureStorage();
        }
    });
}

QString LauncherModel::phase() const
{
    switch (app_.state().phase) {
    case AppState::Phase::notDownloaded:
        return QStringLiteral("notDownloaded");
    case AppState::Phase::downloading:
        return QStringLiteral("downloading");
    case AppState::Phase::settingUp:
        return QStringLiteral("settingUp");
    case AppState::Phase::needs:
        return QStringLiteral("needs");
    case AppState::Phase::ready:
        return QStringLiteral("ready");
    case AppState::Phase::starting:
        return QStringLiteral("starting");
    case AppState::Phase::playing:
        return QStringLiteral("playing");
    }
    Q_UNREACHABLE();
}

QString LauncherModel::needsMessage() const
{
    const auto &state = app_.state();
    return state.phase == AppState::Phase::needs ? DisplayText::of(state.text, maxMessage)
                                                 : QString();
}

bool LauncherModel::canPlay() const
{
    return !app_.canCancel() && !app_.gameRunning() && !app_.work();
}

QString LauncherModel::stepText() const
{
    return DisplayText::of(app_.stepText(), maxLine);
}

QString LauncherModel::detail() const
{
    return DisplayText::of(app_.detail(), maxLine);
}

QString LauncherModel::failureSummary() const
{
    const auto &failure = app_.failure();
    return failure ? DisplayText::of(failure->summary, maxMessage) : QString();
}

QString LauncherModel::failureText() const
{
    const auto &failure = app_.failure();
    QStringList lines = failure ? failure->lines : QStringList();
    for (QString &line : lines) {
        line = DisplayText::of(line, maxMessage);
    }
    return lines.join(QLatin1Char('\n'));
}

QString LauncherModel::name() const
{
    return DisplayText::of(app_.info().name, maxLine);
}

QString LauncherModel::tagline() const
{
    return DisplayText::of(app_.info().tagline, maxLine);
}

QString LauncherModel::licenseName() const
{
    return DisplayText::of(app_.info().licenseName, maxLine);
}

QString LauncherModel::copyright() const
{
    return DisplayText::of(app_.info().copyright, maxLine);
}

QStringList LauncherModel::controls() const
{
    QStringList lines = app_.info().controls.mid(0, maxControls);
    for (QString &line : lines) {
        line = DisplayText::of(line, maxLine);
    }
    return lines;
}

int LauncherModel::resolution() const
{
    const auto &all = ResolutionChoices::all;
    return static_cast<int>(std::find(all.begin(), all.end(), app_.resolution()) - all.begin());
}

void LauncherModel::setResolution(int index)
{
    const auto &all = ResolutionChoices::all;
    if (index >= 0 && static_cast<size_t>(index) < all.size()) {
        app_.setResolution(all.at(static_cast<size_t>(index)));
    }
}

QStringList LauncherModel::resolutions() const
{
    QStringList labels;
    for (const ResolutionChoice choice : ResolutionChoices::all) {
        const auto size = ResolutionChoices::argument(choice);
        labels << size.value_or(QStringLiteral("Game default"));
    }
    return labels;
}

QUrl LauncherModel::repositoryPage() const
{
    return RepoDownloader::repositoryPage(app_.codeHost());
}

QString LauncherModel::repositoryAddress() const
{
    const QUrl page = repositoryPage();
    return page.authority() + page.path();
}

void LauncherModel::play()
{
    // A press may race a change of state, so the button's own rule is repeated here.
    if (canPlay()) {
        app_.startWork(true);
    }
}

void LauncherModel::stop()
{
    app_.runner.stop();
}

void LauncherModel::cancel()
{
    app_.cancel();
}

void LauncherModel::copyFailure()
{
    app_.copyFailure();
}

void LauncherModel::copyLog()
{
    app_.copyLog();
}

void LauncherModel::updateGame()
{
    app_.updateGame();
}

void LauncherModel::reinstall()
{
    app_.reinstall();
}

void LauncherModel::removeEverything()
{
    app_.removeEverything();
}

void LauncherModel::showSaves()
{
    app_.showSaves();
}

void LauncherModel::revealInFinder()
{
    app_.revealInFinder();
}

void LauncherModel::openRepository()
{
    QDesktopServices::openUrl(repositoryPage());
}

void LauncherModel::measureStorage()
{
    measure();
}

QCoro::Task<> LauncherModel::measure()
{
    const int number = ++measurements_;
    if (std::exchange(storageSize_, unknownSize()) != unknownSize()) {
        Q_EMIT storageSizeChanged();
    }
    const QPointer<LauncherModel> self(this);
    auto measuring = app_.storageSize();
    const qint64 bytes = co_await measuring;
    if (!self || self->measurements_ != number) {
        co_return;
    }
    self->storageSize_ = ByteCount::string(bytes);
    Q_EMIT self->storageSizeChanged();
}

void LauncherModel::quit()
{
    Q_EMIT quitRequested();
}

} // namespace brindle
