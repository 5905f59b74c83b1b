// Tests which addresses lead to the code-hosting service.

#include "project/CodeHost.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestCodeHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void addressesStartAtTheBase_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("address");
        const auto row = [](const char *name, const char *base, const char *address = "") {
            QTest::newRow(name) << base << address;
        };
        row("host", "https://code.example", "https://code.example/a/b.zip");
        row("slash at the end", "https://code.example/", "https://code.example/a/b.zip");
        row("port", "http://127.0.0.1:8080", "http://127.0.0.1:8080/a/b.zip");
        row("nothing", "");
        row("no host", "https://");
        row("a path", "code.example");
        row("a wrong port", "https://code.example:port");
    }
    void addressesStartAtTheBase()
    {
        QFETCH(QString, base);
        QFETCH(QString, address);
        const auto url = CodeHost::address(QUrl(base), u"/a/b.zip"_s);
        QCOMPARE(url.value_or(QUrl()).toString(), address);
    }

    void repositoriesHaveArchives_data()
    {
        QTest::addColumn<QString>("repository");
        QTest::addColumn<QString>("archive");
        const auto taken = [](const char *repository, const char *archive) {
            QTest::newRow(repository) << repository << archive;
        };
        taken("https://code.example/a/b", "https://code.example/a/b/archive/HEAD.zip");
        taken("https://code.example/a/b.git", "https://code.example/a/b/archive/HEAD.zip");
        taken("https://code.example/a/b.git.git", "https://code.example/a/b.git/archive/HEAD.zip");
        taken("https://code.example/a/b.GIT", "https://code.example/a/b.GIT/archive/HEAD.zip");
        taken("https://code.example/a/b/", "https://code.example/a/b//archive/HEAD.zip");
        taken("http://code.example/a/b", "http://code.example/a/b/archive/HEAD.zip");
        taken("HTTPS://code.example/a/b", "https://code.example/a/b/archive/HEAD.zip");
        taken("https://code.example:444/a/b", "https://code.example:444/a/b/archive/HEAD.zip");
        taken("https://me@code.example/a/b", "https://me@code.example/a/b/archive/HEAD.zip");
        for (const char *refused : {"ssh://git@code.example/a/b.git",
                                    "ftp://code.example/a/b",
                                    "file://code.example/a/b",
                                    "//code.example/a/b",
                                    "https://other.example/a/b",
                                    "https://sub.code.example/a/b",
                                    "https://code.example.other/a/b",
                                    "https://code.example./a/b",
                                    "https://Code.example/a/b",
                                    "https://%63ode.example/a/b",
                                    "https://code.example@other.example/a/b",
                                    "https://code.example:x@other.example/a/b",
                                    "https://other.example@code.example@x/a/b",
                                    "https://other.example\\@code.example/a/b",
                                    "https://code.example\\.other.example/a/b",
                                    "https://other.example/code.example/a/b",
                                    "https://other.example?//code.example/a/b",
                                    "https://other.example#@code.example/a/b",
                                    "../b.git",
                                    "/code.example/a/b",
                                    "git@code.example:a/b.git",
                                    "https://code.example/a /b",
                                    "https://code.example /a/b",
                                    "https://code.example:port/a/b",
                                    "",
                                    ".git"}) {
            QTest::newRow(refused) << refused << "";
        }
    }
    void repositoriesHaveArchives()
    {
        QFETCH(QString, repository);
        QFETCH(QString, archive);
        const QUrl base(u"https://code.example"_s);
        const auto url = CodeHost::repositoryArchive(base, repository);
        QCOMPARE(url.value_or(QUrl()).toString(), archive);
    }
};

QTEST_GUILESS_MAIN(TestCodeHost)
#include "tst_codehost.moc"
