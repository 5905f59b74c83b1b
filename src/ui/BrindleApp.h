#pragma once

#include "ui/QuickDesktop.h"

#include <QQmlEngine>
#include <QQuickWindow>

#include <memory>

class QSessionManager;

namespace brindle {

class AppModel;

/// Answers whether the application may end. Acts on the process-wide model. Main thread only.
class AppDelegate
{
public:
    /// What a request to quit is answered with.
    enum class TerminateReply { cancel = 0, now = 1 };

    /// Asks the model, which may ask the player and stop what runs; each call asks anew.
    TerminateReply applicationShouldTerminate();

    /// Closing the window is a request to quit: always true.
    bool applicationShouldTerminateAfterLastWindowClosed();
};

/// The application: one window on the process-wide model, and its quit handling. The delegate
/// decides every request to quit: from a menu, the keyboard, the closed window or the session's
/// end. Main thread only.
class BrindleApp : public QObject
{
    Q_OBJECT

public:
    /// Makes the views and what they are made of known to every QML engine; call once, after the
    /// application has been made and before its first engine.
    static void prepare();
    /// The window's view; its required property "model" is an AppModel.
    static QUrl mainWindow();

    /// `AppModel::compose` and `prepare` have been called, and the model's desktop is `desktop`.
    explicit BrindleApp(std::shared_ptr<QuickDesktop> desktop);
    ~BrindleApp() override;

    /// Shows the window in front, with the keyboard. Does nothing while the application ends.
    /// Either text may be empty: a Wayland activation token and an X startup id.
    void open(const QByteArray &activationToken = {}, const QByteArray &startupId = {});

    /// A request to quit. Serves events while the player is asked.
    void requestQuit();
    /// The system takes the process away, without a question: what runs is stopped, then it ends.
    void forceQuit();

    QQuickWindow *window() const { return window_.get(); }

Q_SIGNALS:
    /// It has been decided that the application ends. It does so once nothing runs any more.
    void ending();

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    bool confirmQuit();
    void closeWindow();
    void reopenWhenIdle();
    void shutDown();
    void commitSession(QSessionManager &manager);

    AppDelegate delegate_;
    AppModel &model_;
    std::shared_ptr<QuickDesktop> desktop_;
    QQmlEngine engine_;
    std::unique_ptr<QQuickWindow> window_; // before the engine
    bool asking_ = false;
    bool sessionEnds_ = false; // obey the next request to quit without asking
    bool ending_ = false;
};

} // namespace brindle
