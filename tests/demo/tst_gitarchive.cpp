#include "ZipReader.h"

#include "demo/GitArchive.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace brindle;

namespace {

constexpr quint16 utf8Flag = 1 << 11;

void write(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

} // namespace

class TestGitArchive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void foldersComeBeforeWhatTheyHold();
    void plainFilesHaveNoUnixMode();
    void executablesAndLinksKeepTheirMode();
    void namesBeyondAsciiBearTheUtf8Flag();
    void submodulesAreEmptyFolders();
    void addressesInTheSubmoduleListAreReplaced();
    void extraFilesWin();
    void theCommentIsACommitId();
    void whatNoRepositoryKeepsIsLeftOut();
    void aMissingFolderFails();

private:
    ZipReader pack(const QStringList &submodules = {},
                   const QMap<QByteArray, QByteArray> &replaced = {},
                   const QMap<QString, QByteArray> &extraFiles = {})
    {
        const QString zip = folder_->filePath(QStringLiteral("a.zip"));
        GitArchive::pack(source(), QStringLiteral("repo-main"), zip, submodules, replaced,
                         extraFiles);
        return ZipReader(zip);
    }
    QString source(const QString &name = {}) const
    {
        return folder_->filePath(QStringLiteral("source/") + name);
    }

    std::unique_ptr<QTemporaryDir> folder_;
};

void TestGitArchive::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    write(source(QStringLiteral("README.md")), "# A game\n");
}

void TestGitArchive::foldersComeBeforeWhatTheyHold()
{
    write(source(QStringLiteral("b/c/file")), "1");
    write(source(QStringLiteral("a.txt")), "2");
    const ZipReader zip = pack();
    const QList<QByteArray> expected{"repo-main/",   "repo-main/README.md", "repo-main/a.txt",
                                     "repo-main/b/", "repo-main/b/c/",      "repo-main/b/c/file"};
    QCOMPARE(zip.names, expected);
    QCOMPARE(zip.entries["repo-main/b/c/file"].content, QByteArray("1"));
}

void TestGitArchive::plainFilesHaveNoUnixMode()
{
    const ZipReader zip = pack();
    const auto &entry = zip.entries["repo-main/README.md"];
    QCOMPARE(entry.content, QByteArray("# A game\n"));
    QCOMPARE(entry.system, quint8(0));
    QCOMPARE(entry.attributes, 0U);
    QCOMPARE(entry.flags & utf8Flag, 0);
    // Folders only bear MS-DOS's mark for one.
    QCOMPARE(zip.entries["repo-main/"].system, quint8(0));
    QCOMPARE(zip.entries["repo-main/"].attributes, 0x10U);
}

void TestGitArchive::executablesAndLinksKeepTheirMode()
{
    write(source(QStringLiteral("run")), "#!/bin/sh\n");
    QVERIFY(QFile::setPermissions(source(QStringLiteral("run")),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    QVERIFY(QFile::link(QStringLiteral("../README.md"), source(QStringLiteral("link"))));
    QVERIFY(QFile::link(QStringLiteral("nowhere"), source(QStringLiteral("dangling"))));
    const ZipReader zip = pack();
    QCOMPARE(zip.entries["repo-main/run"].system, quint8(3));
    QCOMPARE(zip.entries["repo-main/run"].attributes, 0100755U << 16);
    QCOMPARE(zip.entries["repo-main/link"].attributes, 0120777U << 16);
    QCOMPARE(zip.entries["repo-main/link"].content, QByteArray("../README.md"));
    QCOMPARE(zip.entries["repo-main/link"].method, quint16(0));
    QCOMPARE(zip.entries["repo-main/dangling"].content, QByteArray("nowhere"));
}

void TestGitArchive::namesBeyondAsciiBearTheUtf8Flag()
{
    write(source(QStringLiteral("Grüße.txt")), "hi");
    const ZipReader zip = pack();
    const QByteArray name = QStringLiteral("repo-main/Grüße.txt").toUtf8();
    QCOMPARE(zip.entries[name].content, QByteArray("hi"));
    QCOMPARE(zip.entries[name].flags & utf8Flag, int(utf8Flag));
}

void TestGitArchive::submodulesAreEmptyFolders()
{
    write(source(QStringLiteral(".gitmodules")),
          "[submodule \"m\"]\n\tpath = addons/map\n\turl = https://host/a/b.git\n");
    write(source(QStringLiteral("addons/map/plugin.cfg")), "checked out");
    write(source(QStringLiteral("addons/own/plugin.cfg")), "own");
    const ZipReader zip = pack({QStringLiteral("third_party/lib")});
    QVERIFY(zip.names.contains("repo-main/addons/map/"));
    QVERIFY(!zip.names.contains("repo-main/addons/map/plugin.cfg"));
    QVERIFY(zip.names.contains("repo-main/addons/own/plugin.cfg"));
    QVERIFY(zip.names.contains("repo-main/third_party/"));
    QVERIFY(zip.names.contains("repo-main/third_party/lib/"));
}

void TestGitArchive::addressesInTheSubmoduleListAreReplaced()
{
    write(source(QStringLiteral(".gitmodules")), "url = https://host/a\nurl = https://host/b\n");
    write(source(QStringLiteral("notes")), "https://host/a\n");
    const ZipReader zip = pack({}, {{"https://host", "http://127.0.0.1:8"}});
    QCOMPARE(zip.entries["repo-main/.gitmodules"].content,
             QByteArray("url = http://127.0.0.1:8/a\nurl = http://127.0.0.1:8/b\n"));
    QCOMPARE(zip.entries["repo-main/notes"].content, QByteArray("https://host/a\n"));
}

void TestGitArchive::extraFilesWin()
{
    const ZipReader zip = pack(
        {}, {}, {{QStringLiteral("README.md"), "other"}, {QStringLiteral("new/file"), "added"}});
    QCOMPARE(zip.entries["repo-main/README.md"].content, QByteArray("other"));
    QCOMPARE(zip.entries["repo-main/new/file"].content, QByteArray("added"));
    QVERIFY(zip.names.contains("repo-main/new/"));
}

void TestGitArchive::theCommentIsACommitId()
{
    const QByteArray first = pack().comment;
    static const QRegularExpression form(QStringLiteral("\\A[0-9a-f]{40}\\z"));
    QVERIFY(form.match(QString::fromLatin1(first)).hasMatch());
    QCOMPARE(pack().comment, first);
    write(source(QStringLiteral("README.md")), "# Another\n");
    QVERIFY(pack().comment != first);
}

void TestGitArchive::whatNoRepositoryKeepsIsLeftOut()
{
    write(source(QStringLiteral(".git/HEAD")), "ref: refs/heads/main\n");
    write(source(QStringLiteral(".godot/cache")), "x");
    write(source(QStringLiteral(".hidden")), "kept");
    const ZipReader zip = pack();
    const QList<QByteArray> expected{"repo-main/", "repo-main/.hidden", "repo-main/README.md"};
    QCOMPARE(zip.names, expected);
}

void TestGitArchive::aMissingFolderFails()
{
    const QString zip = folder_->filePath(QStringLiteral("none.zip"));
    QVERIFY_THROWS_EXCEPTION(std::runtime_error, GitArchive::pack(source(QStringLiteral("absent")),
                                                                  QStringLiteral("x"), zip));
    QVERIFY(!QFile::exists(zip));
}

QTEST_GUILESS_MAIN(TestGitArchive)
#include "tst_gitarchive.moc"
