// What the tests of the launcher rely on: archives and answers of the forms that the real hosts
// send.

#include "demo/GitArchive.h"
#include "demo/ReleaseHost.h"

#include "net/Transfer.h"
#include "support/Await.h"

#include <QTemporaryDir>
#include <QTest>

#include <zip.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

struct Entry
{
    QByteArray content;
    quint8 system = 0; ///< 0 MS-DOS, 3 unix
    quint32 attributes = 0;
};

QMap<QByteArray, Entry> read(const QString &file)
{
    QMap<QByteArray, Entry> entries;
    zip_t *const archive = zip_open(file.toUtf8().constData(), ZIP_RDONLY | ZIP_CHECKCONS, nullptr);
    const auto count = static_cast<zip_uint64_t>(zip_get_num_entries(archive, 0));
    for (zip_uint64_t index = 0; index < count; ++index) {
        zip_stat_t stat;
        zip_stat_index(archive, index, 0, &stat);
        Entry &entry = entries[stat.name];
        zip_file_get_external_attributes(archive, index, 0, &entry.system, &entry.attributes);
        entry.content.resize(static_cast<qsizetype>(stat.size));
        zip_file_t *const content = zip_fopen_index(archive, index, 0);
        zip_fread(content, entry.content.data(), stat.size);
        zip_fclose(content);
    }
    zip_discard(archive);
    return entries;
}

} // namespace

class TestOffers : public QObject
{
    Q_OBJECT

    QTemporaryDir folder_;

    void write(const QString &name, const QByteArray &content)
    {
        const QString path = folder_.filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }

private Q_SLOTS:
    void aRepositoryIsPackedAsGitDoes()
    {
        write(u"source/README.md"_s, "# A game\n");
        write(u"source/Grüße.txt"_s, "hi");
        write(u"source/.godot/cache"_s, "left out");
        write(u"source/addons/map/old"_s, "left out");
        write(u"source/.gitmodules"_s,
              "[submodule \"m\"]\n\tpath = addons/map\n\turl = HOST/map\n");
        write(u"source/bin/run"_s, "#!/bin/sh\n");
        QVERIFY(QFile::setPermissions(folder_.filePath(u"source/bin/run"_s),
                                      QFile::ReadOwner | QFile::ExeOwner));
        QVERIFY(QFile::link(u"nowhere"_s, folder_.filePath(u"source/link"_s)));
        const QString zip = folder_.filePath(u"game.zip"_s);
        GitArchive::pack(folder_.filePath(u"source"_s), u"game-main"_s, zip,
                         {{"HOST", "http://127.0.0.1"}}, {{u"extra"_s, "more"}});

        auto entries = read(zip);
        const QList<QByteArray> names{"game-main/",          "game-main/.gitmodules",
                                      "game-main/Grüße.txt", "game-main/README.md",
                                      "game-main/addons/",   "game-main/addons/map/",
                                      "game-main/bin/",      "game-main/bin/run",
                                      "game-main/extra",     "game-main/link"};
        QCOMPARE(entries.keys(), names);
        QVERIFY(entries["game-main/.gitmodules"].content.contains("url = http://127.0.0.1/map"));
        QCOMPARE(entries["game-main/README.md"].system, quint8(0));
        QCOMPARE(entries["game-main/README.md"].attributes, 0U);
        QCOMPARE(entries["game-main/bin/run"].attributes, 0100755U << 16);
        QCOMPARE(entries["game-main/link"].attributes, 0120777U << 16);
        QCOMPARE(entries["game-main/link"].content, QByteArray("nowhere"));
    }

    void archivesComeWithoutALengthAndReleasesWithOne()
    {
        ReleaseHost host;
        host.offerGame(QByteArray("the game"));
        host.offerEngine(u"4.3-stable"_s, u"engine.zip"_s, QByteArray("the engine"));
        const auto fetch = [&](const QString &path) {
            return await(Transfer::toMemory(QUrl(host.url().toString() + path), 1'000'000, {}))
                .body;
        };
        QCOMPARE(fetch(ReleaseHost::gamePath()), QByteArray("the game"));
        QCOMPARE(fetch(ReleaseHost::enginePath(u"4.3-stable"_s, u"engine.zip"_s)),
                 QByteArray("the engine"));
        const QByteArray list = fetch(ReleaseHost::checksumPath(u"4.3-stable"_s));
        QCOMPARE(list.size(), 128 + 2 + 11);
        QVERIFY(list.endsWith("  engine.zip\n"));
        QCOMPARE(host.requests().size(), 3);
        QCOMPARE(host.allRequests().size(), 6);
    }
};

QTEST_GUILESS_MAIN(TestOffers)
#include "tst_offers.moc"
