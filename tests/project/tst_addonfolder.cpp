// Where an add-on's path leads, links and detours included.

#include "project/RepoDownloader.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <filesystem>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestAddonFolder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    /// A repository folder with links of every kind: the target is taken as it is written.
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(repository()).mkpath(u"deep/er/est"_s));
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
        inside("one name", u"one"_s, u"/one"_s);
        inside("several names", u"addons/one"_s, u"/addons/one"_s);
        inside("slash at the end", u"addons/one/"_s, u"/addons/one"_s);
        inside("detour", u"./x/../addons//one"_s, u"/addons/one"_s);
        inside("dots in a name", u"..one/two.."_s, u"/..one/two.."_s);
        inside("empty", QString(), QString());
        inside("dot", u"."_s, QString());
        inside("there and back", u"x/.."_s, QString());
        inside("by a link", u"inside/one"_s, u"/inside/one"_s);
        inside("the link itself", u"inside"_s, u"/inside"_s);
        inside("by an absolute link", u"back/one"_s, u"/back/one"_s);
        inside("dangling", u"dangling-inside"_s, u"/dangling-inside"_s);
        inside("up by a link, but not out", u"deep/up/one"_s, u"/deep/up/one"_s);
        inside("as many links as the system follows", u"link40/one"_s, u"/link40/one"_s);
        outside("more links than that", u"link41/one"_s);
        outside("above", u".."_s);
        outside("beside", u"../one"_s);
        outside("by a detour", u"addons/../../one"_s);
        outside("absolute", u"/one"_s);
        outside("absolute, inside", u"//"_s);
        outside("by a link", u"outside/one"_s);
        outside("the link itself", u"outside"_s);
        outside("a link to the top", u"root/one"_s);
        outside("dangling, outside", u"dangling-outside"_s);
        outside("up and out by a link", u"deep/far-up/one"_s);
        outside("links in a circle", u"loop/one"_s);
        outside("links in a row", u"chain/one"_s);
        // As the system would walk it this stays inside, as its text reads it does not.
        outside("link and way up", u"inside/../../one"_s);
        outside("backslashes", u"addons\\one"_s);
        outside("escape", u"addons/\x1b[2Jone"_s);
        outside("tab", u"addons/o\tne"_s);
        outside("delete", u"addons/o\x7f"_s);
        outside("control character of Latin-1", QString(u"addons/"_s + QChar(0x9b)));
        outside("cut short", u".."_s + QChar::Null + u"/one"_s);
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
        const QString way = folder_->filePath(u"way"_s);
        QVERIFY(QFile::link(repository(), way));
        QCOMPARE(RepoDownloader::addonFolder(way, u"one"_s), std::optional(way + u"/one"_s));
        QVERIFY(!RepoDownloader::addonFolder(way, u"outside/one"_s));
    }

    void aRepositoryThatIsNotThere()
    {
        const QString none = folder_->filePath(u"none"_s);
        QCOMPARE(RepoDownloader::addonFolder(none, u"one"_s), std::optional(none + u"/one"_s));
        QVERIFY(!RepoDownloader::addonFolder(none, u"../one"_s));
    }

    void aRepositoryMustBeAbsolute()
    {
        QVERIFY(!RepoDownloader::addonFolder(QString(), u"one"_s));
        QVERIFY(!RepoDownloader::addonFolder(u"repository"_s, u"one"_s));
    }

private:
    QString repository() const { return folder_->filePath(u"repository"_s); }
    void link(const QByteArray &name, const QByteArray &target) const
    {
        std::filesystem::create_symlink(
            target.toStdString(), (QFile::encodeName(repository()) + '/' + name).toStdString());
    }

    std::unique_ptr<QTemporaryDir> folder_;
};

QTEST_GUILESS_MAIN(TestAddonFolder)
#include "tst_addonfolder.moc"
