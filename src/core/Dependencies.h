#pragma once

#include "base/Clock.h"
#include "platform/Platform.h"

#include <QCoroTask>
#include <QMap>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>
#include <stop_token>

namespace brindle {

/// A question or notice for the user. `buttons` in order; the first means yes, the last leaves
/// everything as it is. No buttons means the platform's default single one.
struct Alert
{
    QString message;
    QString informativeText;
    QStringList buttons;

    bool operator==(const Alert &) const = default;
};

/// What the model asks of the user's desktop. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Shows a modal alert and returns the index of the button pressed. Events go on being served
    /// while it is shown.
    virtual int runAlert(const Alert &alert) = 0;

    /// Shows an existing file or folder, selected, in the file browser. Does not wait.
    virtual void reveal(const QString &path) = 0;

    /// Replaces the pasteboard's content with plain text.
    virtual void copyText(const QString &text) = 0;

    /// Shows a page in the user's browser. Does not wait.
    virtual void openPage(const QUrl &page) = 0;

    /// The desktop's permission for one program that the user starts now to come to the front, as
    /// variables of its environment. Empty where there is none to be had, or not within about a
    /// second, and as soon as `stop` is requested; never throws.
    virtual QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop)
    {
        Q_UNUSED(stop)
        co_return {};
    }
};

/// All that an AppModel needs from outside. Production's comes from the program's entry, tests
/// and the demo bring their own.
struct Dependencies
{
    QString storageRoot;     ///< absolute; created when something is first written
    QString temporaryFolder; ///< absolute; downloads are staged in folders of their own below it
    std::unique_ptr<QSettings> settings; ///< keys as in `GameSettings::table`
    QUrl codeHost; ///< base address of the code-hosting service, without a trailing slash
    Platform platform;
    std::shared_ptr<Desktop> desktop;
    std::shared_ptr<Clock> clock;
};

} // namespace brindle
