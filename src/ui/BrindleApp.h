#pragma once

#include "ui/QuickDesktop.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

#include <memory>

class QSessionManager;

namespace brindle {

class AppModel;

/// Decides whether the application may end, by asking the process-wide model. Main thread only.
struct AppDelegate
{
    /// The answer to a request to quit.
    enum class TerminateReply { cancel = 0, now = 1 };

    /// Asks the model, which may ask the player and stop running work. Each call asks anew.
    static TerminateReply applicationShouldTerminate();

    /// Always returns true, because closing the window is a request to quit.
    static bool applicationShouldTerminateAfterLastWindowClosed() { return true; }
};

/// The application: shows the process-wide model in one window, and handles requests to quit.
/// Requests come from a menu, the keyboard, the closed window or the session's end; the delegate
/// decides each of them. Main thread only.
class BrindleApp : public QObject
{
    Q_OBJECT

public:
    /// Registers the views with every QML engine. Call once, after creating the application and
    /// before the first engine.
    static void prepare();
    /// Returns the window's QML file. Its required property "model" is an AppModel.
    static QUrl mainWindow();

    /// Set `AppModel::compose` and call `prepare` first. `desktop` is the model's desktop.
    explicit BrindleApp(std::shared_ptr<QuickDesktop> desktop);
    ~BrindleApp() override;

    /// Shows the window in front, with the keyboard. Does nothing while the application ends.
    /// @param permission a Wayland activation token or an X startup id from the desktop, or empty.
    void open(const QByteArray &permission = {});

    /// Asks the delegate, and ends the application if it agrees. Serves events during a question.
    void requestQuit();
    /// Stops running work and ends the application, without a question.
    void forceQuit();

    QQuickWindow *window() const { return window_; }

Q_SIGNALS:
    /// Emitted when the application begins to end. It ends once no work runs.
    void ending();

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    bool confirmQuit();
    void closeWindow();
    void reopenWhenIdle();
    void shutDown();
    void commitSession(QSessionManager &manager);

    AppModel &model_;
    std::shared_ptr<QuickDesktop> desktop_;
    QQmlApplicationEngine engine_;
    QQuickWindow *window_ = nullptr; // owned by `engine_`
    bool asking_ = false;
    bool sessionEnds_ = false; // obey the next request to quit without asking
    bool ending_ = false;
};

} // namespace brindle
