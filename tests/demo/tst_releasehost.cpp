#include "demo/ReleaseHost.h"

#include "../services/TestCertificate.h"
#include "support/Await.h"

#include <QCryptographicHash>
#include <QFile>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace brindle;

namespace {

/// One answer, as it came over the wire.
struct Answer
{
    int status = 0;
    QByteArray head;
    QByteArray body;    ///< chunks joined
    bool whole = false; ///< everything that the head announced has come

    QByteArray header(const QByteArray &name) const
    {
        for (const QByteArray &line : head.split('\n')) {
            if (line.startsWith(name + ": ")) {
                return line.mid(name.size() + 2).trimmed();
            }
        }
        return {};
    }
    QUrl location() const { return QUrl::fromEncoded(header("Location")); }
};

void joinChunks(Answer &answer)
{
    QByteArray joined;
    qsizetype at = 0;
    for (;;) {
        const qsizetype end = answer.body.indexOf("\r\n", at);
        if (end < 0) {
            break;
        }
        const qsizetype size = answer.body.mid(at, end - at).toLongLong(nullptr, 16);
        if (size == 0) {
            answer.whole = true;
            break;
        }
        joined += answer.body.mid(end + 2, size);
        at = end + 2 + size + 2;
    }
    answer.body = joined;
}

Answer parse(const QByteArray &bytes)
{
    Answer answer;
    const qsizetype end = bytes.indexOf("\r\n\r\n");
    answer.head = bytes.left(end);
    answer.status = answer.head.mid(9, 3).toInt();
    answer.body = end < 0 ? QByteArray() : bytes.mid(end + 4);
    if (answer.header("Transfer-Encoding") == "chunked") {
        joinChunks(answer);
    } else {
        answer.whole = answer.body.size() == answer.header("Content-Length").toLongLong();
    }
    return answer;
}

void ask(QTcpSocket &socket, const QUrl &url, const QByteArray &method = "GET")
{
    socket.connectToHost(QStringLiteral("127.0.0.1"), static_cast<quint16>(url.port()));
    QVERIFY(socket.waitForConnected());
    socket.write(method + ' ' + url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority) +
                 " HTTP/1.1\r\nHost: " + url.host().toLatin1() + "\r\nConnection: close\r\n\r\n");
    QVERIFY(socket.waitForBytesWritten());
}

Answer get(const QUrl &url, const QByteArray &method = "GET")
{
    QTcpSocket socket;
    ask(socket, url, method);
    QByteArray bytes;
    while (socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    return parse(bytes + socket.readAll());
}

QUrl on(const ReleaseHost &host, const QString &path)
{
    return QUrl(host.url().toString() + path);
}

/// The answer after the redirect.
Answer follow(const ReleaseHost &host, const QString &path)
{
    const Answer redirect = get(on(host, path));
    return redirect.status == 302 ? get(redirect.location()) : redirect;
}

const auto tag = QStringLiteral("4.3-stable");
const auto standardName = QStringLiteral("Godot_v4.3-stable_linux.x86_64.zip");
const auto monoName = QStringLiteral("Godot_v4.3-stable_mono_linux_x86_64.zip");

} // namespace

class TestReleaseHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void archivesAreRedirectedAndHaveNoLength();
    void releasesAreRedirectedAndHaveALength();
    void filesAreSentFromDisk();
    void checksumListsNameStandardAndMonoBuilds();
    void aNewOfferTakesTheOldOnesPlace();
    void everythingElseIsMissing();
    void otherAnswersLastUntilRestored();
    void tamperedBodiesDifferInOneByte();
    void aGateHoldsTheRestBack();
    void aGateBeforeTheBodyHoldsItsHead();
    void aHostThatEndsLeavesNobodyWaiting();
    void speedSlowsBodiesDown();
    void requestsAreRememberedInOrder();
    void oneSharedPortTellsTheHostsByName();
    void answersOverTls();
};

void TestReleaseHost::archivesAreRedirectedAndHaveNoLength()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    host.offerAddon(QStringLiteral("some/addon"), QByteArray("the add-on"));
    const QList<std::pair<QString, QByteArray>> offers{
        {QStringLiteral("/tessel-works/godot-brindle/archive/refs/heads/main.zip"), "the game"},
        {QStringLiteral("/some/addon/archive/HEAD.zip"), "the add-on"}};
    for (const auto &[path, content] : offers) {
        const Answer redirect = get(on(host, path));
        QCOMPARE(redirect.status, 302);
        QVERIFY(redirect.location().port() != host.url().port());
        QCOMPARE(redirect.location().path(), ReleaseHost::bodyPath(path));
        const Answer answer = get(redirect.location());
        QCOMPARE(answer.status, 200);
        QVERIFY(answer.header("Content-Length").isEmpty());
        QVERIFY(answer.whole);
        QCOMPARE(answer.body, content);
    }
}

void TestReleaseHost::releasesAreRedirectedAndHaveALength()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    host.offerEngine(tag, standardName, QByteArray("the engine"));
    const QString path =
        QStringLiteral("/godotengine/godot-builds/releases/download/4.3-stable/") + standardName;
    const Answer redirect = get(on(host, path));
    QCOMPARE(redirect.status, 302);
    QVERIFY(redirect.location().port() != host.url().port());
    QVERIFY(redirect.location().port() != get(on(host, ReleaseHost::gamePath())).location().port());
    const Answer answer = get(redirect.location());
    QCOMPARE(answer.status, 200);
    QCOMPARE(answer.header("Content-Length"), QByteArray("10"));
    QCOMPARE(answer.body, QByteArray("the engine"));
}

void TestReleaseHost::filesAreSentFromDisk()
{
    const QTemporaryDir folder;
    const QByteArray content(700'000, 'x');
    QFile file(folder.filePath(QStringLiteral("zip")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
    file.close();
    ReleaseHost host;
    host.offerGame(file.fileName());
    host.offerEngine(tag, standardName, file.fileName());
    const Answer game = follow(host, ReleaseHost::gamePath());
    QVERIFY(game.whole && game.header("Content-Length").isEmpty());
    QCOMPARE(game.body, content);
    const Answer engine = follow(host, ReleaseHost::enginePath(tag, standardName));
    QCOMPARE(engine.header("Content-Length"), QByteArray::number(content.size()));
    QCOMPARE(engine.body, content);
    QVERIFY_THROWS_EXCEPTION(
        std::runtime_error,
        host.offerEngine(tag, monoName, folder.filePath(QStringLiteral("absent"))));
}

void TestReleaseHost::checksumListsNameStandardAndMonoBuilds()
{
    ReleaseHost host;
    host.offerEngine(tag, standardName, QByteArray("standard"));
    host.offerEngine(tag, monoName, QByteArray("mono"));
    host.offerEngine(QStringLiteral("4.4-stable"), QStringLiteral("other.zip"), QByteArray("4.4"));
    // The second offer of a name replaces its digest.
    host.offerEngine(tag, standardName, QByteArray("standard, again"));
    const auto digest = [](const QByteArray &bytes) {
        return QCryptographicHash::hash(bytes, QCryptographicHash::Sha512).toHex();
    };
    const Answer answer = follow(
        host,
        QStringLiteral("/godotengine/godot-builds/releases/download/4.3-stable/SHA512-SUMS.txt"));
    QCOMPARE(answer.status, 200);
    QVERIFY(!answer.header("Content-Length").isEmpty());
    QCOMPARE(answer.body, digest("standard, again") + "  " + standardName.toUtf8() + "\n" +
                              digest("mono") + "  " + monoName.toUtf8() + "\n");
}

void TestReleaseHost::aNewOfferTakesTheOldOnesPlace()
{
    ReleaseHost host;
    host.offerGame(QByteArray("first"));
    QCOMPARE(follow(host, ReleaseHost::gamePath()).body, QByteArray("first"));
    host.offerGame(QByteArray("second"));
    QCOMPARE(follow(host, ReleaseHost::gamePath()).body, QByteArray("second"));
}

void TestReleaseHost::everythingElseIsMissing()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    QCOMPARE(get(on(host, QStringLiteral("/"))).status, 404);
    QCOMPARE(get(on(host, ReleaseHost::checksumPath(tag))).status, 404);
    // Bodies are not at the code host, and not at the other body host.
    QCOMPARE(get(on(host, ReleaseHost::bodyPath(ReleaseHost::gamePath()))).status, 404);
    QUrl body = get(on(host, ReleaseHost::gamePath())).location();
    body.setPath(ReleaseHost::gamePath());
    QCOMPARE(get(body).status, 404);
    QCOMPARE(get(on(host, ReleaseHost::gamePath()), "POST").status, 405);
}

void TestReleaseHost::otherAnswersLastUntilRestored()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    const QString path = ReleaseHost::gamePath();
    host.fail(path, 500);
    QCOMPARE(get(on(host, path)).status, 500);
    host.restore(path);
    QCOMPARE(follow(host, path).body, QByteArray("the game"));
    host.replace(ReleaseHost::bodyPath(path), [](const HttpRequest &, HttpConnection &connection) {
        connection.respond(200, {}, "something else");
    });
    QCOMPARE(follow(host, path).body, QByteArray("something else"));
    host.restore(ReleaseHost::bodyPath(path));
    host.silence(path);
    QTcpSocket socket;
    ask(socket, on(host, path));
    spinUntil([&] { return host.requests().size() == 4; });
    QCOMPARE(socket.bytesAvailable(), 0);
}

void TestReleaseHost::tamperedBodiesDifferInOneByte()
{
    ReleaseHost host;
    const QByteArray content(600'000, 'a');
    host.offerEngine(tag, standardName, content);
    const QString path = ReleaseHost::enginePath(tag, standardName);
    host.tamper(path);
    const QByteArray body = follow(host, path).body;
    QCOMPARE(body.size(), content.size());
    QCOMPARE(body.count('a'), content.size() - 1);
    host.restore(path);
    QCOMPARE(follow(host, path).body, content);
}

void TestReleaseHost::aGateHoldsTheRestBack()
{
    ReleaseHost host;
    host.offerEngine(tag, standardName, QByteArray("0123456789"));
    const QString path = ReleaseHost::enginePath(tag, standardName);
    const auto gate = host.hold(path, 4);
    QVERIFY(!gate->isReached());
    QTcpSocket socket;
    ask(socket, get(on(host, path)).location());
    QByteArray bytes;
    spinUntil([&] {
        bytes += socket.readAll();
        return bytes.endsWith("\r\n\r\n0123");
    });
    spinUntil([&] { return gate->isReached(); });
    gate->open();
    while (socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    QCOMPARE(parse(bytes).body, QByteArray("0123456789"));
}

void TestReleaseHost::aGateBeforeTheBodyHoldsItsHead()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    const auto gate = host.hold(ReleaseHost::gamePath());
    QTcpSocket socket;
    ask(socket, get(on(host, ReleaseHost::gamePath())).location());
    spinUntil([&] { return gate->isReached(); });
    QCOMPARE(socket.bytesAvailable(), 0);
    gate->open();
    QVERIFY(socket.waitForReadyRead());
}

void TestReleaseHost::aHostThatEndsLeavesNobodyWaiting()
{
    auto host = std::make_unique<ReleaseHost>();
    host->offerGame(QByteArray("the game"));
    const auto gate = host->hold(ReleaseHost::gamePath(), 3);
    QTcpSocket socket;
    ask(socket, get(on(*host, ReleaseHost::gamePath())).location());
    spinUntil([&] { return gate->isReached(); });
    host.reset();
    QByteArray bytes;
    while (socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    QVERIFY(!parse(bytes + socket.readAll()).whole);
    QCOMPARE(socket.state(), QAbstractSocket::UnconnectedState);
}

void TestReleaseHost::speedSlowsBodiesDown()
{
    ReleaseHost host;
    const QByteArray content(100'000, 'a');
    host.offerGame(content);
    // A day and more, if it stayed like this.
    host.setSpeed(1);
    QTcpSocket socket;
    ask(socket, get(on(host, ReleaseHost::gamePath())).location());
    QByteArray bytes;
    while (!bytes.contains("\r\na") && socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    QVERIFY(!parse(bytes).whole);
    host.setSpeed(0);
    while (socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    QCOMPARE(parse(bytes).body, content);
}

void TestReleaseHost::requestsAreRememberedInOrder()
{
    ReleaseHost host;
    host.offerGame(QByteArray("the game"));
    get(on(host, QStringLiteral("/first")));
    follow(host, ReleaseHost::gamePath());
    QCOMPARE(host.requests(), QStringList({QStringLiteral("/first"), ReleaseHost::gamePath()}));
    QCOMPARE(host.allRequests(), QStringList({QStringLiteral("/first"), ReleaseHost::gamePath(),
                                              ReleaseHost::bodyPath(ReleaseHost::gamePath())}));
    host.forgetRequests();
    QVERIFY(host.allRequests().isEmpty());
}

void TestReleaseHost::oneSharedPortTellsTheHostsByName()
{
    // A port that was free a moment ago.
    const quint16 port = static_cast<quint16>(ReleaseHost().url().port());
    ReleaseHost::Options options;
    options.port = port;
    options.codeHost = QStringLiteral("code.example");
    options.archiveHost = QStringLiteral("archives.example");
    options.releaseHost = QStringLiteral("releases.example");
    ReleaseHost host(options);
    host.offerGame(QByteArray("the game"));
    host.offerEngine(tag, standardName, QByteArray("the engine"));
    QCOMPARE(host.url(), QUrl(QStringLiteral("http://code.example:%1").arg(port)));
    const Answer game = get(on(host, ReleaseHost::gamePath()));
    QCOMPARE(game.location().host(), QStringLiteral("archives.example"));
    QCOMPARE(game.location().port(), int(port));
    QCOMPARE(get(game.location()).body, QByteArray("the game"));
    const Answer engine = get(on(host, ReleaseHost::enginePath(tag, standardName)));
    QCOMPARE(engine.location().host(), QStringLiteral("releases.example"));
    QCOMPARE(get(engine.location()).body, QByteArray("the engine"));
}

void TestReleaseHost::answersOverTls()
{
    const TestCertificate certificate = TestCertificate::make();
    ReleaseHost::Options options;
    options.tls = certificate.serverConfiguration();
    ReleaseHost host(options);
    host.offerGame(QByteArray("the game"));
    QCOMPARE(host.url().scheme(), QStringLiteral("https"));
    QSslSocket socket;
    auto trusted = QSslConfiguration::defaultConfiguration();
    trusted.setCaCertificates(QSslCertificate::fromData(certificate.certificate));
    socket.setSslConfiguration(trusted);
    socket.connectToHostEncrypted(QStringLiteral("127.0.0.1"),
                                  static_cast<quint16>(host.url().port()));
    QVERIFY2(socket.waitForEncrypted(), qPrintable(socket.errorString()));
    socket.write("GET " + ReleaseHost::gamePath().toLatin1() +
                 " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    QByteArray bytes;
    while (socket.waitForReadyRead()) {
        bytes += socket.readAll();
    }
    const QUrl location = parse(bytes + socket.readAll()).location();
    QCOMPARE(location.scheme(), QStringLiteral("https"));
    QCOMPARE(location.path(), ReleaseHost::bodyPath(ReleaseHost::gamePath()));
}

QTEST_GUILESS_MAIN(TestReleaseHost)
#include "tst_releasehost.moc"
