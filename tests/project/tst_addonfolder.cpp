// Tests where an add-on's path leads through links and detours.

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

    QString repository() const { return folder_.filePath(u"repository"_s); }
    void link(const QByteArray &name, const QByteArray &target) const
    {
        std::filesystem::create_symlink(
            target.toStdString(), (QFile::encodeName(repository()) + '/' + name).toStdString());
    }

    const QTemporaryDir folder_;

private Q_SLOTS:
    void initTestCase()
    {
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
        QTest::addColumn<std::optional<QString>>("located"); // relative to the repository
        const auto inside = [](const char *name, const char *path, const char *located) {
            QTest::newRow(name) << QString::fromLatin1(path)
                                << std::optional(QString::fromLatin1(located));
        };
        const auto outside = [](const char *name, const QString &path) {
            QTest::newRow(name) << path << std::optional<QString>();
        };
        inside("one name", "one", "/one");
        inside("several names", "addons/one", "/addons/one");
        inside("slash at the end", "addons/one/", "/addons/one");
        inside("detour", "./x/../addons//one", "/addons/one");
        inside("dots in a name", "..one/two..", "/..one/two..");
        inside("empty", "", "");
        inside("dot", ".", "");
        inside("there and back", "x/..", "");
        inside("by a link", "inside/one", "/inside/one");
        inside("the link itself", "inside", "/inside");
        inside("by an absolute link", "back/one", "/back/one");
        inside("dangling", "dangling-inside", "/dangling-inside");
        inside("up by a link, but not out", "deep/up/one", "/deep/up/one");
        inside("as many links as the system follows", "link40/one", "/link40/one");
        outside("more links than that", u"link41/one"_s);
        outside("above", u".."_s);
        outside("beside", u"../one"_s);
        outside("by a detour", u"addons/../../one"_s);
        outside("absolute", u"/one"_s);
        outside("absolute, inside", u"//"_s);
        outside("out by a link", u"outside/one"_s);
        outside("a link out", u"outside"_s);
        outside("a link to the top", u"root/one"_s);
        outside("dangling, outside", u"dangling-outside"_s);
        outside("up and out by a link", u"deep/far-up/one"_s);
        outside("links in a circle", u"loop/one"_s);
        outside("links in a row", u"chain/one"_s);
        // The system would resolve this path to the inside, but as written it leads out.
        outside("link and detour", u"inside/../../one"_s);
        outside("backslashes", u"addons\\one"_s);
        outside("escape", u"addons/\x1b[2Jone"_s);
        outside("tab", u"addons/o\tne"_s);
        outside("delete", u"addons/o\x7f"_s);
        outside("control character of Latin-1", u"addons/"_s + QChar(0x9b));
        outside("cut short", u".."_s + QChar::Null + u"/one"_s);
    }
    void pathsAreLocated()
    {
        QFETCH(const QString, path);
        QFETCH(const std::optional<QString>, located);
        QCOMPARE(RepoDownloader::addonFolder(repository(), path),
                 located ? std::optional(repository() + *located) : std::nullopt);
    }

    void repositoriesOfAllKinds()
    {
        const QString way = folder_.filePath(u"way"_s);
        QVERIFY(QFile::link(repository(), way));
        for (const QString &root : {way, folder_.filePath(u"none"_s)}) {
            QCOMPARE(RepoDownloader::addonFolder(root, u"one"_s), std::optional(root + u"/one"_s));
            QVERIFY(!RepoDownloader::addonFolder(root, u"../one"_s));
        }
        QVERIFY(!RepoDownloader::addonFolder(way, u"outside/one"_s));
    }
};

QTEST_GUILESS_MAIN(TestAddonFolder)
#include "tst_addonfolder.moc"
