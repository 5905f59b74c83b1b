// Where an add-on's path leads, links and detours included.

#include "project/RepoDownloader.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <filesystem>

using namespace brindle;

class TestAddonFolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// A repository folder with links of every kind: the target is taken as it is written.
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(repository()).mkpath(QStringLiteral("deep/er/est")));
        link("inside", "deep/er/est");
        link("outside", "../elsewhere");
        link("root", "/");
        link("back", QFile::encodeName(repository()) + "/deep");
        link("dangling-inside", "not/there");
        link("dangling-outside", "../not/there");
        link("deep/up", "..");
        link("deep/far-up", "../..");
        link("loop", "pool");
        link("pool", "loop");
        link("chain", "inside/../../../outside");
        link("link1", "deep");
        for (int i = 2; i <= 41; ++i) {
            link("link" + QByteArray::number(i), "link" + QByteArray::number(i - 1));
        }
    }

    void pathsAreLocated_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("isOutside");
        QTest::addColumn<QString>("located");
        const auto inside = [](const char *name, const QString &path, const QString &located) {
            QTest::newRow(name) << path << false << located;
        };
        const auto outside = [](const char *name, const QString &path) {
            QTest::newRow(name) << path << true << QString();
        };
        inside("one name", QStringLiteral("one"), QStringLiteral("/one"));
        inside("several names", QStringLiteral("addons/one"), QStringLiteral("/addons/one"));
        inside("slash at the end", QStringLiteral("addons/one/"), QStringLiteral("/addons/one"));
        inside("detour", QStringLiteral("./x/../addons//one"), QStringLiteral("/addons/one"));
        inside("dots in a name", QStringLiteral("..one/two.."), QStringLiteral("/..one/two.."));
        inside("empty", QString(), QString());
        inside("dot", QStringLiteral("."), QString());
        inside("there and back", QStringLiteral("x/.."), QString());
        inside("by a link", QStringLiteral("inside/one"), QStringLiteral("/inside/one"));
        inside("the link itself", QStringLiteral("inside"), QStringLiteral("/inside"));
        inside("by an absolute link", QStringLiteral("back/one"), QStringLiteral("/back/one"));
        inside("dangling", QStringLiteral("dangling-inside"), QStringLiteral("/dangling-inside"));
        inside("up by a link, but not out", QStringLiteral("deep/up/one"),
               QStringLiteral("/deep/up/one"));
        inside("as many links as the system follows", QStringLiteral("link40/one"),
               QStringLiteral("/link40/one"));
        outside("more links than that", QStringLiteral("link41/one"));
        outside("above", QStringLiteral(".."));
        outside("beside", QStringLiteral("../one"));
        outside("by a detour", QStringLiteral("addons/../../one"));
        outside("absolute", QStringLiteral("/one"));
        outside("absolute, inside", QStringLiteral("//"));
        outside("by a link", QStringLiteral("outside/one"));
        outside("the link itself", QStringLiteral("outside"));
        outside("a link to the top", QStringLiteral("root/one"));
        outside("dangling, outside", QStringLiteral("dangling-outside"));
        outside("up and out by a link", QStringLiteral("deep/far-up/one"));
        outside("links in a circle", QStringLiteral("loop/one"));
        outside("links in a row", QStringLiteral("chain/one"));
        // As the system would walk it this stays inside, as its text reads it does not.
        outside("link and way up", QStringLiteral("inside/../../one"));
        outside("backslashes", QStringLiteral("addons\\one"));
        outside("escape", QStringLiteral("addons/\x1b[2Jone"));
        outside("tab", QStringLiteral("addons/o\tne"));
        outside("delete", QStringLiteral("addons/o\x7f"));
        outside("control character of Latin-1", QString(QStringLiteral("addons/") + QChar(0x9b)));
        outside("cut short", QStringLiteral("..") + QChar::Null + QStringLiteral("/one"));
    }

    void pathsAreLocated()
    {
        QFETCH(QString, path);
        QFETCH(bool, isOutside);
        QFETCH(QString, located);
        const auto result = RepoDownloader::addonFolder(repository(), path);
        QCOMPARE(result.has_value(), !isOutside);
        QCOMPARE(result.value_or(QString()), isOutside ? QString() : repository() + located);
    }

    void aRepositoryBehindALink()
    {
        const QString way = folder_->filePath(QStringLiteral("way"));
        QVERIFY(QFile::link(repository(), way));
        QCOMPARE(RepoDownloader::addonFolder(way, QStringLiteral("one")),
                 std::optional(way + QStringLiteral("/one")));
        QVERIFY(!RepoDownloader::addonFolder(way, QStringLiteral("outside/one")));
    }

    void aRepositoryThatIsNotThere()
    {
        const QString none = folder_->filePath(QStringLiteral("none"));
        QCOMPARE(RepoDownloader::addonFolder(none, QStringLiteral("one")),
                 std::optional(none + QStringLiteral("/one")));
        QVERIFY(!RepoDownloader::addonFolder(none, QStringLiteral("../one")));
    }

    void aRepositoryMustBeAbsolute()
    {
        QVERIFY(!RepoDownloader::addonFolder(QString(), QStringLiteral("one")));
        QVERIFY(!RepoDownloader::addonFolder(QStringLiteral("repository"), QStringLiteral("one")));
    }

private:
    QString repository() const { return folder_->filePath(QStringLiteral("repository")); }
    void link(const QByteArray &name, const QByteArray &target) const
    {
        std::filesystem::create_symlink(
            target.toStdString(), (QFile::encodeName(repository()) + '/' + name).toStdString());
    }

    std::unique_ptr<QTemporaryDir> folder_;
};

QTEST_GUILESS_MAIN(TestAddonFolder)
#include "tst_addonfolder.moc"
