#pragma once

#include "demo/ReleaseHost.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <atomic>
#include <memory>

namespace brindle {

/// One way in which a download goes wrong, done by the release host.
struct NetworkFault
{
    enum class End {
        message, ///< the download fails at once
        silence, ///< it would time out
        success, ///< it is only unusual
    };

    /// What a fault can use.
    struct Answer
    {
        const QString &path;
        const QByteArray &content; ///< the good answer
        HttpConnection &connection;
        std::atomic<bool> &isReached;
        const QUrl &host;
    };

    static QList<NetworkFault> all();

    /// From now on a request for `path`, whose good answer is `content`, meets this fault.
    /// `isReached` becomes true once no more will come.
    void happenTo(ReleaseHost &host, const QString &path, const QByteArray &content,
                  std::shared_ptr<std::atomic<bool>> isReached) const;

    /// A name whose look-up never ends, in the tests' name service.
    static constexpr const char *silentName = "silent.invalid";

    QString name;
    End end;
    QString message; ///< the player's, as a regular expression; empty if it depends on the download
    void (*act)(const Answer &answer);
};

} // namespace brindle
