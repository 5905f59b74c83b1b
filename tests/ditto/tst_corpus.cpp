// Runs the shipped archive tool on every archive of the corpus. It refuses the hostile ones without
// a trace, and unpacks the benign ones as unzip does.

#include "Corpus.h"
#include "Surroundings.h"

#include <QFileInfo>
#include <QtTest>

#include <filesystem>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestCorpus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { around_.emplace(); }

    void hostileArchivesAreRefused_data()
    {
        const auto cases = hostile(Surroundings());
        QVERIFY(cases.size() >= 60);
        list(cases);
    }

    void hostileArchivesAreRefused()
    {
        QFETCH(int, number);
        const CorpusCase one = hostile(*around_).at(number);
        QVERIFY(!one.why.isEmpty());
        around_->putArchive(one.archive());
        const QStringList before = around_->outside();
        const Surroundings::Run run = around_->unpack(QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.startsWith("ditto: ") && run.errors.count('\n') == 1 &&
                     run.errors.endsWith('\n'),
                 run.errors.constData());
        QVERIFY2(run.errors.contains(one.why), run.errors.constData());
        QCOMPARE(around_->beside(), (QStringList{u"a.zip"_s, u"out"_s}));
        QCOMPARE(Surroundings::tree(around_->destination()), QStringList());
        QCOMPARE(around_->outside(), before);
    }

    void benignArchivesAreUnpackedAsOthersDo_data() { list(Corpus::benign()); }

    void benignArchivesAreUnpackedAsOthersDo()
    {
        QFETCH(int, number);
        around_->putArchive(Corpus::benign().at(number).archive());
        const Surroundings::Run run = around_->unpack(QStringLiteral(BRINDLE_DITTO));
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.code, 0);
        QCOMPARE(around_->beside().size(), 2);
        QCOMPARE(around_->special(), QStringList());

        const QString other = around_->path("parent/other");
        around_->run(u"unzip"_s, {u"-q"_s, around_->archive(), u"-d"_s, other});
        makeReadable(other);
        const QStringList ours = Surroundings::tree(around_->destination());
        QVERIFY(!ours.isEmpty());
        QCOMPARE(ours, Surroundings::tree(other));
        // Contents and links are the same.
        QCOMPARE(
            around_->run(u"diff"_s, {u"-r"_s, u"--no-dereference"_s, u"out"_s, u"other"_s}).code,
            0);
    }

private:
    static QList<CorpusCase> hostile(const Surroundings &around)
    {
        return Corpus::hostile(around) + Corpus::costly();
    }

    static void list(const QList<CorpusCase> &cases)
    {
        QTest::addColumn<int>("number");
        for (int i = 0; i < cases.size(); ++i) {
            QTest::newRow(cases.at(i).name) << i;
        }
    }

    /// unzip makes folders without permissions if the archive has such.
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
