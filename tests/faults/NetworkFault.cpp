#include "NetworkFault.h"

#include <QTcpServer>

#include <chrono>

namespace brindle {

namespace {

using Answer = NetworkFault::Answer;
using Headers = QList<QPair<QByteArray, QByteArray>>;

constexpr int ok = 200;
constexpr int found = 302;

QByteArray lengthOf(const QByteArray &content)
{
    return QByteArray::number(content.size());
}

QByteArray half(const QByteArray &content)
{
    return content.left(content.size() / 2);
}

/// A port that nothing listens on.
quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

void refuse(const Answer &answer)
{
    answer.connection.redirect(found,
                               QUrl(QStringLiteral("http://127.0.0.1:%1/").arg(closedPort())));
}

void reset(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", lengthOf(answer.content)}},
                              half(answer.content));
    answer.connection.reset();
}

void cutShort(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", lengthOf(answer.content)}},
                              half(answer.content));
}

void goOnTooLong(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", lengthOf(answer.content)}},
                              answer.content + "and more\n");
}

void sayNoLength(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", ""}}, answer.content);
}

/// As the doors to hotels' networks do.
void sendPage(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Type", "text/html"}},
                              "<!DOCTYPE html>\n<html><body>Please log in.</body></html>\n");
}

/// As networks do that want a visitor to sign in: whoever is asked for, something else answers,
/// and without TLS.
void answerWithoutTls(const Answer &answer)
{
    QUrl elsewhere = answer.host;
    elsewhere.setScheme(QStringLiteral("https"));
    answer.connection.redirect(found, elsewhere);
}

/// More than any download may have, of which nothing comes.
void announceTooMuch(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", "9000000000"}}, {});
    answer.connection.waitUntilClosed();
}

void encode(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Encoding", "gzip"}}, answer.content);
}

void loop(const Answer &answer)
{
    answer.connection.redirect(found, QUrl(answer.path));
}

void downgrade(const Answer &answer)
{
    answer.connection.redirect(found, QUrl(QStringLiteral("http://plain.invalid/file")));
}

void stay(const Answer &answer)
{
    answer.isReached = true;
    answer.connection.waitUntilClosed();
}

void stallBefore(const Answer &answer)
{
    stay(answer);
}

void stallInHeaders(const Answer &answer)
{
    answer.connection.write("HTTP/1.1 200 OK\r\nContent-Le");
    stay(answer);
}

void stallInBody(const Answer &answer)
{
    answer.connection.respond(ok, Headers{{"Content-Length", lengthOf(answer.content)}},
                              half(answer.content));
    stay(answer);
}

/// Just too fast for a time-out, and never at its end.
void drip(const Answer &answer)
{
    constexpr std::chrono::milliseconds pause(50);
    answer.connection.respond(ok, Headers{{"Content-Length", "1000000"}}, "P");
    answer.isReached = true;
    while (answer.connection.pause(pause) && answer.connection.write("K")) {
    }
}

void sendToSilentName(const Answer &answer)
{
    answer.isReached = true;
    const QString name = QString::fromLatin1(NetworkFault::silentName);
    answer.connection.redirect(found, QUrl(QStringLiteral("https://%1/file").arg(name)));
}

} // namespace

QList<NetworkFault> NetworkFault::all()
{
    return {
        {QStringLiteral("refused"), End::message, refuse},
        {QStringLiteral("reset in the middle"), End::message, reset},
        {QStringLiteral("short body"), End::message, cutShort},
        {QStringLiteral("body longer than announced"), End::success, goOnTooLong},
        {QStringLiteral("no length"), End::success, sayNoLength},
        {QStringLiteral("HTML page"), End::message, sendPage},
        {QStringLiteral("sign-in page"), End::message, answerWithoutTls},
        {QStringLiteral("announced too large"), End::message, announceTooMuch},
        {QStringLiteral("gzip-encoded"), End::message, encode},
        {QStringLiteral("redirect loop"), End::message, loop},
        {QStringLiteral("redirect to plain http"), End::message, downgrade},
        {QStringLiteral("no answer"), End::silence, stallBefore},
        {QStringLiteral("stalled headers"), End::silence, stallInHeaders},
        {QStringLiteral("stalled body"), End::silence, stallInBody},
        {QStringLiteral("dripping"), End::silence, drip},
        {QStringLiteral("silent look-up"), End::silence, sendToSilentName},
    };
}

void NetworkFault::happenTo(ReleaseHost &host, const QString &path, const QByteArray &content,
                            std::shared_ptr<std::atomic<bool>> isReached) const
{
    host.replace(path, [path, content, isReached, act = act_,
                        url = host.url()](const HttpRequest &, HttpConnection &connection) {
        act({path, content, connection, *isReached, url});
    });
}

} // namespace brindle
