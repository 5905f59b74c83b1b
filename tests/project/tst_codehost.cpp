// Which addresses lead to the code-hosting service.

#include "project/CodeHost.h"

#include <QtTest>

using namespace brindle;

class TestCodeHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addressesStartAtTheBase_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("address");
        QTest::newRow("host") << "https://code.example" << "https://code.example/a/b.zip";
        QTest::newRow("slash at the end") << "https://code.example/"
                                          << "https://code.example/a/b.zip";
        QTest::newRow("port") << "http://127.0.0.1:8080" << "http://127.0.0.1:8080/a/b.zip";
        QTest::newRow("nothing") << "" << "";
        QTest::newRow("no host") << "https://" << "";
        QTest::newRow("a path") << "code.example" << "";
        QTest::newRow("a wrong port") << "https://code.example:port" << "";
    }

    void addressesStartAtTheBase()
    {
        QFETCH(QString, base);
        QFETCH(QString, address);
        const auto url = CodeHost::address(QUrl(base), QStringLiteral("/a/b.zip"));
        QCOMPARE(url.value_or(QUrl()).toString(), address);
    }

    void repositoriesHaveArchives_data()
    {
        QTest::addColumn<QString>("repository");
        QTest::addColumn<QString>("archive");
        const QString plain = QStringLiteral("https://code.example/a/b/archive/HEAD.zip");
        QTest::newRow("plain") << "https://code.example/a/b" << plain;
        QTest::newRow("with .git") << "https://code.example/a/b.git" << plain;
        QTest::newRow("with .git once") << "https://code.example/a/b.git.git"
                                        << "https://code.example/a/b.git/archive/HEAD.zip";
        QTest::newRow("with .GIT") << "https://code.example/a/b.GIT"
                                   << "https://code.example/a/b.GIT/archive/HEAD.zip";
        QTest::newRow("slash at the end") << "https://code.example/a/b/"
                                          << "https://code.example/a/b//archive/HEAD.zip";
        QTest::newRow("another scheme")
            << "http://code.example/a/b" << "http://code.example/a/b/archive/HEAD.zip";
        QTest::newRow("ssh") << "ssh://git@code.example/a/b.git" << "";
        QTest::newRow("git") << "git://code.example/a/b.git" << "";
        QTest::newRow("ftp") << "ftp://code.example/a/b" << "";
        QTest::newRow("file") << "file://code.example/a/b" << "";
        QTest::newRow("no scheme") << "//code.example/a/b" << "";
        QTest::newRow("scheme in capitals")
            << "HTTPS://code.example/a/b" << "https://code.example/a/b/archive/HEAD.zip";
        QTest::newRow("another port") << "https://code.example:444/a/b"
                                      << "https://code.example:444/a/b/archive/HEAD.zip";
        QTest::newRow("a user") << "https://me@code.example/a/b"
                                << "https://me@code.example/a/b/archive/HEAD.zip";
        QTest::newRow("another host") << "https://other.example/a/b" << "";
        QTest::newRow("a sub-domain") << "https://sub.code.example/a/b" << "";
        QTest::newRow("a longer host") << "https://code.example.other/a/b" << "";
        QTest::newRow("a dot at the end") << "https://code.example./a/b" << "";
        QTest::newRow("upper case") << "https://Code.example/a/b" << "";
        QTest::newRow("percent-encoded") << "https://%63ode.example/a/b" << "";
        QTest::newRow("as the user") << "https://code.example@other.example/a/b" << "";
        QTest::newRow("as user and password") << "https://code.example:x@other.example/a/b" << "";
        QTest::newRow("two users") << "https://other.example@code.example@x/a/b" << "";
        QTest::newRow("behind a backslash") << "https://other.example\\@code.example/a/b" << "";
        QTest::newRow("before a backslash") << "https://code.example\\.other.example/a/b" << "";
        QTest::newRow("in the path") << "https://other.example/code.example/a/b" << "";
        QTest::newRow("in the query") << "https://other.example?//code.example/a/b" << "";
        QTest::newRow("in the fragment") << "https://other.example#@code.example/a/b" << "";
        QTest::newRow("relative") << "../b.git" << "";
        QTest::newRow("absolute path") << "/code.example/a/b" << "";
        QTest::newRow("scp-like") << "git@code.example:a/b.git" << "";
        QTest::newRow("a blank") << "https://code.example/a /b" << "";
        QTest::newRow("a blank in the host") << "https://code.example /a/b" << "";
        QTest::newRow("a wrong port") << "https://code.example:port/a/b" << "";
        QTest::newRow("empty") << "" << "";
        QTest::newRow(".git alone") << ".git" << "";
    }

    void repositoriesHaveArchives()
    {
        QFETCH(QString, repository);
        QFETCH(QString, archive);
        const QUrl base(QStringLiteral("https://code.example"));
        const auto url = CodeHost::repositoryArchive(base, repository);
        QCOMPARE(url.value_or(QUrl()).toString(), archive);
    }
};

QTEST_GUILESS_MAIN(TestCodeHost)
#include "tst_codehost.moc"
