#pragma once

#include "http/HttpServer.h"

#include <QMap>

#include <mutex>

namespace brindle {

/// A server that answers each target with the bytes that the test put there, and others with 404.
class ServedFiles
{
public:
    void put(const QByteArray &target, const QByteArray &body)
    {
        const std::lock_guard guard(lock_);
        bodies_[target] = body;
    }

    QUrl url() const { return server_.url(); }
    /// The targets asked for, in order.
    QList<QByteArray> requests() const
    {
        const std::lock_guard guard(lock_);
        return requests_;
    }

private:
    void answer(const HttpRequest &request, HttpConnection &connection)
    {
        QByteArray body;
        bool found = false;
        {
            const std::lock_guard guard(lock_);
            requests_ << request.target;
            found = bodies_.contains(request.target);
            body = bodies_.value(request.target);
        }
        connection.respond(found ? 200 : 404, {}, body);
    }

    mutable std::mutex lock_;
    QMap<QByteArray, QByteArray> bodies_;
    QList<QByteArray> requests_;
    HttpServer server_{[this](const HttpRequest &request, HttpConnection &connection) {
        answer(request, connection);
    }};
};

} // namespace brindle
