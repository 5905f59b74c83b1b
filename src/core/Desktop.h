#pragma once

#include <QCoroTask>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <stop_token>

namespace brindle {

/// A question or notice for the user. The first button means yes, the last changes nothing.
/// Without buttons the platform's default single button is shown.
struct Alert
{
    QString message;
    QString informativeText;
    QStringList buttons;
    /// The alert follows a wait, not a press, so it ignores keys and clicks at first.
    bool unprompted = false;

    bool operator==(const Alert &) const = default;
};

/// The user's desktop. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Shows a modal alert above everything open, after the alerts of earlier calls. Returns the
    /// index of the pressed button, or of the last one when the alert is dismissed or the
    /// application ends. Never throws.
    virtual QCoro::Task<int> runAlert(Alert alert) = 0;

    /// Shows an existing file or folder, selected, in the file browser. Does not wait.
    virtual void reveal(const QString &path) = 0;

    /// Replaces the pasteboard's content with plain text.
    virtual void copyText(const QString &text) = 0;

    /// Shows a page in the user's browser. Does not wait.
    virtual void openPage(const QUrl &page) = 0;

    /// Asks the desktop to let the next started program come to the front. Returns variables for
    /// the program's environment: none after about a second, or as soon as `stop` is requested.
    /// Never throws.
    virtual QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop)
    {
        Q_UNUSED(stop)
        co_return {};
    }
};

} // namespace brindle
