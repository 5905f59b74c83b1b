#include "AppFixture.h"

#include "base/Clock.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlContext>
#include <QQmlExpression>
#include <QQuickItem>
#include <QtTest>

using namespace Qt::StringLiterals;

namespace brindle {

void AppFixture::prepare()
{
    BrindleApp::prepare();
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    files_ = std::make_unique<ModelFixture>();
    files_->installByHand(ModelFixture::engineScript());
    AppModel::compose = [this] {
        Dependencies parts = files_->parts();
        parts.desktop = desktop_;
        return parts;
    };
}

void AppFixture::start()
{
    // An earlier test's end of the application would keep event loops from running, so clear it.
    QTimer::singleShot(0, this, [] { QCoreApplication::exit(0); });
    QGuiApplication::exec();
    app_ = std::make_unique<BrindleApp>(desktop_);
    // Alerts close at once.
    QQmlExpression(qmlContext(app_->window()), app_->window(), u"Theme.still = true"_s).evaluate();
    endings_ = std::make_unique<QSignalSpy>(app_.get(), &BrindleApp::ending);
    WorkerHold().open(); // finishes the model's first search before the test
    await(model().refreshState());
    app_->open();
    spinUntil([this] { return app_->window()->isExposed(); });
}

void AppFixture::stop()
{
    if (model().work()) {
        model().cancel();
        spinUntil([] { return !model().work(); });
    }
    app_.reset();
}

QQuickItem *AppFixture::find(const QString &name) const
{
    return visibleItem(app_->window()->contentItem(), name);
}

void AppFixture::startGame()
{
    const auto games = [] { return model().log.lines().count(u"engine is playing"_s); };
    const auto before = games();
    model().startWork(true);
    spinUntil([games, before] { return games() > before; });
}

void AppFixture::finishGame()
{
    files_->finishGame(0);
    spinUntil([] { return !model().work(); });
}

void AppFixture::ask(const std::function<void()> &request, int button,
                     const std::function<void()> &meanwhile)
{
    const QPointer<QQuickItem> before = alert();
    bool answered = false;
    QTimer watch;
    connect(&watch, &QTimer::timeout, this, [&] {
        if (alert() && alert() != before && app_->window()->isExposed()) {
            watch.stop();
            const QPointer<QQuickItem> asked = alert();
            meanwhile();
            answered = true;
            if (asked && asked == alert()) {
                QMetaObject::invokeMethod(find(u"alertButton%1"_s.arg(button)), "clicked");
            }
        }
    });
    watch.start(5);
    request();
    spinUntil([&] { return answered && !alert(); });
}

} // namespace brindle
