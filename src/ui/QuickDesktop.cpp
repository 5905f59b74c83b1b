#include "ui/QuickDesktop.h"

#include "base/Clock.h"
#include "ui/MessageBus.h"

#include <QClipboard>
#include <QCoroDBusPendingCall>
#include <QCoroFuture>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QProcess>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <qpa/qplatformnativeinterface.h>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

/// The time that a start waits for a compositor that may never answer.
constexpr Clock::Duration tokenPatience{1};

/// Shows an existing file or folder through the desktop's service. Without a service, runs
/// `command` on the folder, because it would open a file.
/// https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
QCoro::Task<> show(Platform::Command command, QString path)
{
    const auto service = u"org.freedesktop.FileManager1"_s;
    auto showItems = QDBusMessage::createMethodCall(service, u"/org/freedesktop/FileManager1"_s,
                                                    service, u"ShowItems"_s);
    showItems << QStringList{QUrl::fromLocalFile(path).toString(QUrl::FullyEncoded)} << QString();
    const auto bus = co_await openBus(QDBusConnection::SessionBus);
    const QDBusMessage answer = co_await bus.asyncCall(showItems);
    if (answer.type() != QDBusMessage::ReplyMessage) {
        const QFileInfo file(path);
        QProcess process;
        process.setProgram(command.program);
        process.setArguments(command.filled(file.isDir() ? path : file.path()));
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        process.startDetached();
    }
}

} // namespace

QuickDesktop::QuickDesktop(Platform::Command reveal) : reveal_(std::move(reveal))
{
    QObject::connect(qGuiApp, &QCoreApplication::aboutToQuit, this, [this] { dismissAlert(); });
}

void QuickDesktop::setWindow(QQuickWindow *window)
{
    dismissAlert();
    window_ = window;
    tokens_.reset();
    if (window && QGuiApplication::platformName().startsWith(u"wayland")) {
        // Qt 6.4 has no public access to its connection.
        auto *const native = QGuiApplication::platformNativeInterface();
        tokens_ =
            std::make_unique<ActivationTokens>(native->nativeResourceForIntegration("wl_display"));
    }
}

QCoro::Task<int> QuickDesktop::runAlert(Alert alert)
{
    if (alert.buttons.isEmpty()) {
        alert.buttons << u"OK"_s;
    }
    if (!window_) {
        co_return static_cast<int>(alert.buttons.size()) - 1;
    }
    const auto answer = std::make_shared<QPromise<int>>();
    answer->start();
    questions_.append({alert, answer});
    if (!alert_) {
        showNextAlert();
    }
    co_return co_await answer->future();
}

void QuickDesktop::showNextAlert()
{
    const Alert &alert = questions_.first().alert;
    QQmlComponent component(qmlEngine(window_),
                            QUrl(u"qrc:/qt-project.org/imports/Brindle/AlertView.qml"_s));
    alert_ = component.createWithInitialProperties(
        {{u"parent"_s, QVariant::fromValue(window_->contentItem())},
         {u"message"_s, alert.message},
         {u"informativeText"_s, alert.informativeText},
         {u"buttons"_s, alert.buttons},
         {u"unprompted"_s, alert.unprompted}});
    Q_ASSERT_X(alert_, "QuickDesktop", qPrintable(component.errorString()));
    connect(alert_, SIGNAL(answered(int)), SLOT(answer(int)));
    // An answered alert still fades out, so delete it later.
    connect(alert_, SIGNAL(closed()), alert_, SLOT(deleteLater()));
    const bool hasKeyboard = QGuiApplication::focusWindow() == window_;
    if (!window_->isVisible() || (!hasKeyboard && !alert.unprompted)) {
        bringToFront(*window_);
    }
}

void QuickDesktop::answer(int button)
{
    if (sender() != alert_) {
        return; // from an alert that is fading out
    }
    const Question question = questions_.takeFirst();
    question.answer->addResult(button);
    question.answer->finish();
    QMetaObject::invokeMethod(std::exchange(alert_, nullptr), "close");
    if (!questions_.isEmpty()) {
        showNextAlert();
    }
}

void QuickDesktop::dismissAlert()
{
    for (const Question &question : std::as_const(questions_)) {
        question.answer->addResult(static_cast<int>(question.alert.buttons.size()) - 1);
        question.answer->finish();
    }
    questions_.clear();
    QMetaObject::invokeMethod(std::exchange(alert_, nullptr), "close");
}

void QuickDesktop::bringToFront(QWindow &window)
{
    window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.setVisible(true); // show() would undo maximising
    window.raise();
    window.requestActivate();
}

void QuickDesktop::reveal(const QString &path)
{
    show(reveal_, path);
}

void QuickDesktop::copyText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void QuickDesktop::openPage(const QUrl &page)
{
    QDesktopServices::openUrl(page);
}

QCoro::Task<QMap<QString, QString>> QuickDesktop::startPermission(std::stop_token stop)
{
    QMap<QString, QString> permission;
    auto *const native = QGuiApplication::platformNativeInterface();
    // The time of the last input on X11. With a time of 0 the game would not get the keyboard.
    const auto lastInput = reinterpret_cast<quintptr>(
        native->nativeResourceForScreen("appusertime", QGuiApplication::primaryScreen()));
    if (lastInput > 0) {
        // The id is a unique text and the time:
        // https://specifications.freedesktop.org/startup-notification-spec/
        permission[u"DESKTOP_STARTUP_ID"_s] = u"brindle-%1-%2-%3_TIME%4"_s.arg(
            QString::number(QCoreApplication::applicationPid()), QString::number(++starts_),
            QSysInfo::machineHostName(), QString::number(lastInput));
    }
    if (tokens_) {
        void *const surface = native->nativeResourceForWindow("surface", window_);
        std::stop_source waited;
        const auto request = tokens_->ask(surface, [&](const QByteArray &token) {
            if (!token.isEmpty()) {
                permission[u"XDG_ACTIVATION_TOKEN"_s] = QString::fromLatin1(token);
            }
            waited.request_stop();
        });
        const std::stop_callback onStop(stop, [&] { waited.request_stop(); });
        if (request) {
            co_await SteadyClock().sleep(tokenPatience, waited.get_token());
        }
    }
    co_return permission;
}

} // namespace brindle
