#include "ui/QuickDesktop.h"

#include "ui/AlertAnswer.h"
#include "ui/FileBrowser.h"
#include "ui/Views.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QQmlComponent>

#include <algorithm>

namespace brindle {

namespace {

QCoro::Task<> revealCounted(QList<Platform::Command> commands, QString path,
                            std::shared_ptr<int> count)
{
    ++*count;
    auto revealing = FileBrowser::reveal(commands, path);
    co_await revealing;
    --*count;
}

} // namespace

QuickDesktop::QuickDesktop(QList<Platform::Command> reveal) : reveal_(std::move(reveal)) {}

void QuickDesktop::setWindow(QQmlEngine *engine, QQuickWindow *window)
{
    engine_ = engine;
    window_ = window;
}

int QuickDesktop::runAlert(const Alert &alert)
{
    const QStringList buttons =
        alert.buttons.isEmpty() ? QStringList{QStringLiteral("OK")} : alert.buttons;
    const int last = static_cast<int>(buttons.size()) - 1;
    if (alert_ || !engine_) {
        return last;
    }
    QQmlComponent component(engine_, Views::alertWindow());
    const std::unique_ptr<QObject> object(component.createWithInitialProperties(
        {{QStringLiteral("message"), alert.message},
         {QStringLiteral("informativeText"), alert.informativeText},
         {QStringLiteral("buttons"), buttons}}));
    auto *const shown = qobject_cast<QQuickWindow *>(object.get());
    Q_ASSERT_X(shown, "QuickDesktop", qPrintable(component.errorString()));
    alert_ = shown;
    AlertAnswer answer(last);
    QObject::connect(shown, SIGNAL(answered(int)), &answer, SLOT(answer(int)));
    if (window_ && window_->isVisible()) {
        // Over whatever sheet is open on the window.
        QWindow *below = window_;
        QWindow *const focused = QGuiApplication::focusWindow();
        for (QWindow *window = focused; window; window = window->transientParent()) {
            if (window == window_) {
                below = focused;
            }
        }
        shown->setTransientParent(below);
        const QRect place = window_->geometry();
        shown->setPosition(place.center() - QPoint(shown->width() / 2, shown->height() / 2));
    }
    shown->show();
    shown->requestActivate();
    const int index = answer.wait();
    shown->close();
    return index;
}

void QuickDesktop::dismissAlert()
{
    if (QQuickWindow *const shown = alert_) {
        alert_ = nullptr;
        shown->close();
    }
}

void QuickDesktop::reveal(const QString &path)
{
    revealCounted(reveal_, path, revealing_);
}

void QuickDesktop::copyText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void QuickDesktop::openPage(const QUrl &page)
{
    QDesktopServices::openUrl(page);
}

} // namespace brindle
