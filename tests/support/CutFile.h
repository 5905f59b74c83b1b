#pragma once

#include "http/HttpServer.h"

#include <QByteArrayList>
#include <QRegularExpression>

#include <functional>
#include <mutex>
#include <utility>

namespace brindle {

/// A file on a server that serves ranges. Each number in `cuts` breaks off one answer after so many
/// bytes. Later answers are whole.
class CutFile
{
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    CutFile(QByteArray content, QList<qint64> cuts)
        : content_(std::move(content)), cuts_(std::move(cuts))
    {}

    /// Answers a request for the file. Any thread.
    void answer(const HttpRequest &request, HttpConnection &connection)
    {
        const QByteArray range = request.headers.value("range");
        qint64 cut = 0;
        {
            const std::lock_guard guard(lock_);
            requests_.append(request);
            cut = cuts_.isEmpty() ? content_.size() : cuts_.takeFirst();
        }
        static const QRegularExpression form(QStringLiteral("^bytes=(\\d+)-$"));
        const auto match = form.match(QString::fromLatin1(range));
        const bool isSame = request.headers.value("if-range") == version;
        const qint64 from = match.hasMatch() && isSame ? match.captured(1).toLongLong() : 0;
        const QByteArray rest = content_.mid(from);
        Headers all = headers;
        all.append({"Content-Length", QByteArray::number(rest.size())});
        if (from > 0) {
            all.append({"Content-Range", "bytes " + QByteArray::number(from) + '-' +
                                             QByteArray::number(content_.size() - 1) + '/' +
                                             QByteArray::number(content_.size())});
        }
        const QByteArray body = rest.left(cut);
        {
            const std::lock_guard guard(lock_);
            sent_ += body.size();
        }
        connection.respond(from > 0 ? 206 : 200, all, body);
        if (atTheCut && body.size() < rest.size()) {
            atTheCut(connection);
        }
    }

    /// The file's version for If-Range, and the headers of all answers.
    QByteArray version = QByteArrayLiteral("\"one\"");
    Headers headers{{"Accept-Ranges", "bytes"}, {"ETag", "\"one\""}};
    /// Called when an answer breaks off, instead of closing the connection in order.
    std::function<void(HttpConnection &)> atTheCut;

    QList<HttpRequest> requests() const
    {
        const std::lock_guard guard(lock_);
        return requests_;
    }
    QByteArrayList ranges() const
    {
        QByteArrayList ranges;
        for (const HttpRequest &request : requests()) {
            ranges.append(request.headers.value("range"));
        }
        return ranges;
    }
    /// Returns the number of body bytes sent.
    qint64 sent() const
    {
        const std::lock_guard guard(lock_);
        return sent_;
    }

private:
    const QByteArray content_;

    mutable std::mutex lock_; // guards the rest
    QList<qint64> cuts_;
    QList<HttpRequest> requests_;
    qint64 sent_ = 0;
};

} // namespace brindle
