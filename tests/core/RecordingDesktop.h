#pragma once

#include "base/OneShot.h"
#include "core/Desktop.h"

#include <QList>
#include <QStringList>

#include <functional>

namespace brindle {

/// Records the model's requests and answers as the test says.
class RecordingDesktop final : public Desktop
{
public:
    QCoro::Task<int> runAlert(Alert alert) override
    {
        alerts << alert;
        if (onAlert) {
            onAlert();
        }
        if (waits) {
            const OneShot<int> pressed;
            open << pressed;
            const int button = co_await pressed;
            co_return button;
        }
        co_return answer;
    }
    /// Answers the oldest open alert.
    void press(int button) { open.takeFirst().resume(button); }
    void reveal(const QString &path) override { revealed << path; }
    void copyText(const QString &text) override { copied << text; }
    void openPage(const QUrl &page) override { opened << page; }
    QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop) override
    {
        const QMap<QString, QString> permission{{QStringLiteral("XDG_ACTIVATION_TOKEN"),
                                                 QStringLiteral("start %1").arg(++askedStarts)}};
        if (permitsStarts) {
            co_return permission;
        }
        const OneShot<> stopped;
        const std::stop_callback onStop(stop, [stopped] { stopped.resume(); });
        co_await stopped;
        co_return {};
    }

    QList<Alert> alerts;
    QStringList revealed;
    QStringList copied;
    QList<QUrl> opened;
    int askedStarts = 0;
    bool permitsStarts = true;     ///< false: never answers
    int answer = 0;                ///< button of every alert
    std::function<void()> onAlert; ///< called while the alert is shown
    bool waits = false;            ///< alerts stay open until `press`
    QList<OneShot<int>> open;
};

} // namespace brindle
