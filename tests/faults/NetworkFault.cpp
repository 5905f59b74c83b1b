#include "NetworkFault.h"

#include <QTcpServer>

#include <chrono>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

using Answer = NetworkFault::Answer;

/// Sends the head of the good answer, and half of its body.
void sendHalf(const Answer &answer)
{
    answer.connection.respond(200, {{"Content-Length", QByteArray::number(answer.content.size())}},
                              answer.content.left(answer.content.size() / 2));
}

void stay(const Answer &answer)
{
    answer.isReached = true;
    answer.connection.waitUntilClosed();
}

void refuse(const Answer &answer)
{
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    const QUrl nobody(u"http://127.0.0.1:%1/"_s.arg(closed.serverPort()));
    closed.close();
    answer.connection.redirect(302, nobody);
}

/// Networks with a sign-in page answer without TLS.
void answerWithoutTls(const Answer &answer)
{
    QUrl elsewhere = answer.host;
    elsewhere.setScheme(u"https"_s);
    answer.connection.redirect(302, elsewhere);
}

/// Sends endlessly, just fast enough to avoid a time-out.
void drip(const Answer &answer)
{
    answer.connection.respond(200, {{"Content-Length", "1000000"}}, "P");
    answer.isReached = true;
    while (answer.connection.pause(std::chrono::milliseconds(50)) && answer.connection.write("K")) {
    }
}

} // namespace

QList<NetworkFault> NetworkFault::all()
{
    const auto message = End::message;
    const auto silence = End::silence;
    const auto success = End::success;
    return {
        {u"refused"_s, message, u"Failed to connect to 127\\.0\\.0\\.1 .*"_s, refuse},
        {u"reset in the middle"_s, message,
         u".*(reset|The server ended the connection|transfer closed).*"_s,
         [](const Answer &answer) {
             sendHalf(answer);
             answer.connection.reset();
         }},
        {u"short body"_s, message,
         u"(transfer closed|end of response) with \\d+ bytes (remaining to read|missing)"_s,
         sendHalf},
        {u"body longer than announced"_s,
         success,
         {},
         [](const Answer &answer) {
             const QByteArray length = QByteArray::number(answer.content.size());
             answer.connection.respond(200, {{"Content-Length", length}},
                                       answer.content + "and more\n");
         }},
        {u"no length"_s,
         success,
         {},
         [](const Answer &answer) {
             answer.connection.respond(200, {{"Content-Length", ""}}, answer.content);
         }},
        {u"HTML page"_s,
         message,
         {},
         [](const Answer &answer) {
             answer.connection.respond(200, {{"Content-Type", "text/html"}},
                                       "<!DOCTYPE html>\n<html>Please log in.</html>\n");
         }},
        {u"sign-in page"_s, message,
         u"The network answered with a web page in place of 127\\.0\\.0\\.1\\. .*sign in first.*"_s,
         answerWithoutTls},
        {u"announced too large"_s,
         message,
         {},
         [](const Answer &answer) {
             answer.connection.respond(200, {{"Content-Length", "9000000000"}}, {});
             answer.connection.waitUntilClosed();
         }},
        {u"gzip-encoded"_s, message,
         u"The server sent the file in an encoding \\(gzip\\) that .*"_s,
         [](const Answer &answer) {
             answer.connection.respond(200, {{"Content-Encoding", "gzip"}}, answer.content);
         }},
        {u"redirect loop"_s, message, u"The server redirected more than 20 times\\."_s,
         [](const Answer &answer) { answer.connection.redirect(302, QUrl(answer.path)); }},
        {u"redirect to plain http"_s, message,
         u"The server redirected to an insecure address \\(plain http\\), which was not "
         "followed\\."_s,
         [](const Answer &answer) {
             answer.connection.redirect(302, QUrl(u"http://plain.invalid/file"_s));
         }},
        {u"no answer"_s, silence, {}, stay},
        {u"stalled headers"_s,
         silence,
         {},
         [](const Answer &answer) {
             answer.connection.write("HTTP/1.1 200 OK\r\nContent-Le");
             stay(answer);
         }},
        {u"stalled body"_s,
         silence,
         {},
         [](const Answer &answer) {
             sendHalf(answer);
             stay(answer);
         }},
        {u"dripping"_s, silence, {}, drip},
        {u"silent look-up"_s,
         silence,
         {},
         [](const Answer &answer) {
             answer.isReached = true;
             answer.connection.redirect(302, QUrl(u"https://silent.invalid/file"_s));
         }},
    };
}

void NetworkFault::happenTo(ReleaseHost &host, const QString &path, const QByteArray &content,
                            std::shared_ptr<std::atomic<bool>> isReached) const
{
    host.replace(path, [path, content, isReached, act = act,
                        url = host.url()](const HttpRequest &, HttpConnection &connection) {
        act({path, content, connection, *isReached, url});
    });
}

} // namespace brindle
