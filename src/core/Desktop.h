#pragma once

#include <QCoroTask>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <stop_token>

namespace brindle {

/// A question or notice for the user. The first button agrees; the last changes nothing. Without
/// buttons, the alert has the platform's single default button.
struct Alert
{
    QString message;
    QString informativeText;
    QStringList buttons;
    /// True for an alert that follows a wait, not a press. It ignores keys and clicks at first.
    bool unprompted = false;

    bool operator==(const Alert &) const = default;
};

/// The user's desktop. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Shows a modal alert above everything open, once earlier alerts are answered. Returns the
    /// index of the pressed button, or of the last button when the alert is dismissed or the
    /// application ends. Never throws.
    virtual QCoro::Task<int> runAlert(Alert alert) = 0;

    /// Shows an existing file or folder, selected, in the file browser. Does not wait.
    virtual void reveal(const QString &path) = 0;

    /// Replaces the pasteboard's content with plain text.
    virtual void copyText(const QString &text) = 0;

    /// Shows a page in the user's browser. Does not wait.
    virtual void openPage(const QUrl &page) = 0;

    /// Asks the desktop to let the next started program come to the front. Returns variables for
    /// that program's environment, or none after about a second without an answer or when `stop` is
    /// requested. Never throws.
    virtual QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop)
    {
        Q_UNUSED(stop)
        co_return {};
    }
};

} // namespace brindle
