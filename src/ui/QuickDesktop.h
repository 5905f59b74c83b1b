#pragma once

#include "core/Desktop.h"
#include "platform/ActivationTokens.h"
#include "platform/Platform.h"

#include <QPointer>
#include <QPromise>
#include <QQuickWindow>

#include <memory>

namespace brindle {

/// The user's desktop: alerts over the launcher's window, the system's file browser and clipboard.
class QuickDesktop final : public QObject, public Desktop
{
    Q_OBJECT

public:
    /// @param reveal shows a folder in the file browser if no D-Bus service does.
    explicit QuickDesktop(Platform::Command reveal);

    /// Shows alerts over `window` from now on. Without a window no alert appears.
    void setWindow(QQuickWindow *window);

    /// Escape and the application's end press the last button. Shows a hidden window first, and
    /// brings the window to the front unless the alert is unprompted.
    QCoro::Task<int> runAlert(Alert alert) override;
    /// Presses the last button of every alert, shown or waiting.
    void dismissAlert();
    void reveal(const QString &path) override;
    void copyText(const QString &text) override;
    void openPage(const QUrl &page) override;
    /// Returns a token of the compositor under Wayland, a startup id with the time of the player's
    /// last input on X11, and nothing elsewhere.
    QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop) override;

    /// Shows the window in front, with the keyboard.
    static void bringToFront(QWindow &window);

private Q_SLOTS:
    // Receives AlertView's signal.
    void answer(int button);

private:
    struct Question
    {
        Alert alert;
        std::shared_ptr<QPromise<int>> answer;
    };
    void showNextAlert();

    Platform::Command reveal_;
    QPointer<QQuickWindow> window_;
    QList<Question> questions_;                // the first is shown by `alert_`
    QPointer<QObject> alert_;                  // an AlertView
    std::unique_ptr<ActivationTokens> tokens_; // under Wayland, while there is a window
    int starts_ = 0;
};

} // namespace brindle
