// The archive tool as it is shipped, with every archive of the corpus: the hostile ones are refused
// and leave no trace, the benign ones come out as they do with unzip.

#include "BenignCorpus.h"
#include "HostileCorpus.h"
#include "Surroundings.h"

#include <QFileInfo>
#include <QtTest>

#include <filesystem>

using namespace brindle;

class TestCorpus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { around_.emplace(); }

    void isLarge()
    {
        const auto hostile = HostileCorpus::cases(*around_);
        QVERIFY(hostile.size() >= 60);
        QSet<QByteArray> names;
        for (const CorpusCase &one : hostile) {
            names << one.name;
            QVERIFY2(!one.why.isEmpty(), one.name);
        }
        QCOMPARE(names.size(), hostile.size());
    }

    void hostileArchivesAreRefused_data() { listed(HostileCorpus::cases(Surroundings())); }

    void hostileArchivesAreRefused()
    {
        QFETCH(int, number);
        const CorpusCase one = HostileCorpus::cases(*around_).at(number);
        around_->putArchive(one.archive());
        const QStringList before = around_->outside();
        const Surroundings::Run run = around_->unpack(QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.startsWith("ditto: ") && run.errors.count('\n') == 1 &&
                     run.errors.endsWith('\n'),
                 run.errors.constData());
        QVERIFY2(run.errors.contains(one.why), run.errors.constData());
        QCOMPARE(around_->beside(), (QStringList{QStringLiteral("a.zip"), QStringLiteral("out")}));
        QCOMPARE(Surroundings::tree(around_->destination()), QStringList());
        QCOMPARE(around_->outside(), before);
    }

    void benignArchivesAreUnpackedAsOthersDo_data() { listed(BenignCorpus::cases()); }

    void benignArchivesAreUnpackedAsOthersDo()
    {
        QFETCH(int, number);
        around_->putArchive(BenignCorpus::cases().at(number).archive());
        const Surroundings::Run run = around_->unpack(QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.code, 0);
        QCOMPARE(around_->beside().size(), 2);
        QCOMPARE(around_->special(), QStringList());

        const QString other = around_->path("parent/other");
        around_->run(QStringLiteral("unzip"),
                     {QStringLiteral("-q"), around_->archive(), QStringLiteral("-d"), other});
        makeReadable(other);
        const QStringList ours = Surroundings::tree(around_->destination());
        QVERIFY(!ours.isEmpty());
        QCOMPARE(ours, Surroundings::tree(other));
    }

private:
    static void listed(const QList<CorpusCase> &cases)
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < cases.size(); ++i) {
            QTest::newRow(cases.at(i).name) << i;
        }
    }

    /// unzip makes folders without permissions where an archive says so.
    static void makeReadable(const QString &folder)
    {
        namespace fs = std::filesystem;
        for (const auto &entry : fs::recursive_directory_iterator(folder.toStdString())) {
            if (!entry.is_symlink() && entry.is_directory()) {
                fs::permissions(entry, fs::perms::owner_all, fs::perm_options::add);
            }
        }
    }

    std::optional<Surroundings> around_;
};

QTEST_GUILESS_MAIN(TestCorpus)
#include "tst_corpus.moc"
