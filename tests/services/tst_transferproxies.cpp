// The ways that the system's settings name: which is taken, when the next is tried, and what is
// told when something else answers in the server's place.

#include "http/HttpServer.h"
#include "net/Transfer.h"

#include "Outcome.h"
#include "TestCertificate.h"

#include <QFile>
#include <QNetworkProxy>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <dlfcn.h>
#include <netdb.h>

#include <cstring>
#include <functional>
#include <mutex>
#include <semaphore>
#include <thread>

using namespace brindle;
using namespace std::chrono_literals;

namespace {

constexpr const char *unknownName = "unknown.invalid";

// What the system's settings say; set before a transfer, called on its thread.
std::function<QList<QNetworkProxy>(const QUrl &)> systemsAnswer;

} // namespace

/// Stands in for the system's settings: where they come from differs, and a script of a desktop's
/// can't be had here.
QList<QNetworkProxy> QNetworkProxyFactory::systemProxyForQuery(const QNetworkProxyQuery &query)
{
    // A copy: a cancelled transfer may still be in here when the test names another.
    const auto answer = systemsAnswer;
    return answer(query.url());
}

/// Stands in for the system's look-up in libcurl: one name is not known, and no network is asked.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result)
{
    if (node && std::strcmp(node, unknownName) == 0) {
        return EAI_NONAME;
    }
    using Function = int (*)(const char *, const char *, const addrinfo *, addrinfo **);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

namespace {

const QString farAway = QStringLiteral("https://far.invalid/file");

QNetworkProxy http(quint16 port)
{
    return {QNetworkProxy::HttpProxy, QStringLiteral("127.0.0.1"), port};
}

QNetworkProxy socks(quint16 port)
{
    return {QNetworkProxy::Socks5Proxy, QStringLiteral("127.0.0.1"), port};
}

/// A port that nothing listens on.
quint16 closedPort()
{
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

void say(const QList<QNetworkProxy> &proxies)
{
    systemsAnswer = [proxies](const QUrl &) { return proxies; };
}

HttpServer::Handler saying(const QByteArray &answer)
{
    return [answer](const HttpRequest &, HttpConnection &c) { c.write(answer); };
}

/// A proxy that leads every CONNECT to one port of this machine.
HttpServer::Handler leadingTo(quint16 port)
{
    return [port](const HttpRequest &request, HttpConnection &connection) {
        if (request.method == "CONNECT" && connection.write("HTTP/1.1 200 OK\r\n\r\n")) {
            connection.tunnel(port);
        }
    };
}

Outcome<TransferResult> fetch(const QUrl &url, const TransferOptions &options = {})
{
    return outcomeOf(Transfer::toMemory(url, 1000, {}, options));
}

QString signInText(const QString &host)
{
    return QStringLiteral("The network answered with a web page in place of %1. It may want you to "
                          "sign in first: open any page in your web browser, then try again.")
        .arg(host);
}

} // namespace

class TestTransferProxies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void firstThatWorksIsTheOnlyOneAsked();
    void nextIsTried_data();
    void nextIsTried();
    void plainRequestsTryTheNextToo();
    void directIsOneOfThem();
    void silentOneIsLeftInTime();
    void unusableKindsAreSkipped();
    void noneAtAllMeansDirect();
    void eachRedirectIsLookedUp();
    void serversOwnFailureIsFinal();
    void cutBodyIsFinal();
    void cutBodyInAKeptTunnelIsFinal();
    void lastFailureIsTold();
    void answerIsToldRatherThanSilence();
    void lookUpIsNotTheServersSilence();
    void cancelDuringTheLookUp();
    void cancelBeforeTheLookUp();
    void webPageInPlaceOfTheServer_data();
    void webPageInPlaceOfTheServer();
    void webPageInPlaceOfTls();

private:
    QTemporaryDir folder_;
    QSslConfiguration tls_;
    TransferOptions trusting_;
};

void TestTransferProxies::initTestCase()
{
    const auto certificate = TestCertificate::make();
    tls_ = certificate.serverConfiguration();
    trusting_.caFile = folder_.filePath(QStringLiteral("ca.pem"));
    certificate.save(trusting_.caFile);
}

void TestTransferProxies::firstThatWorksIsTheOnlyOneAsked()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"), 0, &tls_);
    const HttpServer first(leadingTo(server.port()));
    const HttpServer second(leadingTo(server.port()));
    say({http(first.port()), http(second.port())});
    const auto outcome = fetch(server.url(), trusting_);
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, QByteArray("far"));
    QCOMPARE(first.requestCount(), 1);
    QCOMPARE(second.requestCount(), 0);
}

void TestTransferProxies::nextIsTried_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("answer");
    const auto answering = [](const char *name, const QByteArray &answer) {
        QTest::newRow(name) << QStringLiteral("answering") << answer;
    };
    QTest::newRow("refused") << QStringLiteral("closed") << QByteArray();
    QTest::newRow("unknown name") << QStringLiteral("unknown") << QByteArray();
    QTest::newRow("refused SOCKS") << QStringLiteral("closed SOCKS") << QByteArray();
    QTest::newRow("no SOCKS") << QStringLiteral("no SOCKS") << QByteArray();
    answering("closes", {});
    answering("forbids", "HTTP/1.1 403 Forbidden\r\nContent-Length: 2\r\n\r\nno");
    answering("wants a password", "HTTP/1.1 407 Who\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"
                                  "Content-Length: 0\r\n\r\n");
    answering("can't reach it", "HTTP/1.1 502 Bad Gateway\r\nContent-Length: 0\r\n\r\n");
    answering("redirects", "HTTP/1.1 302 Found\r\nLocation: http://portal.invalid/\r\n"
                           "Content-Length: 0\r\n\r\n");
    answering("no HTTP", "<html>\r\n<body>Welcome</body></html>\r\n\r\n");
}

void TestTransferProxies::nextIsTried()
{
    QFETCH(const QString, kind);
    QFETCH(const QByteArray, answer);
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"), 0, &tls_);
    const HttpServer bad(saying(answer));
    const HttpServer good(leadingTo(server.port()));
    QNetworkProxy first = http(bad.port());
    if (kind == u"closed") {
        first = http(closedPort());
    } else if (kind == u"unknown") {
        first.setHostName(QString::fromLatin1(unknownName));
    } else if (kind == u"closed SOCKS") {
        first = socks(closedPort());
    } else if (kind == u"no SOCKS") {
        first = socks(bad.port());
    }
    say({first, http(good.port())});
    const auto outcome = fetch(server.url(), trusting_);
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(outcome.value->body, QByteArray("far"));
    QCOMPARE(good.requestCount(), 1);
    QCOMPARE(bad.requestCount(), kind == u"answering" ? 1 : 0);
}

void TestTransferProxies::plainRequestsTryTheNextToo()
{
    const HttpServer good(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    QNetworkProxy unknown = http(1);
    unknown.setHostName(QString::fromLatin1(unknownName));
    say({http(closedPort()), unknown, http(good.port())});
    const auto outcome = fetch(QUrl(QStringLiteral("http://127.0.0.2:9/file")));
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(good.requestCount("http://127.0.0.2:9/file"), 1);
}

void TestTransferProxies::directIsOneOfThem()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"), 0, &tls_);
    const HttpServer proxy(leadingTo(server.port()));
    say({http(closedPort()), QNetworkProxy(QNetworkProxy::NoProxy), http(proxy.port())});
    QVERIFY(fetch(server.url(), trusting_).value);
    QCOMPARE(proxy.requestCount(), 0);

    // The other way round: nothing is there directly.
    say({QNetworkProxy(QNetworkProxy::NoProxy), http(proxy.port())});
    QUrl nowhere = server.url();
    nowhere.setPort(closedPort());
    QVERIFY(fetch(nowhere, trusting_).value);
    QCOMPARE(proxy.requestCount(), 1);
    // Or its name is known to the proxy only; the certificate is for another.
    nowhere.setHost(QString::fromLatin1(unknownName));
    nowhere.setPort(-1);
    const auto outcome = fetch(nowhere, trusting_);
    QVERIFY2(outcome.text().contains(QStringLiteral("certificate")), qPrintable(outcome.text()));
    QCOMPARE(proxy.requestCount("unknown.invalid:443"), 1);
}

void TestTransferProxies::silentOneIsLeftInTime()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"), 0, &tls_);
    const HttpServer silent([](const HttpRequest &, HttpConnection &c) { c.waitUntilClosed(); });
    // Says nothing on its own, as one does that waits for a greeting.
    QTcpServer silentSocks;
    QVERIFY(silentSocks.listen(QHostAddress::LocalHost));
    const HttpServer good(leadingTo(server.port()));
    say({http(silent.port()), socks(silentSocks.serverPort()), http(good.port())});
    TransferOptions options = trusting_;
    options.idleTimeout = 1s;
    const auto outcome = fetch(server.url(), options);
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
    QCOMPARE(silent.requestCount(), 1);
    QVERIFY(silentSocks.hasPendingConnections() || silentSocks.waitForNewConnection(0));
}

void TestTransferProxies::unusableKindsAreSkipped()
{
    const HttpServer good(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    const QNetworkProxy ftp(QNetworkProxy::FtpCachingProxy, QStringLiteral("127.0.0.1"),
                            closedPort());
    say({ftp, http(good.port())});
    QVERIFY(fetch(QUrl(QStringLiteral("http://127.0.0.2:9/file"))).value);
    say({ftp});
    QVERIFY(fetch(good.url()).value);
}

void TestTransferProxies::noneAtAllMeansDirect()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    say({});
    QVERIFY(fetch(server.url()).value);
}

void TestTransferProxies::eachRedirectIsLookedUp()
{
    const HttpServer second(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    const HttpServer first([&](const HttpRequest &, HttpConnection &connection) {
        connection.redirect(302, second.url(QStringLiteral("/end")));
    });
    QList<QUrl> asked;
    systemsAnswer = [&](const QUrl &url) {
        asked.append(url);
        return QList{QNetworkProxy(QNetworkProxy::NoProxy)};
    };
    QVERIFY(fetch(first.url(QStringLiteral("/start"))).value);
    QCOMPARE(asked,
             (QList{first.url(QStringLiteral("/start")), second.url(QStringLiteral("/end"))}));
}

void TestTransferProxies::serversOwnFailureIsFinal()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\n\r\n"), 0, &tls_);
    const HttpServer first(leadingTo(server.port()));
    const HttpServer second(leadingTo(server.port()));
    say({http(first.port()), http(second.port())});
    // Its certificate is not trusted: that is the server's, whichever way leads there.
    const auto outcome = fetch(server.url());
    QVERIFY(outcome.transferError);
    QVERIFY2(outcome.text().contains(QStringLiteral("certificate")), qPrintable(outcome.text()));
    QCOMPARE(first.requestCount(), 1);
    QCOMPARE(second.requestCount(), 0);
}

void TestTransferProxies::cutBodyIsFinal()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf"), 0, &tls_);
    const HttpServer first(leadingTo(server.port()));
    const HttpServer second(leadingTo(server.port()));
    say({http(first.port()), http(second.port())});
    QVERIFY(fetch(server.url(), trusting_).transferError);
    QCOMPARE(server.requestCount(), 1);
    QCOMPARE(second.requestCount(), 0);
}

void TestTransferProxies::cutBodyInAKeptTunnelIsFinal()
{
    const HttpServer server(
        [&](const HttpRequest &, HttpConnection &connection) {
            connection.keepOpen();
            if (server.requestCount() == 1) {
                connection.respond(200, {}, "far");
            } else {
                connection.write("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
                connection.reset();
            }
        },
        0, &tls_);
    const HttpServer first(leadingTo(server.port()));
    const HttpServer second(leadingTo(server.port()));
    say({http(first.port()), http(second.port())});
    const auto kept = Transfer::keepConnections();
    QVERIFY(fetch(server.url(), trusting_).value);
    const auto outcome = fetch(server.url(), trusting_);
    QVERIFY(outcome.transferError);
    QVERIFY2(!outcome.text().contains(QStringLiteral("web page")), qPrintable(outcome.text()));
    QCOMPARE(first.requestCount(), 1);
    QCOMPARE(second.requestCount(), 0);
    QCOMPARE(server.requestCount(), 2);
}

void TestTransferProxies::lastFailureIsTold()
{
    const quint16 last = closedPort();
    QNetworkProxy unknown = http(1);
    unknown.setHostName(QString::fromLatin1(unknownName));
    say({unknown, http(last)});
    const auto outcome = fetch(QUrl(farAway));
    QVERIFY(outcome.transferError);
    QVERIFY2(outcome.text().contains(QString::number(last)), qPrintable(outcome.text()));
}

void TestTransferProxies::answerIsToldRatherThanSilence()
{
    const HttpServer proxy(saying("HTTP/1.1 407 Who\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"
                                  "Content-Length: 0\r\n\r\n"));
    say({http(closedPort()), http(proxy.port()), http(closedPort())});
    const auto outcome = fetch(QUrl(farAway));
    QVERIFY(outcome.transferError);
    QVERIFY2(outcome.text().contains(QStringLiteral("407")), qPrintable(outcome.text()));
}

void TestTransferProxies::lookUpIsNotTheServersSilence()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    systemsAnswer = [](const QUrl &) {
        std::this_thread::sleep_for(2500ms); // a slow script
        return QList{QNetworkProxy(QNetworkProxy::NoProxy)};
    };
    TransferOptions options;
    options.idleTimeout = 2s;
    const auto outcome = fetch(server.url(), options);
    QVERIFY2(outcome.value, qPrintable(outcome.text()));
}

void TestTransferProxies::cancelDuringTheLookUp()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    std::binary_semaphore asked(0);
    const auto answer = std::make_shared<std::binary_semaphore>(0);
    QTcpServer proxy;
    QVERIFY(proxy.listen(QHostAddress::LocalHost));
    systemsAnswer = [&asked, answer, port = proxy.serverPort()](const QUrl &) {
        asked.release();
        answer->acquire();
        return QList{http(port)};
    };
    std::stop_source stop;
    auto task = Transfer::toMemory(server.url(), 1000, stop.get_token());
    asked.acquire();
    stop.request_stop();
    // The answer comes only after the end.
    QVERIFY(outcomeOf(std::move(task)).cancelled());
    answer->release();
    say({});
    QVERIFY(fetch(server.url()).value);
    QCOMPARE(server.requestCount(), 1);
    QCoreApplication::processEvents();
    QVERIFY(!proxy.hasPendingConnections());
}

void TestTransferProxies::cancelBeforeTheLookUp()
{
    const HttpServer server(saying("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nfar"));
    std::counting_semaphore<2> asked(0);
    systemsAnswer = [&asked](const QUrl &) {
        asked.release();
        return QList{QNetworkProxy(QNetworkProxy::NoProxy)};
    };
    std::stop_source stop;
    stop.request_stop();
    QVERIFY(outcomeOf(Transfer::toMemory(server.url(), 1000, stop.get_token())).cancelled());
    QVERIFY(fetch(server.url()).value);
    asked.acquire();
    QVERIFY(!asked.try_acquire());
}

void TestTransferProxies::webPageInPlaceOfTheServer_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("text");
    const QString signIn = signInText(QStringLiteral("far.invalid"));
    QTest::newRow("redirect") << QByteArray("HTTP/1.1 302 Found\r\nLocation: http://portal.invalid/"
                                            "\r\nContent-Length: 0\r\n\r\n")
                              << signIn;
    QTest::newRow("511") << QByteArray("HTTP/1.1 511 Network Authentication Required\r\n"
                                       "Content-Length: 0\r\n\r\n")
                         << signIn;
    QTest::newRow("page") << QByteArray("HTTP/1.1 403 Forbidden\r\nContent-Type: Text/HTML; "
                                        "charset=utf-8\r\nContent-Length: 6\r\n\r\n<html>")
                          << signIn;
    QTest::newRow("page without HTTP")
        << QByteArray("<html>\r\n<body>Welcome</body></html>\r\n\r\n") << signIn;
    QTest::newRow("page in the tunnel")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: 36\r\n\r\n"
                      "<html><body>Welcome</body></html>\r\n\r\n")
        << signIn;
    QTest::newRow("answer in the tunnel")
        << QByteArray("HTTP/1.1 200 OK\r\n\r\nHTTP/1.1 302 Found\r\nLocation: http://x/\r\n\r\n")
        << signIn;
    // These are in libcurl's own words.
    QTest::newRow("password") << QByteArray("HTTP/1.1 407 Who\r\nContent-Type: text/html\r\n"
                                            "Content-Length: 6\r\n\r\n<html>")
                              << QStringLiteral("CONNECT tunnel failed, response 407");
    QTest::newRow("text") << QByteArray("HTTP/1.1 403 Forbidden\r\nContent-Type: text/plain\r\n"
                                        "Content-Length: 2\r\n\r\nno")
                          << QStringLiteral("CONNECT tunnel failed, response 403");
    QTest::newRow("nothing") << QByteArray() << QStringLiteral("Proxy CONNECT aborted");
}

void TestTransferProxies::webPageInPlaceOfTheServer()
{
    QFETCH(const QByteArray, answer);
    QFETCH(const QString, text);
    const HttpServer proxy(saying(answer));
    say({http(proxy.port())});
    const auto outcome = fetch(QUrl(farAway));
    QVERIFY(outcome.transferError);
    QCOMPARE(outcome.text(), text);
}

void TestTransferProxies::webPageInPlaceOfTls()
{
    // A server without TLS answers a greeting of TLS with a page.
    const HttpServer plain(saying({}));
    QUrl url = plain.url();
    url.setScheme(QStringLiteral("https"));
    say({});
    const auto outcome = fetch(url, trusting_);
    QVERIFY(outcome.transferError);
    QCOMPARE(outcome.text(), signInText(QStringLiteral("127.0.0.1")));
}

QTEST_GUILESS_MAIN(TestTransferProxies)
#include "tst_transferproxies.moc"
