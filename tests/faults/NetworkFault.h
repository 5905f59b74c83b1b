#pragma once

#include "demo/ReleaseHost.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <atomic>
#include <memory>

namespace brindle {

/// A way for a download to go wrong, played by the release host.
struct NetworkFault
{
    enum class End {
        message, ///< the download fails at once
        silence, ///< the download would time out
        success, ///< the answer is only unusual
    };

    /// The means of a fault.
    struct Answer
    {
        const QString &path;
        const QByteArray &content; ///< the good answer
        HttpConnection &connection;
        std::atomic<bool> &isReached;
        const QUrl &host;
    };

    static QList<NetworkFault> all();

    /// Requests for `path`, whose good answer is `content`, meet this fault from now on.
    /// `isReached` becomes true when no more bytes will come.
    void happenTo(ReleaseHost &host, const QString &path, const QByteArray &content,
                  std::shared_ptr<std::atomic<bool>> isReached) const;

    QString name;
    End end;
    QString message; ///< a regular expression; empty if the message depends on the download
    void (*act)(const Answer &answer);
};

} // namespace brindle
