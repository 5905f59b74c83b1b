#include "http/HttpServer.h"

#include <QFile>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <poll.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <semaphore>
#include <stdexcept>
#include <thread>

using namespace brindle;

class TestHttpServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersWithALength();
    void anOwnLengthWins();
    void sendsAFileWithAndWithoutLength();
    void keepsOpenOnDemand();
    void redirects();
    void whatIsNoRequestGetsAPage();
    void tunnels();
    void serverThatIsStoppedEndsSilentHandlers();
    void serverThatIsStoppedEndsAHandlerThatWrites();
    void reset();
    void takesTheGivenPortOrFails();
    void servesManyAtOnce();
    void aHandlerThatThrowsCutsOnlyItsOwnConnection();
};

namespace {

QByteArray fetch(const HttpServer &server, const QByteArray &target)
{
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    if (!socket.waitForConnected()) {
        return {};
    }
    socket.write("GET " + target + " HTTP/1.1\r\nHost: x\r\nX-Thing:  two words \r\n\r\n");
    while (socket.waitForReadyRead()) {
    }
    return socket.readAll();
}

QByteArray bodyOf(const QByteArray &answer)
{
    return answer.mid(answer.indexOf("\r\n\r\n") + 4);
}

} // namespace

void TestHttpServer::answersWithALength()
{
    HttpRequest seen;
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        seen = request;
        connection.respond(404, {{"X-A", "b"}}, "gone");
    });
    const QByteArray answer = fetch(server, "/a?b=c");
    QVERIFY2(answer.startsWith("HTTP/1.1 404 Not Found\r\n"), answer.constData());
    QVERIFY(answer.contains("\r\nContent-Length: 4\r\n"));
    QVERIFY(answer.contains("\r\nX-A: b\r\n"));
    QCOMPARE(bodyOf(answer), QByteArray("gone"));
    QCOMPARE(seen.method, QByteArray("GET"));
    QCOMPARE(seen.target, QByteArray("/a?b=c"));
    QCOMPARE(seen.headers.value("x-thing"), QByteArray("two words"));
    QCOMPARE(server.requestCount(), 1);
    QCOMPARE(server.requestCount("/a?b=c"), 1);
    QCOMPARE(server.requestCount("/other"), 0);
}

void TestHttpServer::anOwnLengthWins()
{
    const HttpServer server([](const HttpRequest &request, HttpConnection &connection) {
        connection.respond(200, {{"Content-Length", request.target == "/none" ? "" : "99"}}, "x");
    });
    QVERIFY(fetch(server, "/").contains("\r\nContent-Length: 99\r\n"));
    QVERIFY(!fetch(server, "/none").contains("Content-Length"));
}

void TestHttpServer::sendsAFileWithAndWithoutLength()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("file"));
    QByteArray content;
    for (int i = 0; i < 100000; ++i) {
        content += QByteArray::number(i) + ' ';
    }
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
    file.close();

    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        connection.respondWithFile(request.target == "/missing" ? path + QStringLiteral("-") : path,
                                   request.target == "/length");
    });
    QCOMPARE(bodyOf(fetch(server, "/length")), content);

    QByteArray chunks = bodyOf(fetch(server, "/chunks"));
    QByteArray joined;
    for (;;) {
        const qsizetype end = chunks.indexOf("\r\n");
        QVERIFY(end > 0);
        const qsizetype size = chunks.left(end).toLongLong(nullptr, 16);
        joined += chunks.mid(end + 2, size);
        chunks = chunks.mid(end + 2 + size + 2);
        if (size == 0) {
            break;
        }
    }
    QCOMPARE(joined, content);
    QVERIFY(fetch(server, "/missing").startsWith("HTTP/1.1 404 "));
}

void TestHttpServer::keepsOpenOnDemand()
{
    const HttpServer server([](const HttpRequest &request, HttpConnection &connection) {
        if (request.target == "/on") {
            connection.keepOpen();
        }
        connection.respond(200, {}, request.target);
    });
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    QVERIFY(socket.waitForConnected());
    for (int i = 0; i < 2; ++i) {
        socket.write("GET /on HTTP/1.1\r\n\r\n");
        QByteArray answer;
        while (!answer.endsWith("/on")) {
            QVERIFY(socket.waitForReadyRead());
            answer += socket.readAll();
        }
        QVERIFY(!answer.contains("Connection: close"));
    }
    socket.write("GET /off HTTP/1.1\r\n\r\n");
    while (socket.waitForReadyRead()) {
    }
    QVERIFY(socket.readAll().contains("\r\nConnection: close\r\n"));
    QCOMPARE(server.requestCount(), 3);
    QCOMPARE(server.connectionCount(), 1);
}

void TestHttpServer::redirects()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.redirect(302, QUrl(QStringLiteral("http://other:8/x%20y")));
    });
    const QByteArray answer = fetch(server, "/");
    QVERIFY(answer.startsWith("HTTP/1.1 302 Found\r\n"));
    QVERIFY(answer.contains("\r\nLocation: http://other:8/x%20y\r\n"));
}

void TestHttpServer::whatIsNoRequestGetsAPage()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &c) { c.respond(200, {}, {}); });
    QTcpSocket socket;
    socket.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    socket.write("\x16\x03\x01 a greeting of TLS");
    while (socket.waitForReadyRead()) {
    }
    const QByteArray answer = socket.readAll();
    QVERIFY2(answer.startsWith("HTTP/1.1 400 Bad Request\r\n"), answer.constData());
    QVERIFY(answer.contains("\r\nContent-Type: text/html\r\n"));
    QCOMPARE(server.requestCount(), 0);
}

void TestHttpServer::tunnels()
{
    // More than fits into any buffer, both ways, and then the far side ends.
    const QByteArray bytes(5'000'000, 'x');
    QTcpServer far;
    QVERIFY(far.listen(QHostAddress::LocalHost));
    const HttpServer proxy([port = far.serverPort()](const HttpRequest &, HttpConnection &c) {
        QVERIFY(c.tunnel(port));
    });
    QTcpSocket near;
    near.connectToHost(QStringLiteral("127.0.0.1"), proxy.port());
    near.write("CONNECT far:1 HTTP/1.1\r\n\r\n");
    QTRY_VERIFY_WITH_TIMEOUT(far.hasPendingConnections(), 30'000);
    QTcpSocket *const end = far.nextPendingConnection();
    QByteArray forth;
    QByteArray back;
    connect(end, &QIODevice::readyRead, end, [&] { forth += end->readAll(); });
    connect(&near, &QIODevice::readyRead, &near, [&] { back += near.readAll(); });
    near.write(bytes);
    end->write(bytes);
    QTRY_VERIFY_WITH_TIMEOUT(forth == bytes && end->bytesToWrite() == 0, 30'000);
    end->disconnectFromHost();
    QTRY_VERIFY_WITH_TIMEOUT(near.state() == QAbstractSocket::UnconnectedState, 30'000);
    QCOMPARE(back.size(), bytes.size());
}

void TestHttpServer::serverThatIsStoppedEndsSilentHandlers()
{
    std::counting_semaphore<8> started(0);
    std::atomic<int> ended = 0;
    auto server =
        std::make_unique<HttpServer>([&](const HttpRequest &request, HttpConnection &connection) {
            started.release();
            if (request.target == "/pause") {
                QVERIFY(!connection.pause(std::chrono::hours(1)));
            } else {
                connection.waitUntilClosed();
            }
            ++ended;
        });
    QTcpSocket waiting;
    waiting.connectToHost(QStringLiteral("127.0.0.1"), server->port());
    waiting.write("GET /wait HTTP/1.1\r\n\r\n");
    QVERIFY(waiting.waitForBytesWritten());
    QTcpSocket pausing;
    pausing.connectToHost(QStringLiteral("127.0.0.1"), server->port());
    pausing.write("GET /pause HTTP/1.1\r\n\r\n");
    QVERIFY(pausing.waitForBytesWritten());
    QTcpSocket speechless;
    speechless.connectToHost(QStringLiteral("127.0.0.1"), server->port());
    QVERIFY(speechless.waitForConnected());
    started.acquire();
    started.acquire();
    server.reset();
    QCOMPARE(ended.load(), 2);
}

void TestHttpServer::serverThatIsStoppedEndsAHandlerThatWrites()
{
    std::binary_semaphore started(0);
    std::atomic<bool> refused = false;
    auto server = std::make_unique<HttpServer>([&](const HttpRequest &, HttpConnection &c) {
        started.release();
        // Nobody reads, so this blocks sooner or later.
        while (c.write(QByteArray(1 << 20, 'x'))) {
        }
        refused = true;
    });
    QTcpSocket client;
    client.setReadBufferSize(1);
    client.connectToHost(QStringLiteral("127.0.0.1"), server->port());
    client.write("GET / HTTP/1.1\r\n\r\n");
    QVERIFY(client.waitForBytesWritten());
    started.acquire();
    server.reset();
    QVERIFY(refused);
}

void TestHttpServer::reset()
{
    const HttpServer server([](const HttpRequest &, HttpConnection &connection) {
        connection.reset();
        QVERIFY(!connection.write("more"));
    });
    QTcpSocket client;
    client.connectToHost(QStringLiteral("127.0.0.1"), server.port());
    QVERIFY(client.waitForConnected());
    client.write("GET / HTTP/1.1\r\n\r\n");
    QVERIFY(client.waitForBytesWritten());
    // Qt reports an orderly end and a reset alike.
    pollfd waiting{static_cast<int>(client.socketDescriptor()), POLLIN, 0};
    QVERIFY(::poll(&waiting, 1, 10000) > 0);
    char byte = 0;
    QCOMPARE(::recv(waiting.fd, &byte, 1, 0), -1);
    QCOMPARE(errno, ECONNRESET);
}

void TestHttpServer::takesTheGivenPortOrFails()
{
    const HttpServer::Handler nothing = [](const HttpRequest &, HttpConnection &) {};
    const HttpServer first(nothing);
    QVERIFY(first.port() != 0);
    QCOMPARE(first.url(QStringLiteral("/a")),
             QUrl(QStringLiteral("http://127.0.0.1:%1/a").arg(first.port())));
    QCOMPARE(first.url({}, QStringLiteral("localhost")).host(), QStringLiteral("localhost"));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, HttpServer(nothing, first.port()));
}

void TestHttpServer::servesManyAtOnce()
{
    constexpr int count = 20;
    std::counting_semaphore<count> arrived(0);
    std::counting_semaphore<count> go(0);
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        arrived.release();
        go.acquire();
        connection.respond(200, {}, request.target);
    });
    std::atomic<int> right = 0;
    {
        std::vector<std::jthread> clients;
        for (int i = 0; i < count; ++i) {
            clients.emplace_back([&, i] {
                const QByteArray target = '/' + QByteArray::number(i);
                if (bodyOf(fetch(server, target)) == target) {
                    ++right;
                }
            });
        }
        for (int i = 0; i < count; ++i) {
            arrived.acquire();
        }
        go.release(count);
    }
    QCOMPARE(right.load(), count);
    QCOMPARE(server.requestCount(), count);
}

void TestHttpServer::aHandlerThatThrowsCutsOnlyItsOwnConnection()
{
    const HttpServer server([&](const HttpRequest &request, HttpConnection &connection) {
        if (request.target == "/bad") {
            throw std::runtime_error("on purpose");
        }
        connection.respond(200, {}, "fine");
    });
    QTest::ignoreMessage(QtWarningMsg, "The handler of /bad failed: on purpose");
    QCOMPARE(fetch(server, "/bad"), QByteArray());
    QCOMPARE(bodyOf(fetch(server, "/good")), QByteArray("fine"));
}

QTEST_GUILESS_MAIN(TestHttpServer)
#include "tst_httpserver.moc"
