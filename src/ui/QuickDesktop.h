#pragma once

#include "base/OneShot.h"
#include "core/Desktop.h"
#include "platform/ActivationTokens.h"
#include "platform/Platform.h"

#include <QPointer>
#include <QQmlEngine>
#include <QQuickWindow>

#include <memory>

namespace brindle {

/// The user's desktop: alerts over the launcher's window, the system's file browser and clipboard.
class QuickDesktop final : public QObject, public Desktop
{
    Q_OBJECT

public:
    /// @param reveal how to show a path in the file browser, in the order to try.
    /// @param fileManager the service that is asked before; may be empty.
    explicit QuickDesktop(QList<Platform::Command> reveal, QString fileManager = {});

    /// Shows alerts over `window` from now on. Without an engine there are none. Owns neither.
    void setWindow(QQmlEngine *engine, QQuickWindow *window);

    /// As promised by Desktop. Escape and the application's end press the last button. A hidden
    /// window is shown for the alert, and comes to the front unless the alert is unprompted.
    QCoro::Task<int> runAlert(Alert alert) override;
    /// Presses the last button of every alert that is shown or waits.
    void dismissAlert();
    void reveal(const QString &path) override;
    void copyText(const QString &text) override;
    void openPage(const QUrl &page) override;
    /// Under Wayland a token of the compositor's; on X11 a startup id that bears the time of the
    /// player's last input; elsewhere nothing.
    QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop) override;
    /// The player did something, at this time as the window system counts it.
    void noteInput(quint64 time);

    /// Whether something that `reveal` started still runs.
    bool isRevealing() const { return *revealing_ > 0; }
    /// The alert that is shown now, an AlertView; null otherwise.
    QObject *alert() const { return alert_; }

    /// Shows the window in front, with the keyboard.
    static void bringToFront(QWindow &window);

private Q_SLOTS:
    // By AlertView.
    void answer(int button);

private:
    struct Question
    {
        Alert alert;
        OneShot<int> answer;
    };
    void showNextAlert();

    QList<Platform::Command> reveal_;
    QString fileManager_;
    // Counts what runs; shared with it, as it may outlive this.
    std::shared_ptr<int> revealing_ = std::make_shared<int>(0);
    QPointer<QQmlEngine> engine_;
    QPointer<QQuickWindow> window_;
    QList<Question> questions_; // the first is shown in `alert_`
    QPointer<QObject> alert_;   // an AlertView
    std::unique_ptr<ActivationTokens> tokens_; // under Wayland, as long as there is a window
    quint64 lastInput_ = 0;
    int starts_ = 0;
};

} // namespace brindle
