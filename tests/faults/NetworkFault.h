#pragma once

#include "demo/ReleaseHost.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <atomic>
#include <memory>

namespace brindle {

/// One way in which a download goes wrong, done by the release host.
class NetworkFault
{
public:
    /// What comes of it.
    enum class End {
        message, ///< the download fails at once
        silence, ///< it would time out
        success, ///< it is only unusual
    };

    /// What a fault has at hand.
    struct Answer
    {
        const QString &path;
        const QByteArray &content;
        HttpConnection &connection;
        std::atomic<bool> &isReached;
        const QUrl &host;
    };

    static QList<NetworkFault> all();

    QString name() const { return name_; }
    End end() const { return end_; }

    /// From now on this happens to whoever asks for `path`, whose good answer would be `content`.
    /// `isReached` becomes true once nothing more will come.
    void happenTo(ReleaseHost &host, const QString &path, const QByteArray &content,
                  std::shared_ptr<std::atomic<bool>> isReached) const;

    /// A name that nobody ever answers a look-up for, in the tests' name service.
    static constexpr const char *silentName = "silent.invalid";

private:
    using Act = void (*)(const Answer &answer);

    NetworkFault(QString name, End end, Act act) : name_(std::move(name)), end_(end), act_(act) {}

    QString name_;
    End end_;
    Act act_;
};

} // namespace brindle
